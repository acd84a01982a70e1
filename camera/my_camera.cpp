#include "camera/my_camera.h"

#include <cstdio>

namespace cam {

namespace {

// Multicast group and port of the live view.
constexpr std::uint32_t kRealTimeGroup = 0xEFC00101;  // 239.192.1.1
constexpr std::uint16_t kRealTimePort = 1042;

constexpr std::uint32_t kLineModeStrobe = 8;
constexpr std::uint16_t kNoSwitchoverKey = 0;

void CloseAndDestroy(KZHandle handle) {
    KZ_CC_StopGrabbing(handle);
    KZ_CC_CloseDevice(handle);
    KZ_CC_DestroyHandle(handle);
}

}  // namespace

CMyCamera::StopGuard::StopGuard(CMyCamera& camera) : m_camera(camera), m_held(true) {
    if (!camera.m_stopGate.InCallback()) {
        m_stop.emplace(camera.m_stopGate);
        camera.m_lock.lock();
        return;
    }
    m_held = camera.m_stopGate.MayStop() && camera.m_stopGate.Acquire(camera.m_lock);
    if (m_held) {
        m_stop.emplace(camera.m_stopGate);
    }
}

CMyCamera::StopGuard::~StopGuard() {
    if (m_held) {
        m_camera.m_lock.unlock();
    }
}

CMyCamera::~CMyCamera() {
    static_cast<void>(Close());
}

Status CMyCamera::Open(const CameraDeviceInfo* record) {
    return OpenAs(&KZ_CC_CreateHandle, "KZ_CC_CreateHandle", record, KZ_ACCESS_CONTROL);
}

Status CMyCamera::Open(const GenTLDeviceInfo* record) {
    return OpenAs(&KZ_CC_CreateHandleByGenTL, "KZ_CC_CreateHandleByGenTL", record,
                  KZ_ACCESS_EXCLUSIVE);
}

template <typename Record>
Status CMyCamera::OpenAs(std::uint32_t (*create)(KZHandle*, const Record*), const char* createName,
                         const Record* record, std::uint32_t accessMode) {
    static constexpr char kFunction[] = "CMyCamera::Open";
    const StopGuard hold(*this);
    if (record == nullptr || !hold) {
        return kInvalid;
    }
    CloseHandle();
    KZHandle handle = nullptr;
    if (const Status created = create(&handle, record); created != kOk) {
        CAM_LOG(kLogError, m_moduleId.Get(), kFunction, "%s failed, nRet %#x.", createName,
                created);
        return created;
    }
    if (const Status opened = KZ_CC_OpenDevice(handle, accessMode, kNoSwitchoverKey);
        opened != kOk) {
        CAM_LOG(kLogError, m_moduleId.Get(), kFunction, "KZ_CC_OpenDevice failed, nRet %#x.",
                opened);
        CloseAndDestroy(handle);
        return opened;
    }
    m_openId = ++m_lastOpenId;
    m_handle = handle;
    if constexpr (std::is_same_v<Record, CameraDeviceInfo>) {
        if (record->transportType == KZ_TRANSPORT_GIGE) {
            SetOptimalPacketSize(handle);
        }
    }
    return kOk;
}

void CMyCamera::SetOptimalPacketSize(KZHandle handle) {
    const std::int32_t size = KZ_CC_GetOptimalPacketSize(handle);
    if (size < 1) {
        CAM_LOG(kLogWarning, m_moduleId.Get(), "CMyCamera::Open", "Warning:Get Packet Size fail.");
        return;
    }
    const Status set =
        KZ_CC_SetIntValue(handle, "GevSCPSPacketSize", static_cast<std::uint32_t>(size));
    if (set != kOk) {
        CAM_LOG(kLogWarning, m_moduleId.Get(), "CMyCamera::Open",
                "Warning:Set Packet Size %d fail nRet %#x.", size, set);
    }
}

Status CMyCamera::Close() {
    const StopGuard hold(*this);
    if (!hold) {
        return kInvalid;
    }
    CloseHandle();
    return kOk;
}

void CMyCamera::CloseHandle() {
    m_key.Set("");
    if (const KZHandle handle = m_handle.load(); handle != nullptr) {
        CloseAndDestroy(handle);
        m_handle = nullptr;
        m_openId = 0;
    }
    m_grabbing.Set(false);
}

bool CMyCamera::DropLost(std::uint32_t openId) {
    const StopGuard hold(*this);
    if (!hold) {
        return false;
    }
    const KZHandle handle = m_handle.load();
    if (handle != nullptr && m_openId == openId) {
        KZ_CC_DestroyHandle(handle);
        m_handle = nullptr;
        m_grabbing.Set(false);
    }
    return true;
}

Status CMyCamera::StartGrabbing() {
    const StopGate::Guard hold(m_stopGate, m_lock);
    if (!hold) {
        return kInvalid;
    }
    const KZHandle handle = m_handle.load();
    if (handle == nullptr) {
        return kOk;
    }
    const Status started = KZ_CC_StartGrabbing(handle);
    if (started == kOk) {
        m_grabbing.Set(true);
    }
    return started;
}

CMyCamera::Configuration::Configuration(CMyCamera& camera) : m_camera(camera) {
    // Under the lock, so after a restart in progress; a thread of the SDK that gives way to a stop
    // need not wait for it.
    const StopGate::Guard hold(m_camera.m_stopGate, m_camera.m_lock);
    ++m_camera.m_configurations;
}

CMyCamera::Configuration::~Configuration() {
    --m_camera.m_configurations;
}

Status CMyCamera::ResumeGrabbing(platform::Event& imageArrived, platform::Event& grabStarted) {
    const LockGuard hold(m_lock);
    if (m_configurations != 0) {
        return kOk;
    }
    if (m_grabbing.Get()) {
        grabStarted.Set();
        return kOk;
    }
    const Status started = StartGrabbing();
    imageArrived.Set();
    grabStarted.Set();
    return started;
}

Status CMyCamera::StopGrabbing() {
    const StopGuard hold(*this);
    if (!hold) {
        return kInvalid;
    }
    const KZHandle handle = m_handle.load();
    if (handle == nullptr) {
        return kOk;
    }
    const Status stopped = KZ_CC_StopGrabbing(handle);
    if (stopped == kOk) {
        m_grabbing.Set(false);
    }
    return stopped;
}

Status CMyCamera::RegisterImageCallBack(KZImageCallback callback, void* user) {
    return WithHandle(
        [&](KZHandle handle) { return KZ_CC_RegisterImageCallBackEx(handle, callback, user); });
}

Status CMyCamera::RegisterExceptionCallBack(KZExceptionCallback callback, void* user) {
    return WithHandle(
        [&](KZHandle handle) { return KZ_CC_RegisterExceptionCallBack(handle, callback, user); });
}

Status CMyCamera::RegisterEventCallBack(const char* eventName, KZEventCallback callback,
                                        void* user) {
    return WithHandle([&](KZHandle handle) {
        return KZ_CC_RegisterEventCallBackEx(handle, eventName, callback, user);
    });
}

Status CMyCamera::SetIntValue(const char* name, std::uint32_t value) {
    return Call(KZ_CC_SetIntValue, name, value);
}

Status CMyCamera::SetFloatValue(const char* name, float value) {
    return Call(KZ_CC_SetFloatValue, name, value);
}

Status CMyCamera::SetEnumValue(const char* name, std::uint32_t value) {
    return Call(KZ_CC_SetEnumValue, name, value);
}

Status CMyCamera::SetEnumValueByString(const char* name, const char* entry) {
    return Call(KZ_CC_SetEnumValueByString, name, entry);
}

Status CMyCamera::SetBoolValue(const char* name, bool value) {
    return Call(KZ_CC_SetBoolValue, name, value);
}

Status CMyCamera::SetStringValue(const char* name, const char* value) {
    return Call(KZ_CC_SetStringValue, name, value);
}

Status CMyCamera::SetCommandValue(const char* name) {
    return Call(KZ_CC_SetCommandValue, name);
}

Status CMyCamera::GetStringValue(const char* name, char* destination, std::size_t size) {
    if (name == nullptr || destination == nullptr || size == 0) {
        return kInvalid;
    }
    KZStringValue value{};
    const Status read = Call(KZ_CC_GetStringValue, name, &value);
    if (read == kOk) {
        const std::string_view text = FieldText(value.current);
        std::snprintf(destination, size, "%.*s", static_cast<int>(text.size()), text.data());
    }
    return read;
}

Status CMyCamera::GetNodeInterfaceType(const char* name, KZNodeType* type) {
    return Call(KZ_XML_GetNodeInterfaceType, name, type);
}

Status CMyCamera::GetIntValue(const char* name, KZIntValue* value) {
    return Call(KZ_CC_GetIntValue, name, value);
}

Status CMyCamera::GetFloatValue(const char* name, KZFloatValue* value) {
    return Call(KZ_CC_GetFloatValue, name, value);
}

Status CMyCamera::GetEnumValue(const char* name, KZEnumValue* value) {
    return Call(KZ_CC_GetEnumValue, name, value);
}

Status CMyCamera::GetBoolValue(const char* name, bool* value) {
    return Call(KZ_CC_GetBoolValue, name, value);
}

Status CMyCamera::GetWidth(KZIntValue* value) {
    return Call(KZ_CC_GetWidth, value);
}

Status CMyCamera::GetHeight(KZIntValue* value) {
    return Call(KZ_CC_GetHeight, value);
}

Status CMyCamera::GetAllMatchInfo(KZMatchInfo* info) {
    return Call(KZ_CC_GetAllMatchInfo, info);
}

Status CMyCamera::SetTransmissionType(std::uint32_t type) {
    KZTransmissionType transmission{};
    transmission.type = type;
    transmission.destinationAddress = kRealTimeGroup;
    transmission.destinationPort = kRealTimePort;
    return Call(KZ_GIGE_SetTransmissionType, &transmission);
}

Status CMyCamera::ReverseElecLevel(std::int32_t lineSet, std::int32_t invert) {
    static constexpr char kFunction[] = "CMyCamera::ReverseElecLevel";
    const std::uint32_t first = lineSet == 2 ? 0 : 1;
    const std::uint32_t end = lineSet == 3 ? 5 : 3;
    Status result = kOk;
    for (std::uint32_t line = first; line < end; ++line) {
        result = SetEnumValue("LineSelector", line);
        if (result != kOk) {
            CAM_LOG(kLogError, m_moduleId.Get(), kFunction, "Set LineSelector %d failed, nRet %#x.",
                    static_cast<int>(line), result);
            break;
        }
        result = SetEnumValue("LineMode", kLineModeStrobe);
        if (result != kOk) {
            CAM_LOG(kLogError, m_moduleId.Get(), kFunction, "Set LineMode failed, nRet %#x.",
                    result);
            break;
        }
        result = SetBoolValue("LineInverter", invert == 1);
        if (result != kOk) {
            CAM_LOG(kLogError, m_moduleId.Get(), kFunction, "Set LineInverter failed, nRet %#x.",
                    result);
            break;
        }
    }
    return result;
}

void CMyCamera::SetTriggerMode(bool on) {
    // Cameras offer the feature as a boolean or as an enumeration; the write of the other type
    // fails.
    static_cast<void>(SetBoolValue("TriggerMode", on));
    static_cast<void>(SetEnumValue("TriggerMode", on ? 1 : 0));
}

void CMyCamera::EnterRealTimeMode() {
    static constexpr char kFunction[] = "CMyCamera::EnterRealTimeMode";
    if (const Status stopped = StopGrabbing(); stopped != kOk) {
        CAM_LOG(kLogError, m_moduleId.Get(), kFunction, "StopGrabbing Error:%#x", stopped);
    }
    if (const Status set = SetTransmissionType(KZ_TRANSMISSION_UNICAST_AND_MULTICAST); set != kOk) {
        CAM_LOG(kLogError, m_moduleId.Get(), kFunction, "SetTransmission Error:%#x", set);
    }
    SetTriggerMode(false);
    m_realTime.Set(true);
}

void CMyCamera::ExitRealTimeMode() {
    if (!m_realTime.Get()) {
        return;
    }
    if (const Status stopped = StopGrabbing(); stopped != kOk) {
        CAM_LOG(kLogError, m_moduleId.Get(), "CMyCamera::ExitRealTimeMode",
                "StopGrabbing Error:%#x", stopped);
    }
    SetTriggerMode(true);
    static_cast<void>(SetTransmissionType(KZ_TRANSMISSION_UNICAST));
    m_realTime.Set(false);
}

Status CMyCamera::DecodeFrame(HbDecodeParam* param) {
    return KZ_CC_HB_Decode(m_handle.load(), param);
}

Status CMyCamera::ConvertPixelType(PixelConvertParam* param) {
    return Call(KZ_CC_ConvertPixelType, param);
}

}  // namespace cam
