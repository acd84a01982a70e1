// Reading and writing of the keys that are more than a setting; used by the table of keys.
#pragma once

#include "module/framework/status_codes.h"
#include "params/key_context.h"
#include "params/key_values.h"

namespace cam {

namespace read {
Status Nothing(KeyContext& module, Answer& answer);
Status CameraName(KeyContext& module, Answer& answer);
Status ManufacturerName(KeyContext& module, Answer& answer);
Status SerialNumber(KeyContext& module, Answer& answer);
Status ModelName(KeyContext& module, Answer& answer);
Status VendorName(KeyContext& module, Answer& answer);
Status CameraType(KeyContext& module, Answer& answer);
Status SmartCameraType(KeyContext& module, Answer& answer);
Status UseGenTL(KeyContext& module, Answer& answer);
Status GenTLPath(KeyContext& module, Answer& answer);
Status ConnectIP(KeyContext& module, Answer& answer);
Status CameraImage(KeyContext& module, Answer& answer);
Status CameraPreviewInfo(KeyContext& module, Answer& answer);
Status CameraErrorInfo(KeyContext& module, Answer& answer);
}  // namespace read

namespace write {
Status EnumCamera(KeyContext& module, const Value& value);
Status ClearCacheImage(KeyContext& module, const Value& value);
Status SerialNumber(KeyContext& module, const Value& value);
Status CheckCameraOpened(KeyContext& module, const Value& value);
Status IOEnableElectricalLevel(KeyContext& module, const Value& value);
Status CameraName(KeyContext& module, const Value& value);
Status RealTimeImgAcq(KeyContext& module, const Value& value);
Status SynTriggerSoftware(KeyContext& module, const Value& value);
Status UseCamPic(KeyContext& module, const Value& value);
Status UseGenTL(KeyContext& module, const Value& value);
Status SaveParams(KeyContext& module, const Value& value);
Status GenTLPath(KeyContext& module, const Value& value);
Status FileFolderName(KeyContext& module, const Value& value);
Status AddRelateProc(KeyContext& module, const Value& value);
Status DelRelateProc(KeyContext& module, const Value& value);
Status SoftTriggerWaitTime(KeyContext& module, const Value& value);
Status FreeBuf(KeyContext& module, const Value& value);
Status ConnectIP(KeyContext& module, const Value& value);
Status LogLevel(KeyContext& module, const Value& value);
Status TriggerProcessRunStatus(KeyContext& module, const Value& value);
Status TriggerOn(KeyContext& module, const Value& value);
Status TriggerOff(KeyContext& module, const Value& value);

// Text that is not a number leaves the setting unchanged and is logged.
[[nodiscard]] std::optional<std::int32_t> NumberIn(KeyContext& module, const Value& value);
}  // namespace write

}  // namespace cam
