#include "bench/bare_sdk.h"

#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "camera/sdk/pixel_format.h"
#include "module/framework/module_frame.h"

// The SDK's functions with nothing behind them: one GigE Vision camera whose frames the benchmark
// delivers itself, on the thread it likes, so that only the module's own work is measured. For the
// same reason the report that the framework gets for each frame goes nowhere.

namespace {

constexpr char kSerial[] = "BENCH";
constexpr std::int32_t kPacketSize = 1500;
int camera = 0;  // its address is the one handle

std::vector<CameraDeviceInfo> records(1);
std::chrono::milliseconds conversionTime{0};
std::function<void()> trigger;
bare_sdk::Callback imageCallback;

}  // namespace

namespace bare_sdk {

const char* Serial() {
    return kSerial;
}
void ListCameras(std::uint32_t count) {
    records.resize(count);
}
void ConversionsTake(std::chrono::milliseconds duration) {
    conversionTime = duration;
}
Callback ImageCallback() {
    return imageCallback;
}
void OnSoftwareTrigger(std::function<void()> onTrigger) {
    trigger = std::move(onTrigger);
}

}  // namespace bare_sdk

extern "C" {

std::uint32_t CQ_M_ReportData(void*, std::uint32_t, const char*, std::uint32_t) {
    return 0;
}

std::uint32_t KZ_CC_EnumDevices(std::uint32_t, KZDeviceList* list) {
    list->count = static_cast<std::uint32_t>(records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        records[i].transportType = KZ_TRANSPORT_GIGE;
        const std::string serial = kSerial + (i == 0 ? std::string() : std::to_string(i));
        serial.copy(records[i].gige.serialNumber, sizeof records[i].gige.serialNumber - 1);
        list->devices[i] = &records[i];
    }
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_CreateHandle(KZHandle* handle, const CameraDeviceInfo*) {
    *handle = &camera;
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_RegisterImageCallBackEx(KZHandle, KZImageCallback callback, void* user) {
    imageCallback = {callback, user};
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_SetCommandValue(KZHandle, const char* name) {
    if (trigger && std::strcmp(name, "TriggerSoftware") == 0) {
        trigger();
    }
    return KZ_CC_OK;
}

std::int32_t KZ_CC_GetOptimalPacketSize(KZHandle) {
    return kPacketSize;
}

std::uint32_t KZ_CC_EnumInterfacesByGenTL(GenTLInterfaceList*, const char*) {
    return KZ_CC_E_NOT_SUPPORTED;
}
std::uint32_t KZ_CC_EnumDevicesByGenTL(const GenTLInterfaceInfo*, GenTLDeviceList*) {
    return KZ_CC_E_NOT_SUPPORTED;
}
std::uint32_t KZ_CC_CreateHandleByGenTL(KZHandle*, const GenTLDeviceInfo*) {
    return KZ_CC_E_NOT_SUPPORTED;
}
std::uint32_t KZ_CC_UnloadGenTLLibrary(const char*) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_DestroyHandle(KZHandle) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_OpenDevice(KZHandle, std::uint32_t, std::uint16_t) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_CloseDevice(KZHandle) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_StartGrabbing(KZHandle) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_StopGrabbing(KZHandle) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_RegisterExceptionCallBack(KZHandle, KZExceptionCallback, void*) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_RegisterEventCallBackEx(KZHandle, const char*, KZEventCallback, void*) {
    return KZ_CC_OK;
}
std::uint32_t KZ_XML_GetNodeInterfaceType(KZHandle, const char*, KZNodeType*) {
    return KZ_CC_E_NODE_MISSING;
}
std::uint32_t KZ_CC_GetIntValue(KZHandle, const char*, KZIntValue*) {
    return KZ_CC_E_NODE_MISSING;
}
std::uint32_t KZ_CC_SetIntValue(KZHandle, const char*, std::uint32_t) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_GetFloatValue(KZHandle, const char*, KZFloatValue*) {
    return KZ_CC_E_NODE_MISSING;
}
std::uint32_t KZ_CC_SetFloatValue(KZHandle, const char*, float) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_GetEnumValue(KZHandle, const char*, KZEnumValue*) {
    return KZ_CC_E_NODE_MISSING;
}
std::uint32_t KZ_CC_SetEnumValue(KZHandle, const char*, std::uint32_t) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_SetEnumValueByString(KZHandle, const char*, const char*) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_GetBoolValue(KZHandle, const char*, bool*) {
    return KZ_CC_E_NODE_MISSING;
}
std::uint32_t KZ_CC_SetBoolValue(KZHandle, const char*, bool) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_GetStringValue(KZHandle, const char*, KZStringValue*) {
    return KZ_CC_E_NODE_MISSING;
}
std::uint32_t KZ_CC_SetStringValue(KZHandle, const char*, const char*) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_GetWidth(KZHandle, KZIntValue*) {
    return KZ_CC_E_NODE_MISSING;
}
std::uint32_t KZ_CC_GetHeight(KZHandle, KZIntValue*) {
    return KZ_CC_E_NODE_MISSING;
}
std::uint32_t KZ_GIGE_SetTransmissionType(KZHandle, const KZTransmissionType*) {
    return KZ_CC_OK;
}
std::uint32_t KZ_CC_GetAllMatchInfo(KZHandle, KZMatchInfo*) {
    return KZ_CC_E_NOT_SUPPORTED;
}
std::uint32_t KZ_CC_HB_Decode(KZHandle, HbDecodeParam*) {
    return KZ_CC_E_NOT_SUPPORTED;
}
std::uint32_t KZ_CC_ConvertPixelType(KZHandle, PixelConvertParam* param) {
    const auto end = std::chrono::steady_clock::now() + conversionTime;
    const std::uint32_t channels = param->destinationPixelType == pixel_format::kMono8 ? 1 : 3;
    param->convertedLength = std::uint32_t{param->width} * param->height * channels;
    do {
        std::memset(param->destination, 0, param->convertedLength);
    } while (std::chrono::steady_clock::now() < end);
    return KZ_CC_OK;
}

}  // extern "C"
