#include "host/help.h"

#include <algorithm>
#include <set>

#include "host/text.h"

namespace host {
namespace {

constexpr std::size_t kHelpColumn = 28;
// Narrower terminals get the help of an option below it.
constexpr std::size_t kNarrow = 60;

std::vector<const CLI::App*> Commands(const CLI::App& program) {
    return program.get_subcommands([](const CLI::App*) { return true; });
}

std::vector<const CLI::Option*> OptionsOf(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}

std::string LongName(const CLI::Option& option) {
    return "--" + option.get_lnames().front();
}

// "--frames N", "-h, --help".
std::string Synopsis(const CLI::Option& option) {
    std::string text;
    for (const std::string& name : option.get_snames()) {
        text += "-" + name + ", ";
    }
    text += LongName(option);
    const std::string& values = option.get_type_name();
    return values.empty() ? text : text + " " + values;
}

std::string Arguments(const CLI::App& command) {
    std::string text;
    for (const CLI::Option* option :
         command.get_options([](const CLI::Option* each) { return each->get_positional(); })) {
        text += " " + option->get_type_name();
    }
    return text;
}

// Two columns, or one below the other where the terminal is narrow.
std::string Entry(const std::string& name, const std::string& text, std::size_t column,
                  std::size_t width) {
    const std::string head = "  " + name;
    if (width < kNarrow || head.size() + 2 > column) {
        constexpr std::size_t kIndent = 6;
        const std::size_t indent = width < kNarrow ? kIndent : column;
        return head + "\n" + std::string(indent, ' ') + Wrapped(text, width - indent, indent) +
               "\n";
    }
    return head + std::string(column - head.size(), ' ') + Wrapped(text, width - column, column) +
           "\n";
}

std::string OptionHelp(const CLI::App& app, std::size_t width) {
    std::string text;
    for (const CLI::Option* option : OptionsOf(app)) {
        text += Entry(Synopsis(*option), option->get_description(), kHelpColumn, width);
    }
    return text;
}

std::string Words(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

std::string OptionWords(const CLI::App& app) {
    std::vector<std::string> words;
    for (const CLI::Option* option : OptionsOf(app)) {
        words.push_back(LongName(*option));
    }
    return Words(words);
}

// As roff takes it: '-' is a hyphen and '.' or ''' at the start of a line a request.
std::string Roff(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        const bool lineStart = escaped.empty() || escaped.back() == '\n';
        if (c == '-' || c == '\\') {
            escaped += c == '-' ? "\\-" : "\\e";
        } else if (lineStart && (c == '.' || c == '\'')) {
            escaped.append("\\&").push_back(c);
        } else {
            escaped += c;
        }
    }
    return escaped;
}

// Lines that begin with blanks are examples and stay as they are.
std::string RoffText(const std::string& text) {
    std::string page;
    bool example = false;
    for (const std::string_view line : SplitFields(text, '\n')) {
        const bool indented = line.starts_with("  ");
        if (indented != example) {
            page += indented ? ".nf\n" : ".fi\n";
            example = indented;
        }
        page += line.empty() ? ".PP\n" : Roff(std::string(line)) + "\n";
    }
    return example ? page + ".fi\n" : page;
}

std::string RoffOptions(const CLI::App& app) {
    std::string page;
    for (const CLI::Option* option : OptionsOf(app)) {
        page += ".TP\n\\fB" + Roff(Synopsis(*option)) + "\\fR\n" + Roff(option->get_description()) +
                "\n";
    }
    return page;
}

}  // namespace

std::string HelpText(const CLI::App& program, const CLI::App* command, std::size_t width) {
    if (command != nullptr) {
        return Wrapped("usage: " + program.get_name() + " " + command->get_name() +
                           Arguments(*command) + " [options]\n\n" + command->get_footer(),
                       width, 0) +
               "\nOptions:\n" + OptionHelp(*command, width) + "\nOptions of every command:\n" +
               OptionHelp(program, width) + "\n" + Wrapped(program.get_description(), width, 0);
    }
    std::string text = "usage: " + program.get_name() + " COMMAND [options]\n\nCommands:\n";
    for (const CLI::App* each : Commands(program)) {
        constexpr std::size_t kCommandColumn = 13;
        text += Entry(each->get_name(), each->get_description(), kCommandColumn, width);
    }
    return text + "\n" +
           Wrapped("'" + program.get_name() + " COMMAND --help' explains a command.", width, 0) +
           "\nOptions of every command:\n" + OptionHelp(program, width) + "\n" +
           Wrapped(program.get_footer(), width, 0) + "\n" +
           Wrapped(program.get_description(), width, 0);
}

std::string BashCompletion(const CLI::App& program) {
    std::vector<std::string> names;
    std::string cases;
    std::set<std::string> files;
    std::set<std::string> folders;
    for (const CLI::App* command : Commands(program)) {
        names.push_back(command->get_name());
        cases +=
            "        " + command->get_name() + ") words=\"" + OptionWords(*command) + "\" ;;\n";
        const std::string arguments = Arguments(*command);
        if (arguments == " FILE" || arguments == " DIR") {
            (arguments == " DIR" ? folders : files).insert(command->get_name());
        }
        for (const CLI::Option* option : OptionsOf(*command)) {
            if (option->get_type_name() == "DIR") {
                folders.insert(LongName(*option));
            }
        }
    }
    for (const CLI::Option* option : OptionsOf(program)) {
        if (option->get_type_name() == "FILE") {
            files.insert(LongName(*option));
        } else if (option->get_type_name() == "DIR") {
            folders.insert(LongName(*option));
        }
    }
    const auto alternatives = [](const std::set<std::string>& set) {
        std::string text;
        for (const std::string& each : set) {
            text += (text.empty() ? "" : "|") + each;
        }
        return text;
    };
    return "# bash completion for camera_host; made by 'camera_host completion'.\n"
           "_camera_host() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}\n"
           "    local command words word\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        case $word in\n        " +
           [&] {
               std::string text;
               for (const std::string& name : names) {
                   text += (text.empty() ? "" : "|") + name;
               }
               return text;
           }() +
           ") command=$word; break ;;\n"
           "        esac\n"
           "    done\n"
           "    case $previous in\n"
           "        " +
           alternatives(folders) +
           ") COMPREPLY=($(compgen -d -- \"$current\")); return ;;\n"
           "        " +
           alternatives(files) +
           ") COMPREPLY=($(compgen -f -- \"$current\")); return ;;\n"
           "        --camera)\n"
           "            COMPREPLY=($(compgen -W \"$(camera_host list 2>/dev/null | cut -f1)\" -- "
           "\"$current\"))\n"
           "            return ;;\n"
           "        --format) COMPREPLY=($(compgen -W \"png tiff raw\" -- \"$current\")); return "
           ";;\n"
           "    esac\n"
           "    case $command in\n"
           "        '') words=\"" +
           Words(names) + "\" ;;\n" + cases +
           "    esac\n"
           "    [[ -n $command && $current != -* ]] && words=\n"
           "    [[ $current == -* ]] && words+=\" " +
           OptionWords(program) +
           "\"\n"
           "    COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
           "}\n"
           "complete -F _camera_host camera_host camera_host.exe\n";
}

std::string ManPage(const CLI::App& program) {
    std::string page =
        ".TH CAMERA_HOST 1\n.SH NAME\ncamera_host \\- brings the camera module's "
        "cameras into service\n.SH SYNOPSIS\n\\fBcamera_host\\fR COMMAND [options]\n"
        ".SH COMMANDS\n";
    for (const CLI::App* command : Commands(program)) {
        page += ".SS " + command->get_name() + Roff(Arguments(*command)) + "\n" +
                RoffText(command->get_footer()) + RoffOptions(*command);
    }
    return page + ".SH OPTIONS OF EVERY COMMAND\n" + RoffOptions(program) +
           ".SH SIMULATED CAMERAS\n" + RoffText(program.get_footer()) + ".SH EXIT STATUS\n" +
           RoffText(program.get_description());
}

}  // namespace host
