#include "standins/kz_camera_control/library.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace kz {
namespace {

std::string CamerasFromEnvironment() {
    const char* const text = std::getenv("KZ_SIM_CAMERAS");
    if (text == nullptr || text[0] != '@') {
        return text == nullptr ? "" : text;
    }
    std::ifstream file(text + 1, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "KZ_SIM_CAMERAS: %s cannot be read\n", text + 1);
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

// A field may be full, without a terminator.
template <std::size_t Size>
std::string TextOf(const char (&field)[Size]) {
    return {field, strnlen(field, Size)};
}

bool RealCamerasWanted() {
    const char* const text = std::getenv("KZ_REAL_CAMERAS");
    return text == nullptr || text != std::string_view("0");
}

}  // namespace

Discovery::Discovery() : m_useReal(RealCamerasWanted()) {
    if (const std::uint32_t line = m_simulated.Configure(CamerasFromEnvironment()); line != 0) {
        std::fprintf(stderr, "KZ_SIM_CAMERAS: line %u is not understood\n", line);
    }
}

void Discovery::SetHook(Hook hook, void* user) {
    const std::lock_guard lock(m_hookMutex);
    m_hook = hook;
    m_hookUser = user;
}

template <typename Record, typename Search>
Code Discovery::Run(const char* function, bool hooked, std::vector<Record>& records,
                    std::uint32_t& count, Record* (&listed)[KZ_MAX_DEVICES], Search&& search) {
    // One search at a time; the flag also synchronises the records between threads.
    struct Turn {
        explicit Turn(std::atomic<bool>& flag) : m_flag(flag), m_taken(!flag.exchange(true)) {}
        ~Turn() {
            if (m_taken) {
                m_flag = false;
            }
        }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        std::atomic<bool>& m_flag;
        const bool m_taken;
    };
    const Turn turn(m_searching);
    if (!turn.m_taken) {
        ++m_overlaps;
        return KZ_CC_E_CALL_ORDER;
    }
    const FaultSet faults = m_simulated.LibraryFaults();
    std::this_thread::sleep_for(faults.Delay(function));
    if (hooked) {
        Hook hook = nullptr;
        void* user = nullptr;
        {
            const std::lock_guard lock(m_hookMutex);
            hook = m_hook;
            user = m_hookUser;
        }
        if (hook != nullptr) {
            hook(user);
        }
    }
    if (const Code answer = faults.Answer(function); answer != KZ_CC_OK) {
        return answer;
    }
    std::vector<Record> found;
    if (const Code code = search(found); code != KZ_CC_OK) {
        return code;
    }
    records = std::move(found);
    count = 0;
    if (faults.ListClaim()) {
        listed[count++] = nullptr;
    }
    for (Record& record : records) {
        if (count < KZ_MAX_DEVICES) {
            listed[count++] = &record;
        }
    }
    count = faults.ListClaim().value_or(count);
    return KZ_CC_OK;
}

Code Discovery::Devices(std::uint32_t transportMask, KZDeviceList& list) {
    return Run("KZ_CC_EnumDevices", true, m_devices, list.count, list.devices,
               [&](std::vector<CameraDeviceInfo>& found) -> Code {
                   const Code code = m_simulated.Enumerate(transportMask, found);
                   return code == KZ_CC_OK && m_useReal ? m_real->Enumerate(transportMask, found)
                                                        : code;
               });
}

Code Discovery::Interfaces(GenTLInterfaceList& list) {
    return Run("KZ_CC_EnumInterfacesByGenTL", true, m_interfaces, list.count, list.interfaces,
               [&](std::vector<GenTLInterfaceInfo>& found) {
                   return m_simulated.EnumerateInterfaces(found);
               });
}

Code Discovery::InterfaceDevices(const GenTLInterfaceInfo& record, GenTLDeviceList& list) {
    // The caller's record is one of ours and lives until the next search for interfaces.
    const GenTLInterfaceInfo wanted = record;
    return Run("KZ_CC_EnumDevicesByGenTL", false, m_interfaceDevices, list.count, list.devices,
               [&](std::vector<GenTLDeviceInfo>& found) {
                   return m_simulated.EnumerateInterface(wanted, found);
               });
}

std::shared_ptr<CameraHandle> Discovery::MakeHandle(const CameraDeviceInfo& record) {
    // Opened by what the handle was created for, not by the camera that matched then.
    CameraHandle::Opener opener = [this, record](std::uint32_t accessMode, DeviceSink sink,
                                                 std::unique_ptr<Device>& device) -> Code {
        for (DeviceSource* const source :
             {static_cast<DeviceSource*>(&m_simulated), m_real.get()}) {
            if (source->Knows(record)) {
                return source->Open(record, accessMode, std::move(sink), device);
            }
        }
        return KZ_CC_E_DEVICE_LOST;
    };
    CameraHandle::Identity identity;
    if (record.transportType == KZ_TRANSPORT_GIGE) {
        identity = {TextOf(record.gige.serialNumber), record.gige.currentIp};
    } else {
        identity.serial = TextOf(record.usb3.serialNumber);
    }
    return std::make_shared<CameraHandle>(std::move(identity), std::move(opener),
                                          m_simulated.Find(record));
}

std::shared_ptr<CameraHandle> Discovery::MakeHandle(const GenTLDeviceInfo& record) {
    const auto camera = m_simulated.Find(record);
    CameraHandle::Opener opener = [camera](std::uint32_t accessMode, DeviceSink sink,
                                           std::unique_ptr<Device>& device) -> Code {
        return camera ? camera->Open(accessMode, std::move(sink), device) : KZ_CC_E_DEVICE_LOST;
    };
    return std::make_shared<CameraHandle>(CameraHandle::Identity{TextOf(record.serialNumber)},
                                          std::move(opener), camera);
}

Code Discovery::Look(const PlainVisitor& plain, const GenTLVisitor& genTL) {
    constexpr std::uint32_t kEvery = KZ_TRANSPORT_GIGE | KZ_TRANSPORT_USB3;
    const auto look = [&](DeviceSource& source, bool simulated) {
        std::vector<CameraDeviceInfo> found;
        const Code code = source.Enumerate(kEvery, found);
        for (const CameraDeviceInfo& record : found) {
            plain(record, source.StateOf(record), simulated);
        }
        return code;
    };
    if (const Code code = look(m_simulated, true); code != KZ_CC_OK) {
        return code;
    }
    if (const Code code = m_useReal ? look(*m_real, false) : KZ_CC_OK; code != KZ_CC_OK) {
        return code;
    }
    std::vector<GenTLInterfaceInfo> interfaces;
    Code code = m_simulated.EnumerateInterfaces(interfaces);
    for (const GenTLInterfaceInfo& each : interfaces) {
        std::vector<GenTLDeviceInfo> devices;
        if (code == KZ_CC_OK) {
            code = m_simulated.EnumerateInterface(each, devices);
        }
        for (const GenTLDeviceInfo& record : devices) {
            const auto camera = m_simulated.Find(record);
            genTL(record, camera ? camera->State() : CameraState{});
        }
    }
    return code;
}

Code Discovery::DescribeBeside(const char* camera, const char* name, const FeatureVisitor& visit) {
    const Code code = m_simulated.DescribeBeside(camera, name, visit);
    return code == KZ_CC_E_DEVICE_LOST && m_useReal ? m_real->DescribeBeside(camera, name, visit)
                                                    : code;
}

Code Library::Describe(const char* camera, const char* name, const FeatureVisitor& visit) {
    const std::string_view wanted(camera);
    std::uint32_t ip = 0;
    (void)ParseIp(wanted, ip);
    for (const auto& handle : handles.All()) {
        const CameraHandle::Identity& identity = handle->MadeFor();
        if (identity.serial != wanted && (ip == 0 || identity.ip != ip)) {
            continue;
        }
        const Code code = handle->WithDevice(
            {"KZInspect_Features", {}},
            [&](Device& device) -> Code { return device.Describe(name, visit); });
        // A handle that has not opened its camera, or is destroyed by now, knows nothing about it.
        if (code != KZ_CC_E_CALL_ORDER && code != KZ_CC_E_HANDLE) {
            return code;
        }
    }
    return discovery.DescribeBeside(camera, name, visit);
}

Library& TheLibrary() {
    static Library& library = *std::make_unique<Library>().release();
    return library;
}

}  // namespace kz
