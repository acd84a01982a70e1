// What a host sets up of the logging stand-in; the module never sees this.
//
// A line is "2026-11-21 08:15:02.123 [E] message": universal time, the level as D, I, W or E. Line
// ends behind a message are cut off, other control characters become blanks; a message has at most
// 64 KiB.
//
// A thread that logs only puts its line into a queue of 1 MiB, so that no slow disk, unread pipe or
// sink holds it up; a thread of the log's own writes. Lines that do not fit are counted, and "37
// lines lost: the log could not keep up" stands in their place, at level 3. The same goes for an
// output that takes nothing for a second. A line equal to the one before it is counted and told of,
// at the latest after a second, as "(the line above 12 more times)".
//
// Lines reach the file and standard error before the process ends in good order, by a signal that
// can be caught and that it did not handle itself, or by an exception that it did not handle. A
// process that is killed loses what is queued; so may one whose own handler ends it without exit().
// At its end the log waits for a slow output for 2 s at most. A child of fork() leaves what was
// queued to its parent.
//
// Environment, read once when the library is loaded: XALOG_LEVEL (a number; default 4),
// XALOG_FILE (a path to append to), XALOG_STDERR ("0" or "1"; default 1 without a file, else 0).
// Paths are UTF-8. Every function may be called from any thread; those that set something flush
// first, so that it applies to the lines logged from then on.
#pragma once

#include <cstdint>

extern "C" {

// Lines go to `path` (appended; null or empty: to no file).
// False when the file cannot be opened, or the old one holds the log up; then the old one stays.
bool XalogHost_SetFile(const char* path);
void XalogHost_SetStandardError(bool enabled);

// `sink` gets every line not dropped, NUL-ended, without time and line end, repeated or not, on the
// log's own thread and with no lock held: it may log itself. Null takes it off; when the call
// returns, no other thread is inside the old sink any more (a sink may replace itself). A host
// takes its sink off before the program ends: what is queued at the end goes to file and standard
// error alone.
using XalogSink = void (*)(std::int32_t level, const char* line, void* user);
void XalogHost_SetSink(XalogSink sink, void* user);

// For tests, which act at the very moment of a line: as a sink, but called on the thread that logs,
// which it holds up.
void XalogHost_SetProbe(XalogSink probe, void* user);

// Waits, for 10 s at most, until all lines logged before are written and the sink has returned.
// Called from the sink, it returns at once.
void XalogHost_Flush();

}  // extern "C"
