// features, describe: what a camera has, read without taking control of it.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/camera_inspector.h"
#include "host/commands.h"
#include "host/console.h"
#include "host/module_session.h"
#include "host/print.h"
#include "host/text.h"

namespace host {
namespace {

// A camera's list of pixel formats would push the rest off the screen.
constexpr std::size_t kValueColumns = 24;
constexpr std::size_t kRangeColumns = 100;

std::string ValueText(const ValueInfo& info) {
    const std::string value = info.type == ValueType::Command ? "(command)"
                              : info.readable                 ? info.value
                                                              : "(not readable)";
    return info.unit.empty() || !info.readable ? value : value + " " + info.unit;
}

// The number behind an entry's name, for those who write solutions by hand.
std::string EntryText(const ValueInfo& info) {
    for (const ValueEntry& entry : info.entries) {
        if (entry.name == info.value) {
            return info.value + " (" + std::to_string(entry.value) + ")";
        }
    }
    return ValueText(info);
}

void PrintFields(const std::vector<std::pair<std::string, std::string>>& fields) {
    constexpr std::size_t kColumn = 13;
    const std::size_t width = OutputWidth() == 0 ? kUsualWidth : OutputWidth();
    for (const auto& [name, text] : fields) {
        if (!text.empty()) {
            std::string line = name;
            line.resize(kColumn, ' ');
            Print(line + Wrapped(text, std::max(width, 2 * kColumn) - kColumn, kColumn) + "\n");
        }
    }
}

void Describe(const ValueInfo& info, const std::string& details, bool json) {
    if (json) {
        Json object = ToJson(info);
        if (!details.empty()) {
            object["details"] = details;
        }
        PrintJson(object);
        return;
    }
    std::string range = RangeText(info);
    if (info.type == ValueType::Enumeration) {
        range.clear();
        for (const ValueEntry& entry : info.entries) {
            range +=
                (range.empty() ? "" : ", ") + entry.name + " (" + std::to_string(entry.value) + ")";
        }
    }
    PrintFields({{"name", info.name},
                 {"type", TypeName(info.type)},
                 {"value", EntryText(info)},
                 {info.type == ValueType::Enumeration ? "entries" : "range", range},
                 {"access", AccessText(info)},
                 {"category", info.category},
                 {"meaning", info.description},
                 {"details", details}});
}

}  // namespace

ExitCode RunFeatures(const Options& options) {
    const ModuleLibrary library(options);
    const CameraInspector inspector = CameraInspector::Need("what features a camera has");
    std::vector<ValueInfo> features = inspector.Features(ChosenCamera(inspector, options));
    if (!options.arguments.empty()) {
        std::vector<std::string> names;
        names.reserve(features.size());
        for (const ValueInfo& feature : features) {
            names.push_back(feature.name);
        }
        const std::string& pattern = options.arguments.front();
        std::erase_if(features, [&](const ValueInfo& feature) {
            return !MatchesPattern(feature.name, pattern);
        });
        if (features.empty()) {
            throw Failure("the camera has no feature '" + pattern + "'" +
                          Suggestion(pattern, names));
        }
    }
    if (options.json) {
        Json json = Json::array();
        for (const ValueInfo& feature : features) {
            json.push_back(ToJson(feature));
        }
        PrintJson(json);
        return ExitCode::Ok;
    }
    const bool forTerminal = OutputWidth() != 0;
    Table table({"NAME", "VALUE", "ACCESS", "RANGE"});
    for (const ValueInfo& feature : features) {
        const std::string value = ValueText(feature);
        const std::string range = RangeText(feature);
        table.Add({feature.name, forTerminal ? Shortened(value, kValueColumns) : value,
                   AccessText(feature), forTerminal ? Shortened(range, kRangeColumns) : range});
    }
    Print(table);
    return ExitCode::Ok;
}

ExitCode RunDescribe(const Options& options) {
    const std::string& name = options.arguments.front();
    if (const cam::ParameterInfo* const key = cam::FindParameterInfo(name)) {
        ModuleSession session(options);
        Describe(DescribeKey(*key, IsOnlyWritten(*key) || !key->forPeople
                                       ? std::string()
                                       : session.Get(std::string(key->key))),
                 std::string(key->details), options.json);
        return ExitCode::Ok;
    }
    const ModuleLibrary library(options);
    const CameraInspector inspector = CameraInspector::Need("what features a camera has");
    const std::string camera = ChosenCamera(inspector, options);
    const std::optional<ValueInfo> feature = inspector.Feature(camera, name);
    if (!feature) {
        std::vector<std::string> names;
        for (const ValueInfo& each : inspector.Features(camera)) {
            names.push_back(each.name);
        }
        for (const cam::ParameterInfo& key : cam::AllParameterInfo()) {
            names.emplace_back(key.key);
        }
        throw Failure("neither the module nor the camera knows '" + name + "'" +
                      Suggestion(name, names));
    }
    Describe(*feature, {}, options.json);
    return ExitCode::Ok;
}

}  // namespace host
