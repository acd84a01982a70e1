#include "standins/kz_camera_control/aravis/feature_listing.h"

#include <cmath>
#include <limits>
#include <set>
#include <string>

#include "standins/kz_camera_control/aravis/camera_features.h"

namespace kz {
namespace {

std::string TextOf(const char* text) {
    return text != nullptr ? text : "";
}

// A camera may declare no bound; Aravis then returns the largest number, or an error.
std::string BoundText(gint64 bound, const GErrorHolder& error) {
    const bool told = !error && bound != std::numeric_limits<gint64>::min() &&
                      bound != std::numeric_limits<gint64>::max();
    return told ? std::to_string(bound) : "";
}

std::string BoundText(double bound, const GErrorHolder& error) {
    const bool told = !error && std::abs(bound) < std::numeric_limits<double>::max();
    return told ? NumberText(bound) : "";
}

class Listing {
  public:
    Listing(ArvDevice* device, const FeatureVisitor& visit)
        : m_device(device), m_features(device), m_visit(visit) {}

    Code Category(const std::string& name) {
        ArvGcNode* const node = arv_device_get_feature(m_device, name.c_str());
        if (!ARV_IS_GC_CATEGORY(node)) {
            return KZ_CC_OK;
        }
        for (const GSList* item = arv_gc_category_get_features(ARV_GC_CATEGORY(node));
             item != nullptr; item = item->next) {
            const auto* const child = static_cast<const char*>(item->data);
            KZNodeType type = KZ_NODE_BASE;
            // Descriptions may name missing nodes, and categories may contain each other.
            if (m_features.NodeType(child, type) != KZ_CC_OK || !m_shown.insert(child).second) {
                continue;
            }
            const Code code =
                type == KZ_NODE_CATEGORY ? Category(child) : Feature(child, type, name);
            if (code != KZ_CC_OK) {
                return code;
            }
        }
        return KZ_CC_OK;
    }

    Code Feature(const char* name, KZNodeType type, const std::string& category) {
        auto* const node = ARV_GC_FEATURE_NODE(arv_device_get_feature(m_device, name));
        GErrorHolder error;
        if (!arv_gc_feature_node_is_implemented(node, error.Out()) && !error) {
            return KZ_CC_OK;
        }
        const bool available = arv_gc_feature_node_is_available(node, error.Out()) && !error;
        const bool locked = arv_gc_feature_node_is_locked(node, error.Out()) && !error;
        const ArvGcAccessMode mode = arv_gc_feature_node_get_actual_access_mode(node);
        FeatureRecord record;
        record.name = name;
        record.category = category;
        record.description = TextOf(arv_gc_feature_node_get_description(node));
        if (record.description.empty()) {
            record.description = TextOf(arv_gc_feature_node_get_tooltip(node));
        }
        record.type = type;
        record.readable = available && mode != ARV_GC_ACCESS_MODE_WO && type != KZ_NODE_COMMAND;
        record.writable = available && !locked && mode != ARV_GC_ACCESS_MODE_RO;
        if (record.readable && Read(node, record) == KZ_CC_E_DEVICE_LOST) {
            return KZ_CC_E_DEVICE_LOST;
        }
        m_visit(record);
        return KZ_CC_OK;
    }

  private:
    static Code Read(ArvGcFeatureNode* node, FeatureRecord& record) {
        GErrorHolder error;
        switch (record.type) {
            case KZ_NODE_INTEGER:
                ReadInteger(ARV_GC_INTEGER(node), record, error);
                break;
            case KZ_NODE_FLOAT:
                ReadFloat(ARV_GC_FLOAT(node), record, error);
                break;
            case KZ_NODE_BOOLEAN:
                record.value =
                    arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node), error.Out()) ? "True" : "False";
                break;
            case KZ_NODE_ENUMERATION:
                ReadEnumeration(ARV_GC_ENUMERATION(node), record, error);
                break;
            case KZ_NODE_STRING:
                record.value = TextOf(arv_gc_string_get_value(ARV_GC_STRING(node), error.Out()));
                break;
            default:
                record.readable = false;
                return KZ_CC_OK;
        }
        if (error) {
            record.readable = false;
            record.value.clear();
        }
        return CodeOf(error);
    }

    static void ReadInteger(ArvGcInteger* node, FeatureRecord& record, GErrorHolder& error) {
        GErrorHolder bound;
        gint64 value = arv_gc_integer_get_min(node, bound.Out());
        record.minimum = BoundText(value, bound);
        value = arv_gc_integer_get_max(node, bound.Out());
        record.maximum = BoundText(value, bound);
        value = arv_gc_integer_get_inc(node, bound.Out());
        record.increment = BoundText(value, bound);
        record.unit = TextOf(arv_gc_integer_get_unit(node));
        record.value = std::to_string(arv_gc_integer_get_value(node, error.Out()));
    }

    static void ReadFloat(ArvGcFloat* node, FeatureRecord& record, GErrorHolder& error) {
        GErrorHolder bound;
        double value = arv_gc_float_get_min(node, bound.Out());
        record.minimum = BoundText(value, bound);
        value = arv_gc_float_get_max(node, bound.Out());
        record.maximum = BoundText(value, bound);
        record.unit = TextOf(arv_gc_float_get_unit(node));
        record.value = NumberText(arv_gc_float_get_value(node, error.Out()));
    }

    static void ReadEnumeration(ArvGcEnumeration* node, FeatureRecord& record,
                                GErrorHolder& error) {
        record.value = TextOf(arv_gc_enumeration_get_string_value(node, error.Out()));
        GErrorHolder entryError;
        for (const GSList* item = arv_gc_enumeration_get_entries(node); item != nullptr;
             item = item->next) {
            auto* const entry = static_cast<ArvGcFeatureNode*>(item->data);
            const bool offered =
                arv_gc_feature_node_is_implemented(entry, entryError.Out()) && !entryError &&
                arv_gc_feature_node_is_available(entry, entryError.Out()) && !entryError;
            const gint64 value =
                arv_gc_enum_entry_get_value(ARV_GC_ENUM_ENTRY(entry), entryError.Out());
            if (offered && !entryError) {
                record.entries.push_back({TextOf(arv_gc_feature_node_get_name(entry)), value});
            }
        }
    }

    ArvDevice* m_device;
    CameraFeatures m_features;
    const FeatureVisitor& m_visit;
    std::set<std::string> m_shown;
};

}  // namespace

Code DescribeFeatures(ArvDevice* device, const char* name, const FeatureVisitor& visit) {
    Listing listing(device, visit);
    if (name == nullptr) {
        return listing.Category("Root");
    }
    KZNodeType type = KZ_NODE_BASE;
    if (const Code code = CameraFeatures(device).NodeType(name, type); code != KZ_CC_OK) {
        return code;
    }
    return listing.Feature(name, type, {});
}

}  // namespace kz
