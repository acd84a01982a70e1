#include "standins/kz_camera_control/aravis/camera_features.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

namespace kz {
namespace {

struct ElementType {
    std::string_view element;
    KZNodeType type;
};

// The interface type of each element of a camera description (GenICam schema). Decided by the
// element and not by the interfaces of Aravis's node, whose enumerations and booleans can be read
// as integers too.
constexpr std::array kElementTypes = {
    ElementType{"Integer", KZ_NODE_INTEGER},
    ElementType{"IntReg", KZ_NODE_INTEGER},
    ElementType{"MaskedIntReg", KZ_NODE_INTEGER},
    ElementType{"StructEntry", KZ_NODE_INTEGER},
    ElementType{"IntConverter", KZ_NODE_INTEGER},
    ElementType{"IntSwissKnife", KZ_NODE_INTEGER},
    ElementType{"Boolean", KZ_NODE_BOOLEAN},
    ElementType{"Command", KZ_NODE_COMMAND},
    ElementType{"Float", KZ_NODE_FLOAT},
    ElementType{"FloatReg", KZ_NODE_FLOAT},
    ElementType{"Converter", KZ_NODE_FLOAT},
    ElementType{"SwissKnife", KZ_NODE_FLOAT},
    ElementType{"String", KZ_NODE_STRING},
    ElementType{"StringReg", KZ_NODE_STRING},
    ElementType{"Register", KZ_NODE_REGISTER},
    ElementType{"Category", KZ_NODE_CATEGORY},
    ElementType{"Enumeration", KZ_NODE_ENUMERATION},
    ElementType{"EnumEntry", KZ_NODE_ENUM_ENTRY},
    ElementType{"Port", KZ_NODE_PORT},
};

KZNodeType TypeOf(ArvGcFeatureNode* node) {
    const std::string_view element = arv_dom_node_get_node_name(ARV_DOM_NODE(node));
    const auto found = std::find_if(kElementTypes.begin(), kElementTypes.end(),
                                    [&](const ElementType& row) { return row.element == element; });
    return found != kElementTypes.end() ? found->type : KZ_NODE_BASE;
}

// The SDK's integers are unsigned with 32 bits; GenICam's are signed with 64.
std::uint32_t Clamp(gint64 value) {
    return static_cast<std::uint32_t>(
        std::clamp<gint64>(value, 0, std::numeric_limits<std::uint32_t>::max()));
}

float ToFloat(double value) {
    constexpr double kLargest = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(value, -kLargest, kLargest));
}

struct IntRange {
    gint64 minimum = std::numeric_limits<gint64>::min();
    gint64 maximum = std::numeric_limits<gint64>::max();
    gint64 increment = 1;
};

// A bound that the feature does not declare is unchanged; only a camera that does not respond is an
// error.
template <typename Value, typename Read>
Code ReadBound(Read read, Value& bound) {
    GErrorHolder error;
    const Value value = read(error.Out());
    if (!error) {
        bound = value;
        return KZ_CC_OK;
    }
    return CodeOf(error) == KZ_CC_E_DEVICE_LOST ? KZ_CC_E_DEVICE_LOST : KZ_CC_OK;
}

Code ReadRange(ArvGcInteger* node, IntRange& range) {
    Code code = ReadBound([&](GError** error) { return arv_gc_integer_get_min(node, error); },
                          range.minimum);
    if (code == KZ_CC_OK) {
        code = ReadBound([&](GError** error) { return arv_gc_integer_get_max(node, error); },
                         range.maximum);
    }
    if (code == KZ_CC_OK) {
        code = ReadBound([&](GError** error) { return arv_gc_integer_get_inc(node, error); },
                         range.increment);
    }
    range.increment = std::max<gint64>(range.increment, 1);
    return code;
}

bool Contains(const IntRange& range, gint64 value) {
    if (value < range.minimum || value > range.maximum) {
        return false;
    }
    // Unsigned: the distance from the smallest minimum overflows a signed number.
    const auto distance = static_cast<guint64>(value) - static_cast<guint64>(range.minimum);
    return distance % static_cast<guint64>(range.increment) == 0;
}

Code ReadRange(ArvGcFloat* node, double& minimum, double& maximum) {
    const Code code =
        ReadBound([&](GError** error) { return arv_gc_float_get_min(node, error); }, minimum);
    if (code != KZ_CC_OK) {
        return code;
    }
    return ReadBound([&](GError** error) { return arv_gc_float_get_max(node, error); }, maximum);
}

Code DeviceErrorCode(int error) {
    switch (error) {
        case ARV_DEVICE_ERROR_WRONG_FEATURE:
            return KZ_CC_E_NODE_TYPE;
        case ARV_DEVICE_ERROR_FEATURE_NOT_FOUND:
            return KZ_CC_E_NODE_MISSING;
        case ARV_DEVICE_ERROR_INVALID_PARAMETER:
        case ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER:
            return KZ_CC_E_NODE_RANGE;
        case ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT:
        case ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED:
        case ARV_DEVICE_ERROR_PROTOCOL_ERROR_BUSY:
            return KZ_CC_E_NODE_ACCESS;
        case ARV_DEVICE_ERROR_NOT_CONNECTED:
        case ARV_DEVICE_ERROR_NOT_CONTROLLER:
        case ARV_DEVICE_ERROR_NOT_FOUND:
        case ARV_DEVICE_ERROR_TIMEOUT:
        case ARV_DEVICE_ERROR_TRANSFER_ERROR:
            return KZ_CC_E_DEVICE_LOST;
        default:
            return KZ_CC_E_NOT_SUPPORTED;
    }
}

Code GenicamErrorCode(int error) {
    switch (error) {
        case ARV_GC_ERROR_NODE_NOT_FOUND:
            return KZ_CC_E_NODE_MISSING;
        case ARV_GC_ERROR_OUT_OF_RANGE:
        case ARV_GC_ERROR_ENUM_ENTRY_NOT_FOUND:
            return KZ_CC_E_NODE_RANGE;
        case ARV_GC_ERROR_READ_ONLY:
            return KZ_CC_E_NODE_ACCESS;
        default:
            return KZ_CC_E_NOT_SUPPORTED;
    }
}

}  // namespace

Code CodeOf(const GErrorHolder& error) {
    if (!error) {
        return KZ_CC_OK;
    }
    if (error.Get()->domain == ARV_DEVICE_ERROR) {
        return DeviceErrorCode(error.Get()->code);
    }
    if (error.Get()->domain == ARV_GC_ERROR) {
        return GenicamErrorCode(error.Get()->code);
    }
    // Other errors come from sockets: the network card is gone or has lost its route.
    return error.Get()->domain == G_IO_ERROR ? KZ_CC_E_DEVICE_LOST : KZ_CC_E_NOT_SUPPORTED;
}

Code CameraFeatures::Find(const char* name, KZNodeType type, Access access,
                          ArvGcFeatureNode*& node) const {
    ArvGcNode* const found = arv_device_get_feature(m_device, name);
    if (!ARV_IS_GC_FEATURE_NODE(found)) {
        return KZ_CC_E_NODE_MISSING;
    }
    node = ARV_GC_FEATURE_NODE(found);
    if (TypeOf(node) != type) {
        return KZ_CC_E_NODE_TYPE;
    }
    GErrorHolder error;
    const bool implemented = arv_gc_feature_node_is_implemented(node, error.Out());
    if (error) {
        return CodeOf(error);
    }
    if (!implemented) {
        return KZ_CC_E_NODE_MISSING;
    }
    const bool available = arv_gc_feature_node_is_available(node, error.Out());
    if (error) {
        return CodeOf(error);
    }
    const ArvGcAccessMode mode = arv_gc_feature_node_get_actual_access_mode(node);
    if (access == Access::kRead) {
        return available && mode != ARV_GC_ACCESS_MODE_WO ? KZ_CC_OK : KZ_CC_E_NODE_ACCESS;
    }
    const bool locked = arv_gc_feature_node_is_locked(node, error.Out());
    if (error) {
        return CodeOf(error);
    }
    return available && !locked && mode != ARV_GC_ACCESS_MODE_RO ? KZ_CC_OK : KZ_CC_E_NODE_ACCESS;
}

Code CameraFeatures::NodeType(const char* name, KZNodeType& type) const {
    ArvGcNode* const node = arv_device_get_feature(m_device, name);
    if (!ARV_IS_GC_FEATURE_NODE(node)) {
        return KZ_CC_E_NODE_MISSING;
    }
    type = TypeOf(ARV_GC_FEATURE_NODE(node));
    return KZ_CC_OK;
}

Code CameraFeatures::GetInt(const char* name, KZIntValue& value) const {
    ArvGcFeatureNode* node = nullptr;
    if (const Code code = Find(name, KZ_NODE_INTEGER, Access::kRead, node); code != KZ_CC_OK) {
        return code;
    }
    GErrorHolder error;
    const gint64 current = arv_gc_integer_get_value(ARV_GC_INTEGER(node), error.Out());
    if (error) {
        return CodeOf(error);
    }
    IntRange range;
    if (const Code code = ReadRange(ARV_GC_INTEGER(node), range); code != KZ_CC_OK) {
        return code;
    }
    value = {};
    value.current = Clamp(current);
    value.minimum = Clamp(range.minimum);
    value.maximum = Clamp(range.maximum);
    value.increment = Clamp(range.increment);
    return KZ_CC_OK;
}

Code CameraFeatures::SetInt(const char* name, std::int64_t value) const {
    ArvGcFeatureNode* node = nullptr;
    if (const Code code = Find(name, KZ_NODE_INTEGER, Access::kWrite, node); code != KZ_CC_OK) {
        return code;
    }
    IntRange range;
    if (const Code code = ReadRange(ARV_GC_INTEGER(node), range); code != KZ_CC_OK) {
        return code;
    }
    if (!Contains(range, value)) {
        return KZ_CC_E_NODE_RANGE;
    }
    GErrorHolder error;
    arv_gc_integer_set_value(ARV_GC_INTEGER(node), value, error.Out());
    return CodeOf(error);
}

Code CameraFeatures::GetFloat(const char* name, KZFloatValue& value) const {
    ArvGcFeatureNode* node = nullptr;
    if (const Code code = Find(name, KZ_NODE_FLOAT, Access::kRead, node); code != KZ_CC_OK) {
        return code;
    }
    GErrorHolder error;
    const double current = arv_gc_float_get_value(ARV_GC_FLOAT(node), error.Out());
    if (error) {
        return CodeOf(error);
    }
    double minimum = -std::numeric_limits<float>::max();
    double maximum = std::numeric_limits<float>::max();
    if (const Code code = ReadRange(ARV_GC_FLOAT(node), minimum, maximum); code != KZ_CC_OK) {
        return code;
    }
    value = {};
    value.current = ToFloat(current);
    value.minimum = ToFloat(minimum);
    value.maximum = ToFloat(maximum);
    return KZ_CC_OK;
}

Code CameraFeatures::SetFloat(const char* name, float value) const {
    ArvGcFeatureNode* node = nullptr;
    if (const Code code = Find(name, KZ_NODE_FLOAT, Access::kWrite, node); code != KZ_CC_OK) {
        return code;
    }
    double minimum = -std::numeric_limits<double>::max();
    double maximum = std::numeric_limits<double>::max();
    if (const Code code = ReadRange(ARV_GC_FLOAT(node), minimum, maximum); code != KZ_CC_OK) {
        return code;
    }
    // Compared as the caller sees the bounds, so that a bound read back can be written.
    if (!std::isfinite(value) || value < ToFloat(minimum) || value > ToFloat(maximum)) {
        return KZ_CC_E_NODE_RANGE;
    }
    GErrorHolder error;
    arv_gc_float_set_value(ARV_GC_FLOAT(node),
                           std::clamp(static_cast<double>(value), minimum, maximum), error.Out());
    return CodeOf(error);
}

Code CameraFeatures::GetEnum(const char* name, KZEnumValue& value) const {
    ArvGcFeatureNode* node = nullptr;
    if (const Code code = Find(name, KZ_NODE_ENUMERATION, Access::kRead, node); code != KZ_CC_OK) {
        return code;
    }
    ArvGcEnumeration* const enumeration = ARV_GC_ENUMERATION(node);
    GErrorHolder error;
    const gint64 current = arv_gc_enumeration_get_int_value(enumeration, error.Out());
    if (error) {
        return CodeOf(error);
    }
    guint count = 0;
    const GMemory<gint64> entries(
        arv_gc_enumeration_dup_available_int_values(enumeration, &count, error.Out()));
    if (error) {
        return CodeOf(error);
    }
    value = {};
    value.current = Clamp(current);
    value.supportedCount = std::min<std::uint32_t>(count, KZ_MAX_ENUM_ENTRIES);
    std::transform(entries.get(), entries.get() + value.supportedCount, value.supported, Clamp);
    return KZ_CC_OK;
}

Code CameraFeatures::SetEnum(const char* name, std::uint32_t value) const {
    ArvGcFeatureNode* node = nullptr;
    if (const Code code = Find(name, KZ_NODE_ENUMERATION, Access::kWrite, node); code != KZ_CC_OK) {
        return code;
    }
    ArvGcEnumeration* const enumeration = ARV_GC_ENUMERATION(node);
    GErrorHolder error;
    guint count = 0;
    const GMemory<gint64> entries(
        arv_gc_enumeration_dup_available_int_values(enumeration, &count, error.Out()));
    if (error) {
        return CodeOf(error);
    }
    const gint64* const begin = entries.get();
    if (std::find(begin, begin + count, static_cast<gint64>(value)) == begin + count) {
        return KZ_CC_E_NODE_RANGE;
    }
    arv_gc_enumeration_set_int_value(enumeration, value, error.Out());
    return CodeOf(error);
}

Code CameraFeatures::SetEnumByString(const char* name, const char* entry) const {
    ArvGcFeatureNode* node = nullptr;
    if (const Code code = Find(name, KZ_NODE_ENUMERATION, Access::kWrite, node); code != KZ_CC_OK) {
        return code;
    }
    ArvGcEnumeration* const enumeration = ARV_GC_ENUMERATION(node);
    GErrorHolder error;
    guint count = 0;
    // The texts belong to the nodes, the array is ours.
    const GMemory<const char*> entries(
        arv_gc_enumeration_dup_available_string_values(enumeration, &count, error.Out()));
    if (error) {
        return CodeOf(error);
    }
    const char* const* const begin = entries.get();
    if (std::none_of(begin, begin + count,
                     [&](const char* each) { return std::strcmp(each, entry) == 0; })) {
        return KZ_CC_E_NODE_RANGE;
    }
    arv_gc_enumeration_set_string_value(enumeration, entry, error.Out());
    return CodeOf(error);
}

Code CameraFeatures::GetBool(const char* name, bool& value) const {
    ArvGcFeatureNode* node = nullptr;
    if (const Code code = Find(name, KZ_NODE_BOOLEAN, Access::kRead, node); code != KZ_CC_OK) {
        return code;
    }
    GErrorHolder error;
    const bool current = arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node), error.Out());
    if (!error) {
        value = current;
    }
    return CodeOf(error);
}

Code CameraFeatures::SetBool(const char* name, bool value) const {
    ArvGcFeatureNode* node = nullptr;
    if (const Code code = Find(name, KZ_NODE_BOOLEAN, Access::kWrite, node); code != KZ_CC_OK) {
        return code;
    }
    GErrorHolder error;
    arv_gc_boolean_set_value(ARV_GC_BOOLEAN(node), value, error.Out());
    return CodeOf(error);
}

Code CameraFeatures::GetString(const char* name, KZStringValue& value) const {
    ArvGcFeatureNode* node = nullptr;
    if (const Code code = Find(name, KZ_NODE_STRING, Access::kRead, node); code != KZ_CC_OK) {
        return code;
    }
    GErrorHolder error;
    const char* const current = arv_gc_string_get_value(ARV_GC_STRING(node), error.Out());
    if (error || current == nullptr) {
        return error ? CodeOf(error) : KZ_CC_E_NO_DATA;
    }
    value = {};
    std::strncpy(value.current, current, sizeof(value.current) - 1);
    value.maximumLength = sizeof(value.current) - 1;
    gint64 maximumLength = value.maximumLength;
    const Code code = ReadBound(
        [&](GError** out) { return arv_gc_string_get_max_length(ARV_GC_STRING(node), out); },
        maximumLength);
    value.maximumLength = maximumLength;
    return code;
}

Code CameraFeatures::SetString(const char* name, const char* value) const {
    ArvGcFeatureNode* node = nullptr;
    if (const Code code = Find(name, KZ_NODE_STRING, Access::kWrite, node); code != KZ_CC_OK) {
        return code;
    }
    gint64 maximumLength = std::numeric_limits<gint64>::max();
    if (const Code code = ReadBound(
            [&](GError** out) { return arv_gc_string_get_max_length(ARV_GC_STRING(node), out); },
            maximumLength);
        code != KZ_CC_OK) {
        return code;
    }
    if (maximumLength > 0 && std::strlen(value) > static_cast<guint64>(maximumLength)) {
        return KZ_CC_E_NODE_RANGE;
    }
    GErrorHolder error;
    arv_gc_string_set_value(ARV_GC_STRING(node), value, error.Out());
    return CodeOf(error);
}

Code CameraFeatures::Execute(const char* name) const {
    ArvGcFeatureNode* node = nullptr;
    if (const Code code = Find(name, KZ_NODE_COMMAND, Access::kWrite, node); code != KZ_CC_OK) {
        return code;
    }
    GErrorHolder error;
    arv_gc_command_execute(ARV_GC_COMMAND(node), error.Out());
    return CodeOf(error);
}

}  // namespace kz
