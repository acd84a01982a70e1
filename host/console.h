// What the system gives a program of the command line.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace host {

// Makes the terminal show UTF-8, and gives the arguments without the program's name as UTF-8. To be
// called first.
[[nodiscard]] std::vector<std::string> StartConsole(int argc, char** argv);

// Where the program's results go: what was standard output when it started. What the module itself
// prints there goes to standard error from then on, out of the way of those who read the results.
[[nodiscard]] std::FILE* Output();

[[nodiscard]] bool OutputIsTerminal();
[[nodiscard]] bool StandardErrorIsTerminal();

}  // namespace host
