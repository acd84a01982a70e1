#include "standins/kz_camera_control/simulated/source.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

namespace kz {
namespace {

constexpr std::uint32_t kSubnetMask = 0xFFFFFF00;  // 255.255.255.0

// `field` is zeroed and large enough for the text, as the description ensures.
template <std::size_t Size>
void Put(char (&field)[Size], std::string_view text) {
    text.copy(field, Size - 1);
}

template <std::size_t Size>
std::string_view TextOf(const char (&field)[Size]) {
    return {field, strnlen(field, Size)};
}

CameraDeviceInfo RecordOf(const CameraDescription& description, const std::string& userName) {
    CameraDeviceInfo record{};
    record.majorVersion = 1;
    record.transportType = description.transportType;
    if (description.kind == CameraKind::GigE) {
        record.gige = {};
        record.gige.currentIp = description.ip;
        record.gige.subnetMask = kSubnetMask;
        record.gige.netExportIp = description.nic;
        Put(record.gige.manufacturerName, description.maker);
        Put(record.gige.modelName, description.model);
        // A text of full length has no terminator.
        description.serial.copy(record.gige.serialNumber, sizeof record.gige.serialNumber);
        Put(record.gige.userDefinedName, userName);
    } else {
        record.usb3 = {};
        Put(record.usb3.vendorName, description.maker);
        Put(record.usb3.manufacturerName, description.maker);
        Put(record.usb3.modelName, description.model);
        Put(record.usb3.serialNumber, description.serial);
        Put(record.usb3.userDefinedName, userName);
    }
    return record;
}

std::string InterfaceId(std::uint32_t number) {
    return "SIM-IF" + std::to_string(number);
}

}  // namespace

std::uint32_t SimulatedSource::Configure(std::string_view text) {
    ParsedDescription parsed = ParseCameraDescription(text);
    if (parsed.wrongLine != 0) {
        return parsed.wrongLine;
    }
    std::vector<Appearance> appearances;
    for (CameraDescription& description : parsed.cameras) {
        const auto same = std::ranges::find_if(appearances, [&](const Appearance& appearance) {
            return appearance.description.serial == description.serial;
        });
        auto camera = same == appearances.end() ? std::make_shared<SimulatedCamera>(description)
                                                : same->camera;
        appearances.push_back({std::move(description), std::move(camera)});
    }
    {
        const std::lock_guard lock(m_mutex);
        std::swap(m_appearances, appearances);
    }
    for (const Appearance& appearance : appearances) {
        appearance.camera->Unplug();
    }
    return 0;
}

Code SimulatedSource::Enumerate(std::uint32_t transportMask, std::vector<CameraDeviceInfo>& found) {
    const std::lock_guard lock(m_mutex);
    for (const auto& [description, camera] : m_appearances) {
        if (description.kind == CameraKind::GenTL || !camera->Plugged()) {
            continue;
        }
        const CameraDeviceInfo record = RecordOf(description, camera->UserName());
        if ((record.transportType & transportMask) != 0) {
            found.push_back(record);
        }
    }
    return KZ_CC_OK;
}

bool SimulatedSource::Knows(const CameraDeviceInfo& record) {
    return Find(record) != nullptr;
}

Code SimulatedSource::Open(const CameraDeviceInfo& record, std::uint32_t accessMode,
                           DeviceSink sink, std::unique_ptr<Device>& device) {
    const auto camera = Find(record);
    return camera ? camera->Open(accessMode, std::move(sink), device) : KZ_CC_E_DEVICE_LOST;
}

CameraState SimulatedSource::StateOf(const CameraDeviceInfo& record) {
    const auto camera = Find(record);
    return camera ? camera->State() : CameraState{};
}

Code SimulatedSource::DescribeBeside(const char* camera, const char* name,
                                     const FeatureVisitor& visit) {
    std::uint32_t ip = 0;
    (void)ParseIp(camera, ip);
    const auto found = FindIf([&](const CameraDescription& description) {
        return description.serial == camera ||
               (ip != 0 && description.kind == CameraKind::GigE && description.ip == ip);
    });
    return found ? found->Describe(name, visit) : KZ_CC_E_DEVICE_LOST;
}

Code SimulatedSource::EnumerateInterfaces(std::vector<GenTLInterfaceInfo>& found) {
    const std::lock_guard lock(m_mutex);
    std::uint32_t count = 0;
    for (const Appearance& appearance : m_appearances) {
        if (appearance.description.kind == CameraKind::GenTL) {
            count = std::max(count, appearance.description.interfaceNumber);
        }
    }
    for (std::uint32_t number = 1; number <= count; ++number) {
        GenTLInterfaceInfo& record = found.emplace_back();
        Put(record.interfaceId, InterfaceId(number));
        Put(record.transportLayerType, "Custom");
        Put(record.displayName, "Simulated interface " + std::to_string(number));
    }
    return KZ_CC_OK;
}

Code SimulatedSource::EnumerateInterface(const GenTLInterfaceInfo& record,
                                         std::vector<GenTLDeviceInfo>& found) {
    const std::lock_guard lock(m_mutex);
    const std::string_view id = TextOf(record.interfaceId);
    for (std::uint32_t number = 1; number <= KZ_MAX_DEVICES; ++number) {
        if (id == InterfaceId(number)) {
            if (const Code answer = m_libraryFaults.InterfaceAnswer(number); answer != KZ_CC_OK) {
                return answer;
            }
        }
    }
    for (const auto& [description, camera] : m_appearances) {
        if (description.kind != CameraKind::GenTL ||
            InterfaceId(description.interfaceNumber) != id || !camera->Plugged()) {
            continue;
        }
        GenTLDeviceInfo& device = found.emplace_back();
        Put(device.interfaceId, id);
        Put(device.deviceId, "SIM-" + description.serial);
        Put(device.vendorName, description.maker);
        Put(device.modelName, description.model);
        Put(device.transportLayerType, "Custom");
        Put(device.displayName, description.maker + ' ' + description.model);
        Put(device.userDefinedName, camera->UserName());
        Put(device.serialNumber, description.serial);
        Put(device.deviceVersion, "1.0");
    }
    return KZ_CC_OK;
}

template <typename Matches>
std::shared_ptr<SimulatedCamera> SimulatedSource::FindIf(Matches&& matches) const {
    const std::lock_guard lock(m_mutex);
    const auto found = std::ranges::find_if(m_appearances, [&](const Appearance& appearance) {
        return matches(appearance.description);
    });
    return found == m_appearances.end() ? nullptr : found->camera;
}

std::shared_ptr<SimulatedCamera> SimulatedSource::Find(const CameraDeviceInfo& record) const {
    return FindIf([&](const CameraDescription& description) {
        if (description.kind == CameraKind::GenTL ||
            record.transportType != description.transportType) {
            return false;
        }
        if (description.kind == CameraKind::Usb3) {
            return description.serial == TextOf(record.usb3.serialNumber);
        }
        const std::string_view serial = TextOf(record.gige.serialNumber);
        if (!serial.empty()) {
            return description.serial == serial;
        }
        return description.ip == record.gige.currentIp &&
               (record.gige.netExportIp == 0 || record.gige.netExportIp == description.nic);
    });
}

std::shared_ptr<SimulatedCamera> SimulatedSource::Find(const GenTLDeviceInfo& record) const {
    return FindIf([&](const CameraDescription& description) {
        return description.kind == CameraKind::GenTL &&
               description.serial == TextOf(record.serialNumber);
    });
}

std::shared_ptr<SimulatedCamera> SimulatedSource::Find(std::string_view serial) const {
    return FindIf(
        [&](const CameraDescription& description) { return description.serial == serial; });
}

bool SimulatedSource::SetLibraryFaults(std::string_view text) {
    auto faults = FaultSet::Parse(text);
    if (!faults) {
        return false;
    }
    const std::lock_guard lock(m_mutex);
    m_libraryFaults = *std::move(faults);
    return true;
}

FaultSet SimulatedSource::LibraryFaults() const {
    const std::lock_guard lock(m_mutex);
    return m_libraryFaults;
}

}  // namespace kz
