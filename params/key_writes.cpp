// Writing of the keys that are more than a setting.
#include <string>

#include "base/log.h"
#include "base/notices.h"
#include "base/settings.h"
#include "camera/camera_connection.h"
#include "camera/my_camera.h"
#include "camera/set_up_gate.h"
#include "imaging/frame_delivery.h"
#include "imaging/frame_store.h"
#include "imaging/local_images.h"
#include "imaging/receiver_registry.h"
#include "params/feature_access.h"
#include "params/key_functions.h"
#include "platform/code_page.h"
#include "platform/file_system.h"

namespace cam::write {

namespace {

constexpr char kFunction[] = "CCameraModule::SetParam";

}  // namespace

std::optional<std::int32_t> NumberIn(KeyContext& module, const Value& value) {
    const auto number = value.Int();
    if (!number) {
        CAM_LOG(kLogWarning, module.notices.ModuleId(), kFunction, "Warning:[%s] is not a number",
                std::string(value.Text()).c_str());
    }
    return number;
}

Status EnumCamera(KeyContext& module, const Value&) {
    return module.connection.EnumDevices();
}

Status ClearCacheImage(KeyContext& module, const Value&) {
    module.store.Clear();
    return kOk;
}

Status SerialNumber(KeyContext& module, const Value& value) {
    return module.connection.SetSerial(value.Text());
}

Status CheckCameraOpened(KeyContext& module, const Value&) {
    return module.camera.IsOpen() ? kOk : module.connection.RetryPendingSelection();
}

Status IOEnableElectricalLevel(KeyContext& module, const Value& value) {
    if (const auto level = NumberIn(module, value)) {
        module.settings.ioEnableElectricalLevel.Set(*level);
    }
    const SetUpGate::FeatureCall call(module.setUpGate);
    const Status status =
        call ? module.camera.ReverseElecLevel(module.settings.cameraMold.Get(),
                                              module.settings.ioEnableElectricalLevel.Get())
             : kInvalid;
    CAM_LOG(kLogInfo, module.notices.ModuleId(), kFunction, "IOEnableElectricalLevel %x", status);
    return kOk;
}

Status CameraName(KeyContext& module, const Value& value) {
    return module.connection.SetDeviceValue(value.Text());
}

Status RealTimeImgAcq(KeyContext& module, const Value& value) {
    return module.features.SetRealTimeMode(value.Bool());
}

Status SynTriggerSoftware(KeyContext& module, const Value&) {
    return module.delivery.TriggerAndWait();
}

Status UseCamPic(KeyContext& module, const Value&) {
    module.settings.localPicture.Set("");
    return kOk;
}

Status UseGenTL(KeyContext& module, const Value& value) {
    return module.connection.UseGenTL(value.Bool());
}

Status SaveParams(KeyContext& module, const Value&) {
    return module.features.SaveUserSet();
}

Status GenTLPath(KeyContext& module, const Value& value) {
    if (platform::PathExists(value.Text())) {
        module.connection.SetGenTLPath(platform::AsUtf8(value.Text()));
    } else {
        CAM_LOG(kLogWarning, module.notices.ModuleId(), kFunction,
                "Warning:GenTLPath [%s] not found", std::string(value.Text()).c_str());
    }
    return kOk;
}

Status FileFolderName(KeyContext& module, const Value& value) {
    // One word: a folder path ends at its first blank.
    std::string_view folder = WithoutLeadingBlanks(value.Text());
    folder = folder.substr(0, folder.find_first_of(kBlanks));
    module.settings.fileFolderName.Set(folder);
    const Status status = module.localImages.ScanFolder(folder);
    if (status != kOk) {
        CAM_LOG(kLogError, module.notices.ModuleId(), kFunction, "Image folder [%s] not listed",
                std::string(folder).c_str());
    }
    return status;
}

Status AddRelateProc(KeyContext& module, const Value& value) {
    module.receivers.Add(std::string(value.Text()));
    return kOk;
}

Status DelRelateProc(KeyContext& module, const Value& value) {
    module.receivers.Remove(std::string(value.Text()));
    return kOk;
}

Status SoftTriggerWaitTime(KeyContext& module, const Value& value) {
    if (const auto seconds = NumberIn(module, value)) {
        // Stored only once bounded: a request in progress must not use the raw value.
        const bool bounded = *seconds >= 0 && *seconds <= kMaxSoftTriggerWait;
        module.settings.softTriggerWaitTime.Set(bounded ? *seconds : kDefaultSoftTriggerWait);
    }
    return kOk;
}

Status FreeBuf(KeyContext& module, const Value& value) {
    const auto node = value.As<BufferNode>();
    if (!node) {
        return kInvalid;
    }
    if (node->capacity == 0) {
        // Not from the pool: a local picture, or a record that owns nothing.
        module.localImages.FreeDelivered(*node);
        return kOk;
    }
    return module.store.FreeBuf(*node);
}

Status ConnectIP(KeyContext& module, const Value& value) {
    return module.connection.ConnectIP(value.Bool());
}

Status LogLevel(KeyContext& module, const Value& value) {
    CAM_LOG(kLogError, module.notices.ModuleId(), kFunction, "log level from %d change to %s",
            Xalog_GetCurrentLevel(), std::string(value.Text()).c_str());
    Xalog_ResetLevel(value.Int().value_or(0));
    return kOk;
}

Status TriggerProcessRunStatus(KeyContext& module, const Value& value) {
    module.delivery.SetTriggerProcessRunStatus(value.Bool());
    return kOk;
}

Status TriggerOn(KeyContext& module, const Value&) {
    return module.features.SetTriggerMode(true);
}

Status TriggerOff(KeyContext& module, const Value&) {
    return module.features.SetTriggerMode(false);
}

}  // namespace cam::write
