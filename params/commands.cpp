// SetParam: what the host writes and commands.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <optional>

#include "module/camera_module.h"
#include "module/log/log.h"
#include "params/key_table.h"
#include "params/smart_camera.h"
#include "params/value_text.h"
#include "platform/code_page.h"
#include "platform/file_system.h"

namespace cam {

namespace {

constexpr char kFunction[] = "CCameraModule::SetParam";
constexpr std::string_view kFreeBuf = "FreeBuf";

constexpr std::chrono::milliseconds kSynchronousTriggerWait{1000};

constexpr std::uint32_t kTriggerModeOff = 0;
constexpr std::uint32_t kTriggerModeOn = 1;

// What a change to or from GenTL producers is told as.
constexpr char kSourceGenTL[] = "1";
constexpr char kSourcePlain[] = "2";

// Features that one maker's cameras have under their own names.
constexpr std::string_view kMakerWithOwnNames = "Basler";
constexpr std::string_view kMakersOwnNames[] = {"ExposureTimeAbs", "GainRaw",
                                                "AcquisitionFrameRateAbs", "TriggerDelayAbs"};

constexpr std::string_view kSmartGamma = "Gamma_Smart";

// A value that differs less from the last written one is not written again.
constexpr float kSameValue = 0.01F;
// Cameras round a value to their own steps; one at the end of the range may fall outside.
constexpr float kRetryBelow = 0.005F;
constexpr float kRetryAbove = 0.01F;

// A value as the host gave it. `size` bounds it, whether or not a NUL ends it; where the host gives
// no size the NUL does.
class Value {
  public:
    Value(const char* bytes, std::int32_t size) : m_bytes(bytes), m_size(size) {
        const std::size_t limit = size > 0 ? static_cast<std::size_t>(size) : kFrameworkValueSize;
        m_text = {bytes, static_cast<std::size_t>(std::find(bytes, bytes + limit, '\0') - bytes)};
    }

    [[nodiscard]] std::string_view Text() const { return m_text; }
    [[nodiscard]] bool Bool() const { return ParseBool(m_text); }
    [[nodiscard]] std::optional<std::int32_t> Int() const { return ParseInt(m_text); }

    // The bytes as a record, when they are exactly one.
    template <typename Record>
    [[nodiscard]] std::optional<Record> As() const {
        if (m_size != static_cast<std::int32_t>(sizeof(Record))) {
            return std::nullopt;
        }
        Record record;
        std::memcpy(&record, m_bytes, sizeof record);
        return record;
    }

  private:
    const char* m_bytes;
    std::int32_t m_size;
    std::string_view m_text;
};

}  // namespace

// The module's own keys; every other key names a camera feature.
struct ParamCommands {
    using Write = Status (*)(CCameraModule& module, const Value& value);

    struct Row {
        std::string_view key;
        KeyMatch match;
        Write write;
    };

    // A text that is no number leaves the setting as it was.
    static std::optional<std::int32_t> NumberIn(CCameraModule& module, const Value& value) {
        const auto number = value.Int();
        if (!number) {
            CAM_LOG(kLogWarning, module.ModuleId(), kFunction, "Warning:[%s] is not a number",
                    std::string(value.Text()).c_str());
        }
        return number;
    }

    template <Setting<std::int32_t> Settings::*Member>
    static Status Number(CCameraModule& module, const Value& value) {
        if (const auto number = NumberIn(module, value)) {
            (module.m_settings.*Member).Set(*number);
        }
        return kOk;
    }

    template <Setting<bool> Settings::*Member>
    static Status Bool(CCameraModule& module, const Value& value) {
        (module.m_settings.*Member).Set(value.Bool());
        return kOk;
    }

    template <auto Member>
    static Status Text(CCameraModule& module, const Value& value) {
        (module.m_settings.*Member).Set(value.Text());
        return kOk;
    }

    static Status EnumCamera(CCameraModule& module, const Value&) { return module.EnumDevices(); }

    static Status ClearCacheImage(CCameraModule& module, const Value&) {
        module.ClearImageQueue();
        return kOk;
    }

    static Status SerialNumber(CCameraModule& module, const Value& value) {
        if (module.m_camera.IsOpen() && value.Text() != module.m_serial.Get().view()) {
            if (module.RefusedInFrameCallback(kFunction)) {
                return kInvalid;
            }
            module.CloseCurCamera();
        }
        module.m_serial.Set(value.Text());
        return kOk;
    }

    static Status CheckCameraOpened(CCameraModule& module, const Value&) {
        return module.m_camera.IsOpen() ? kOk : module.RetryPendingSelection();
    }

    static Status IOEnableElectricalLevel(CCameraModule& module, const Value& value) {
        const Status parsed = Number<&Settings::ioEnableElectricalLevel>(module, value);
        const Status status = module.m_camera.ReverseElecLevel(
            module.m_settings.cameraMold.Get(), module.m_settings.ioEnableElectricalLevel.Get());
        CAM_LOG(kLogInfo, module.ModuleId(), kFunction, "IOEnableElectricalLevel %x", status);
        return parsed;
    }

    static Status CameraName(CCameraModule& module, const Value& value) {
        return module.SetDeviceValue(value.Text());
    }

    static Status RealTimeImgAcq(CCameraModule& module, const Value& value) {
        if (module.RefusedInFrameCallback(kFunction)) {
            return kInvalid;
        }
        const CMyCamera::Configuration configuration(module.m_camera);
        module.GrabStartedEvent.Reset();
        if (value.Bool()) {
            module.m_camera.EnterRealTimeMode();
        } else {
            module.m_camera.ExitRealTimeMode();
        }
        return kOk;
    }

    static Status SynTriggerSoftware(CCameraModule& module, const Value&) {
        module.ImageArrivedEvent.Reset();
        if (module.m_camera.SetCommandValue("TriggerSoftware") != kOk) {
            return kInvalid;
        }
        module.ImageArrivedEvent.WaitFor(kSynchronousTriggerWait);
        return kOk;
    }

    static Status UseCamPic(CCameraModule& module, const Value&) {
        module.m_settings.localPicture.Set("");
        return kOk;
    }

    static Status UseGenTL(CCameraModule& module, const Value& value) {
        const bool use = value.Bool();
        if (use == module.m_bGenTL.Get()) {
            return kOk;
        }
        if (module.RefusedInFrameCallback(kFunction)) {
            return kInvalid;
        }
        module.m_bGenTL.Set(use);
        if (module.m_camera.IsOpen()) {
            module.CloseCurCamera();
        }
        if (!use) {
            module.m_serial.Set("");
        }
        module.ReportCameraSource(kFunction, use ? kSourceGenTL : kSourcePlain);
        return kOk;
    }

    static Status SaveParams(CCameraModule& module, const Value&) {
        const Status status = module.m_camera.SetCommandValue("UserSetSave");
        if (status != kOk) {
            CAM_LOG(kLogError, module.ModuleId(), kFunction, "Set UserSetSave failed, nRet:0x%x",
                    status);
            return kNoCamera;
        }
        return kOk;
    }

    static Status GenTLPath(CCameraModule& module, const Value& value) {
        if (platform::PathExists(value.Text())) {
            module.m_szGenTLPath.Set(platform::AsUtf8(value.Text()));
        } else {
            CAM_LOG(kLogWarning, module.ModuleId(), kFunction, "Warning:GenTLPath [%s] not found",
                    std::string(value.Text()).c_str());
        }
        return kOk;
    }

    static Status FileFolderName(CCameraModule& module, const Value& value) {
        // One word: a folder path ends at its first blank.
        constexpr std::string_view kBlanks = " \t\r\n\v\f";
        std::string_view folder = value.Text();
        folder.remove_prefix(std::min(folder.find_first_not_of(kBlanks), folder.size()));
        folder = folder.substr(0, folder.find_first_of(kBlanks));
        module.m_settings.fileFolderName.Set(folder);
        const Status status = module.m_localImages.ScanFolder(folder);
        if (status != kOk) {
            CAM_LOG(kLogError, module.ModuleId(), kFunction, "Image folder [%s] not listed",
                    std::string(folder).c_str());
        }
        return status;
    }

    static Status AddRelateProc(CCameraModule& module, const Value& value) {
        module.m_receivers.Add(std::string(value.Text()));
        return kOk;
    }

    static Status DelRelateProc(CCameraModule& module, const Value& value) {
        module.m_receivers.Remove(std::string(value.Text()));
        return kOk;
    }

    static Status SoftTriggerWaitTime(CCameraModule& module, const Value& value) {
        if (const auto seconds = NumberIn(module, value)) {
            // Set once, bounded: a request under way must not wait by the value as it was given.
            const bool bounded = *seconds >= 0 && *seconds <= kMaxSoftTriggerWait;
            module.m_settings.softTriggerWaitTime.Set(bounded ? *seconds : kDefaultSoftTriggerWait);
        }
        return kOk;
    }

    static Status FreeBuf(CCameraModule& module, const Value& value) {
        const auto node = value.As<BufferNode>();
        if (!node) {
            return kInvalid;
        }
        if (node->capacity == 0) {
            // Not one of the pool's: a local picture, or a record that owns nothing.
            module.m_localImages.FreeDelivered(*node);
            return kOk;
        }
        // The host's record may be anything; only a node of the pool has a name to print.
        if (Xalog_ShouldLog(kLogDebug) && module.m_bufManager.OwnsNode(*node)) {
            CAM_LOG(kLogDebug, module.ModuleId(), kFunction, "freeimage %s", node->sharedName);
        }
        return module.m_bufManager.FreeBuf(*node);
    }

    static Status ConnectIP(CCameraModule& module, const Value& value) {
        if (module.m_settings.connectionMode.Get() != kConnectByAddress) {
            return kOk;
        }
        if (!value.Bool()) {
            if (module.RefusedInFrameCallback(kFunction)) {
                return kInvalid;
            }
            module.CloseCurCamera();
            module.m_settings.connectedByIp.Set(false);
            return kOk;
        }
        const Status status = module.ConnectCameraByIP();
        if (status == kOk) {
            module.m_settings.connectedByIp.Set(true);
        }
        return status;
    }

    static Status LogLevel(CCameraModule& module, const Value& value) {
        CAM_LOG(kLogError, module.ModuleId(), kFunction, "log level from %d change to %s",
                Xalog_GetCurrentLevel(), std::string(value.Text()).c_str());
        Xalog_ResetLevel(value.Int().value_or(0));
        return kOk;
    }

    static Status TriggerProcessRunStatus(CCameraModule& module, const Value& value) {
        module.SetTriggerProcessRunStatus(value.Bool());
        return kOk;
    }

    template <std::uint32_t Mode>
    static Status TriggerMode(CCameraModule& module, const Value&) {
        if (!module.m_camera.IsOpen()) {
            return kNoCamera;
        }
        if (!module.m_camera.LockUnlessStopping(module.m_parameterLock)) {
            return kInvalid;
        }
        const platform::LockGuard hold(module.m_parameterLock, std::adopt_lock);
        return module.m_camera.SetEnumValue("TriggerMode", Mode);
    }

    static Status Feature(CCameraModule& module, std::string_view key, const Value& value);
    static Status WriteFeature(CCameraModule& module, const std::string& node, KZNodeType type,
                               const Value& value) REQUIRES(module.m_parameterLock);
    static Status WriteFloat(CCameraModule& module, const std::string& node, float value)
        REQUIRES(module.m_parameterLock);

    static const Row kRows[];
    static const Row* Find(std::string_view key);
};

// In the order they are tried.
const ParamCommands::Row ParamCommands::kRows[] = {
    {"EnumCamera", KeyMatch::Exact, EnumCamera},
    {"ImageCacheNum", KeyMatch::Exact, Number<&Settings::imageCacheNum>},
    {"ClearCacheImage", KeyMatch::Exact, ClearCacheImage},
    {"ReconnectTime", KeyMatch::Exact, Number<&Settings::reconnectTime>},
    {"SerialNumber", KeyMatch::Exact, SerialNumber},
    {"CheckCameraOpened", KeyMatch::Exact, CheckCameraOpened},
    {"TriggerStringEnable", KeyMatch::Exact, Bool<&Settings::triggerStringEnable>},
    {"IOEnableElectricalLevel", KeyMatch::Contained, IOEnableElectricalLevel},
    {"CameraMold", KeyMatch::Contained, Number<&Settings::cameraMold>},
    {"CameraName", KeyMatch::Exact, CameraName},
    {"RealTimeImgAcq", KeyMatch::Exact, RealTimeImgAcq},
    {"SynTriggerSoftware", KeyMatch::Exact, SynTriggerSoftware},
    {"useLocalPic", KeyMatch::Exact, Text<&Settings::localPicture>},
    {"useCamPic", KeyMatch::Exact, UseCamPic},
    {"DebugMode", KeyMatch::Exact, Bool<&Settings::debugMode>},
    {"UseGenTL", KeyMatch::Exact, UseGenTL},
    {"SaveParams", KeyMatch::Exact, SaveParams},
    {"DebugImageSource", KeyMatch::Exact, Number<&Settings::debugImageSource>},
    {"GenTLPath", KeyMatch::Exact, GenTLPath},
    {"FileFolderName", KeyMatch::Exact, FileFolderName},
    {"AutoSwitch", KeyMatch::Exact, Bool<&Settings::autoSwitch>},
    {"DebugImageBufferCount", KeyMatch::Exact, Number<&Settings::debugImageBufferCount>},
    {"ExecuteInterval", KeyMatch::Exact, Number<&Settings::executeInterval>},
    {"AddRelateProc", KeyMatch::Exact, AddRelateProc},
    {"DelRelateProc", KeyMatch::Exact, DelRelateProc},
    {"WaitForConnectingTime", KeyMatch::Exact, Number<&Settings::waitForConnectingTime>},
    {"DropImageWhenTriggerFail", KeyMatch::Exact, Bool<&Settings::dropImageWhenTriggerFail>},
    {"SoftTriggerWaitTime", KeyMatch::Exact, SoftTriggerWaitTime},
    {kFreeBuf, KeyMatch::Exact, FreeBuf},
    {"Type", KeyMatch::Exact, Number<&Settings::connectionMode>},
    {"ConnectIP", KeyMatch::Exact, ConnectIP},
    {"AutoConnect", KeyMatch::Exact, Bool<&Settings::autoConnect>},
    {"CameraIP", KeyMatch::Exact, Text<&Settings::cameraIp>},
    {"LocalIP", KeyMatch::Exact, Text<&Settings::localIp>},
    {"LogLevel", KeyMatch::Exact, LogLevel},
    {"TriggerProcessRunStatus", KeyMatch::Exact, TriggerProcessRunStatus},
    {"TriggerOn", KeyMatch::Exact, TriggerMode<kTriggerModeOn>},
    {"TriggerOff", KeyMatch::Exact, TriggerMode<kTriggerModeOff>},
};

const ParamCommands::Row* ParamCommands::Find(std::string_view key) {
    return FindRow(kRows, key);
}

std::vector<TableKey> CommandKeys() {
    return KeysOf(ParamCommands::kRows);
}

Status ParamCommands::Feature(CCameraModule& module, std::string_view key, const Value& value) {
    if (!module.m_camera.IsOpen()) {
        return kNoCamera;
    }
    const bool ownName = std::find(std::begin(kMakersOwnNames), std::end(kMakersOwnNames), key) !=
                         std::end(kMakersOwnNames);
    if (ownName && module.m_manufacturer.Get().view() != kMakerWithOwnNames) {
        return kOk;
    }
    if (!module.m_camera.LockUnlessStopping(module.m_parameterLock)) {
        return kInvalid;
    }
    const platform::LockGuard hold(module.m_parameterLock, std::adopt_lock);
    if (module.StopGrabbingForParam(key) != kOk) {
        return kInvalid;
    }
    if (key == "TriggerSource") {
        module.ClearImageQueue();
        CAM_LOG(kLogInfo, module.ModuleId(), kFunction, "change trigger mode , clear cache");
    }
    if (key == kSmartGamma && !IsSmartModel(module.m_model.Get().view())) {
        return kOk;
    }
    const std::string node = NodeNameOf(key);
    KZNodeType type{};
    if (module.m_camera.GetNodeInterfaceType(node.c_str(), &type) != kOk) {
        CAM_LOG(kLogError, module.ModuleId(), kFunction, "param is not in node:%s", node.c_str());
        return kOk;
    }
    const Status status = WriteFeature(module, node, type, value);
    if (status != kOk) {
        CAM_LOG(kLogError, module.ModuleId(), kFunction,
                "SetParamValue: Name:%s Value:%s nRet:0x%x", std::string(key).c_str(),
                std::string(value.Text()).c_str(), status);
    }
    return status;
}

Status ParamCommands::WriteFeature(CCameraModule& module, const std::string& node, KZNodeType type,
                                   const Value& value) {
    CMyCamera& camera = module.m_camera;
    const std::string_view text = BeforeRange(value.Text());
    switch (type) {
        case KZ_NODE_INTEGER: {
            const auto number = ParseInt(text);
            return number ? camera.SetIntValue(node.c_str(), static_cast<std::uint32_t>(*number))
                          : kInvalid;
        }
        case KZ_NODE_BOOLEAN:
            return camera.SetBoolValue(node.c_str(), EqualsIgnoringCase(text, "True"));
        case KZ_NODE_COMMAND:
            return camera.SetCommandValue(node.c_str());
        case KZ_NODE_FLOAT: {
            const auto number = ParseFloat(text);
            return number ? WriteFloat(module, node, *number) : kInvalid;
        }
        case KZ_NODE_STRING:
            return camera.SetStringValue(node.c_str(), std::string(value.Text()).c_str());
        case KZ_NODE_ENUMERATION: {
            const auto number = ParseInt(text);
            return number ? camera.SetEnumValue(node.c_str(), static_cast<std::uint32_t>(*number))
                          : kInvalid;
        }
        default:
            return kOk;
    }
}

Status ParamCommands::WriteFloat(CCameraModule& module, const std::string& node, float value) {
    const std::uint32_t setUp = module.m_setUpCount.Get();
    CCameraModule::WrittenValue* last = nullptr;
    if (node == "ExposureTime" || node == "ExposureTimeAbs") {
        last = &module.m_lastExposure;
    } else if (node == "Gain" || node == "GainRaw") {
        last = &module.m_lastGain;
    }
    if (last != nullptr && last->setUp == setUp && std::fabs(value - last->value) < kSameValue) {
        return kOk;
    }
    CMyCamera& camera = module.m_camera;
    Status status = camera.SetFloatValue(node.c_str(), value);
    if (status == KZ_CC_E_NODE_RANGE) {
        status = camera.SetFloatValue(node.c_str(), value - kRetryBelow);
    }
    if (status == KZ_CC_E_NODE_RANGE) {
        status = camera.SetFloatValue(node.c_str(), value - kRetryBelow + kRetryAbove);
    }
    if (status == kOk && last != nullptr) {
        *last = {value, setUp};
    }
    return status;
}

std::uint32_t CCameraModule::SetParam(const char* key, const char* value, std::int32_t size) try {
    if (key == nullptr || value == nullptr) {
        return kInvalid;
    }
    const std::string_view name(key);
    if (name == kFreeBuf) {
        // Once a frame, so ahead of the search.
        return ParamCommands::FreeBuf(*this, Value(value, size));
    }
    const ParamCommands::Row* const row = ParamCommands::Find(name);
    const Value given(value, size);
    return row != nullptr ? row->write(*this, given) : ParamCommands::Feature(*this, name, given);
} catch (...) {
    CAM_LOG(kLogError, ModuleId(), kFunction, "Parameter not set, out of memory");
    return kNoResources;
}

}  // namespace cam
