#include "host/camera_inspector.h"

#include "host/exit_codes.h"
#include "host/loaded_library.h"
#include "host/text.h"

namespace host {
namespace {

constexpr char kSdk[] = "KZCameraControl";
constexpr char kGenTL[] = "GenTL";

ValueType TypeOf(KZNodeType type) {
    switch (type) {
        case KZ_NODE_INTEGER:
            return ValueType::Integer;
        case KZ_NODE_FLOAT:
            return ValueType::Float;
        case KZ_NODE_BOOLEAN:
            return ValueType::Boolean;
        case KZ_NODE_ENUMERATION:
            return ValueType::Enumeration;
        case KZ_NODE_COMMAND:
            return ValueType::Command;
        case KZ_NODE_CATEGORY:
            return ValueType::Category;
        default:
            return ValueType::Text;
    }
}

ValueInfo InfoOf(const KZInspectFeature& feature) {
    ValueInfo info;
    info.name = feature.name;
    info.type = TypeOf(feature.type);
    info.value = feature.value;
    info.unit = feature.unit;
    info.minimum = feature.minimum;
    info.maximum = feature.maximum;
    info.increment = feature.increment;
    for (std::uint32_t i = 0; i < feature.entryCount; ++i) {
        info.entries.push_back({feature.entries[i].name, feature.entries[i].value});
    }
    info.readable = feature.readable;
    info.writable = feature.writable;
    info.category = feature.category;
    info.description = feature.description;
    return info;
}

}  // namespace

std::string AccessText(const CameraRecord& camera) {
    switch (camera.access) {
        case KZ_INSPECT_FREE:
            return "free";
        case KZ_INSPECT_CONTROLLED:
            return camera.owner.empty() ? "in use" : "in use by " + camera.owner;
        case KZ_INSPECT_UNREACHABLE:
            return "does not answer";
        case KZ_INSPECT_UNKNOWN:
            break;
    }
    return "unknown";
}

std::optional<CameraInspector> CameraInspector::Find() {
    CameraInspector inspector;
    inspector.m_cameras = FindLoaded<decltype(KZInspect_Cameras)>(kSdk, "KZInspect_Cameras");
    inspector.m_features = FindLoaded<decltype(KZInspect_Features)>(kSdk, "KZInspect_Features");
    return inspector.m_cameras != nullptr && inspector.m_features != nullptr
               ? std::optional(inspector)
               : std::nullopt;
}

CameraInspector CameraInspector::Need(const std::string& what) {
    const auto inspector = Find();
    if (!inspector) {
        throw Failure("this camera SDK does not tell " + what + "; the vendor's own tool does");
    }
    return *inspector;
}

std::vector<CameraRecord> CameraInspector::Cameras(bool genTL) const {
    std::vector<CameraRecord> cameras;
    const std::uint32_t status = m_cameras(
        [](void* user, const KZInspectCamera* camera) {
            static_cast<std::vector<CameraRecord>*>(user)->push_back(
                {camera->serial, camera->name, camera->model, camera->maker, camera->transport,
                 camera->address, camera->subnetMask, camera->localAddress, camera->owner,
                 camera->access, camera->simulated});
        },
        &cameras);
    if (status != KZ_CC_OK) {
        throw Failure("cameras could not be looked for: " + StatusText(status));
    }
    std::erase_if(
        cameras, [&](const CameraRecord& camera) { return (camera.transport == kGenTL) != genTL; });
    return cameras;
}

std::uint32_t CameraInspector::Read(const std::string& camera, const char* name,
                                    std::vector<ValueInfo>& features) const {
    return m_features(
        camera.c_str(), name,
        [](void* user, const KZInspectFeature* feature) {
            static_cast<std::vector<ValueInfo>*>(user)->push_back(InfoOf(*feature));
        },
        &features);
}

std::vector<ValueInfo> CameraInspector::Features(const std::string& camera) const {
    std::vector<ValueInfo> features;
    if (const std::uint32_t status = Read(camera, nullptr, features); status != KZ_CC_OK) {
        throw Failure(status == KZ_CC_E_DEVICE_LOST ? ExitCode::NoCamera : ExitCode::Failure,
                      "camera '" + camera + "' could not be read: " + StatusText(status));
    }
    return features;
}

std::optional<ValueInfo> CameraInspector::Feature(const std::string& camera,
                                                  const std::string& name) const {
    std::vector<ValueInfo> features;
    const std::uint32_t status = Read(camera, name.c_str(), features);
    if (status == KZ_CC_E_NODE_MISSING) {
        return std::nullopt;
    }
    if (status != KZ_CC_OK) {
        throw Failure(status == KZ_CC_E_DEVICE_LOST ? ExitCode::NoCamera : ExitCode::Failure,
                      "camera '" + camera + "' could not be read: " + StatusText(status));
    }
    return features.empty() ? std::nullopt : std::optional(std::move(features.front()));
}

std::string ChosenCamera(const CameraInspector& inspector, const Options& options) {
    if (options.address) {
        return options.address->camera;
    }
    if (!options.camera.empty()) {
        return options.camera;
    }
    const std::vector<CameraRecord> cameras = inspector.Cameras(!options.genTLPath.empty());
    if (cameras.empty()) {
        throw Failure(ExitCode::NoCamera, "no camera was found");
    }
    return cameras.front().Id();
}

}  // namespace host
