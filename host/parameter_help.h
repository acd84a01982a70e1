// The keys of the module and the common features of cameras, for people.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

enum class ValueKind {
    Text,
    Integer,      // value, or value$minimum$maximum$increment$...
    Float,        // value$minimum$maximum$...
    Switch,       // True or False
    Enumeration,  // value$first$second$...: the camera's numbers
    Choice,       // the list of cameras to choose from
    Command,      // written only
};

struct ParameterHelp {
    std::string_view key;
    ValueKind kind;
    std::string_view meaning;
};

// The keys of the module that a person has use for, then the camera features most used.
[[nodiscard]] std::vector<ParameterHelp> AllParameters();

// A key of the module that cannot be read.
[[nodiscard]] bool IsOnlyWritten(std::string_view key);

struct ShownValue {
    std::string value;
    std::string range;  // "1 to 64, step 1"; "0, 1, 7"; empty where the value tells none
};

// A value text as the module answers it, taken apart.
[[nodiscard]] ShownValue ShowValue(ValueKind kind, std::string_view text);

// The module's answer where a feature cannot be read: no camera is open, or it has no such feature.
[[nodiscard]] bool IsUnreadable(std::string_view text);

}  // namespace host
