// The command line: commands, options and their help, all from one pair of tables.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace host {

enum class Command { Help, Version, List, Grab, Get, Set, Params, Watch, Save, Load, Folder };

struct CameraAddress {
    std::string camera;  // dotted quads
    std::string local;   // of the network card that reaches it
};

struct Options {
    Command command = Command::Help;
    std::string helpText;                // of Command::Help
    std::vector<std::string> arguments;  // what follows the command and is no option

    // Of every command.
    std::string module;                   // file; empty: beside the program
    std::optional<std::string> simulate;  // description of simulated cameras
    std::optional<int> logLevel;
    std::string logFile;
    std::string genTLPath;

    // Of the commands that open a camera.
    std::string camera;  // serial number
    std::optional<CameraAddress> address;
    std::vector<std::pair<std::string, std::string>> settings;  // applied once it is open

    // Of the commands that take frames.
    std::optional<std::uint64_t> frames;
    bool runByCamera = false;
    std::string outputFolder;
    std::uint64_t saveEvery = 1;
    std::uint64_t timeoutSeconds = 2;
    std::uint64_t procedures = 4;
    std::optional<std::uint64_t> triggerSource;
    std::uint64_t seconds = 0;  // 0: until interrupted
};

// The arguments make no sense; the text says which and why.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// `arguments` without the program's name. "--help", alone or with a command, gives Command::Help.
// Throws UsageError.
[[nodiscard]] Options ParseOptions(std::span<const std::string> arguments);

}  // namespace host
