// What the system gives a program of the command line.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace host {

// Puts the cursor at the start of its line of a terminal and empties that line.
inline constexpr char kClearLine[] = "\r\x1b[K";

// Readies the terminal for UTF-8 and kClearLine, lets a write to a reader that has gone away fail
// instead of ending the program, and gives the arguments without the program's name as UTF-8. To be
// called first.
[[nodiscard]] std::vector<std::string> StartConsole(int argc, char** argv);

// Where the program's results go: what was standard output when it started. What the module itself
// prints there goes to standard error from then on, out of the way of those who read the results.
[[nodiscard]] std::FILE* Output();

// The reader of the results has gone away or the disk is full: nothing more arrives there.
[[nodiscard]] inline bool OutputFailed() {
    return std::ferror(Output()) != 0;
}

// A terminal that does not know kClearLine does not count as one.
[[nodiscard]] bool OutputIsTerminal();
[[nodiscard]] bool StandardErrorIsTerminal();

}  // namespace host
