// Reading of the keys that are more than a setting.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "base/log.h"
#include "base/module_events.h"
#include "base/notices.h"
#include "base/settings.h"
#include "camera/camera_connection.h"
#include "camera/my_camera.h"
#include "camera/set_up_gate.h"
#include "imaging/frame_delivery.h"
#include "imaging/frame_store.h"
#include "params/key_functions.h"
#include "params/smart_camera.h"
#include "params/value_text.h"

namespace cam::read {

namespace {

constexpr char kFunction[] = "CCameraModule::GetParam";

constexpr std::chrono::milliseconds kGrabStartWait{1000};

// The reported list length while the camera is chosen by IP address.
constexpr std::uint32_t kListLengthByAddress = 12;

constexpr std::string_view kLongModelPrefix = "KZ-HX310-4";
constexpr std::size_t kShortModelPrefix = 5;
constexpr std::int32_t kNoCameraType = -1;
constexpr std::int32_t kPlainCameraType = 1;
constexpr std::int32_t kSmartCameraType = 2;

// A field of "CameraPreviewInfo" that counts nothing.
constexpr std::int32_t kPreviewCounter = 0;

struct CameraStatistics {
    std::int32_t usbErrorFrames = 0;
    std::int32_t gigeLostFrames = 0;
    std::int32_t gigeLostPackets = 0;
};

CameraStatistics StatisticsOf(KeyContext& module) {
    CameraStatistics statistics;
    const std::uint32_t transportType = module.connection.Identity().transportType.Get();
    if (transportType == KZ_TRANSPORT_GIGE) {
        KZGigEMatchInfo gige{};
        KZMatchInfo request{KZ_MATCH_INFO_GIGE, sizeof gige, &gige};
        if (module.camera.GetAllMatchInfo(&request) == kOk) {
            statistics.gigeLostFrames = static_cast<std::int32_t>(gige.lostFrames);
            statistics.gigeLostPackets = static_cast<std::int32_t>(gige.lostPackets);
        }
    } else if (transportType == KZ_TRANSPORT_USB3) {
        KZUsb3MatchInfo usb{};
        KZMatchInfo request{KZ_MATCH_INFO_USB3, sizeof usb, &usb};
        if (module.camera.GetAllMatchInfo(&request) == kOk) {
            statistics.usbErrorFrames = static_cast<std::int32_t>(usb.errorFrames);
        }
    }
    return statistics;
}

PreviewSize PreviewOf(KeyContext& module) {
    const SetUpGate::FeatureCall call(module.setUpGate);
    KZIntValue width{};
    KZIntValue height{};
    const bool known =
        call && module.camera.GetWidth(&width) == kOk && module.camera.GetHeight(&height) == kOk;
    return known ? PreviewSizeOf(width.current, height.current) : PreviewSizeOf(0, 0);
}

}  // namespace

Status Nothing(KeyContext&, Answer&) {
    return kOk;
}

Status CameraName(KeyContext& module, Answer& answer) {
    if (module.settings.connectionMode.Get() == kConnectByAddress) {
        answer.Length(kListLengthByAddress);
        return kOk;
    }
    return module.connection.GetCameraList(answer.Buffer(), answer.Size(), answer.LengthOut());
}

Status ManufacturerName(KeyContext& module, Answer& answer) {
    answer.Text(module.connection.Identity().manufacturer.Get().view());
    return kOk;
}

Status SerialNumber(KeyContext& module, Answer& answer) {
    answer.Text(module.connection.Serial().view());
    return kOk;
}

Status ModelName(KeyContext& module, Answer& answer) {
    answer.Text(module.connection.Identity().model.Get().view());
    return kOk;
}

Status VendorName(KeyContext& module, Answer& answer) {
    if (!module.camera.IsOpen()) {
        return kOk;
    }
    const Status status =
        module.camera.GetStringValue("DeviceVendorName", answer.Buffer(), answer.Room());
    return status == KZ_CC_E_DEVICE_LOST ? status : kOk;
}

Status CameraType(KeyContext& module, Answer& answer) {
    const CameraText model = module.connection.Identity().model.Get();
    const std::size_t length =
        model.StartsWith(kLongModelPrefix) ? kLongModelPrefix.size() : kShortModelPrefix;
    static_cast<void>(answer.Bytes(model.c_str(), std::min(length, answer.Room())));
    return kOk;
}

Status SmartCameraType(KeyContext& module, Answer& answer) {
    if (!module.camera.IsOpen()) {
        answer.Number(kNoCameraType);
    } else {
        answer.Number(IsSmartModel(module.connection.Identity().model.Get().view())
                          ? kSmartCameraType
                          : kPlainCameraType);
    }
    return kOk;
}

Status UseGenTL(KeyContext& module, Answer& answer) {
    answer.Text(SwitchText(module.connection.UsesGenTL()));
    return kOk;
}

Status GenTLPath(KeyContext& module, Answer& answer) {
    answer.Text(module.connection.GenTLPath().view());
    return kOk;
}

Status ConnectIP(KeyContext& module, Answer& answer) {
    answer.Text(PlainText(module.settings.connectedByIp.Get() && module.camera.IsOpen()));
    return kOk;
}

Status CameraImage(KeyContext& module, Answer& answer) {
    CAM_LOG(kLogDebug, module.notices.ModuleId(), kFunction, "CameraModuleDebug:GetImage Start");
    module.events.GrabStartedEvent.WaitFor(kGrabStartWait);
    if (!module.camera.IsGrabbing()) {
        CAM_LOG(kLogError, module.notices.ModuleId(), kFunction,
                "Try to wait grabbing state failed when get camera image");
    }
    if (answer.Room() < sizeof(BufferNode)) {
        return kInvalid;
    }
    const BufferNode node = module.delivery.GetImage();
    CAM_LOG(kLogDebug, module.notices.ModuleId(), kFunction, "CameraModuleDebug:GetImage End");
    if (node.dataLength == 0) {
        if (node.capacity > 0) {
            // A frame that the SDK converted to zero bytes; the host never sees its node.
            module.store.FreeBuf(node);
        }
        return kNoImage;
    }
    static_cast<void>(answer.Bytes(&node, sizeof node));
    CAM_LOG(kLogDebug, module.notices.ModuleId(), kFunction, "CameraModuleDebug:Memcpy End");
    answer.Length(sizeof node);
    CAM_LOG(kLogDebug, module.notices.ModuleId(), kFunction, "CameraImage %s", node.sharedName);
    return kOk;
}

Status CameraPreviewInfo(KeyContext& module, Answer& answer) {
    const PreviewSize preview = PreviewOf(module);
    const CameraStatistics statistics = StatisticsOf(module);
    char text[kFeatureTextSize];
    std::snprintf(text, sizeof text, "%d$%d$%d$%d$%d$%d$%s", statistics.usbErrorFrames,
                  kPreviewCounter, statistics.gigeLostFrames, statistics.gigeLostPackets,
                  preview.width, preview.height, module.connection.Serial().c_str());
    answer.Text(text);
    return kOk;
}

Status CameraErrorInfo(KeyContext& module, Answer& answer) {
    const CameraStatistics statistics = StatisticsOf(module);
    char text[kFeatureTextSize];
    std::snprintf(text, sizeof text, "%d$%d$%d", statistics.usbErrorFrames,
                  statistics.gigeLostFrames, statistics.gigeLostPackets);
    answer.Text(text);
    return kOk;
}

}  // namespace cam::read
