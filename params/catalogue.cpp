// GetParam: what the host reads.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "module/camera_module.h"
#include "module/log/log.h"
#include "params/key_table.h"
#include "params/smart_camera.h"
#include "params/value_text.h"

namespace cam {

namespace {

constexpr char kFunction[] = "CCameraModule::GetParam";
constexpr std::string_view kCameraImage = "CameraImage";

constexpr std::chrono::milliseconds kGrabStartWait{1000};

// Feature answers never take more room than this, whatever the host has.
constexpr std::int32_t kFeatureTextSize = 256;

// What stands for the camera list while the camera is addressed by IP.
constexpr std::uint32_t kListLengthByAddress = 12;

constexpr std::string_view kLongModelPrefix = "KZ-HX310-4";
constexpr std::size_t kShortModelPrefix = 5;
constexpr std::int32_t kNoCameraType = -1;
constexpr std::int32_t kPlainCameraType = 1;
constexpr std::int32_t kSmartCameraType = 2;

constexpr std::int32_t kMaxImageBufferCount = 100;
constexpr std::int32_t kMaxExecuteInterval = 10'000;

// The host's buffer for one answer.
class Answer {
  public:
    Answer(char* buffer, std::int32_t size, std::uint32_t* length)
        : m_buffer(buffer), m_size(std::max(size, 0)), m_length(length) {}

    // Cut to the room, NUL-ended.
    void Text(std::string_view text) { Cut(text, m_size); }
    void Number(std::int32_t number) { Text(std::to_string(number)); }
    void FeatureText(std::string_view text) { Cut(text, std::min(m_size, kFeatureTextSize)); }

    // Bytes as they are, without a terminator.
    [[nodiscard]] bool Bytes(const void* bytes, std::size_t count) {
        if (count > Room()) {
            return false;
        }
        std::memcpy(m_buffer, bytes, count);
        return true;
    }

    void Length(std::uint32_t length) { *m_length = length; }

    [[nodiscard]] char* Buffer() { return m_buffer; }
    [[nodiscard]] std::int32_t Size() const { return m_size; }
    [[nodiscard]] std::size_t Room() const { return static_cast<std::size_t>(m_size); }
    [[nodiscard]] std::uint32_t* LengthOut() { return m_length; }

  private:
    void Cut(std::string_view text, std::int32_t size) {
        if (size == 0) {
            return;
        }
        const std::size_t count = std::min(text.size(), static_cast<std::size_t>(size) - 1);
        std::memcpy(m_buffer, text.data(), count);
        m_buffer[count] = '\0';
    }

    char* m_buffer;
    std::int32_t m_size;
    std::uint32_t* m_length;
};

struct CameraStatistics {
    std::int32_t usbErrorFrames = 0;
    std::int32_t gigeLostFrames = 0;
    std::int32_t gigeLostPackets = 0;
};

CameraStatistics StatisticsOf(CMyCamera& camera, std::uint32_t transportType) {
    CameraStatistics statistics;
    if (transportType == KZ_TRANSPORT_GIGE) {
        KZGigEMatchInfo gige{};
        KZMatchInfo request{KZ_MATCH_INFO_GIGE, sizeof gige, &gige};
        if (camera.GetAllMatchInfo(&request) == kOk) {
            statistics.gigeLostFrames = static_cast<std::int32_t>(gige.lostFrames);
            statistics.gigeLostPackets = static_cast<std::int32_t>(gige.lostPackets);
        }
    } else if (transportType == KZ_TRANSPORT_USB3) {
        KZUsb3MatchInfo usb{};
        KZMatchInfo request{KZ_MATCH_INFO_USB3, sizeof usb, &usb};
        if (camera.GetAllMatchInfo(&request) == kOk) {
            statistics.usbErrorFrames = static_cast<std::int32_t>(usb.errorFrames);
        }
    }
    return statistics;
}

// Reads a feature into its text; the text stays as it is on failure.
template <typename Value>
Status ReadFeature(CMyCamera& camera, Status (CMyCamera::*read)(const char*, Value*),
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

Status ReadStringFeature(CMyCamera& camera, const std::string& node, std::string& text) {
    char value[kFeatureTextSize] = {};
    const Status status = camera.GetStringValue(node.c_str(), value, sizeof value);
    if (status == kOk) {
        text = value;
    }
    return status;
}

}  // namespace

// The module's own keys; every other key names a camera feature.
struct ParamCatalogue {
    using Read = Status (*)(CCameraModule& module, Answer& answer);

    struct Row {
        std::string_view key;
        KeyMatch match;
        Read read;
    };

    template <Setting<std::int32_t> Settings::*Member>
    static Status Number(CCameraModule& module, Answer& answer) {
        answer.Number((module.m_settings.*Member).Get());
        return kOk;
    }

    template <Setting<std::int32_t> Settings::*Member, std::int32_t Maximum>
    static Status Range(CCameraModule& module, Answer& answer) {
        answer.Text(IntRangeText((module.m_settings.*Member).Get(), 0, Maximum, 1));
        return kOk;
    }

    template <Setting<bool> Settings::*Member>
    static Status Switch(CCameraModule& module, Answer& answer) {
        answer.Text(SwitchText((module.m_settings.*Member).Get()));
        return kOk;
    }

    template <Setting<bool> Settings::*Member>
    static Status Plain(CCameraModule& module, Answer& answer) {
        answer.Text(PlainText((module.m_settings.*Member).Get()));
        return kOk;
    }

    template <auto Member>
    static Status Text(CCameraModule& module, Answer& answer) {
        answer.Text((module.m_settings.*Member).Get().view());
        return kOk;
    }

    template <SharedText<kCameraTextSize> CCameraModule::*Member>
    static Status Identity(CCameraModule& module, Answer& answer) {
        answer.Text((module.*Member).Get().view());
        return kOk;
    }

    static Status Nothing(CCameraModule&, Answer&) { return kOk; }

    static Status CameraName(CCameraModule& module, Answer& answer) {
        if (module.m_settings.connectionMode.Get() == kConnectByAddress) {
            answer.Length(kListLengthByAddress);
            return kOk;
        }
        return module.GetCameraList(answer.Buffer(), answer.Size(), answer.LengthOut());
    }

    static Status VendorName(CCameraModule& module, Answer& answer) {
        if (!module.m_camera.IsOpen()) {
            return kOk;
        }
        const Status status =
            module.m_camera.GetStringValue("DeviceVendorName", answer.Buffer(), answer.Room());
        return status == KZ_CC_E_DEVICE_LOST ? status : kOk;
    }

    static Status CameraType(CCameraModule& module, Answer& answer) {
        const CameraText model = module.m_model.Get();
        const std::size_t length =
            model.StartsWith(kLongModelPrefix) ? kLongModelPrefix.size() : kShortModelPrefix;
        static_cast<void>(answer.Bytes(model.c_str(), std::min(length, answer.Room())));
        return kOk;
    }

    static Status SmartCameraType(CCameraModule& module, Answer& answer) {
        if (!module.m_camera.IsOpen()) {
            answer.Number(kNoCameraType);
        } else {
            answer.Number(IsSmartModel(module.m_model.Get().view()) ? kSmartCameraType
                                                                    : kPlainCameraType);
        }
        return kOk;
    }

    static Status UseGenTL(CCameraModule& module, Answer& answer) {
        answer.Text(SwitchText(module.m_bGenTL.Get()));
        return kOk;
    }

    static Status GenTLPath(CCameraModule& module, Answer& answer) {
        answer.Text(module.m_szGenTLPath.Get().view());
        return kOk;
    }

    static Status ConnectIP(CCameraModule& module, Answer& answer) {
        answer.Text(PlainText(module.m_settings.connectedByIp.Get() && module.m_camera.IsOpen()));
        return kOk;
    }

    static Status CameraImage(CCameraModule& module, Answer& answer) {
        CAM_LOG(kLogDebug, module.ModuleId(), kFunction, "CameraModuleDebug:GetImage Start");
        module.GrabStartedEvent.WaitFor(kGrabStartWait);
        if (!module.m_camera.IsGrabbing()) {
            CAM_LOG(kLogError, module.ModuleId(), kFunction,
                    "Try to wait grabbing state failed when get camera image");
        }
        if (answer.Room() < sizeof(BufferNode)) {
            return kInvalid;
        }
        const BufferNode node = module.GetImage();
        CAM_LOG(kLogDebug, module.ModuleId(), kFunction, "CameraModuleDebug:GetImage End");
        if (node.dataLength == 0) {
            if (node.capacity > 0) {
                // A frame that the SDK converted to nothing; the host never sees its node.
                module.FreeNode(node);
            }
            return kNoImage;
        }
        static_cast<void>(answer.Bytes(&node, sizeof node));
        CAM_LOG(kLogDebug, module.ModuleId(), kFunction, "CameraModuleDebug:Memcpy End");
        answer.Length(sizeof node);
        CAM_LOG(kLogDebug, module.ModuleId(), kFunction, "CameraImage %s", node.sharedName);
        return kOk;
    }

    static Status CameraPreviewInfo(CCameraModule& module, Answer& answer) {
        KZIntValue width{};
        KZIntValue height{};
        const bool known =
            module.m_camera.GetWidth(&width) == kOk && module.m_camera.GetHeight(&height) == kOk;
        const PreviewSize preview =
            known ? PreviewSizeOf(width.current, height.current) : PreviewSizeOf(0, 0);
        const CameraStatistics statistics =
            StatisticsOf(module.m_camera, module.m_transportType.Get());
        char text[kFeatureTextSize];
        std::snprintf(text, sizeof text, "%d$%d$%d$%d$%d$%d$%s", statistics.usbErrorFrames,
                      kPreviewCounter, statistics.gigeLostFrames, statistics.gigeLostPackets,
                      preview.width, preview.height, module.m_serial.Get().c_str());
        answer.Text(text);
        return kOk;
    }

    static Status CameraErrorInfo(CCameraModule& module, Answer& answer) {
        const CameraStatistics statistics =
            StatisticsOf(module.m_camera, module.m_transportType.Get());
        char text[kFeatureTextSize];
        std::snprintf(text, sizeof text, "%d$%d$%d", statistics.usbErrorFrames,
                      statistics.gigeLostFrames, statistics.gigeLostPackets);
        answer.Text(text);
        return kOk;
    }

    static Status Feature(CCameraModule& module, std::string_view key, Answer& answer) {
        CMyCamera& camera = module.m_camera;
        answer.FeatureText(kUnreadableFeature);
        if (!camera.IsOpen()) {
            return kOk;
        }
        const std::string node = NodeNameOf(key);
        KZNodeType type{};
        if (camera.GetNodeInterfaceType(node.c_str(), &type) != kOk) {
            CAM_LOG(kLogError, module.ModuleId(), kFunction, "param is not in node:%s",
                    node.c_str());
            return kOk;
        }
        std::string text = kUnreadableFeature;
        Status status = kOk;
        switch (type) {
            case KZ_NODE_INTEGER:
                status = ReadFeature(camera, &CMyCamera::GetIntValue, node, text);
                break;
            case KZ_NODE_BOOLEAN:
                status = ReadFeature(camera, &CMyCamera::GetBoolValue, node, text);
                break;
            case KZ_NODE_FLOAT:
                status = ReadFeature(camera, &CMyCamera::GetFloatValue, node, text);
                break;
            case KZ_NODE_STRING:
                status = ReadStringFeature(camera, node, text);
                break;
            case KZ_NODE_ENUMERATION:
                status = ReadFeature(camera, &CMyCamera::GetEnumValue, node, text);
                break;
            default:
                break;
        }
        answer.FeatureText(text);
        return status == KZ_CC_E_DEVICE_LOST ? status : kOk;
    }

    // A place in "CameraPreviewInfo" that nothing counts in.
    static constexpr std::int32_t kPreviewCounter = 0;

    static const Row kRows[];
    static const Row* Find(std::string_view key);
};

// In the order they are tried.
const ParamCatalogue::Row ParamCatalogue::kRows[] = {
    {"CameraName", KeyMatch::Exact, CameraName},
    {"IOEnableElectricalLevel", KeyMatch::Contained, Number<&Settings::ioEnableElectricalLevel>},
    {"CameraMold", KeyMatch::Contained, Number<&Settings::cameraMold>},
    {"ImageCacheNum", KeyMatch::Exact, Number<&Settings::imageCacheNum>},
    {"ManufacturerName", KeyMatch::Exact, Identity<&CCameraModule::m_manufacturer>},
    {"SerialNumber", KeyMatch::Exact, Identity<&CCameraModule::m_serial>},
    {"VendorName", KeyMatch::Exact, VendorName},
    {"ModelName", KeyMatch::Exact, Identity<&CCameraModule::m_model>},
    {"CameraType", KeyMatch::Exact, CameraType},
    {"SmartCameraType", KeyMatch::Exact, SmartCameraType},
    {"TriggerStringEnable", KeyMatch::Exact, Switch<&Settings::triggerStringEnable>},
    {"ReconnectTime", KeyMatch::Exact, Number<&Settings::reconnectTime>},
    {"DebugMode", KeyMatch::Exact, Switch<&Settings::debugMode>},
    {"UseGenTL", KeyMatch::Exact, UseGenTL},
    {"DebugImageSource", KeyMatch::Exact, Number<&Settings::debugImageSource>},
    {kCameraImage, KeyMatch::Exact, CameraImage},
    {"FileFolderName", KeyMatch::Exact, Text<&Settings::fileFolderName>},
    {"GenTLPath", KeyMatch::Exact, GenTLPath},
    {"DebugImageBufferCount", KeyMatch::Exact,
     Range<&Settings::debugImageBufferCount, kMaxImageBufferCount>},
    {"AutoSwitch", KeyMatch::Exact, Switch<&Settings::autoSwitch>},
    {"ExecuteInterval", KeyMatch::Exact, Range<&Settings::executeInterval, kMaxExecuteInterval>},
    {"CameraPreviewInfo", KeyMatch::Exact, CameraPreviewInfo},
    {"CameraErrorInfo", KeyMatch::Exact, CameraErrorInfo},
    {"WaitForConnectingTime", KeyMatch::Exact, Number<&Settings::waitForConnectingTime>},
    {"DropImageWhenTriggerFail", KeyMatch::Exact, Plain<&Settings::dropImageWhenTriggerFail>},
    {"SoftTriggerWaitTime", KeyMatch::Exact, Number<&Settings::softTriggerWaitTime>},
    {"Type", KeyMatch::Exact, Number<&Settings::connectionMode>},
    {"ConnectIP", KeyMatch::Exact, ConnectIP},
    {"AutoConnect", KeyMatch::Exact, Plain<&Settings::autoConnect>},
    {"CameraIP", KeyMatch::Exact, Text<&Settings::cameraIp>},
    {"LocalIP", KeyMatch::Exact, Text<&Settings::localIp>},
    {"DynamicInData", KeyMatch::Exact, Nothing},
    {"DynamicOutData", KeyMatch::Exact, Nothing},
    {"TriggerProcessRunStatus", KeyMatch::Exact, Plain<&Settings::triggerProcessRunStatus>},
};

const ParamCatalogue::Row* ParamCatalogue::Find(std::string_view key) {
    return FindRow(kRows, key);
}

std::vector<TableKey> CatalogueKeys() {
    return KeysOf(ParamCatalogue::kRows);
}

std::uint32_t CCameraModule::GetParam(const char* key, char* value, std::int32_t size,
                                      std::uint32_t* length) try {
    if (key == nullptr || value == nullptr || length == nullptr) {
        return kInvalid;
    }
    Answer answer(value, size, length);
    const std::string_view name(key);
    if (name == kCameraImage) {
        // Once a frame, so ahead of the search.
        return ParamCatalogue::CameraImage(*this, answer);
    }
    const ParamCatalogue::Row* const row = ParamCatalogue::Find(name);
    return row != nullptr ? row->read(*this, answer) : ParamCatalogue::Feature(*this, name, answer);
} catch (...) {
    CAM_LOG(kLogError, ModuleId(), kFunction, "Parameter not read, out of memory");
    return kNoResources;
}

}  // namespace cam
