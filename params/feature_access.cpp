#include "params/feature_access.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <type_traits>

#include "base/log.h"
#include "base/text.h"
#include "params/smart_camera.h"
#include "params/value_text.h"

namespace cam {

namespace {

constexpr char kGetParam[] = "CCameraModule::GetParam";
constexpr char kSetParam[] = "CCameraModule::SetParam";

// Features that one maker's cameras offer under their own names.
constexpr std::string_view kMakerWithOwnNames = "Basler";
constexpr std::string_view kMakersOwnNames[] = {"ExposureTimeAbs", "GainRaw",
                                                "AcquisitionFrameRateAbs", "TriggerDelayAbs"};
constexpr std::string_view kSmartGamma = "Gamma_Smart";

// Features that are writable only while the camera does not stream.
constexpr std::string_view kStructural[] = {
    "Height", "Width", "PixelFormat", "GevSCPSPacketSize", "AcquisitionBurstFrameCount", "GevSCPD"};

// A value that differs by less from the last written one is not written again.
constexpr float kSameValue = 0.01F;
// Cameras round a value to their own steps, so one at the end of the range may fall outside.
constexpr float kRetryBelow = 0.005F;
constexpr float kRetryAbove = 0.01F;

template <std::size_t Count>
bool IsOneOf(const std::string_view (&names)[Count], std::string_view name) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// Reads a feature into `text`, which is unchanged on failure.
template <typename Value>
Status ReadAs(CMyCamera& camera, Status (CMyCamera::*read)(const char*, Value*),
              const std::string& node, std::string& text) {
    Value value{};
    const Status status = (camera.*read)(node.c_str(), &value);
    if (status == kOk) {
        if constexpr (std::is_same_v<Value, bool>) {
            text = PlainText(value);
        } else {
            text = FeatureText(value);
        }
    }
    return status;
}

Status ReadString(CMyCamera& camera, const std::string& node, std::string& text) {
    char value[kFeatureTextSize] = {};
    const Status status = camera.GetStringValue(node.c_str(), value, sizeof value);
    if (status == kOk) {
        text = value;
    }
    return status;
}

}  // namespace

Status FeatureAccess::GaveWay(const char* function, std::string_view key) const {
    CAM_LOG(kLogError, m_notices.ModuleId(), function, "%s: given up, the camera is being set up",
            std::string(key).c_str());
    return kInvalid;
}

Status FeatureAccess::Read(std::string_view key, std::string& text) {
    text = kUnreadableFeature;
    if (!m_camera.IsOpen()) {
        return kOk;
    }
    const SetUpGate::FeatureCall call(m_setUpGate);
    if (!call) {
        static_cast<void>(GaveWay(kGetParam, key));
        return kOk;
    }
    const Status status = ReadNode(NodeNameOf(key), text);
    return status == KZ_CC_E_DEVICE_LOST ? status : kOk;
}

Status FeatureAccess::ReadNode(const std::string& node, std::string& text) {
    KZNodeType type{};
    if (m_camera.GetNodeInterfaceType(node.c_str(), &type) != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), kGetParam, "param is not in node:%s",
                node.c_str());
        return kOk;
    }
    switch (type) {
        case KZ_NODE_INTEGER:
            return ReadAs(m_camera, &CMyCamera::GetIntValue, node, text);
        case KZ_NODE_BOOLEAN:
            return ReadAs(m_camera, &CMyCamera::GetBoolValue, node, text);
        case KZ_NODE_FLOAT:
            return ReadAs(m_camera, &CMyCamera::GetFloatValue, node, text);
        case KZ_NODE_STRING:
            return ReadString(m_camera, node, text);
        case KZ_NODE_ENUMERATION:
            return ReadAs(m_camera, &CMyCamera::GetEnumValue, node, text);
        default:
            return kOk;
    }
}

Status FeatureAccess::Write(std::string_view key, std::string_view value) {
    if (!m_camera.IsOpen()) {
        return kNoCamera;
    }
    if (IsOneOf(kMakersOwnNames, key) &&
        m_connection.Identity().manufacturer.Get().view() != kMakerWithOwnNames) {
        return kOk;
    }
    const SetUpGate::FeatureCall call(m_setUpGate);
    if (!call) {
        return GaveWay(kSetParam, key);
    }
    std::optional<CMyCamera::Configuration> rest;
    if (IsOneOf(kStructural, key)) {
        rest.emplace(m_camera);
    }
    const StopGate::Guard hold(m_stopGate, m_parameterLock);
    return hold ? WriteLocked(key, value) : kInvalid;
}

Status FeatureAccess::WriteLocked(std::string_view key, std::string_view value) {
    if (StopGrabbingForParam(key) != kOk) {
        return kInvalid;
    }
    if (key == "TriggerSource") {
        m_store.Clear();
        CAM_LOG(kLogInfo, m_notices.ModuleId(), kSetParam, "change trigger mode , clear cache");
    }
    if (key == kSmartGamma && !IsSmartModel(m_connection.Identity().model.Get().view())) {
        return kOk;
    }
    const std::string node = NodeNameOf(key);
    KZNodeType type{};
    if (m_camera.GetNodeInterfaceType(node.c_str(), &type) != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), kSetParam, "param is not in node:%s",
                node.c_str());
        return kOk;
    }
    const Status status = WriteNode(node, type, value);
    if (status != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), kSetParam,
                "SetParamValue: Name:%s Value:%s nRet:0x%x", std::string(key).c_str(),
                std::string(value).c_str(), status);
    }
    return status;
}

Status FeatureAccess::StopGrabbingForParam(std::string_view name) {
    if (!m_camera.IsGrabbing() || !IsOneOf(kStructural, name)) {
        return kOk;
    }
    if (m_camera.StopGrabbing() != kOk) {
        return kInvalid;
    }
    m_events.GrabStartedEvent.Reset();
    return kOk;
}

Status FeatureAccess::WriteNode(const std::string& node, KZNodeType type, std::string_view value) {
    const std::string_view text = BeforeRange(value);
    switch (type) {
        case KZ_NODE_INTEGER: {
            const auto bits = ParseFeatureBits(text);
            return bits ? m_camera.SetIntValue(node.c_str(), *bits) : kInvalid;
        }
        case KZ_NODE_BOOLEAN:
            return m_camera.SetBoolValue(node.c_str(), EqualsIgnoringCase(text, PlainText(true)));
        case KZ_NODE_COMMAND:
            return m_camera.SetCommandValue(node.c_str());
        case KZ_NODE_FLOAT: {
            const auto number = ParseFloat(text);
            return number ? WriteFloat(node, *number) : kInvalid;
        }
        case KZ_NODE_STRING:
            return m_camera.SetStringValue(node.c_str(), std::string(value).c_str());
        case KZ_NODE_ENUMERATION: {
            const auto bits = ParseFeatureBits(text);
            return bits ? m_camera.SetEnumValue(node.c_str(), *bits) : kInvalid;
        }
        default:
            return kOk;
    }
}

Status FeatureAccess::WriteFloat(const std::string& node, float value) {
    const std::uint32_t setUp = m_setUpGate.Count();
    WrittenValue* last = nullptr;
    if (node == "ExposureTime" || node == "ExposureTimeAbs") {
        last = &m_lastExposure;
    } else if (node == "Gain" || node == "GainRaw") {
        last = &m_lastGain;
    }
    if (last != nullptr && last->setUp == setUp && std::fabs(value - last->value) < kSameValue) {
        return kOk;
    }
    Status status = m_camera.SetFloatValue(node.c_str(), value);
    if (status == KZ_CC_E_NODE_RANGE) {
        status = m_camera.SetFloatValue(node.c_str(), value - kRetryBelow);
    }
    if (status == KZ_CC_E_NODE_RANGE) {
        status = m_camera.SetFloatValue(node.c_str(), value - kRetryBelow + kRetryAbove);
    }
    if (status == kOk && last != nullptr) {
        *last = {value, setUp};
    }
    return status;
}

Status FeatureAccess::SetTriggerMode(bool on) {
    if (!m_camera.IsOpen()) {
        return kNoCamera;
    }
    const SetUpGate::FeatureCall call(m_setUpGate);
    if (!call) {
        return GaveWay(kSetParam, on ? "TriggerOn" : "TriggerOff");
    }
    const StopGate::Guard hold(m_stopGate, m_parameterLock);
    return hold ? m_camera.SetEnumValue("TriggerMode", on ? 1 : 0) : kInvalid;
}

Status FeatureAccess::SaveUserSet() {
    const SetUpGate::FeatureCall call(m_setUpGate);
    const Status status = call ? m_camera.SetCommandValue("UserSetSave") : kInvalid;
    if (status != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), kSetParam, "Set UserSetSave failed, nRet:0x%x",
                status);
        return kNoCamera;
    }
    return kOk;
}

Status FeatureAccess::SetRealTimeMode(bool on) {
    if (!m_stopGate.MayStop(m_notices.ModuleId(), kSetParam)) {
        return kInvalid;
    }
    const SetUpGate::FeatureCall call(m_setUpGate);
    if (!call) {
        return GaveWay(kSetParam, "RealTimeImgAcq");
    }
    const CMyCamera::Configuration configuration(m_camera);
    m_events.GrabStartedEvent.Reset();
    if (on) {
        m_camera.EnterRealTimeMode();
    } else {
        m_camera.ExitRealTimeMode();
    }
    return kOk;
}

}  // namespace cam
