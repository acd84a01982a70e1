// What a host sets up of the logging stand-in; the module never sees this.
//
// A line is "2026-11-21 08:15:02.123 [E] message": universal time, the level as D, I, W or E. It is
// written in one piece and handed to the system at once, so that a process that dies loses none.
// Line ends behind a message are cut off, other control characters become blanks.
//
// Environment, read once when the library is loaded: XALOG_LEVEL (a number; default 4),
// XALOG_FILE (a path to append to), XALOG_STDERR ("0" or "1"; default 1 without a file, else 0).
// Paths are UTF-8. Every function may be called from any thread.
#pragma once

#include <cstdint>

extern "C" {

// Lines go to `path` (appended; null or empty: to no file).
// False when the file cannot be opened; then the old one stays.
bool XalogHost_SetFile(const char* path);
void XalogHost_SetStandardError(bool enabled);

// `sink` gets every line not dropped, NUL-ended, without time and line end, on the thread that logs
// and with no lock held: it may log itself. Null takes it off; when the call returns, no other
// thread is inside the old sink any more (a sink may replace itself).
using XalogSink = void (*)(std::int32_t level, const char* line, void* user);
void XalogHost_SetSink(XalogSink sink, void* user);

// Waits for a line being written.
void XalogHost_Flush();

}  // extern "C"
