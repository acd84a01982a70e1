#include "host/console.h"

#include <unistd.h>

#include <csignal>

namespace host {
namespace {

std::FILE* output = stdout;

// Without the means the module's prints stay where they are; the results come all the same.
void KeepOutputForResults() {
    const int copy = dup(STDOUT_FILENO);
    std::FILE* own = copy < 0 ? nullptr : fdopen(copy, "w");
    if (own != nullptr && dup2(STDERR_FILENO, STDOUT_FILENO) >= 0) {
        output = own;
    }
}

}  // namespace

std::vector<std::string> StartConsole(int argc, char** argv) {
    // Or the module would not be destroyed, and its camera and regions be left as they are.
    std::signal(SIGPIPE, SIG_IGN);
    KeepOutputForResults();
    return argc > 0 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

std::FILE* Output() {
    return output;
}

bool OutputIsTerminal() {
    return isatty(fileno(output)) != 0;
}

bool StandardErrorIsTerminal() {
    return isatty(STDERR_FILENO) != 0;
}

}  // namespace host
