#include "host/value_info.h"

#include <nlohmann/json.hpp>

#include <algorithm>

#include "host/choice_list.h"
#include "host/text.h"

namespace host {
namespace {

using enum ValueType;

constexpr CommonFeature kCommonFeatures[] = {
    {"Width", Integer, "pixels", "pixels per line"},
    {"Height", Integer, "lines", "lines"},
    {"OffsetX", Integer, "pixels", "first pixel of a line"},
    {"OffsetY", Integer, "lines", "first line"},
    {"PixelFormat", Enumeration, "", "PFNC code of the camera's pixels"},
    {"AcquisitionFrameRate", Float, "frames/s", "frames per second while running freely"},
    {"AcquisitionFrameRateEnable", Boolean, "", "whether that rate is kept"},
    {"ExposureTime", Float, "us", "exposure in microseconds"},
    {"Gain", Float, "dB", "gain in decibels"},
    {"Gamma", Float, "", "exponent"},
    {"TriggerMode", Enumeration, "", "0 running freely, 1 triggered"},
    {"TriggerSource", Enumeration, "", "what triggers"},
    {"TriggerDelay", Float, "us", "delay in microseconds"},
    {"GevSCPSPacketSize", Integer, "bytes", "size of a GigE packet in bytes"},
    {"GevSCPD", Integer, "ticks", "pause between two packets, in ticks"},
    {"GevHeartbeatTimeout", Integer, "ms",
     "after this long without the host the camera is free, in milliseconds"},
    {"DeviceVendorName", Text, "", "the camera's maker"},
    {"DeviceModelName", Text, "", "the camera's model"},
};

// The module cuts a feature's text off here, be it in the middle of a number.
constexpr std::size_t kLongestFeatureText = 255;

ValueType TypeOf(const cam::ParameterInfo& key) {
    if (IsOnlyWritten(key)) {
        return Command;
    }
    switch (key.form) {
        case cam::ValueForm::Integer:
        case cam::ValueForm::IntegerRange:
            return Integer;
        case cam::ValueForm::Switch:
        case cam::ValueForm::Plain:
            return Boolean;
        case cam::ValueForm::Choices:
            return Cameras;
        case cam::ValueForm::None:
        case cam::ValueForm::Text:
        case cam::ValueForm::Fields:
        case cam::ValueForm::Record:
            return Text;
    }
    return Text;
}

// The connected camera, and the serial numbers of all.
void TakeCameras(ValueInfo& info, std::string_view text) {
    const ChoiceList list = ParseChoiceList(text);
    info.value = list.connectedSerial;
    info.range.clear();
    for (const CameraChoice& camera : list.cameras) {
        info.range += (info.range.empty() ? "" : ", ") + camera.serial;
    }
}

// Takes a value text of the module apart, by the type of `info`.
void TakeText(ValueInfo& info, std::string_view text) {
    if (info.type == Text || info.type == Command || info.type == Category) {
        info.value = text;
        return;
    }
    if (info.type == Cameras) {
        TakeCameras(info, text);
        return;
    }
    auto fields = SplitFields(text);
    if (text.size() >= kLongestFeatureText) {
        fields.pop_back();
    }
    info.value = fields.empty() ? std::string_view() : fields.front();
    const bool number = info.type == Integer || info.type == Float;
    if (number && fields.size() > 2) {
        info.minimum = fields[1];
        info.maximum = fields[2];
    }
    if (info.type == Integer && fields.size() > 3) {
        info.increment = fields[3];
    }
    for (std::size_t i = 1; info.type == Enumeration && i < fields.size(); ++i) {
        if (const auto entry = ParseInteger(fields[i])) {
            // The module answers the upper half of the 32-bit range as negative numbers.
            info.entries.push_back({{}, static_cast<std::uint32_t>(*entry)});
        }
    }
}

Json NumberOrText(const std::string& text) {
    if (const auto integer = ParseInteger(text)) {
        return *integer;
    }
    if (const auto number = ParseFloat(text)) {
        return *number;
    }
    return text;
}

Json ValueOf(const ValueInfo& info) {
    if (!info.readable || info.type == Command) {
        return nullptr;
    }
    switch (info.type) {
        case Integer:
        case Float:
        case Enumeration:
            return NumberOrText(info.value);
        case Boolean:
            return info.value != "False";
        case Text:
        case Cameras:
        case Command:
        case Category:
            break;
    }
    return info.value;
}

}  // namespace

const char* TypeName(ValueType type) {
    switch (type) {
        case Text:
            return "text";
        case Integer:
            return "integer";
        case Float:
            return "float";
        case Boolean:
            return "boolean";
        case Enumeration:
            return "enumeration";
        case Cameras:
            return "cameras";
        case Command:
            return "command";
        case Category:
            return "category";
    }
    return "";
}

std::string AccessText(const ValueInfo& info) {
    if (info.type == Command) {
        return info.writable ? "execute" : "none";
    }
    if (info.readable) {
        return info.writable ? "read, write" : "read";
    }
    return info.writable ? "write" : "none";
}

std::string RangeText(const ValueInfo& info) {
    if (info.type == Enumeration) {
        std::string text;
        for (const ValueEntry& entry : info.entries) {
            text += (text.empty() ? "" : ", ") +
                    (entry.name.empty() ? std::to_string(entry.value) : entry.name);
        }
        return text;
    }
    if (info.type == Boolean) {
        return "True, False";
    }
    if (info.minimum.empty() && info.maximum.empty()) {
        return info.range;
    }
    std::string text = (info.minimum.empty() ? "" : info.minimum + " ") + "to " + info.maximum;
    return info.increment.empty() ? text : text + ", step " + info.increment;
}

Json ToJson(const ValueInfo& info) {
    Json json;
    json["name"] = info.name;
    json["type"] = TypeName(info.type);
    json["value"] = ValueOf(info);
    json["access"] = AccessText(info);
    if (!info.unit.empty()) {
        json["unit"] = info.unit;
    }
    for (const auto& [name, bound] :
         {std::pair("minimum", &info.minimum), std::pair("maximum", &info.maximum),
          std::pair("increment", &info.increment)}) {
        if (!bound->empty()) {
            json[name] = NumberOrText(*bound);
        }
    }
    if (info.type == Enumeration) {
        json["entries"] = Json::array();
        for (const ValueEntry& entry : info.entries) {
            Json each;
            if (!entry.name.empty()) {
                each["name"] = entry.name;
            }
            each["value"] = entry.value;
            json["entries"].push_back(std::move(each));
        }
    }
    for (const auto& [name, text] :
         {std::pair("range", &info.range), std::pair("category", &info.category),
          std::pair("description", &info.description)}) {
        if (!text->empty()) {
            json[name] = *text;
        }
    }
    return json;
}

ValueInfo DescribeKey(const cam::ParameterInfo& key, std::string_view text) {
    ValueInfo info;
    info.name = key.key;
    info.type = TypeOf(key);
    info.unit = key.unit;
    info.range = key.range;
    info.readable = !IsOnlyWritten(key);
    info.writable = key.access != cam::KeyAccess::Read;
    info.description = key.summary;
    TakeText(info, text);
    return info;
}

ValueInfo DescribeFeature(std::string_view name, ValueType type, std::string_view text) {
    ValueInfo info;
    info.name = name;
    info.type = type;
    TakeText(info, text);
    return info;
}

std::span<const CommonFeature> CommonFeatures() {
    return kCommonFeatures;
}

bool IsUnreadable(std::string_view text) {
    return text.starts_with("NULL$");
}

bool IsOnlyWritten(const cam::ParameterInfo& key) {
    return key.access == cam::KeyAccess::Write || key.access == cam::KeyAccess::Command;
}

}  // namespace host
