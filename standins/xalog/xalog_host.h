// Configuration of the logging stand-in by a host; the module never sees this.
//
// A line is "2026-11-21 08:15:02.123 [E] message": UTC, the level as D, I, W or E. Trailing line
// ends are cut off, other control characters become blanks; a message has at most 64 KiB.
//
// A logging thread only puts its line into a queue of 1 MiB, so that no slow disk, unread pipe or
// sink delays it; a separate thread writes. Lines that do not fit are counted and replaced by "37
// lines lost: the log could not keep up" at level 3; likewise for an output that takes nothing for
// a second. Repetitions of a line are counted and reported within a second as "(the line above 12
// more times)".
//
// Lines reach the file and standard error before the process ends normally, by a catchable signal
// that it did not handle itself, or by an unhandled exception. A killed process loses queued lines;
// so may one whose own handler ends it without exit(). At process exit the log waits for a slow
// output for at most 2 s. A child of fork() leaves the queued lines to its parent.
//
// Environment, read once when the library is loaded: XALOG_LEVEL (a number; default 4),
// XALOG_FILE (a path to append to), XALOG_STDERR ("0" or "1"; default 1 without a file, else 0).
// Paths are UTF-8. Every function may be called from any thread; those that set something flush
// first, so that it applies to the lines logged from then on.
#pragma once

#include <cstdint>

extern "C" {

// Lines go to `path` (appended; null or empty: to no file). False when the file cannot be opened or
// the old one blocks the log; then the old one stays.
bool XalogHost_SetFile(const char* path);
void XalogHost_SetStandardError(bool enabled);

// `sink` gets every line not dropped, NUL-terminated, without time and line end, repeated or not,
// on the log's own thread and with no lock held: it may log itself. Null removes it; when the call
// returns, no other thread is inside the old sink any more (a sink may replace itself). A host must
// remove its sink before the program ends: lines still queued then go only to file and standard
// error.
using XalogSink = void (*)(std::int32_t level, const char* line, void* user);
void XalogHost_SetSink(XalogSink sink, void* user);

// For tests that act at the moment of a line: like a sink, but called on the logging thread, which
// it blocks.
void XalogHost_SetProbe(XalogSink probe, void* user);

// Waits at most 10 s until all lines logged before are written and the sink has returned. Called
// from the sink, it returns at once.
void XalogHost_Flush();

}  // extern "C"
