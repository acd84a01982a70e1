// What the system gives a program of the command line.
#pragma once

#include <string>
#include <vector>

namespace host {

// Makes the terminal show UTF-8, and gives the arguments without the program's name as UTF-8.
[[nodiscard]] std::vector<std::string> StartConsole(int argc, char** argv);

[[nodiscard]] bool StandardOutputIsTerminal();
[[nodiscard]] bool StandardErrorIsTerminal();

}  // namespace host
