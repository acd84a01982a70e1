// Description of the module's keys, for people and for programs that show it to them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace cam {

enum class KeyAccess : std::uint8_t {
    Read,
    Write,  // a setting that cannot be read back, or an action with a value
    ReadWrite,
    Command,  // an action; its value is ignored
};

enum class ValueForm : std::uint8_t {
    None,          // a command's; any text
    Text,          // verbatim
    Integer,       // "50"
    IntegerRange,  // "0$0$100$1$": value, minimum, maximum, increment
    Switch,        // "True$$$$$" or "False$$$$$"
    Plain,         // "True" or "False"
    Fields,        // several, separated by '$'
    Choices,       // fields, then a selectable camera after each carriage return
    Record,        // 64 bytes: one BufferNode
};

struct ParameterInfo {
    std::string_view key;
    bool contained;  // every key that contains this one matches
    KeyAccess access;
    ValueForm form;
    std::string_view unit;   // empty: none
    std::string_view range;  // allowed values; empty: any
    // The value in a new module; nothing if that depends on the machine or the key cannot be read.
    std::optional<std::string_view> initial;
    std::string_view summary;  // a phrase that fits a line of a table
    std::string_view details;  // sentences that continue it; may be empty
    // False if only programs can use the key: its value is binary, or it has no effect.
    bool forPeople = true;
};

// One entry per key, ordered by subject.
[[nodiscard]] std::span<const ParameterInfo> AllParameterInfo();
[[nodiscard]] const ParameterInfo* FindParameterInfo(std::string_view key);

// Documents all other keys, which name camera features. Paragraphs of Markdown.
[[nodiscard]] std::string_view CameraFeatureNote();

}  // namespace cam
