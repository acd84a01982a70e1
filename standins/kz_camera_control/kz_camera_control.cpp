// The SDK's functions: from C arguments to handles, devices and sources.
#include "camera/sdk/kz_camera_control.h"

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

#include "standins/kz_camera_control/frame_compression.h"
#include "standins/kz_camera_control/library.h"
#include "standins/kz_camera_control/pixel_conversion.h"

namespace {

using kz::Call;
using kz::CameraHandle;
using kz::Code;
using kz::Device;
using kz::TheLibrary;

// No exception reaches the caller.
template <typename Body>
Code Answer(Body&& body) noexcept {
    try {
        return body();
    } catch (...) {
        return KZ_CC_E_RESOURCE;
    }
}

template <typename Body>
Code OnHandle(KZHandle handle, Body&& body) noexcept {
    return Answer([&]() -> Code {
        const auto found = TheLibrary().handles.Find(handle);
        return found ? body(*found) : KZ_CC_E_HANDLE;
    });
}

template <typename Body>
Code OnDevice(KZHandle handle, const Call& call, Body&& body) noexcept {
    return OnHandle(handle, [&](CameraHandle& found) { return found.WithDevice(call, body); });
}

// Reads are not recorded in the journal.
Call Read(const char* function) {
    return {function, {}};
}

Call Write(const char* function) {
    return {function, function};
}

std::string Text(const char* text) {
    return text == nullptr ? "(null)" : text;
}
std::string Text(std::uint32_t number) {
    return std::to_string(number);
}
std::string Text(bool value) {
    return value ? "1" : "0";
}
std::string Text(float number) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(number));
    return text;
}

template <typename... Arguments>
Call Write(const char* function, const Arguments&... arguments) {
    Call call{function, function};
    ((call.journalLine += ' ' + Text(arguments)), ...);
    return call;
}

// A read of a feature into `value`.
template <typename Value, typename Method>
Code GetFeature(const char* function, KZHandle handle, const char* name, Value* value,
                Method method) noexcept {
    return OnDevice(handle, Read(function), [&](Device& device) -> Code {
        return name == nullptr || value == nullptr ? KZ_CC_E_PARAMETER
                                                   : (device.*method)(name, *value);
    });
}

template <typename Value, typename Method>
Code SetFeature(const char* function, KZHandle handle, const char* name, Value value,
                Method method) noexcept {
    return Answer([&] {
        return OnDevice(handle, Write(function, name, value), [&](Device& device) -> Code {
            return name == nullptr ? KZ_CC_E_PARAMETER : (device.*method)(name, value);
        });
    });
}

template <typename Record>
Code CreateHandle(const char* function, KZHandle* handle, const Record* record) noexcept {
    return Answer([&]() -> Code {
        if (handle == nullptr || record == nullptr) {
            return KZ_CC_E_PARAMETER;
        }
        *handle = nullptr;
        auto made = TheLibrary().discovery.MakeHandle(*record);
        if (const Code code = made->Unserialised(Write(function)); code != KZ_CC_OK) {
            return code;
        }
        *handle = TheLibrary().handles.Add(std::move(made));
        return KZ_CC_OK;
    });
}

}  // namespace

extern "C" {

std::uint32_t KZ_CC_EnumDevices(std::uint32_t transportMask, KZDeviceList* list) {
    return Answer([&]() -> Code {
        return list == nullptr ? KZ_CC_E_PARAMETER
                               : TheLibrary().discovery.Devices(transportMask, *list);
    });
}

std::uint32_t KZ_CC_EnumInterfacesByGenTL(GenTLInterfaceList* list, const char* path) {
    return Answer([&]() -> Code {
        return list == nullptr || path == nullptr ? KZ_CC_E_PARAMETER
                                                  : TheLibrary().discovery.Interfaces(*list);
    });
}

std::uint32_t KZ_CC_EnumDevicesByGenTL(const GenTLInterfaceInfo* interfaceInfo,
                                       GenTLDeviceList* list) {
    return Answer([&]() -> Code {
        return list == nullptr || interfaceInfo == nullptr
                   ? KZ_CC_E_PARAMETER
                   : TheLibrary().discovery.InterfaceDevices(*interfaceInfo, *list);
    });
}

std::uint32_t KZ_CC_UnloadGenTLLibrary(const char* path) {
    return path == nullptr ? KZ_CC_E_PARAMETER : KZ_CC_OK;
}

std::uint32_t KZ_CC_CreateHandle(KZHandle* handle, const CameraDeviceInfo* device) {
    return CreateHandle("KZ_CC_CreateHandle", handle, device);
}

std::uint32_t KZ_CC_CreateHandleByGenTL(KZHandle* handle, const GenTLDeviceInfo* device) {
    return CreateHandle("KZ_CC_CreateHandleByGenTL", handle, device);
}

std::uint32_t KZ_CC_DestroyHandle(KZHandle handle) {
    return OnHandle(handle, [&](CameraHandle& found) -> Code {
        const Code code = found.Destroy(Write("KZ_CC_DestroyHandle"));
        if (code == KZ_CC_OK) {
            TheLibrary().handles.Remove(handle);
        }
        return code;
    });
}

std::uint32_t KZ_CC_OpenDevice(KZHandle handle, std::uint32_t accessMode,
                               std::uint16_t /*switchoverKey*/) {
    return OnHandle(handle, [&](CameraHandle& found) {
        return found.Open(Write("KZ_CC_OpenDevice", accessMode), accessMode);
    });
}

std::uint32_t KZ_CC_CloseDevice(KZHandle handle) {
    return OnHandle(handle,
                    [](CameraHandle& found) { return found.Close(Write("KZ_CC_CloseDevice")); });
}

std::uint32_t KZ_CC_StartGrabbing(KZHandle handle) {
    return OnHandle(handle, [](CameraHandle& found) {
        return found.StartGrabbing(Write("KZ_CC_StartGrabbing"));
    });
}

std::uint32_t KZ_CC_StopGrabbing(KZHandle handle) {
    return OnHandle(handle, [](CameraHandle& found) {
        return found.StopGrabbing(Write("KZ_CC_StopGrabbing"));
    });
}

std::uint32_t KZ_CC_RegisterImageCallBackEx(KZHandle handle, KZImageCallback callback, void* user) {
    constexpr const char* kFunction = "KZ_CC_RegisterImageCallBackEx";
    return OnHandle(handle, [&](CameraHandle& found) {
        return found.RegisterImage(
            callback == nullptr ? Write(kFunction, "null") : Write(kFunction), callback, user);
    });
}

std::uint32_t KZ_CC_RegisterExceptionCallBack(KZHandle handle, KZExceptionCallback callback,
                                              void* user) {
    constexpr const char* kFunction = "KZ_CC_RegisterExceptionCallBack";
    return OnHandle(handle, [&](CameraHandle& found) {
        return found.RegisterException(
            callback == nullptr ? Write(kFunction, "null") : Write(kFunction), callback, user);
    });
}

std::uint32_t KZ_CC_RegisterEventCallBackEx(KZHandle handle, const char* eventName,
                                            KZEventCallback callback, void* user) {
    return OnHandle(handle, [&](CameraHandle& found) -> Code {
        return eventName == nullptr || eventName[0] == '\0'
                   ? KZ_CC_E_PARAMETER
                   : found.RegisterEvent(Write("KZ_CC_RegisterEventCallBackEx", eventName),
                                         eventName, callback, user);
    });
}

std::uint32_t KZ_XML_GetNodeInterfaceType(KZHandle handle, const char* name, KZNodeType* type) {
    return GetFeature("KZ_XML_GetNodeInterfaceType", handle, name, type, &Device::NodeType);
}

std::uint32_t KZ_CC_GetIntValue(KZHandle handle, const char* name, KZIntValue* value) {
    return GetFeature("KZ_CC_GetIntValue", handle, name, value, &Device::GetInt);
}

std::uint32_t KZ_CC_SetIntValue(KZHandle handle, const char* name, std::uint32_t value) {
    return SetFeature("KZ_CC_SetIntValue", handle, name, value, &Device::SetInt);
}

std::uint32_t KZ_CC_GetFloatValue(KZHandle handle, const char* name, KZFloatValue* value) {
    return GetFeature("KZ_CC_GetFloatValue", handle, name, value, &Device::GetFloat);
}

std::uint32_t KZ_CC_SetFloatValue(KZHandle handle, const char* name, float value) {
    return SetFeature("KZ_CC_SetFloatValue", handle, name, value, &Device::SetFloat);
}

std::uint32_t KZ_CC_GetEnumValue(KZHandle handle, const char* name, KZEnumValue* value) {
    return GetFeature("KZ_CC_GetEnumValue", handle, name, value, &Device::GetEnum);
}

std::uint32_t KZ_CC_SetEnumValue(KZHandle handle, const char* name, std::uint32_t value) {
    return SetFeature("KZ_CC_SetEnumValue", handle, name, value, &Device::SetEnum);
}

std::uint32_t KZ_CC_SetEnumValueByString(KZHandle handle, const char* name, const char* entry) {
    return entry == nullptr ? OnHandle(handle, [](CameraHandle&) { return KZ_CC_E_PARAMETER; })
                            : SetFeature("KZ_CC_SetEnumValueByString", handle, name, entry,
                                         &Device::SetEnumByString);
}

std::uint32_t KZ_CC_GetBoolValue(KZHandle handle, const char* name, bool* value) {
    return GetFeature("KZ_CC_GetBoolValue", handle, name, value, &Device::GetBool);
}

std::uint32_t KZ_CC_SetBoolValue(KZHandle handle, const char* name, bool value) {
    return SetFeature("KZ_CC_SetBoolValue", handle, name, value, &Device::SetBool);
}

std::uint32_t KZ_CC_GetStringValue(KZHandle handle, const char* name, KZStringValue* value) {
    return GetFeature("KZ_CC_GetStringValue", handle, name, value, &Device::GetString);
}

std::uint32_t KZ_CC_SetStringValue(KZHandle handle, const char* name, const char* value) {
    return value == nullptr
               ? OnHandle(handle, [](CameraHandle&) { return KZ_CC_E_PARAMETER; })
               : SetFeature("KZ_CC_SetStringValue", handle, name, value, &Device::SetString);
}

std::uint32_t KZ_CC_SetCommandValue(KZHandle handle, const char* name) {
    return Answer([&] {
        return OnDevice(handle, Write("KZ_CC_SetCommandValue", name), [&](Device& device) -> Code {
            return name == nullptr ? KZ_CC_E_PARAMETER : device.Execute(name);
        });
    });
}

std::uint32_t KZ_CC_GetWidth(KZHandle handle, KZIntValue* value) {
    return GetFeature("KZ_CC_GetWidth", handle, "Width", value, &Device::GetInt);
}

std::uint32_t KZ_CC_GetHeight(KZHandle handle, KZIntValue* value) {
    return GetFeature("KZ_CC_GetHeight", handle, "Height", value, &Device::GetInt);
}

std::int32_t KZ_CC_GetOptimalPacketSize(KZHandle handle) {
    std::int32_t size = 0;
    const Code code =
        OnDevice(handle, Read("KZ_CC_GetOptimalPacketSize"), [&](Device& device) -> Code {
            size = device.OptimalPacketSize();
            return KZ_CC_OK;
        });
    // Codes have the top bit set: below 1.
    return code == KZ_CC_OK ? size : static_cast<std::int32_t>(code);
}

std::uint32_t KZ_GIGE_SetTransmissionType(KZHandle handle, const KZTransmissionType* type) {
    constexpr const char* kFunction = "KZ_GIGE_SetTransmissionType";
    return Answer([&] {
        return OnDevice(handle, Write(kFunction, type == nullptr ? 0 : type->type),
                        [&](Device& device) -> Code {
                            return type == nullptr ? KZ_CC_E_PARAMETER
                                                   : device.SetTransmissionType(*type);
                        });
    });
}

std::uint32_t KZ_CC_GetAllMatchInfo(KZHandle handle, KZMatchInfo* info) {
    return OnDevice(handle, Read("KZ_CC_GetAllMatchInfo"), [&](Device& device) -> Code {
        return info == nullptr ? KZ_CC_E_PARAMETER : device.MatchInfo(*info);
    });
}

std::uint32_t KZ_CC_HB_Decode(KZHandle handle, HbDecodeParam* param) {
    return OnHandle(handle, [&](const CameraHandle& found) -> Code {
        const Code code = found.Unserialised(Read("KZ_CC_HB_Decode"));
        if (code != KZ_CC_OK) {
            return code;
        }
        if (param == nullptr) {
            return KZ_CC_E_PARAMETER;
        }
        const Code decoded = kz::DecompressFrame(*param);
        param->decodedLength = found.Claimed(param->decodedLength);
        return decoded;
    });
}

std::uint32_t KZ_CC_ConvertPixelType(KZHandle handle, PixelConvertParam* param) {
    return OnHandle(handle, [&](const CameraHandle& found) -> Code {
        const Code code = found.Unserialised(Read("KZ_CC_ConvertPixelType"));
        if (code != KZ_CC_OK) {
            return code;
        }
        if (param == nullptr) {
            return KZ_CC_E_PARAMETER;
        }
        const Code converted = kz::ConvertPixels(*param);
        param->convertedLength = found.Claimed(param->convertedLength);
        return converted;
    });
}

}  // extern "C"
