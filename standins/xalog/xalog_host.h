// What a host sets up of the logging stand-in; the module never sees this.
//
// Environment, read once when the library is loaded: XALOG_LEVEL (a number; default 4),
// XALOG_FILE (a path to append to), XALOG_STDERR ("0" or "1"; default 1 without a file, else 0).
#pragma once

#include <cstdint>

extern "C" {

// Lines go to `path` (appended; null or empty: to no file).
// False when the file cannot be opened; then the old one stays.
bool XalogHost_SetFile(const char* path);
void XalogHost_SetStandardError(bool enabled);

// `sink` gets every written line, NUL-ended, without time and line end, on the thread that logs.
// Null takes it off; when the call returns, no thread is inside the old sink any more.
using XalogSink = void (*)(std::int32_t level, const char* line, void* user);
void XalogHost_SetSink(XalogSink sink, void* user);

// Writes out what is buffered.
void XalogHost_Flush();

}  // extern "C"
