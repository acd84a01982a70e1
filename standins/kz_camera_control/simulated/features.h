// The features of a simulated camera by SFNC name: typed values with their ranges.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "standins/kz_camera_control/camera.h"
#include "standins/kz_camera_control/simulated/camera_description.h"

namespace kz {

struct IntFeature {
    std::uint32_t value;
    std::uint32_t minimum;
    std::uint32_t maximum;
    std::uint32_t increment = 1;
};
struct FloatFeature {
    float value;
    float minimum;
    float maximum;
};
struct BoolFeature {
    bool value;
};
struct StringFeature {
    std::string value;
    std::size_t longest = 0;
};
struct EnumFeature {
    using Entry = std::pair<std::string, std::uint32_t>;
    std::uint32_t value;
    std::vector<Entry> entries;
};
struct CommandFeature {};

struct Feature {
    enum class Access {
        ReadOnly,
        ReadWrite,
        LockedWhileGrabbing,
    };
    std::variant<IntFeature, FloatFeature, BoolFeature, StringFeature, EnumFeature, CommandFeature>
        data;
    Access access = Access::ReadWrite;
    bool inUserSet = false;

    [[nodiscard]] KZNodeType Type() const;
};

// Values only; the camera implements the effects of writes and commands. Not synchronised.
class FeatureTable {
  public:
    // The factory state.
    explicit FeatureTable(const CameraDescription& camera);

    // The feature of that name - with a selector, the selected one; null: none.
    [[nodiscard]] const Feature* Find(std::string_view name) const;
    [[nodiscard]] Feature* Find(std::string_view name);

    // For features known to exist and to have that type.
    template <typename Kind>
    [[nodiscard]] const Kind& Get(std::string_view name) const {
        return std::get<Kind>(Find(name)->data);
    }

    // Shows the features by name - with a selector, the selected one - or only that of `name`.
    void Describe(const char* name, bool grabbing, const FeatureVisitor& visit) const;

    // Copies the values that belong to user sets.
    void LoadUserSet(const FeatureTable& saved);

  private:
    [[nodiscard]] std::string Key(std::string_view name) const;

    std::map<std::string, Feature, std::less<>> m_features;
    std::map<std::string, std::string, std::less<>> m_selectors;  // of selected features
};

// The rules of a write: KZ_CC_E_NODE_TYPE, KZ_CC_E_NODE_ACCESS, KZ_CC_E_NODE_RANGE.
Code WriteInt(Feature& feature, bool grabbing, std::uint32_t value);
Code WriteFloat(Feature& feature, bool grabbing, float value);
Code WriteBool(Feature& feature, bool grabbing, bool value);
Code WriteString(Feature& feature, bool grabbing, std::string_view value);
Code WriteEnum(Feature& feature, bool grabbing, std::uint32_t value);
Code WriteEnumByString(Feature& feature, bool grabbing, std::string_view entry);

inline constexpr std::uint32_t kTriggerSourceSoftware = 7;
inline constexpr std::uint32_t kTriggerSelectorBurst = 6;
inline constexpr std::uint32_t kUserSetDefault = 0;

}  // namespace kz
