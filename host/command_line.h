// The command line: what a person asks for. One description of commands and options serves parsing,
// help, completion and the man page.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/picture_files.h"

namespace host {

enum class Command {
    Help,
    Version,
    List,
    Features,
    Describe,
    Get,
    Set,
    Params,
    Grab,
    Watch,
    Doctor,
    Save,
    Load,
    Folder,
    Completion,
    Man,
};

struct CameraAddress {
    std::string camera;  // dotted quads
    std::string local;   // of the network card that reaches it; empty: to be found
};

struct RecordingOptions {
    std::string folder;  // empty: nothing is recorded
    PictureFormat format = PictureFormat::Png;
    std::uint64_t every = 1;
    std::optional<std::uint64_t> writers;
    std::optional<std::uint64_t> queue;  // frames
};

struct Options {
    Command command = Command::Help;
    std::string text;                    // of Help, Completion and Man: what to print
    std::vector<std::string> arguments;  // what follows the command and is no option

    // Of every command.
    std::string module;                   // file; empty: beside the program
    std::optional<std::string> simulate;  // description of simulated cameras
    std::optional<int> logLevel;
    std::string logFile;
    std::string genTLPath;

    // Of the commands that need a camera.
    std::string camera;  // serial number
    std::optional<CameraAddress> address;
    std::vector<std::pair<std::string, std::string>> settings;  // applied once it is open

    // Of the commands that take frames.
    std::optional<std::uint64_t> frames;
    std::uint64_t seconds = 0;  // 0: no limit
    bool runByCamera = false;
    RecordingOptions recording;
    std::uint64_t timeoutSeconds = 2;
    std::uint64_t procedures = 4;
    std::optional<std::uint64_t> triggerSource;

    // Of the commands that show something.
    bool json = false;
    bool markdown = false;
};

// The arguments make no sense; the text says which and why.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// `arguments` without the program's name; help wraps at `width` columns. "--help", alone or with a
// command, gives Command::Help. Throws UsageError.
[[nodiscard]] Options ParseCommandLine(std::span<const std::string> arguments, std::size_t width);

}  // namespace host
