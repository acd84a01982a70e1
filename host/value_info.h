// What there is to tell of a key of the module or a feature of a camera, for people and programs.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "params/parameter_info.h"

namespace host {

// Names come in the order in which they were added.
using Json = nlohmann::ordered_json;

enum class ValueType {
    Text,
    Integer,
    Float,
    Boolean,
    Enumeration,
    Cameras,  // the list of cameras to choose from
    Command,  // written only
    Category,
};

struct ValueEntry {
    std::string name;  // empty where only the number is known
    std::int64_t value = 0;
};

struct ValueInfo {
    std::string name;
    ValueType type = ValueType::Text;
    std::string value;  // of an enumeration the entry's name where that is known
    std::string unit;
    std::string minimum;  // empty: none told
    std::string maximum;
    std::string increment;
    std::vector<ValueEntry> entries;  // of an enumeration
    std::string range;                // in words; of keys
    bool readable = true;
    bool writable = true;
    std::string category;
    std::string description;
};

[[nodiscard]] const char* TypeName(ValueType type);
// "read", "write", "read, write", "execute", "none".
[[nodiscard]] std::string AccessText(const ValueInfo& info);
// "1 to 64, step 1"; "Off, On"; empty where nothing is told.
[[nodiscard]] std::string RangeText(const ValueInfo& info);
[[nodiscard]] Json ToJson(const ValueInfo& info);

// A key of the module with the value text that it answers.
[[nodiscard]] ValueInfo DescribeKey(const cam::ParameterInfo& key, std::string_view text);

// A camera's feature with the value text that the module answers for it.
[[nodiscard]] ValueInfo DescribeFeature(std::string_view name, ValueType type,
                                        std::string_view text);

struct CommonFeature {
    std::string_view name;
    ValueType type;
    std::string_view unit;
    std::string_view meaning;
};
// The features that most cameras have and most people want.
[[nodiscard]] std::span<const CommonFeature> CommonFeatures();

// The module's answer where a feature cannot be read: no camera is open, or it has no such feature.
[[nodiscard]] bool IsUnreadable(std::string_view text);

[[nodiscard]] bool IsOnlyWritten(const cam::ParameterInfo& key);

}  // namespace host
