#include "standins/kz_camera_control/camera_inspection.h"

#include <charconv>
#include <cmath>
#include <string>
#include <vector>

#include "standins/kz_camera_control/feature_record.h"
#include "standins/kz_camera_control/library.h"

namespace kz {

std::string NumberText(double value) {
    char text[64];
    // An exposure time should not read 1e+07.
    constexpr double kFirstUnwieldy = 1e15;
    const auto format =
        std::abs(value) < kFirstUnwieldy ? std::chars_format::fixed : std::chars_format::general;
    const auto end = std::to_chars(text, text + sizeof text, value, format);
    return end.ec == std::errc{} ? std::string(text, end.ptr) : std::to_string(value);
}

}  // namespace kz

namespace {

using kz::CameraState;
using kz::Code;

std::string AddressText(std::uint32_t ip) {
    if (ip == 0) {
        return {};
    }
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string(ip >> shift & 0xFFU) + (shift > 0 ? "." : "");
    }
    return text;
}

KZInspectAccess AccessOf(CameraState::Access access) {
    switch (access) {
        case CameraState::Access::kFree:
            return KZ_INSPECT_FREE;
        case CameraState::Access::kControlled:
            return KZ_INSPECT_CONTROLLED;
        case CameraState::Access::kUnreachable:
            return KZ_INSPECT_UNREACHABLE;
        case CameraState::Access::kUnknown:
            break;
    }
    return KZ_INSPECT_UNKNOWN;
}

KZInspectCamera Camera(const char* transport, const CameraState& state, bool simulated) {
    return {.serial = "",
            .name = "",
            .model = "",
            .maker = "",
            .transport = transport,
            .address = "",
            .subnetMask = "",
            .localAddress = "",
            .owner = "",
            .access = AccessOf(state.access),
            .simulated = simulated};
}

}  // namespace

extern "C" {

std::uint32_t KZInspect_Cameras(KZInspectCameraVisitor visitor, void* user) try {
    if (visitor == nullptr) {
        return KZ_CC_E_PARAMETER;
    }
    kz::Discovery& discovery = kz::TheLibrary().discovery;
    const auto plain = [&](const CameraDeviceInfo& record, const CameraState& state,
                           bool simulated) {
        const bool gige = record.transportType == KZ_TRANSPORT_GIGE;
        KZInspectCamera camera = Camera(gige ? "GigE Vision" : "USB3 Vision", state, simulated);
        const std::string address = gige ? AddressText(record.gige.currentIp) : "";
        const std::string mask = gige ? AddressText(record.gige.subnetMask) : "";
        const std::string local = gige ? AddressText(record.gige.netExportIp) : "";
        const std::string owner = AddressText(state.owner);
        if (gige) {
            camera.serial = record.gige.serialNumber;
            camera.name = record.gige.userDefinedName;
            camera.model = record.gige.modelName;
            camera.maker = record.gige.manufacturerName;
        } else {
            camera.serial = record.usb3.serialNumber;
            camera.name = record.usb3.userDefinedName;
            camera.model = record.usb3.modelName;
            camera.maker = record.usb3.vendorName;
        }
        camera.address = address.c_str();
        camera.subnetMask = mask.c_str();
        camera.localAddress = local.c_str();
        camera.owner = owner.c_str();
        visitor(user, &camera);
    };
    const auto genTL = [&](const GenTLDeviceInfo& record, const CameraState& state) {
        KZInspectCamera camera = Camera("GenTL", state, true);
        camera.serial = record.serialNumber;
        camera.name = record.userDefinedName;
        camera.model = record.modelName;
        camera.maker = record.vendorName;
        visitor(user, &camera);
    };
    return discovery.Look(plain, genTL);
} catch (...) {
    return KZ_CC_E_RESOURCE;
}

std::uint32_t KZInspect_Features(const char* camera, const char* name,
                                 KZInspectFeatureVisitor visitor, void* user) try {
    if (camera == nullptr || visitor == nullptr) {
        return KZ_CC_E_PARAMETER;
    }
    // Shown after the camera has reported all, so that a visitor delays no camera call.
    std::vector<kz::FeatureRecord> records;
    const Code code = kz::TheLibrary().Describe(
        camera, name, [&](const kz::FeatureRecord& record) { records.push_back(record); });
    for (const kz::FeatureRecord& record : records) {
        std::vector<KZInspectEntry> entries;
        entries.reserve(record.entries.size());
        for (const kz::FeatureEntry& entry : record.entries) {
            entries.push_back({entry.name.c_str(), entry.value});
        }
        const KZInspectFeature feature{
            .name = record.name.c_str(),
            .category = record.category.c_str(),
            .description = record.description.c_str(),
            .value = record.value.c_str(),
            .unit = record.unit.c_str(),
            .minimum = record.minimum.c_str(),
            .maximum = record.maximum.c_str(),
            .increment = record.increment.c_str(),
            .entries = entries.data(),
            .entryCount = static_cast<std::uint32_t>(entries.size()),
            .type = record.type,
            .readable = record.readable,
            .writable = record.writable,
        };
        visitor(user, &feature);
    }
    return code != KZ_CC_OK                     ? code
           : name != nullptr && records.empty() ? KZ_CC_E_NODE_MISSING
                                                : KZ_CC_OK;
} catch (...) {
    return KZ_CC_E_RESOURCE;
}

}  // extern "C"
