#include <cstdio>
#include <exception>

#include "host/command_line.h"
#include "host/commands.h"
#include "host/console.h"
#include "host/exit_codes.h"
#include "host/interrupt.h"
#include "host/print.h"

namespace {

host::ExitCode RunCommand(const host::Options& options) {
    using enum host::Command;
    switch (options.command) {
        case Help:
        case Completion:
        case Man:
            host::Print(options.text);
            return host::ExitCode::Ok;
        case Version:
            host::Print("camera_host " CAMERA_HOST_VERSION "\n");
            return host::ExitCode::Ok;
        case List:
            return host::RunList(options);
        case Features:
            return host::RunFeatures(options);
        case Describe:
            return host::RunDescribe(options);
        case Get:
            return host::RunGet(options);
        case Set:
            return host::RunSet(options);
        case Params:
            return host::RunParams(options);
        case Grab:
            return host::RunGrab(options);
        case Watch:
            return host::RunWatch(options);
        case Doctor:
            return host::RunDoctor(options);
        case Save:
            return host::RunSave(options);
        case Load:
            return host::RunLoad(options);
        case Folder:
            return host::RunFolder(options);
    }
    return host::ExitCode::Usage;
}

host::ExitCode Run(int argc, char** argv) {
    try {
        const std::vector<std::string> arguments = host::StartConsole(argc, argv);
        const std::size_t width = host::OutputWidth();
        return RunCommand(
            host::ParseCommandLine(arguments, width == 0 ? host::kUsualWidth : width));
    } catch (const host::UsageError& error) {
        std::fprintf(stderr, "camera_host: %s; see 'camera_host --help'\n", error.what());
        return host::ExitCode::Usage;
    } catch (const host::Failure& failure) {
        std::fprintf(stderr, "camera_host: %s\n", failure.what());
        return failure.Code();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "camera_host: %s\n", error.what());
        return host::ExitCode::Failure;
    }
}

}  // namespace

int main(int argc, char** argv) {
    host::WatchForInterrupt();
    const host::ExitCode code = Run(argc, argv);
    // A full disk or a closed pipe must not pass for success.
    if ((std::fflush(host::Output()) != 0 || host::OutputFailed()) && code == host::ExitCode::Ok) {
        std::fputs("camera_host: the output could not be written\n", stderr);
        return static_cast<int>(host::ExitCode::Failure);
    }
    return static_cast<int>(code);
}
