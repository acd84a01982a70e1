#include "host/parameter_help.h"

#include <iterator>

#include "host/choice_list.h"
#include "host/text.h"
#include "params/parameter_info.h"

namespace host {
namespace {

using enum ValueKind;

constexpr ParameterHelp kCameraFeatures[] = {
    {"Width", Integer, "pixels a line"},
    {"Height", Integer, "lines"},
    {"OffsetX", Integer, "first pixel of a line"},
    {"OffsetY", Integer, "first line"},
    {"PixelFormat", Enumeration, "PFNC code of the camera's pixels"},
    {"AcquisitionFrameRate", Float, "frames a second while running freely"},
    {"AcquisitionFrameRateEnable", Switch, "whether that rate is kept"},
    {"ExposureTime", Float, "microseconds"},
    {"Gain", Float, "decibels"},
    {"Gamma", Float, "exponent"},
    {"TriggerMode", Enumeration, "0 running freely, 1 triggered"},
    {"TriggerSource", Enumeration, "what triggers"},
    {"TriggerDelay", Float, "microseconds"},
    {"GevSCPSPacketSize", Integer, "bytes of a GigE packet"},
    {"GevSCPD", Integer, "pause between two packets, in ticks"},
    {"GevHeartbeatTimeout", Integer, "after this long without the host the camera is free, ms"},
    {"DeviceVendorName", Text, "the camera's maker"},
    {"DeviceModelName", Text, "the camera's model"},
};

// The module cuts a feature's text off here, be it in the middle of a number.
constexpr std::size_t kLongestFeatureText = 255;

bool IsOnlyWritten(const cam::ParameterInfo& info) {
    return info.access == cam::KeyAccess::Write || info.access == cam::KeyAccess::Command;
}

ValueKind KindOf(const cam::ParameterInfo& info) {
    if (IsOnlyWritten(info)) {
        return Command;
    }
    switch (info.form) {
        case cam::ValueForm::Integer:
        case cam::ValueForm::IntegerRange:
            return Integer;
        case cam::ValueForm::Switch:
        case cam::ValueForm::Plain:
            return Switch;
        case cam::ValueForm::Choices:
            return Choice;
        case cam::ValueForm::None:
        case cam::ValueForm::Text:
        case cam::ValueForm::Fields:
        case cam::ValueForm::Record:
            return Text;
    }
    return Text;
}

// The connected camera, and the serial numbers of all.
ShownValue ShowChoice(std::string_view text) {
    const ChoiceList list = ParseChoiceList(text);
    ShownValue shown{list.connectedSerial, {}};
    for (const CameraChoice& camera : list.cameras) {
        shown.range += (shown.range.empty() ? "" : ", ") + camera.serial;
    }
    return shown;
}

}  // namespace

std::vector<ParameterHelp> AllParameters() {
    std::vector<ParameterHelp> parameters;
    for (const cam::ParameterInfo& info : cam::AllParameterInfo()) {
        if (info.forPeople) {
            parameters.push_back({info.key, KindOf(info), info.summary});
        }
    }
    parameters.insert(parameters.end(), std::begin(kCameraFeatures), std::end(kCameraFeatures));
    return parameters;
}

bool IsOnlyWritten(std::string_view key) {
    const cam::ParameterInfo* const info = cam::FindParameterInfo(key);
    return info != nullptr && IsOnlyWritten(*info);
}

bool IsUnreadable(std::string_view text) {
    return text.starts_with("NULL$");
}

ShownValue ShowValue(ValueKind kind, std::string_view text) {
    if (kind == ValueKind::Text || kind == ValueKind::Command) {
        return {std::string(text), {}};
    }
    if (kind == ValueKind::Choice) {
        return ShowChoice(text);
    }
    auto fields = SplitFields(text);
    if (text.size() >= kLongestFeatureText) {
        fields.back() = "...";
    }
    ShownValue shown{std::string(fields[0]), {}};
    const auto field = [&](std::size_t index) { return std::string(fields[index]); };
    if (kind == ValueKind::Enumeration) {
        for (std::size_t i = 1; i < fields.size(); ++i) {
            shown.range += (i > 1 ? ", " : "") + field(i);
        }
    } else if (kind == ValueKind::Integer && fields.size() > 3) {
        shown.range = field(1) + " to " + field(2) + ", step " + field(3);
    } else if (kind == ValueKind::Float && fields.size() > 2) {
        shown.range = field(1) + " to " + field(2);
    } else if (kind == ValueKind::Switch) {
        shown.range = "True, False";
    }
    return shown;
}

}  // namespace host
