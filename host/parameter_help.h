// What the module's keys mean, for people.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace host {

enum class ValueKind {
    Text,
    Integer,      // value, or value$minimum$maximum$increment$...
    Float,        // value$minimum$maximum$...
    Switch,       // True or False
    Enumeration,  // value$first$second$...: the camera's numbers
    Command,      // written only
};

struct ParameterHelp {
    std::string_view key;
    ValueKind kind;
    bool ofCamera;  // a feature of the open camera
    std::string_view meaning;
};

// Every key of the module that a person may read or write, then the camera features most used.
[[nodiscard]] std::span<const ParameterHelp> AllParameters();

struct ShownValue {
    std::string value;
    std::string range;  // "1 to 64, step 1"; "0, 1, 7"; empty where there is none
};

// A value text as the module answers it, taken apart.
[[nodiscard]] ShownValue ShowValue(ValueKind kind, std::string_view text);

// The module's answer where a feature cannot be read: no camera is open, or it has no such feature.
[[nodiscard]] bool IsUnreadable(std::string_view text);

}  // namespace host
