#include "host/setting.h"

#include <algorithm>
#include <cmath>

#include "host/choice_list.h"
#include "host/exit_codes.h"
#include "host/text.h"
#include "host/value_info.h"

namespace host {
namespace {

bool SameText(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
        return std::tolower(x) == std::tolower(y);
    });
}

// As the module takes a boolean of the camera, and a few more words that people use.
std::string BooleanText(const std::string& key, const std::string& value) {
    for (const char* yes : {"true", "on", "yes", "1"}) {
        if (SameText(value, yes)) {
            return "True";
        }
    }
    for (const char* no : {"false", "off", "no", "0"}) {
        if (SameText(value, no)) {
            return "False";
        }
    }
    throw Failure(key + " is True or False, not '" + value + "'");
}

// The number that the module takes for an entry of an enumeration.
std::string EntryNumber(const ValueInfo& feature, const std::string& value) {
    std::vector<std::string> names;
    for (const ValueEntry& entry : feature.entries) {
        if (entry.name == value || std::to_string(entry.value) == value) {
            return std::to_string(entry.value);
        }
        names.push_back(entry.name);
    }
    throw Failure(feature.name + " has no entry '" + value + "', but " + RangeText(feature) +
                  Suggestion(value, names));
}

std::string FirstField(std::string_view text) {
    return std::string(SplitFields(text).front());
}

// Cameras keep values in steps of their own, and the module passes three decimals on.
bool NearlySame(double wanted, double read) {
    constexpr double kAbsolute = 0.01;
    constexpr double kRelative = 1e-3;
    return std::abs(wanted - read) <= std::max(kAbsolute, std::abs(wanted) * kRelative);
}

// Whether the value text that reads back is that of the value written.
bool TookEffect(ValueType type, const std::string& written, const std::string& text) {
    const std::string wanted = FirstField(written);
    const std::string read = FirstField(text);
    switch (type) {
        case ValueType::Integer:
        case ValueType::Enumeration: {
            // The module answers the upper half of the 32-bit range as negative numbers.
            const auto number = ParseInteger(wanted);
            const auto back = ParseInteger(read);
            return number && back &&
                   static_cast<std::uint32_t>(*number) == static_cast<std::uint32_t>(*back);
        }
        case ValueType::Float: {
            const auto number = ParseFloat(wanted);
            const auto back = ParseFloat(read);
            return number && back && NearlySame(*number, *back);
        }
        case ValueType::Boolean:
            return SameText(wanted, read);
        case ValueType::Text:
            return written == text;
        case ValueType::Cameras: {
            const std::string serial = ParseChoiceList(text).connectedSerial;
            return written == serial || (written == "0" && serial.empty()) ||
                   written.find('$' + serial + '$') != std::string::npos;
        }
        case ValueType::Command:
        case ValueType::Category:
            break;
    }
    return true;
}

[[noreturn]] void ThrowNotTaken(const std::string& key, const std::string& wanted,
                                const std::string& read, const std::string& range) {
    throw Failure(key + " reads back " + (read.empty() ? "nothing" : "'" + read + "'") + ", not '" +
                  wanted + "'" + (range.empty() ? "" : " (" + range + ")"));
}

std::string WriteKey(ModuleSession& session, const cam::ParameterInfo& key, const std::string& name,
                     const std::string& value) {
    ValueInfo info = DescribeKey(key, "");
    if (!info.writable) {
        throw Failure(name + " is only read");
    }
    const std::string written = info.type == ValueType::Boolean ? BooleanText(name, value) : value;
    session.Write(name, written);
    if (!info.readable) {
        return {};
    }
    const std::string text = session.Get(name);
    info = DescribeKey(key, text);
    if (key.form != cam::ValueForm::Fields && !TookEffect(info.type, written, text)) {
        ThrowNotTaken(name, value, info.value, RangeText(info));
    }
    return info.value;
}

// The module cuts the name of a feature at the first '_'.
std::string FeatureName(const std::string& key) {
    return key.substr(0, key.find('_'));
}

// Without the types and names that only an inspector tells.
std::string WritePlainFeature(ModuleSession& session, const std::string& key,
                              const std::string& value) {
    session.Write(key, value);
    const std::string text = session.Get(key);
    if (IsUnreadable(text)) {
        throw Failure(key +
                      " does not read back: the camera has no such feature, or it is a command, "
                      "which cannot be told with this camera SDK");
    }
    std::string read = FirstField(text);
    const auto number = ParseFloat(value);
    const auto back = ParseFloat(read);
    const bool same =
        number && back ? NearlySame(*number, *back) : SameText(value, read) || value == text;
    if (!same) {
        ThrowNotTaken(key, value, read, {});
    }
    return read;
}

std::string WriteFeature(ModuleSession& session, const std::string& key, const std::string& value) {
    const std::optional<CameraInspector>& inspector = session.Inspector();
    if (!inspector) {
        return WritePlainFeature(session, key, value);
    }
    const std::optional<ValueInfo> feature =
        inspector->Feature(session.CameraId(), FeatureName(key));
    if (!feature) {
        throw Failure(UnknownNameText(session, key));
    }
    std::string written = value;
    if (feature->type == ValueType::Enumeration) {
        written = EntryNumber(*feature, value);
    } else if (feature->type == ValueType::Boolean) {
        written = BooleanText(key, value);
    }
    session.Write(key, written);
    if (feature->type == ValueType::Command || !feature->readable) {
        return {};
    }
    if (!TookEffect(feature->type, written, session.Get(key))) {
        const auto now = inspector->Feature(session.CameraId(), FeatureName(key));
        ThrowNotTaken(key, value, now ? now->value : "", RangeText(*feature));
    }
    const auto now = inspector->Feature(session.CameraId(), FeatureName(key));
    return now ? now->value + (now->unit.empty() ? "" : " " + now->unit) : value;
}

}  // namespace

std::string WriteSetting(ModuleSession& session, const std::string& key, const std::string& value) {
    if (const cam::ParameterInfo* const known = cam::FindParameterInfo(key)) {
        return WriteKey(session, *known, key, value);
    }
    if (!session.HasCamera()) {
        throw Failure(UnknownNameText(session, key));
    }
    return WriteFeature(session, key, value);
}

std::string UnknownNameText(ModuleSession& session, const std::string& name) {
    std::vector<std::string> names;
    for (const cam::ParameterInfo& key : cam::AllParameterInfo()) {
        names.emplace_back(key.key);
    }
    if (session.HasCamera()) {
        if (const auto& inspector = session.Inspector()) {
            for (const ValueInfo& feature : inspector->Features(session.CameraId())) {
                names.push_back(feature.name);
            }
        }
        return "neither the module nor the camera knows '" + name + "'" + Suggestion(name, names);
    }
    if (const std::string suggestion = Suggestion(name, names); !suggestion.empty()) {
        return "the module has no key '" + name + "'" + suggestion;
    }
    return "'" + name + "' is no key of the module; a camera's feature needs --camera or --ip";
}

}  // namespace host
