// get, set, params, save, load: what the module knows and is told.
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>

#include "host/commands.h"
#include "host/console.h"
#include "host/files.h"
#include "host/module_session.h"
#include "host/parameter_page.h"
#include "host/print.h"
#include "host/setting.h"
#include "host/text.h"

namespace host {
namespace {

constexpr std::size_t kRangeColumns = 24;

// The list of cameras stands in one value, its entries ended by carriage returns.
std::string Printable(std::string value) {
    for (char& c : value) {
        if (c == '\r') {
            c = '\n';
        }
    }
    return value;
}

std::vector<ValueInfo> ReadValues(ModuleSession& session) {
    std::vector<ValueInfo> values;
    for (const cam::ParameterInfo& key : cam::AllParameterInfo()) {
        if (key.forPeople) {
            const std::string text =
                IsOnlyWritten(key) ? std::string() : session.Get(std::string(key.key));
            values.push_back(DescribeKey(key, text));
        }
    }
    for (const CommonFeature& feature : CommonFeatures()) {
        const std::string text = session.Get(std::string(feature.name));
        if (!IsUnreadable(text)) {
            ValueInfo& info =
                values.emplace_back(DescribeFeature(feature.name, feature.type, text));
            info.unit = feature.unit;
            info.description = feature.meaning;
        }
    }
    return values;
}

void PrintValues(ModuleSession& session, bool asJson) {
    const std::vector<ValueInfo> values = ReadValues(session);
    if (asJson) {
        Json json = Json::array();
        for (const ValueInfo& value : values) {
            json.push_back(ToJson(value));
        }
        PrintJson(json);
        return;
    }
    const bool forTerminal = OutputWidth() != 0;
    Table table({"KEY", "VALUE", "RANGE", "MEANING"});
    for (const ValueInfo& value : values) {
        const std::string range = RangeText(value);
        table.Add({value.name, value.type == ValueType::Command ? "(command)" : value.value,
                   forTerminal ? Shortened(range, kRangeColumns) : range, value.description});
    }
    Print(table);
}

// In the form in which the module answers for a feature, as far as it goes.
std::string ModuleText(const ValueInfo& feature) {
    std::string text = feature.value;
    for (const ValueEntry& entry : feature.entries) {
        if (entry.name == feature.value) {
            text = std::to_string(entry.value);
        }
    }
    if (!feature.maximum.empty()) {
        text += "$" + feature.minimum + "$" + feature.maximum + "$" + feature.increment;
    }
    for (const ValueEntry& entry : feature.entries) {
        text += "$" + std::to_string(entry.value);
    }
    return text;
}

// Of a camera that another program has.
ExitCode GetBeside(const Options& options, const CameraInUse& inUse) {
    const std::string& name = options.arguments.front();
    const auto inspector = CameraInspector::Find();
    if (!inspector || cam::FindParameterInfo(name) != nullptr) {
        throw Failure(inUse.what() + std::string("; end that program first"));
    }
    const std::string camera = ChosenCamera(*inspector, options);
    const std::optional<ValueInfo> feature = inspector->Feature(camera, name);
    if (!feature) {
        throw Failure("the camera has no feature '" + name + "'");
    }
    PrintMessage(inUse.what() + std::string("; read beside it"));
    if (options.json) {
        PrintJson(ToJson(*feature));
    } else {
        Print(ModuleText(*feature) + "\n");
    }
    return ExitCode::Ok;
}

// The camera that a solution was saved with, as far as this program saved it: one chosen by its
// serial number, or by address. Empty where there was none.
std::string SavedCamera(const std::string& path) {
    std::ifstream file(PathOf(path), std::ios::binary);
    std::string camera;
    for (std::string line; std::getline(file, line);) {
        for (const std::string_view key : {"param \"CameraName\" \"", "param \"CameraIP\" \""}) {
            if (line.starts_with(key)) {
                camera = line.substr(key.size(), line.find('"', key.size()) - key.size());
            }
        }
    }
    return camera == "0" ? std::string() : camera;
}

[[noreturn]] void ThrowUnreadable(ModuleSession& session, const std::string& key) {
    if (const cam::ParameterInfo* const known = cam::FindParameterInfo(key);
        known != nullptr && IsOnlyWritten(*known)) {
        throw Failure(key + " is only written");
    }
    if (session.HasCamera() && session.Inspector() &&
        session.Inspector()->Feature(session.CameraId(), key)) {
        throw Failure(key + " does not let itself be read now");
    }
    throw Failure(UnknownNameText(session, key));
}

// As much as the types known allow.
ValueInfo InfoOf(ModuleSession& session, const std::string& key, const std::string& text) {
    if (const cam::ParameterInfo* const known = cam::FindParameterInfo(key)) {
        return DescribeKey(*known, text);
    }
    if (session.HasCamera() && session.Inspector()) {
        if (auto feature = session.Inspector()->Feature(session.CameraId(), key)) {
            return *std::move(feature);
        }
    }
    for (const CommonFeature& feature : CommonFeatures()) {
        if (feature.name == key) {
            return DescribeFeature(key, feature.type, text);
        }
    }
    return DescribeFeature(key, ValueType::Text, text);
}

}  // namespace

ExitCode RunGet(const Options& options) {
    const std::string& key = options.arguments.front();
    if (key == "CameraImage") {
        throw Failure(ExitCode::Usage, "an image is no text; 'camera_host grab' takes images");
    }
    ModuleSession session(options);
    try {
        session.OpenCamera(options, false);
    } catch (const CameraInUse& inUse) {
        return GetBeside(options, inUse);
    }
    const std::string value = session.Get(key);
    if (IsUnreadable(value)) {
        ThrowUnreadable(session, key);
    }
    if (options.json) {
        PrintJson(ToJson(InfoOf(session, key, value)));
    } else {
        Print(Printable(value) + "\n");
    }
    return ExitCode::Ok;
}

ExitCode RunSet(const Options& options) {
    ModuleSession session(options);
    session.OpenCamera(options, false);
    ExitCode code = ExitCode::Ok;
    for (std::size_t i = 0; i + 1 < options.arguments.size(); i += 2) {
        const std::string& key = options.arguments[i];
        try {
            const std::string value = WriteSetting(session, key, options.arguments[i + 1]);
            Print(value.empty() ? key + " done\n" : key + " = " + Printable(value) + "\n");
        } catch (const Failure& failure) {
            // The others may still be wanted, as those ahead of it are.
            PrintMessage(failure.what());
            code = failure.Code();
        }
    }
    return code;
}

ExitCode RunParams(const Options& options) {
    if (options.markdown) {
        Print(ParameterPage());
        return ExitCode::Ok;
    }
    ModuleSession session(options);
    session.OpenCamera(options, false);
    PrintValues(session, options.json);
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
    PrintValues(session, false);
    // The module goes on looking for it, and answers no failure.
    const std::string camera = SavedCamera(options.arguments.front());
    if (!camera.empty() && IsUnreadable(session.Get("Width"))) {
        throw Failure(ExitCode::NoCamera, "the saved camera '" + camera + "' did not come");
    }
    return ExitCode::Ok;
}

}  // namespace host
