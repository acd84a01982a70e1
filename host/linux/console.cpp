#include "host/console.h"

#include <unistd.h>

namespace host {

std::vector<std::string> StartConsole(int argc, char** argv) {
    return argc > 0 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

bool StandardOutputIsTerminal() {
    return isatty(STDOUT_FILENO) != 0;
}
bool StandardErrorIsTerminal() {
    return isatty(STDERR_FILENO) != 0;
}

}  // namespace host
