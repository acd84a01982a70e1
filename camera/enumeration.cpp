// Finding the cameras of the machine and offering them to the host's user.
#include <algorithm>

#include "camera/camera_list.h"
#include "module/camera_module.h"
#include "module/log/log.h"
#include "platform/code_page.h"
#include "platform/named_mutex.h"

namespace cam {

namespace {

// The SDK's discovery must not run twice at once on one machine.
constexpr char kEnumerationMutex[] = "Corvane_EnumCamera_Mutex";
constexpr char kFunction[] = "CCameraModule::EnumDevices";

// An SDK's list, whose count is not trusted beyond its room.
template <typename List>
std::uint32_t CountOf(const List& list) {
    return std::min(list.count, KZ_MAX_DEVICES);
}

class FlagHold {
  public:
    explicit FlagHold(bool& flag) : m_flag(flag) { m_flag = true; }
    ~FlagHold() { m_flag = false; }
    FlagHold(const FlagHold&) = delete;
    FlagHold& operator=(const FlagHold&) = delete;

  private:
    bool& m_flag;
};

}  // namespace

Status CCameraModule::EnumDevices() {
    if (!m_camera.LockUnlessStopping(m_connectionLock)) {
        return kInvalid;
    }
    const platform::LockGuard hold(m_connectionLock, std::adopt_lock);
    if (m_enumerating) {
        // Nested on this thread, which holds the machine-wide mutex already.
        CAM_LOG(kLogError, ModuleId(), kFunction, "Enum device is working now");
        return kOk;
    }
    const platform::NamedMutexHold machine(kEnumerationMutex);
    if (!machine.Owned()) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "Enum goes on without the mutex, sys error=%d",
                machine.Error());
    }
    const FlagHold enumerating(m_enumerating);
    return m_bGenTL.Get() ? EnumGenTLDevices() : EnumPlainDevices();
}

Status CCameraModule::EnumPlainDevices() {
    KZDeviceList list{};
    const Status status = KZ_CC_EnumDevices(KZ_TRANSPORT_GIGE | KZ_TRANSPORT_USB3, &list);
    m_devices.plain.Clear();
    if (status != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "Enum device failed, ret=0x%x", status);
        return status;
    }
    for (std::uint32_t i = 0; i < CountOf(list); ++i) {
        if (list.devices[i] != nullptr) {
            m_devices.plain.Add(*list.devices[i]);
        }
    }
    CAM_LOG(kLogError, ModuleId(), kFunction, "Enum return %d devices",
            static_cast<int>(CountOf(list)));
    return kOk;
}

Status CCameraModule::EnumGenTLDevices() {
    m_devices.genTL.Clear();
    const auto path = m_szGenTLPath.Get();
    CAM_LOG(kLogError, ModuleId(), kFunction, "EnumInterfaces begin, GenTLPath=%s", path.c_str());
    GenTLInterfaceList interfaces{};
    Status status =
        KZ_CC_EnumInterfacesByGenTL(&interfaces, platform::Utf8ToSystem(path.view()).c_str());
    CAM_LOG(kLogError, ModuleId(), kFunction, "EnumInterfaces finish, ret=0x%x", status);
    if (status != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "Enum GenTL interface failed, ret=0x%x", status);
        return status;
    }
    int total = 0;
    for (std::uint32_t i = 0; i < CountOf(interfaces); ++i) {
        const GenTLInterfaceInfo* const from = interfaces.interfaces[i];
        if (from == nullptr) {
            continue;
        }
        const int index = static_cast<int>(i);
        CAM_LOG(kLogError, ModuleId(), kFunction, "EnumDevices for interface[%d] begin", index);
        GenTLDeviceList devices{};
        status = KZ_CC_EnumDevicesByGenTL(from, &devices);
        CAM_LOG(kLogError, ModuleId(), kFunction, "EnumDevices for interface[%d] finish, ret=0x%x",
                index, status);
        if (status != kOk) {
            CAM_LOG(kLogError, ModuleId(), kFunction, "Enum GenTL device failed, ret=0x%x", status);
            break;
        }
        const FixedText<sizeof from->displayName + 1> interfaceName(FieldText(from->displayName));
        int added = 0;
        for (std::uint32_t d = 0; d < CountOf(devices); ++d) {
            if (devices.devices[d] == nullptr || !m_devices.genTL.Add(*devices.devices[d])) {
                continue;
            }
            ++added;
            const FixedText<sizeof(GenTLDeviceInfo::deviceId) + 1> device(
                FieldText(devices.devices[d]->deviceId));
            CAM_LOG(kLogError, ModuleId(), kFunction, "Interface[%d, %s] GenTL device[%d]: %s",
                    index, interfaceName.c_str(), static_cast<int>(d), device.c_str());
        }
        total += added;
        CAM_LOG(kLogError, ModuleId(), kFunction, "Interface[%d, %s] has %d GenTL devices", index,
                interfaceName.c_str(), added);
    }
    CAM_LOG(kLogError, ModuleId(), kFunction, "Enum return %d GenTL devices", total);
    return status;
}

Status CCameraModule::GetCameraList(char* buffer, std::int32_t capacity, std::uint32_t* length) {
    if (!m_camera.LockUnlessStopping(m_connectionLock)) {
        return kInvalid;
    }
    const platform::LockGuard hold(m_connectionLock, std::adopt_lock);
    if (m_devices.plain.Empty() && m_devices.genTL.Empty()) {
        static_cast<void>(EnumDevices());
    }
    const bool useGenTL = m_bGenTL.Get();
    const bool connected = m_camera.IsOpen();
    const CameraText serial = m_serial.Get();
    const std::uint32_t openId = m_camera.OpenId();
    const std::string_view connectedSerial = serial.view();
    const CameraList list =
        MakeCameraList(m_devices, useGenTL, connected ? &connectedSerial : nullptr);
    if (!list.connectedListed && connected && !m_settings.connectedByIp.Get() && !useGenTL) {
        // The open camera is not on the machine any more, and nobody told us.
        m_camera.DropLost(openId);
        StartReconnect();
    }
    *length = static_cast<std::uint32_t>(list.text.size());
    const std::size_t room = capacity > 0 ? static_cast<std::size_t>(capacity) : 0;
    std::copy_n(list.text.data(), std::min(room, list.text.size()), buffer);
    return kOk;
}

}  // namespace cam
