#include "host/command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <memory>
#include <string_view>

#include "host/help.h"
#include "host/network.h"
#include "host/text.h"

namespace host {
namespace {

constexpr std::uint64_t kMany = 1'000'000'000;

constexpr char kSimulationHelp[] =
    "Simulated cameras are described one per line, or separated by ';': a kind (gige, usb3 or "
    "gentl), then name=value for each setting that differs from the default. Example:\n"
    "\n"
    "  --simulate 'gige serial=A1 rate=60; usb3 format=RGB8 width=1280'\n"
    "\n"
    "Names: serial, name, model, maker, width, height, format, rate, ip, nic, events, interface, "
    "transport. 'default' is one of each kind. GenTL cameras are listed only with --gentl; any "
    "folder will do.\n";

constexpr char kExitCodes[] =
    "Exit codes: 0 success, 1 failure, 2 usage error, 3 camera not found, or lost for good, 4 no "
    "frame received, 130 interrupted.\n";

[[nodiscard]] std::uint64_t Number(const std::string& option, const std::string& text,
                                   std::uint64_t minimum, std::uint64_t maximum) {
    const auto number = ParseInteger(text);
    if (!number || *number < 0 || static_cast<std::uint64_t>(*number) < minimum ||
        static_cast<std::uint64_t>(*number) > maximum) {
        throw UsageError(option + " takes a number from " + std::to_string(minimum) + " to " +
                         std::to_string(maximum) + ", not '" + text + "'");
    }
    return static_cast<std::uint64_t>(*number);
}

// The command line as CLI11 parses it, into `options`.
class Description {
  public:
    explicit Description(Options& options);

    CLI::App& Program() { return m_program; }
    // Of the command that was parsed; null: none was.
    [[nodiscard]] const CLI::App* Chosen() const;

  private:
    using Store = std::function<void(const std::string& value)>;

    static void Value(CLI::App& app, const std::string& name, const std::string& values,
                      const std::string& help, const Store& store) {
        app.add_option_function<std::string>(name, store, help)
            ->type_name(values)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    }
    static void Count(CLI::App& app, const std::string& name, const std::string& help,
                      std::uint64_t minimum, std::uint64_t maximum,
                      const std::function<void(std::uint64_t)>& store) {
        Value(app, name, "N", help,
              [=](const std::string& text) { store(Number(name, text, minimum, maximum)); });
    }

    CLI::App& Add(Command command, const char* name, const char* arguments, std::size_t most,
                  const char* summary, const char* description);
    void AddCamera(CLI::App& app, bool opens);
    void AddRecording(CLI::App& app);
    void AddJson(CLI::App& app, const char* help) { app.add_flag("--json", m_options.json, help); }

    Options& m_options;
    CLI::App m_program{kExitCodes, "camera_host"};
};

constexpr std::size_t kAnyNumber = 1000;

CLI::App& Description::Add(Command command, const char* name, const char* arguments,
                           std::size_t most, const char* summary, const char* description) {
    CLI::App& app = *m_program.add_subcommand(name, summary);
    app.footer(description);
    app.set_help_flag("-h,--help", "show this help");
    app.parse_complete_callback([this, command] { m_options.command = command; });
    if (most > 0) {
        const bool optional = arguments[0] == '[';
        app.add_option("arguments", m_options.arguments)
            ->type_name(arguments)
            ->expected(optional ? 0 : 1, static_cast<int>(most))
            ->required(!optional);
    }
    return app;
}

void Description::AddCamera(CLI::App& app, bool opens) {
    Value(app, "--camera", "SERIAL", "the camera with this serial number",
          [this](const std::string& serial) {
              // An empty one would stand for the first camera, and 0 closes instead of opening.
              if (serial.empty() || serial == "0") {
                  throw UsageError("--camera takes a serial number");
              }
              m_options.camera = serial;
          });
    Value(app, "--ip", "CAMERA [LOCAL]",
          std::string("the GigE camera at this address; LOCAL is the address of the network card "
                      "to use (default: found automatically)") +
              (opens ? "; sets it to Mono8" : ""),
          [this](const std::string& addresses) {
              const auto fields = SplitFields(addresses, ',');
              m_options.address = CameraAddress{std::string(fields.front()),
                                                fields.size() > 1 ? std::string(fields[1]) : ""};
              for (const std::string_view field : fields) {
                  if (!ParseAddress(field)) {
                      throw UsageError("--ip takes addresses a.b.c.d, not '" + std::string(field) +
                                       "'");
                  }
              }
          });
    if (opens && app.get_name() != "set") {
        app.add_option_function<std::vector<std::string>>(
               "--set",
               [this](const std::vector<std::string>& pairs) {
                   for (const std::string& pair : pairs) {
                       const std::size_t equals = pair.find('=');
                       if (equals == 0 || equals == std::string::npos) {
                           throw UsageError("--set takes KEY=VALUE, not '" + pair + "'");
                       }
                       m_options.settings.emplace_back(pair.substr(0, equals),
                                                       pair.substr(equals + 1));
                   }
               },
               "write a value once the camera is open; may be repeated")
            ->type_name("KEY=VALUE")
            ->type_size(1)
            ->allow_extra_args(false)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    }
}

void Description::AddRecording(CLI::App& app) {
    RecordingOptions& recording = m_options.recording;
    Value(app, "--out", "DIR", "save pictures in this folder",
          [&](const std::string& folder) { recording.folder = folder; });
    Value(app, "--format", "png|tiff|raw",
          "file format: compressed (png), or as fast as the disk (tiff, or raw with a text file "
          "beside it)",
          [&](const std::string& text) {
              const auto format = ParsePictureFormat(text);
              if (!format) {
                  throw UsageError("--format takes png, tiff or raw, not '" + text + "'");
              }
              recording.format = *format;
          });
    Count(app, "--save-every", "save only every Nth frame (1)", 1, kMany,
          [&](std::uint64_t every) { recording.every = every; });
    Count(app, "--writers", "threads that write pictures (one per core)", 1, 64,
          [&](std::uint64_t writers) { recording.writers = writers; });
    Count(app, "--queue", "frames that may wait to be written (512 MiB of them, at most 64)", 1,
          100'000, [&](std::uint64_t queue) { recording.queue = queue; });
}

Description::Description(Options& options) : m_options(options) {
    m_program.footer(kSimulationHelp);
    // Or the path of a file would pass for an option on Windows.
    m_program.allow_windows_style_options(false);
    m_program.require_subcommand(0, 1);
    m_program.fallthrough();
    Value(m_program, "--simulate", "CAMERAS",
          "use simulated cameras: a description, @FILE with one, or 'default'",
          [this](const std::string& text) { m_options.simulate = text; });
    Value(m_program, "--gentl", "DIR", "find cameras through the GenTL producers in this folder",
          [this](const std::string& path) { m_options.genTLPath = path; });
    Value(m_program, "--module", "FILE", "load this module instead of the one beside the program",
          [this](const std::string& file) { m_options.module = file; });
    Count(m_program, "--log-level",
          "show the module's log: 1 debug, 2 information, 3 warning, 4 error", 1, 4,
          [this](std::uint64_t level) { m_options.logLevel = static_cast<int>(level); });
    Value(m_program, "--log-file", "FILE", "append the module's log to this file",
          [this](const std::string& file) { m_options.logFile = file; });
    m_program.add_flag_callback(
        "--version", [this] { m_options.command = Command::Version; }, "show the version");
    m_program.set_help_flag("-h,--help", "show this help");

    CLI::App& list = Add(
        Command::List, "list", "", 0, "list the cameras",
        R"(Shows each camera's serial number, name, model, maker, address, network card, transport, and whether it can be opened. If the output is not a terminal, prints one line per camera with tabs between the fields.

  camera_host list
  camera_host list --simulate default
)");
    AddJson(list, "print a JSON array");

    CLI::App& features = Add(
        Command::Features, "features", "[PATTERN]", 1, "list the features of a camera",
        R"(Shows name, value, unit, range or entries, and access of the camera's features. They are read without taking control, so another program may control the camera. PATTERN is part of a name, ignoring case, or a pattern with * and ?. Without --camera or --ip the first camera is used.

  camera_host features --camera SIM0001
  camera_host features trigger --camera SIM0001
)");
    AddCamera(features, false);
    AddJson(features, "print a JSON array");

    CLI::App& describe =
        Add(Command::Describe, "describe", "NAME", 1, "explain one feature or key",
            R"(Shows everything known about a feature of the camera or a key of the module.

  camera_host describe PixelFormat --camera SIM0001
  camera_host describe ImageCacheNum
)");
    AddCamera(describe, false);
    AddJson(describe, "print a JSON object");

    CLI::App& get = Add(
        Command::Get, "get", "KEY", 1, "read a value of the module or the camera",
        R"(Prints the value text of a key, or of a camera's feature by its GenICam name. A value with a range is followed by its bounds: value$minimum$maximum$increment$. Camera features, and keys about a camera, need --camera or --ip. Features of a camera that another program controls are read without taking control.

  camera_host get ImageCacheNum
  camera_host get ExposureTime --camera SIM0001
)");
    AddCamera(get, true);
    AddJson(get, "print a JSON object");

    CLI::App& set = Add(
        Command::Set, "set", "KEY VALUE [KEY VALUE ...]", kAnyNumber,
        "write values of the module or the camera",
        R"(Writes each value, in order, and prints what reads back afterwards. A value that does not take effect is reported, and the exit code is 1. Enumeration entries are given by name or number. A module's own settings last as long as the program runs; a camera keeps features until --camera opens it again, which loads its user set 1, so write SaveParams last to keep them. --ip loads no user set, and SaveParams then saves to the one that the camera has selected.

  camera_host set --camera SIM0001 ExposureTime 5000 SaveParams 1
)");
    AddCamera(set, true);

    CLI::App& params = Add(
        Command::Params, "params", "", 0, "list the keys with value, range and meaning",
        R"(Shows the keys of the module that have an effect and the common camera features: value, range, meaning. Camera features are listed only with --camera or --ip. On a terminal, long ranges are truncated.

  camera_host params --camera SIM0001
)");
    AddCamera(params, true);
    AddJson(params, "print a JSON array");
    params.add_flag("--markdown", m_options.markdown,
                    "print the documentation of the module's keys instead");

    CLI::App& grab = Add(
        Command::Grab, "grab", "", 0, "grab frames and print a summary",
        R"(Opens the camera and takes frames from it: on request, one software trigger per frame, or, with --run-by-camera, as the free-running camera sends them. Ends with a summary: frame rates, frames lost and why, and the time from a frame's arrival to the host. If the camera is lost, grabbing continues as soon as the module has found it again, within ReconnectTime. --out records the frames; those that the disk cannot keep up with are dropped and counted, except on request, where the next trigger waits. Without --camera or --ip the first camera is used.

  camera_host grab --frames 100 --out pictures --save-every 10
  camera_host grab --camera SIM0001 --run-by-camera --seconds 60
  camera_host grab --ip 192.168.1.20 --frames 0 --out raw --format raw
)");
    AddCamera(grab, true);
    Count(grab, "--frames", "frames to take (10; no limit with --seconds); 0: until Ctrl-C", 0,
          kMany, [this](std::uint64_t frames) { m_options.frames = frames; });
    Count(grab, "--seconds", "end after this time", 1, kMany,
          [this](std::uint64_t seconds) { m_options.seconds = seconds; });
    grab.add_flag("--run-by-camera", m_options.runByCamera, "take frames as the camera sends them");
    Count(grab, "--procedures",
          "number of procedures that frames are offered to with --run-by-camera (4)", 1, 64,
          [this](std::uint64_t procedures) { m_options.procedures = procedures; });
    Count(grab, "--trigger-source",
          "the camera's number for its software trigger (found by name, else 7 if listed, else the "
          "highest listed)",
          0, kMany, [this](std::uint64_t source) { m_options.triggerSource = source; });
    Count(grab, "--timeout", "seconds to wait for a frame (2)", 1, 1000,
          [this](std::uint64_t seconds) { m_options.timeoutSeconds = seconds; });
    AddRecording(grab);
    AddJson(grab, "print the summary as a JSON object");

    CLI::App& watch = Add(
        Command::Watch, "watch", "", 0, "show the live state of a camera",
        R"(Opens the camera, lets it run freely, takes its frames, and shows once a second: connection, frame rate, frames waiting, frames lost. Reports when the camera is lost and when it returns. Without --camera or --ip the first camera is used. Ends with Ctrl-C or after --seconds.

  camera_host watch --camera SIM0001 --seconds 10
)");
    AddCamera(watch, true);
    Count(watch, "--seconds", "end after this time", 1, kMany,
          [this](std::uint64_t seconds) { m_options.seconds = seconds; });
    AddJson(watch, "print a JSON object per line");

    CLI::App& doctor = Add(
        Command::Doctor, "doctor", "", 0, "diagnose what keeps a camera from working well",
        R"(Checks network card and subnet, packet size, receive buffers, permissions, free shared memory and who controls the camera, and suggests a remedy for each finding. Changes nothing. Without --camera or --ip every camera is checked. The exit code is 1 if something keeps a camera from working.

  camera_host doctor --camera SIM0001
)");
    AddCamera(doctor, false);
    AddJson(doctor, "print a JSON array");

    CLI::App& save = Add(
        Command::Save, "save", "FILE", 1, "save the settings as a solution",
        R"(Opens the camera, if one is given, applies the values of --set, and saves the settings as a host saves its solution.

  camera_host save line1.solution --camera SIM0001 --set ImageCacheNum=10
)");
    AddCamera(save, true);

    Add(Command::Load, "load", "FILE", 1, "load a saved solution and show the result",
        R"(Loads a solution that 'camera_host save' saved, waits for its camera as long as the solution says, and shows the settings. The exit code is 3 if the camera did not come on-line.

  camera_host load line1.solution
)");

    CLI::App& folder = Add(
        Command::Folder, "folder", "DIR", 1, "read pictures from a folder instead of a camera",
        R"(Reads the BMP, JPEG, PNG and TIFF files of a folder through the module and lists each picture once, by name, and the files that cannot be read. The folder's path must not contain blanks.

  camera_host folder pictures --out copies
)");
    Count(folder, "--frames", "pictures to read, in rotation (each once)", 1, kMany,
          [this](std::uint64_t frames) { m_options.frames = frames; });
    AddRecording(folder);

    Add(Command::Completion, "completion", "", 0, "print a completion script for bash",
        R"(Prints a script that completes commands, options and serial numbers in bash.

  source <(camera_host completion)
)");
    Add(Command::Man, "man", "", 0, "print the man page",
        R"(Prints a page for man(1), made from this help.

  camera_host man | man -l -
)");
}

const CLI::App* Description::Chosen() const {
    const auto chosen = m_program.get_subcommands();
    return chosen.empty() ? nullptr : chosen.front();
}

// What the parser could not place, as a person would put it.
std::string UnexpectedText(const Description& description, CLI::App& program) {
    const std::vector<std::string> left = program.remaining(true);
    const std::string word = left.empty() ? std::string() : left.front();
    const CLI::App* const chosen = description.Chosen();
    std::vector<std::string> known;
    if (word.starts_with("-")) {
        for (const CLI::App* app : {chosen, static_cast<const CLI::App*>(&program)}) {
            for (const CLI::Option* option :
                 app != nullptr ? app->get_options() : std::vector<const CLI::Option*>()) {
                for (const std::string& name : option->get_lnames()) {
                    known.push_back("--" + name);
                }
            }
        }
        const std::string name = word.substr(0, word.find('='));
        if (chosen == nullptr) {
            return "there is no option '" + name + "' before a command" + Suggestion(name, known);
        }
        return "'" + chosen->get_name() + "' has no option " + name + Suggestion(name, known);
    }
    if (chosen == nullptr) {
        for (const CLI::App* command : program.get_subcommands({})) {
            known.push_back(command->get_name());
        }
        return "there is no command '" + word + "'" + Suggestion(word, known);
    }
    return "'" + chosen->get_name() + "' does not take '" + word + "'";
}

std::string TakesText(const CLI::App& command) {
    const auto positionals =
        command.get_options([](const CLI::Option* option) { return option->get_positional(); });
    return "'" + command.get_name() + "' takes " +
           (positionals.empty() ? "no arguments" : positionals.front()->get_type_name());
}

// The parser's text begins with the option's name.
std::string MismatchText(const std::string& text, Description& description) {
    const std::string name = text.substr(0, text.find(':'));
    for (const CLI::App* app :
         {description.Chosen(), static_cast<const CLI::App*>(&description.Program())}) {
        const CLI::Option* const option = app != nullptr ? app->get_option_no_throw(name) : nullptr;
        if (option != nullptr) {
            return name + " takes " + option->get_type_name();
        }
    }
    return text;
}

// "--ip CAMERA LOCAL" as one value: what follows the camera is the second address only where it
// looks like one.
std::vector<std::string> WithJoinedAddresses(std::span<const std::string> arguments) {
    std::vector<std::string> joined;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        joined.push_back(arguments[i]);
        if (arguments[i] == "--") {
            joined.insert(joined.end(), arguments.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                          arguments.end());
            break;
        }
        if (arguments[i] == "--ip" && i + 1 < arguments.size()) {
            joined.push_back(arguments[++i]);
        } else if (!arguments[i].starts_with("--ip=")) {
            continue;
        }
        if (i + 1 < arguments.size() && arguments[i + 1].find('.') != std::string::npos &&
            arguments[i + 1].find_first_not_of("0123456789.") == std::string::npos) {
            joined.back() += "," + arguments[++i];
        }
    }
    return joined;
}

}  // namespace

Options ParseCommandLine(std::span<const std::string> arguments, std::size_t width) {
    Options options;
    Description description(options);
    CLI::App& program = description.Program();
    std::vector<std::string> words = WithJoinedAddresses(arguments);
    if (!words.empty() && words.front() == "help") {
        words.erase(words.begin());
        words.emplace_back("--help");
    }
    if (words.empty()) {
        words.emplace_back("--help");
    }
    std::reverse(words.begin(), words.end());  // as CLI11 takes them
    try {
        program.parse(words);
    } catch (const CLI::CallForHelp&) {
        options.command = Command::Help;
        options.text = HelpText(program, description.Chosen(), width);
        return options;
    } catch (const CLI::ExtrasError&) {
        throw UsageError(UnexpectedText(description, program));
    } catch (const CLI::RequiredError&) {
        throw UsageError(TakesText(*description.Chosen()));
    } catch (const CLI::ArgumentMismatch& error) {
        throw UsageError(MismatchText(error.what(), description));
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    }
    if (options.command == Command::Version) {
        return options;
    }
    const CLI::App* const chosen = description.Chosen();
    if (chosen == nullptr) {
        throw UsageError("a command is missing");
    }
    if (options.command == Command::Set && options.arguments.size() % 2 != 0) {
        throw UsageError(TakesText(*chosen));
    }
    if (!options.camera.empty() && options.address) {
        throw UsageError("--camera and --ip exclude each other");
    }
    if (options.command == Command::Completion) {
        options.text = BashCompletion(program);
    } else if (options.command == Command::Man) {
        options.text = ManPage(program);
    }
    return options;
}

}  // namespace host
