#include "host/options.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

namespace host {
namespace {

using Values = std::span<const std::string>;

constexpr unsigned Bit(Command command) {
    return 1U << static_cast<unsigned>(command);
}

constexpr unsigned kAll = ~0U;
constexpr unsigned kOpening = Bit(Command::Grab) | Bit(Command::Get) | Bit(Command::Set) |
                              Bit(Command::Params) | Bit(Command::Watch) | Bit(Command::Save);

struct CommandRow {
    Command command;
    std::string_view name;
    std::string_view arguments;
    std::size_t minimumArguments;
    std::size_t maximumArguments;
    std::string_view summary;
    std::string_view description;
};

constexpr std::size_t kAnyNumber = std::numeric_limits<std::size_t>::max();

constexpr CommandRow kCommands[] = {
    {Command::List, "list", "", 0, 0, "show the cameras that the module finds",
     R"(Shows the serial number and the name of every camera. Where the output is no terminal, each
camera is a line of serial number, a tab and the name.

  camera_host list
  camera_host list --simulate default
)"},
    {Command::Grab, "grab", "", 0, 0, "take frames and tell how it went",
     R"(Opens the camera and takes frames from it: on request, one software trigger a frame, or, with
--run-by-camera, as the free-running camera sends them. Ends with the frame rate, the data
rate, the frames lost and why, and the time from a frame's arrival to its being in the host's
hands. Without --camera or --ip the first one in the list is taken.

  camera_host grab --frames 100 --out pictures --save-every 10
  camera_host grab --camera SIM0001 --run-by-camera --set ExposureTime=5000
  camera_host grab --ip 192.168.1.20 192.168.1.1
)"},
    {Command::Get, "get", "KEY", 1, 1, "read a value of the module or the camera",
     R"(Prints the value text of a key, or of a camera's feature by its GenICam name. A value with a
range is followed by its bounds: value$minimum$maximum$increment$. Camera features and what
the module knows of a camera need --camera or --ip. 'camera_host params' shows the keys.

  camera_host get ImageCacheNum
  camera_host get ExposureTime --camera SIM0001
)"},
    {Command::Set, "set", "KEY VALUE [KEY VALUE ...]", 2, kAnyNumber,
     "write values of the module or the camera",
     R"(Writes each value, in order, and prints what then reads back. A module's own settings last as
long as the program runs; a camera keeps features until --camera opens it again, which loads
its user set 1, so write SaveParams last to keep them. --ip loads none, and SaveParams then
goes to the set that the camera has selected.

  camera_host set --camera SIM0001 ExposureTime 5000 SaveParams 1
)"},
    {Command::Params, "params", "", 0, 0, "show the keys with value, range and meaning",
     R"(Shows the keys of the module that have an effect and the common camera features: value,
range, meaning. Without --camera or --ip the features of a camera are left out. On a terminal,
long ranges are cut off.

  camera_host params --camera SIM0001
)"},
    {Command::Watch, "watch", "", 0, 0, "show the live state of a camera",
     R"(Opens the camera, lets it run freely, takes its frames, and shows once a second: connection,
frame rate, frames waiting, frames lost. Notices of the module are shown as they come. Without
--camera or --ip the first one in the list is taken. Unless --ip opened it, the camera may be
unplugged and plugged in again meanwhile. Ends with Ctrl-C or after --seconds.

  camera_host watch --camera SIM0001 --seconds 10
)"},
    {Command::Save, "save", "FILE", 1, 1, "save the settings as a solution",
     R"(Opens the camera if one is named, applies the values of --set, and saves all as a host saves
its solution.

  camera_host save line1.solution --camera SIM0001 --set ImageCacheNum=10
)"},
    {Command::Load, "load", "FILE", 1, 1, "load a saved solution and show the result",
     R"(Loads what 'camera_host save' saved, waits for the saved camera as long as the solution says,
and shows the settings.

  camera_host load line1.solution
)"},
    {Command::Folder, "folder", "DIR", 1, 1, "take the pictures of a folder instead of a camera's",
     R"(Reads the BMP, JPEG, PNG and TIFF files of a folder through the module, in rotation, and shows
what each request delivers. The folder's path may hold no blank.

  camera_host folder pictures --frames 20 --out copies
)"},
};

[[nodiscard]] std::uint64_t Number(std::string_view option, const std::string& text,
                                   std::uint64_t minimum, std::uint64_t maximum) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size() || number < minimum ||
        number > maximum) {
        throw UsageError(std::string(option) + " takes a number from " + std::to_string(minimum) +
                         " to " + std::to_string(maximum) + ", not '" + text + "'");
    }
    return number;
}

struct OptionRow {
    std::string_view name;
    std::string_view values;  // one word for each value that follows
    unsigned commands;
    std::string_view help;
    void (*apply)(Options& options, Values values);
};

constexpr std::uint64_t kMany = 1'000'000'000;

const OptionRow kOptions[] = {
    {"--camera", "SERIAL", kOpening, "open the camera of this serial number",
     [](Options& o, Values v) {
         // An empty one would stand for the first camera, and 0 closes instead of opening.
         if (v[0].empty() || v[0] == "0") {
             throw UsageError("--camera takes a serial number");
         }
         o.camera = v[0];
     }},
    {"--ip", "CAMERA LOCAL", kOpening,
     "open a GigE camera by its address and the network card's; sets it to Mono8",
     [](Options& o, Values v) {
         o.address = CameraAddress{v[0], v[1]};
     }},
    {"--set", "KEY=VALUE", kOpening & ~Bit(Command::Set),
     "write a value once the camera is open; may be repeated",
     [](Options& o, Values v) {
         const std::size_t equals = v[0].find('=');
         if (equals == 0 || equals == std::string::npos) {
             throw UsageError("--set takes KEY=VALUE, not '" + v[0] + "'");
         }
         o.settings.emplace_back(v[0].substr(0, equals), v[0].substr(equals + 1));
     }},
    {"--frames", "N", Bit(Command::Grab) | Bit(Command::Folder),
     "frames to take (grab: 10; folder: each picture once)",
     [](Options& o, Values v) { o.frames = Number("--frames", v[0], 1, kMany); }},
    {"--run-by-camera", "", Bit(Command::Grab), "take frames as the camera sends them",
     [](Options& o, Values) { o.runByCamera = true; }},
    {"--procedures", "N", Bit(Command::Grab),
     "procedures that frames are offered to with --run-by-camera (4)",
     [](Options& o, Values v) { o.procedures = Number("--procedures", v[0], 1, 64); }},
    {"--trigger-source", "VALUE", Bit(Command::Grab),
     "the camera's number for its software trigger (7 if listed, else the highest listed)",
     [](Options& o, Values v) { o.triggerSource = Number("--trigger-source", v[0], 0, kMany); }},
    {"--timeout", "SECONDS", Bit(Command::Grab), "how long to wait for a frame (2)",
     [](Options& o, Values v) { o.timeoutSeconds = Number("--timeout", v[0], 1, 1000); }},
    {"--out", "DIR", Bit(Command::Grab) | Bit(Command::Folder),
     "save pictures as PNG in this folder", [](Options& o, Values v) { o.outputFolder = v[0]; }},
    {"--save-every", "K", Bit(Command::Grab) | Bit(Command::Folder),
     "save every Kth frame only (1)",
     [](Options& o, Values v) { o.saveEvery = Number("--save-every", v[0], 1, kMany); }},
    {"--seconds", "N", Bit(Command::Watch), "end after this time",
     [](Options& o, Values v) { o.seconds = Number("--seconds", v[0], 1, kMany); }},
    {"--simulate", "CAMERAS", kAll,
     "use simulated cameras: a description, @FILE with one, or 'default'",
     [](Options& o, Values v) { o.simulate = v[0]; }},
    {"--gentl", "PATH", kAll, "look for cameras through the GenTL producers in this folder",
     [](Options& o, Values v) { o.genTLPath = v[0]; }},
    {"--module", "FILE", kAll, "load this module, not the one beside the program",
     [](Options& o, Values v) { o.module = v[0]; }},
    {"--log-level", "N", kAll, "show the module's log: 1 debug, 2 information, 3 warning, 4 error",
     [](Options& o, Values v) {
         o.logLevel = static_cast<int>(Number("--log-level", v[0], 1, 4));
     }},
    {"--log-file", "FILE", kAll, "append the module's log to this file",
     [](Options& o, Values v) { o.logFile = v[0]; }},
    {"--help", "", kAll, "show this help, as -h does", nullptr},
    {"--version", "", kAll, "show the version", nullptr},
};

constexpr std::string_view kSimulationHelp =
    "Simulated cameras are described by a line each, or separated by ';': a kind (gige, usb3 or\n"
    "gentl) and what differs from the usual, for example\n\n"
    "  --simulate 'gige serial=A1 rate=60; usb3 serial=B2 format=RGB8 width=1280 height=960'\n\n"
    "'default' is one of each kind; those of GenTL show with --gentl and any folder.\n";

constexpr std::string_view kExitCodes =
    "Exit codes: 0 done, 1 failure, 2 wrong usage, 3 no such camera, 4 no frame came,\n"
    "130 interrupted.\n";

[[nodiscard]] std::string OptionHelp(unsigned commands) {
    constexpr std::size_t kHelpColumn = 28;
    std::string text;
    for (const OptionRow& row : kOptions) {
        if ((row.commands & commands) == 0) {
            continue;
        }
        std::string line = "  " + std::string(row.name);
        if (!row.values.empty()) {
            line += ' ';
            line += row.values;
        }
        line.resize(std::max(kHelpColumn, line.size() + 1), ' ');
        text += line + std::string(row.help) + '\n';
    }
    return text;
}

[[nodiscard]] std::string HelpText(const CommandRow* command) {
    if (command != nullptr) {
        std::string usage = "usage: camera_host " + std::string(command->name);
        if (!command->arguments.empty()) {
            usage += ' ';
            usage += command->arguments;
        }
        return usage + " [options]\n\n" + std::string(command->description) + "\nOptions:\n" +
               OptionHelp(Bit(command->command)) + '\n' + std::string(kExitCodes);
    }
    std::string text =
        "usage: camera_host COMMAND [options]\n\n"
        "Loads the camera module as a machine-vision host does, and works with its cameras.\n\n"
        "Commands:\n";
    for (const CommandRow& row : kCommands) {
        std::string name = "  " + std::string(row.name);
        name.resize(10, ' ');
        text += name + std::string(row.summary) + '\n';
    }
    return text + "\n'camera_host COMMAND --help' tells more of one. Options of every command:\n" +
           OptionHelp(Bit(Command::Help)) + '\n' + std::string(kSimulationHelp) + '\n' +
           std::string(kExitCodes);
}

[[nodiscard]] const CommandRow& FindCommand(const std::string& name) {
    const auto* found = std::find_if(std::begin(kCommands), std::end(kCommands),
                                     [&](const CommandRow& row) { return row.name == name; });
    if (found == std::end(kCommands)) {
        throw UsageError("there is no command '" + name + "'");
    }
    return *found;
}

[[nodiscard]] const OptionRow& FindOption(const std::string& name) {
    const auto* found = std::find_if(std::begin(kOptions), std::end(kOptions),
                                     [&](const OptionRow& row) { return row.name == name; });
    if (found == std::end(kOptions)) {
        throw UsageError("there is no option '" + name + "'");
    }
    return *found;
}

// What may be wrong with a command line whose words are each understood.
void Check(const Options& options, const CommandRow& command,
           std::span<const OptionRow* const> used) {
    for (const OptionRow* option : used) {
        if ((option->commands & Bit(command.command)) == 0) {
            throw UsageError("'" + std::string(command.name) + "' has no option " +
                             std::string(option->name));
        }
    }
    const std::size_t count = options.arguments.size();
    if (count < command.minimumArguments || count > command.maximumArguments ||
        (command.command == Command::Set && count % 2 != 0)) {
        throw UsageError(
            "'" + std::string(command.name) + "' takes " +
            (command.arguments.empty() ? "no arguments" : std::string(command.arguments)));
    }
    if (!options.camera.empty() && options.address) {
        throw UsageError("--camera and --ip exclude each other");
    }
}

[[nodiscard]] std::size_t CountWords(std::string_view text) {
    return text.empty() ? 0
                        : static_cast<std::size_t>(std::count(text.begin(), text.end(), ' ')) + 1;
}

}  // namespace

Options ParseOptions(std::span<const std::string> arguments) {
    Options options;
    const CommandRow* command = nullptr;
    std::vector<const OptionRow*> used;
    bool help = arguments.empty();
    bool version = false;
    bool onlyArguments = false;  // behind "--"

    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (onlyArguments || (!argument.starts_with("--") && argument != "-h")) {
            if (command != nullptr) {
                options.arguments.push_back(argument);
            } else if (argument == "help") {
                help = true;
            } else {
                command = &FindCommand(argument);
            }
            continue;
        }
        if (argument == "--") {
            onlyArguments = true;
            continue;
        }
        const std::size_t equals = argument.find('=');
        const OptionRow& option =
            FindOption(argument == "-h" ? "--help" : argument.substr(0, equals));
        help = help || option.name == "--help";
        version = version || option.name == "--version";
        std::vector<std::string> values;
        if (equals != std::string::npos) {
            values.push_back(argument.substr(equals + 1));
        }
        const std::size_t count = CountWords(option.values);
        while (values.size() < count && i + 1 < arguments.size()) {
            values.push_back(arguments[++i]);
        }
        if (values.size() != count) {
            throw UsageError(std::string(option.name) + " takes " +
                             (count == 0 ? "no value" : std::string(option.values)));
        }
        if (option.apply != nullptr) {
            option.apply(options, values);
        }
        used.push_back(&option);
    }

    if (help) {
        options.helpText = HelpText(command);
        return options;
    }
    if (version) {
        options.command = Command::Version;
        return options;
    }
    if (command == nullptr) {
        throw UsageError("a command is missing");
    }
    options.command = command->command;
    Check(options, *command, used);
    return options;
}

}  // namespace host
