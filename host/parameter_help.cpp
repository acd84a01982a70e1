#include "host/parameter_help.h"

#include "host/choice_list.h"

namespace host {
namespace {

using enum ValueKind;

constexpr ParameterHelp kParameters[] = {
    {"SerialNumber", Text, false, "serial number of the camera opened last"},
    {"ModelName", Text, false, "its model"},
    {"ManufacturerName", Text, false, "its maker"},
    {"VendorName", Text, false, "the maker as the open camera itself tells it"},
    {"CameraType", Text, false, "the first characters of the model"},
    {"SmartCameraType", Integer, false, "-1 no camera open, 2 a smart camera, 1 any other"},
    {"CameraMold", Integer, false, "series: 1 area scan, 2 KZ-RT, 3 KZ-LN line scan"},
    {"Type", Integer, false, "how a camera is chosen: 0 by serial number, 1 by IP address"},
    {"CameraIP", Text, false, "address of the camera, for Type 1"},
    {"LocalIP", Text, false, "address of the network card that reaches it, for Type 1"},
    {"ConnectIP", Switch, false, "True opens the camera at CameraIP, False closes it"},
    {"AutoConnect", Switch, false, "a camera opened by address is opened again after a loss"},
    {"ReconnectTime", Integer, false, "how long a lost camera is looked for, in seconds"},
    {"WaitForConnectingTime", Integer, false, "how long loading waits for the camera, in ms"},
    {"UseGenTL", Switch, false, "cameras through GenTL producers in place of GigE and USB3"},
    {"GenTLPath", Text, false, "where the GenTL producers are"},
    {"EnumCamera", Command, false, "looks for cameras"},
    {"CheckCameraOpened", Command, false, "opens the chosen camera if it is not open"},
    {"CameraName", Command, false, "opens the camera of this serial number; 0 closes it"},
    {"ImageCacheNum", Integer, false, "frames that may wait; further ones are dropped"},
    {"ClearCacheImage", Command, false, "drops the frames that wait"},
    {"SoftTriggerWaitTime", Integer, false, "how long a request waits for its frame, in seconds"},
    {"SynTriggerSoftware", Command, false, "triggers and waits up to 1 s for the frame"},
    {"TriggerProcessRunStatus", Switch, false, "frames are offered to procedures (run by camera)"},
    {"AddRelateProc", Command, false, "adds a procedure that frames are offered to"},
    {"DelRelateProc", Command, false, "removes one"},
    {"RealTimeImgAcq", Command, false, "True: live view, frames bypass the module"},
    {"TriggerStringEnable", Switch, false, "trigger by text"},
    {"DropImageWhenTriggerFail", Switch, false, "kept for the host; without effect"},
    {"IOEnableElectricalLevel", Integer, false, "inversion of the I/O lines"},
    {"TriggerOn", Command, false, "the camera waits for triggers"},
    {"TriggerOff", Command, false, "the camera runs freely"},
    {"SaveParams", Command, false, "saves the camera's features in its user set"},
    {"DebugMode", Switch, false, "pictures of a folder in place of the camera's"},
    {"FileFolderName", Text, false, "that folder"},
    {"AutoSwitch", Switch, false, "each request delivers the next picture"},
    {"DebugImageSource", Integer, false, "kept for the host; without effect"},
    {"DebugImageBufferCount", Integer, false, "kept for the host; without effect"},
    {"ExecuteInterval", Integer, false, "kept for the host; without effect"},
    {"CameraErrorInfo", Text, false, "error frames (USB3) $ lost frames $ lost packets (GigE)"},
    {"CameraPreviewInfo", Text, false, "the same, with preview width and height and serial number"},
    {"LogLevel", Command, false, "level of the module's log: 1 debug to 4 error"},
    {"Width", Integer, true, "pixels a line"},
    {"Height", Integer, true, "lines"},
    {"OffsetX", Integer, true, "first pixel of a line"},
    {"OffsetY", Integer, true, "first line"},
    {"PixelFormat", Enumeration, true, "PFNC code of the camera's pixels"},
    {"AcquisitionFrameRate", Float, true, "frames a second while running freely"},
    {"AcquisitionFrameRateEnable", Switch, true, "whether that rate is kept"},
    {"ExposureTime", Float, true, "microseconds"},
    {"Gain", Float, true, "decibels"},
    {"Gamma", Float, true, "exponent"},
    {"TriggerMode", Enumeration, true, "0 running freely, 1 triggered"},
    {"TriggerSource", Enumeration, true, "what triggers"},
    {"TriggerDelay", Float, true, "microseconds"},
    {"GevSCPSPacketSize", Integer, true, "bytes of a GigE packet"},
    {"GevSCPD", Integer, true, "pause between two packets, in ticks"},
    {"GevHeartbeatTimeout", Integer, true,
     "after this long without the host the camera is free, ms"},
    {"DeviceVendorName", Text, true, "the camera's maker"},
    {"DeviceModelName", Text, true, "the camera's model"},
};

// The module cuts a feature's text off here, be it in the middle of a number.
constexpr std::size_t kLongestFeatureText = 255;

}  // namespace

std::span<const ParameterHelp> AllParameters() {
    return kParameters;
}

bool IsUnreadable(std::string_view text) {
    return text.starts_with("NULL$");
}

ShownValue ShowValue(ValueKind kind, std::string_view text) {
    if (kind == ValueKind::Text || kind == ValueKind::Command) {
        return {std::string(text), {}};
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
