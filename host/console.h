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
// prints there is dropped from then on: its log tells the same.
[[nodiscard]] std::FILE* Output();

// The reader of the results has gone away or the disk is full: nothing more arrives there.
[[nodiscard]] inline bool OutputFailed() {
    return std::ferror(Output()) != 0;
}

// Columns of the terminal that results or messages go to; 0 where they go elsewhere. A terminal
// that does not know kClearLine does not count as one.
[[nodiscard]] std::size_t OutputWidth();
[[nodiscard]] std::size_t StandardErrorWidth();

// For texts that wrap wherever they go, like the help.
inline constexpr std::size_t kUsualWidth = 100;

}  // namespace host
