// The features of one camera by their GenICam names, as the camera describes them.
#pragma once

#include <cstdint>

#include "standins/kz_camera_control/aravis/glib_ptr.h"
#include "standins/kz_camera_control/camera.h"

namespace kz {

// The SDK code for an error of Aravis.
[[nodiscard]] Code CodeOf(const GErrorHolder& error);

// Not thread-safe: the node map of Aravis is not. Values are checked against type, access and range
// before the camera is accessed. KZ_CC_E_DEVICE_LOST: the camera did not respond; a call then
// blocks while Aravis retries (2.5 s).
class CameraFeatures {
  public:
    // `device` outlives the object.
    explicit CameraFeatures(ArvDevice* device) : m_device(device) {}

    [[nodiscard]] Code NodeType(const char* name, KZNodeType& type) const;
    [[nodiscard]] Code GetInt(const char* name, KZIntValue& value) const;
    [[nodiscard]] Code SetInt(const char* name, std::int64_t value) const;
    [[nodiscard]] Code GetFloat(const char* name, KZFloatValue& value) const;
    [[nodiscard]] Code SetFloat(const char* name, float value) const;
    [[nodiscard]] Code GetEnum(const char* name, KZEnumValue& value) const;
    [[nodiscard]] Code SetEnum(const char* name, std::uint32_t value) const;
    [[nodiscard]] Code SetEnumByString(const char* name, const char* entry) const;
    [[nodiscard]] Code GetBool(const char* name, bool& value) const;
    [[nodiscard]] Code SetBool(const char* name, bool value) const;
    [[nodiscard]] Code GetString(const char* name, KZStringValue& value) const;
    [[nodiscard]] Code SetString(const char* name, const char* value) const;
    [[nodiscard]] Code Execute(const char* name) const;

  private:
    enum class Access { kRead, kWrite };
    // Finds the node of that name, if it has the type and is accessible now.
    [[nodiscard]] Code Find(const char* name, KZNodeType type, Access access,
                            ArvGcFeatureNode*& node) const;

    ArvDevice* m_device;
};

}  // namespace kz
