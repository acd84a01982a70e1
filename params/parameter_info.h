// What each of the module's keys is, for people and for programs that show it to them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace cam {

enum class KeyAccess : std::uint8_t {
    Read,
    Write,  // a setting that cannot be read back, or a value that acts
    ReadWrite,
    Command,  // acts; its value does not matter
};

enum class ValueForm : std::uint8_t {
    None,          // a command's; any text
    Text,          // as it stands
    Integer,       // "50"
    IntegerRange,  // "0$0$100$1$": value, minimum, maximum, increment
    Switch,        // "True$$$$$" or "False$$$$$"
    Plain,         // "True" or "False"
    Fields,        // several, separated by '$'
    Choices,       // fields, then after each carriage return a camera to choose
    Record,        // 64 bytes: one BufferNode
};

struct ParameterInfo {
    std::string_view key;
    bool contained;  // every key that contains this one stands for it
    KeyAccess access;
    ValueForm form;
    std::string_view unit;   // empty: none
    std::string_view range;  // what a value may be; empty: any
    // What a module that was just made answers; nothing where that depends on the machine, or the
    // key is not read.
    std::optional<std::string_view> initial;
    std::string_view summary;  // a phrase that fits a line of a table
    std::string_view details;  // sentences that go on from it; empty: nothing more to tell
    // False where only programs have use for the key: it is exchanged as bytes, or has no effect.
    bool forPeople = true;
};

// One entry a key, by subject.
[[nodiscard]] std::span<const ParameterInfo> AllParameterInfo();
[[nodiscard]] const ParameterInfo* FindParameterInfo(std::string_view key);

// What holds for every key that is none of these: the camera's features. Paragraphs of Markdown.
[[nodiscard]] std::string_view CameraFeatureNote();

}  // namespace cam
