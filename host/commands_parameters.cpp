// list, get, set, params, save, load: what the module knows and is told.
#include <cstdio>
#include <optional>

#include "host/commands.h"
#include "host/console.h"
#include "host/module_session.h"
#include "host/parameter_help.h"
#include "host/text.h"

namespace host {
namespace {

// A camera's list of pixel formats would push the meaning off the screen.
constexpr std::size_t kRangeColumns = 24;

void Print(const Table& table) {
    std::fputs(table.Text(OutputIsTerminal()).c_str(), Output());
}

// Nothing where the camera has no such feature or does not answer.
std::optional<ShownValue> Read(ModuleSession& session, const ParameterHelp& parameter) {
    if (parameter.kind == ValueKind::Command) {
        return ShownValue{};
    }
    const std::string text = session.Get(std::string(parameter.key));
    if (IsUnreadable(text)) {
        return std::nullopt;
    }
    return ShowValue(parameter.kind, text);
}

Table ParameterTable(ModuleSession& session) {
    Table table({"KEY", "VALUE", "RANGE", "MEANING"});
    for (const ParameterHelp& parameter : AllParameters()) {
        if (const auto shown = Read(session, parameter)) {
            const bool command = parameter.kind == ValueKind::Command;
            table.Add({std::string(parameter.key), command ? "(command)" : shown->value,
                       OutputIsTerminal() ? Shortened(shown->range, kRangeColumns) : shown->range,
                       std::string(parameter.meaning)});
        }
    }
    return table;
}

// The list of cameras stands in one value, its entries ended by carriage returns.
std::string Printable(std::string value) {
    for (char& c : value) {
        if (c == '\r') {
            c = '\n';
        }
    }
    return value;
}

}  // namespace

ExitCode RunList(const Options& options) {
    ModuleSession session(options);
    const ChoiceList list = session.Cameras();
    if (list.cameras.empty()) {
        std::fputs("camera_host: no camera was found\n", stderr);
        return ExitCode::Ok;
    }
    Table table({"SERIAL", "NAME"});
    for (const CameraChoice& camera : list.cameras) {
        table.Add({camera.serial, camera.name});
    }
    Print(table);
    return ExitCode::Ok;
}

ExitCode RunGet(const Options& options) {
    const std::string& key = options.arguments.front();
    if (key == "CameraImage") {
        throw Failure(ExitCode::Usage, "an image is no text; 'camera_host grab' takes images");
    }
    ModuleSession session(options);
    session.OpenCamera(options, false);
    const std::string value = session.Get(key);
    if (IsUnreadable(value)) {
        if (IsOnlyWritten(key)) {
            throw Failure(key + " is only written");
        }
        throw Failure(key + " cannot be read: " +
                      (options.camera.empty() && !options.address
                           ? "a camera's feature needs --camera or --ip"
                           : "the camera has no such feature, or does not let it be read"));
    }
    std::fputs((Printable(value) + "\n").c_str(), Output());
    return ExitCode::Ok;
}

ExitCode RunSet(const Options& options) {
    ModuleSession session(options);
    session.OpenCamera(options, false);
    for (std::size_t i = 0; i + 1 < options.arguments.size(); i += 2) {
        const std::string& key = options.arguments[i];
        session.Set(key, options.arguments[i + 1]);
        const std::string value = Printable(session.Get(key));
        // Commands have no value to read back, nor have features that the camera lacks.
        if (!value.empty() && !IsUnreadable(value)) {
            std::fprintf(Output(), "%s = %s\n", key.c_str(), value.c_str());
        }
    }
    return ExitCode::Ok;
}

ExitCode RunParams(const Options& options) {
    ModuleSession session(options);
    session.OpenCamera(options, false);
    Print(ParameterTable(session));
    return ExitCode::Ok;
}

ExitCode RunSave(const Options& options) {
    ModuleSession session(options);
    session.OpenCamera(options, false);
    session.SaveSolution(options.arguments.front());
    return ExitCode::Ok;
}

ExitCode RunLoad(const Options& options) {
    ModuleSession session(options);
    session.LoadSolution(options.arguments.front());
    Print(ParameterTable(session));
    return ExitCode::Ok;
}

}  // namespace host
