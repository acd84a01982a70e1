// The SDK's discovery of the machine's cameras.
#include <algorithm>

#include "base/log.h"
#include "base/text.h"
#include "camera/device_tables.h"
#include "platform/code_page.h"

namespace cam {

namespace {

constexpr char kFunction[] = "CCameraModule::EnumDevices";

// An SDK list, whose count is not trusted beyond its capacity.
template <typename List>
std::uint32_t CountOf(const List& list) {
    return std::min(list.count, KZ_MAX_DEVICES);
}

}  // namespace

Status DeviceTables::EnumeratePlain(std::int32_t moduleId) {
    KZDeviceList list{};
    const Status status = KZ_CC_EnumDevices(KZ_TRANSPORT_GIGE | KZ_TRANSPORT_USB3, &list);
    plain.Clear();
    if (status != kOk) {
        CAM_LOG(kLogError, moduleId, kFunction, "Enum device failed, ret=0x%x", status);
        return status;
    }
    for (std::uint32_t i = 0; i < CountOf(list); ++i) {
        if (list.devices[i] != nullptr) {
            plain.Add(*list.devices[i]);
        }
    }
    CAM_LOG(kLogError, moduleId, kFunction, "Enum return %d devices",
            static_cast<int>(CountOf(list)));
    return kOk;
}

Status DeviceTables::EnumerateGenTL(std::int32_t moduleId, const std::string& path) {
    genTL.Clear();
    CAM_LOG(kLogError, moduleId, kFunction, "EnumInterfaces begin, GenTLPath=%s", path.c_str());
    GenTLInterfaceList interfaces{};
    Status status = KZ_CC_EnumInterfacesByGenTL(&interfaces, platform::Utf8ToSystem(path).c_str());
    CAM_LOG(kLogError, moduleId, kFunction, "EnumInterfaces finish, ret=0x%x", status);
    if (status != kOk) {
        CAM_LOG(kLogError, moduleId, kFunction, "Enum GenTL interface failed, ret=0x%x", status);
        return status;
    }
    int total = 0;
    for (std::uint32_t i = 0; i < CountOf(interfaces); ++i) {
        const GenTLInterfaceInfo* const from = interfaces.interfaces[i];
        if (from == nullptr) {
            continue;
        }
        const int index = static_cast<int>(i);
        CAM_LOG(kLogError, moduleId, kFunction, "EnumDevices for interface[%d] begin", index);
        GenTLDeviceList devices{};
        status = KZ_CC_EnumDevicesByGenTL(from, &devices);
        CAM_LOG(kLogError, moduleId, kFunction, "EnumDevices for interface[%d] finish, ret=0x%x",
                index, status);
        if (status != kOk) {
            CAM_LOG(kLogError, moduleId, kFunction, "Enum GenTL device failed, ret=0x%x", status);
            break;
        }
        const FixedText<sizeof from->displayName + 1> interfaceName(FieldText(from->displayName));
        int added = 0;
        for (std::uint32_t d = 0; d < CountOf(devices); ++d) {
            if (devices.devices[d] == nullptr || !genTL.Add(*devices.devices[d])) {
                continue;
            }
            ++added;
            const FixedText<sizeof(GenTLDeviceInfo::deviceId) + 1> device(
                FieldText(devices.devices[d]->deviceId));
            CAM_LOG(kLogError, moduleId, kFunction, "Interface[%d, %s] GenTL device[%d]: %s", index,
                    interfaceName.c_str(), static_cast<int>(d), device.c_str());
        }
        total += added;
        CAM_LOG(kLogError, moduleId, kFunction, "Interface[%d, %s] has %d GenTL devices", index,
                interfaceName.c_str(), added);
    }
    CAM_LOG(kLogError, moduleId, kFunction, "Enum return %d GenTL devices", total);
    return status;
}

}  // namespace cam
