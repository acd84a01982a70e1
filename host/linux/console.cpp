#include "host/console.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>

namespace host {
namespace {

std::FILE* output = stdout;

// Without the means the module's prints stay where they are; the results come all the same.
void KeepOutputForResults() {
    const int copy = dup(STDOUT_FILENO);
    std::FILE* own = copy < 0 ? nullptr : fdopen(copy, "w");
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (own != nullptr && nowhere >= 0 && dup2(nowhere, STDOUT_FILENO) >= 0) {
        output = own;
    }
    if (nowhere >= 0) {
        close(nowhere);
    }
}

// Asked anew each time: terminals change their size.
std::size_t WidthOf(int descriptor) {
    if (isatty(descriptor) == 0) {
        return 0;
    }
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsualWidth;
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

std::size_t OutputWidth() {
    return WidthOf(fileno(output));
}

std::size_t StandardErrorWidth() {
    return WidthOf(STDERR_FILENO);
}

}  // namespace host
