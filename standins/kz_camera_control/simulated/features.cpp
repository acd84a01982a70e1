#include "standins/kz_camera_control/simulated/features.h"

#include <algorithm>
#include <set>

#include "standins/kz_camera_control/simulated/pixel_formats.h"

namespace kz {
namespace {

using Access = Feature::Access;
constexpr bool kInUserSet = true;

constexpr std::size_t kLongestText = 255;

struct Row {
    std::string name;
    Feature feature;
    std::string selector = {};  // the enumeration with one value of this per entry
};

EnumFeature PixelFormatFeature(std::uint32_t current) {
    EnumFeature feature{current, {}};
    for (const NamedPixelFormat& format : SimulatedPixelFormats()) {
        feature.entries.emplace_back(format.name, format.code);
        if (format.compressible) {
            feature.entries.emplace_back(std::string(format.name).append(kCompressedSuffix),
                                         format.code | pixel_format::kCompressedBit);
        }
    }
    return feature;
}

StringFeature Text(std::string value) {
    return {std::move(value), kLongestText};
}

EnumFeature OffOnceContinuous() {
    return {0, {{"Off", 0}, {"Once", 1}, {"Continuous", 2}}};
}

std::vector<Row> FactoryFeatures(const CameraDescription& camera) {
    const EnumFeature onOff{0, {{"Off", 0}, {"On", 1}}};
    std::vector<Row> rows{
        {"DeviceVendorName", {Text(camera.maker), Access::ReadOnly}},
        {"DeviceModelName", {Text(camera.model), Access::ReadOnly}},
        {"DeviceSerialNumber", {Text(camera.serial), Access::ReadOnly}},
        {"DeviceFirmwareVersion", {Text("1.0.0 simulated"), Access::ReadOnly}},
        {"DeviceVersion", {Text("1.0"), Access::ReadOnly}},
        {"DeviceUserID", {StringFeature{camera.name, 15}}},
        {"DeviceTemperature", {FloatFeature{41.5F, -40.0F, 120.0F}, Access::ReadOnly}},

        {"SensorWidth", {IntFeature{camera.width, 0, camera.width}, Access::ReadOnly}},
        {"SensorHeight", {IntFeature{camera.height, 0, camera.height}, Access::ReadOnly}},
        {"WidthMax", {IntFeature{camera.width, 0, camera.width}, Access::ReadOnly}},
        {"HeightMax", {IntFeature{camera.height, 0, camera.height}, Access::ReadOnly}},
        {"Width",
         {IntFeature{camera.width, 16, camera.width, 2}, Access::LockedWhileGrabbing, kInUserSet}},
        {"Height",
         {IntFeature{camera.height, 2, camera.height, 2}, Access::LockedWhileGrabbing, kInUserSet}},
        {"OffsetX",
         {IntFeature{0, 0, camera.width - 16, 2}, Access::LockedWhileGrabbing, kInUserSet}},
        {"OffsetY",
         {IntFeature{0, 0, camera.height - 2, 2}, Access::LockedWhileGrabbing, kInUserSet}},
        {"PixelFormat",
         {PixelFormatFeature(camera.pixelFormat), Access::LockedWhileGrabbing, kInUserSet}},
        {"ReverseX", {BoolFeature{false}, Access::ReadWrite, kInUserSet}},
        {"ReverseY", {BoolFeature{false}, Access::ReadWrite, kInUserSet}},
        {"TestPattern",
         {EnumFeature{1, {{"Off", 0}, {"Moving", 1}}}, Access::ReadWrite, kInUserSet}},

        {"AcquisitionMode",
         {EnumFeature{2, {{"SingleFrame", 0}, {"MultiFrame", 1}, {"Continuous", 2}}},
          Access::LockedWhileGrabbing, kInUserSet}},
        {"AcquisitionFrameRate",
         {FloatFeature{camera.rate, 0.1F, 1000.0F}, Access::ReadWrite, kInUserSet}},
        {"AcquisitionFrameRateEnable", {BoolFeature{true}, Access::ReadWrite, kInUserSet}},
        {"AcquisitionLineRateEnable", {BoolFeature{false}, Access::ReadWrite, kInUserSet}},
        {"AcquisitionBurstFrameCount",
         {IntFeature{1, 1, 1023}, Access::LockedWhileGrabbing, kInUserSet}},
        {"ExposureTime",
         {FloatFeature{5000.0F, 10.0F, 10'000'000.0F}, Access::ReadWrite, kInUserSet}},
        {"ExposureAuto", {OffOnceContinuous(), Access::ReadWrite, kInUserSet}},
        {"Gain", {FloatFeature{0.0F, 0.0F, 24.0F}, Access::ReadWrite, kInUserSet}},
        {"GainAuto", {OffOnceContinuous(), Access::ReadWrite, kInUserSet}},
        {"Gamma", {FloatFeature{1.0F, 0.0F, 4.0F}, Access::ReadWrite, kInUserSet}},
        {"GammaEnable", {BoolFeature{false}, Access::ReadWrite, kInUserSet}},
        {"BlackLevel", {IntFeature{240, 0, 4095}, Access::ReadWrite, kInUserSet}},

        {"TriggerMode", {onOff, Access::ReadWrite, kInUserSet}},
        {"TriggerSource",
         {EnumFeature{kTriggerSourceSoftware,
                      {{"Line0", 0},
                       {"Line1", 1},
                       {"Line2", 2},
                       {"Line3", 3},
                       {"Counter0", 4},
                       {"Software", kTriggerSourceSoftware},
                       {"FrequencyConverter", 8}}},
          Access::ReadWrite, kInUserSet}},
        {"TriggerSelector",
         {EnumFeature{0, {{"FrameStart", 0}, {"FrameBurstStart", kTriggerSelectorBurst}}},
          Access::ReadWrite, kInUserSet}},
        {"TriggerActivation",
         {EnumFeature{0,
                      {{"RisingEdge", 0}, {"FallingEdge", 1}, {"LevelHigh", 2}, {"LevelLow", 3}}},
          Access::ReadWrite, kInUserSet}},
        {"TriggerDelay", {FloatFeature{0.0F, 0.0F, 10'000'000.0F}, Access::ReadWrite, kInUserSet}},
        {"TriggerSoftware", {CommandFeature{}}},

        {"LineSelector",
         {EnumFeature{0, {{"Line0", 0}, {"Line1", 1}, {"Line2", 2}, {"Line3", 3}, {"Line4", 4}}}}},
        {"LineMode",
         {EnumFeature{0, {{"Input", 0}, {"Output", 1}, {"Strobe", 8}}}, Access::ReadWrite,
          kInUserSet},
         "LineSelector"},
        {"LineInverter", {BoolFeature{false}, Access::ReadWrite, kInUserSet}, "LineSelector"},

        {"UserSetSelector",
         {EnumFeature{
             kUserSetDefault,
             {{"Default", kUserSetDefault}, {"UserSet1", 1}, {"UserSet2", 2}, {"UserSet3", 3}}}}},
        {"UserSetLoad", {CommandFeature{}, Access::LockedWhileGrabbing}},
        {"UserSetSave", {CommandFeature{}}},

        {"DeviceLinkThroughputLimit",
         {IntFeature{125'000'000, 1'000'000, 1'000'000'000}, Access::ReadWrite, kInUserSet}},
    };
    if (camera.events) {
        rows.push_back({"EventSelector", {EnumFeature{0, {{"FrameStart", 0}}}}});
        rows.push_back({"EventNotification", {onOff}, "EventSelector"});
    }
    if (camera.kind == CameraKind::GigE) {
        rows.push_back({"GevHeartbeatTimeout", {IntFeature{3000, 0, 60000}}});
        rows.push_back({"GevSCPSPacketSize",
                        {IntFeature{1500, 220, 9156, 4}, Access::LockedWhileGrabbing, kInUserSet}});
        rows.push_back(
            {"GevSCPD", {IntFeature{0, 0, 100'000}, Access::LockedWhileGrabbing, kInUserSet}});
    }
    return rows;
}

std::string SelectedKey(std::string_view name, std::uint32_t selected) {
    return std::string(name) + '[' + std::to_string(selected) + ']';
}

template <typename Kind, typename Store>
Code Write(Feature& feature, bool grabbing, Store&& store) {
    Kind* const data = std::get_if<Kind>(&feature.data);
    if (data == nullptr) {
        return KZ_CC_E_NODE_TYPE;
    }
    if (feature.access == Access::ReadOnly ||
        (feature.access == Access::LockedWhileGrabbing && grabbing)) {
        return KZ_CC_E_NODE_ACCESS;
    }
    return store(*data) ? KZ_CC_OK : KZ_CC_E_NODE_RANGE;
}

// Fills the texts of a record from a feature's value.
struct Describer {
    FeatureRecord& record;

    void operator()(const IntFeature& feature) const {
        record.value = std::to_string(feature.value);
        record.minimum = std::to_string(feature.minimum);
        record.maximum = std::to_string(feature.maximum);
        record.increment = std::to_string(feature.increment);
    }
    void operator()(const FloatFeature& feature) const {
        record.value = NumberText(feature.value);
        record.minimum = NumberText(feature.minimum);
        record.maximum = NumberText(feature.maximum);
    }
    void operator()(const BoolFeature& feature) const {
        record.value = feature.value ? "True" : "False";
    }
    void operator()(const StringFeature& feature) const { record.value = feature.value; }
    void operator()(const EnumFeature& feature) const {
        for (const auto& [entry, value] : feature.entries) {
            record.entries.push_back({entry, value});
            if (value == feature.value) {
                record.value = entry;
            }
        }
    }
    void operator()(const CommandFeature&) const { record.readable = false; }
};

FeatureRecord RecordOf(std::string_view name, const Feature& feature, bool grabbing) {
    FeatureRecord record;
    record.name = name;
    record.type = feature.Type();
    record.readable = true;
    record.writable = feature.access == Access::ReadWrite ||
                      (feature.access == Access::LockedWhileGrabbing && !grabbing);
    std::visit(Describer{record}, feature.data);
    return record;
}

}  // namespace

KZNodeType Feature::Type() const {
    constexpr KZNodeType kTypes[] = {KZ_NODE_INTEGER, KZ_NODE_FLOAT,       KZ_NODE_BOOLEAN,
                                     KZ_NODE_STRING,  KZ_NODE_ENUMERATION, KZ_NODE_COMMAND};
    static_assert(std::size(kTypes) == std::variant_size_v<decltype(data)>);
    return kTypes[data.index()];
}

FeatureTable::FeatureTable(const CameraDescription& camera) {
    for (const Row& row : FactoryFeatures(camera)) {
        if (row.selector.empty()) {
            m_features.emplace(row.name, row.feature);
            continue;
        }
        m_selectors.emplace(row.name, row.selector);
        for (const auto& [entry, value] : Get<EnumFeature>(row.selector).entries) {
            m_features.emplace(SelectedKey(row.name, value), row.feature);
        }
    }
}

std::string FeatureTable::Key(std::string_view name) const {
    const auto selector = m_selectors.find(name);
    return selector == m_selectors.end()
               ? std::string(name)
               : SelectedKey(name, Get<EnumFeature>(selector->second).value);
}

const Feature* FeatureTable::Find(std::string_view name) const {
    const auto found = m_features.find(Key(name));
    return found == m_features.end() ? nullptr : &found->second;
}

Feature* FeatureTable::Find(std::string_view name) {
    const auto found = m_features.find(Key(name));
    return found == m_features.end() ? nullptr : &found->second;
}

void FeatureTable::LoadUserSet(const FeatureTable& saved) {
    for (auto& [key, feature] : m_features) {
        if (feature.inUserSet) {
            feature.data = saved.m_features.at(key).data;
        }
    }
}

void FeatureTable::Describe(const char* name, bool grabbing, const FeatureVisitor& visit) const {
    std::set<std::string_view> names;
    for (const auto& [key, feature] : m_features) {
        names.insert(std::string_view(key).substr(0, key.find('[')));
    }
    for (const std::string_view each : names) {
        if (name == nullptr || each == name) {
            visit(RecordOf(each, *Find(each), grabbing));
        }
    }
}

Code WriteInt(Feature& feature, bool grabbing, std::uint32_t value) {
    return Write<IntFeature>(feature, grabbing, [value](IntFeature& data) {
        if (value < data.minimum || value > data.maximum ||
            (value - data.minimum) % data.increment != 0) {
            return false;
        }
        data.value = value;
        return true;
    });
}

Code WriteFloat(Feature& feature, bool grabbing, float value) {
    return Write<FloatFeature>(feature, grabbing, [value](FloatFeature& data) {
        if (!(value >= data.minimum && value <= data.maximum)) {
            return false;
        }
        data.value = value;
        return true;
    });
}

Code WriteBool(Feature& feature, bool grabbing, bool value) {
    return Write<BoolFeature>(feature, grabbing, [value](BoolFeature& data) {
        data.value = value;
        return true;
    });
}

Code WriteString(Feature& feature, bool grabbing, std::string_view value) {
    return Write<StringFeature>(feature, grabbing, [value](StringFeature& data) {
        if (value.size() > data.longest) {
            return false;
        }
        data.value = value;
        return true;
    });
}

Code WriteEnum(Feature& feature, bool grabbing, std::uint32_t value) {
    return Write<EnumFeature>(feature, grabbing, [value](EnumFeature& data) {
        if (std::ranges::find(data.entries, value, &EnumFeature::Entry::second) ==
            data.entries.end()) {
            return false;
        }
        data.value = value;
        return true;
    });
}

Code WriteEnumByString(Feature& feature, bool grabbing, std::string_view entry) {
    return Write<EnumFeature>(feature, grabbing, [entry](EnumFeature& data) {
        const auto found = std::ranges::find(data.entries, entry, &EnumFeature::Entry::first);
        if (found == data.entries.end()) {
            return false;
        }
        data.value = found->second;
        return true;
    });
}

}  // namespace kz
