// What a camera reports about one of its features.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "camera/sdk/kz_camera_control.h"

namespace kz {

struct FeatureEntry {
    std::string name;
    std::int64_t value = 0;
};

// As KZInspectFeature of camera_inspection.h.
struct FeatureRecord {
    std::string name;
    std::string category;
    std::string description;
    std::string value;
    std::string unit;
    std::string minimum;
    std::string maximum;
    std::string increment;
    std::vector<FeatureEntry> entries;
    KZNodeType type = KZ_NODE_VALUE;
    bool readable = false;
    bool writable = false;
};

using FeatureVisitor = std::function<void(const FeatureRecord& feature)>;

// Who controls a camera, as far as it reports this.
struct CameraState {
    enum class Access { kUnknown, kFree, kControlled, kUnreachable };
    Access access = Access::kUnknown;
    std::uint32_t owner = 0;  // IP address; 0: not reported
};

// In the fewest digits that reproduce the number.
[[nodiscard]] std::string NumberText(double value);

}  // namespace kz
