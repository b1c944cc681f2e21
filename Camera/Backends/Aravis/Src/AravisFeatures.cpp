#include "AravisFeatures.h"

#include "GObjectRef.h"

namespace Orvia::Aravis::Detail {

using Backend::FeatureInfo;
using Backend::FeatureType;
using Backend::FeatureValue;

namespace {

ArvGcFeatureNode* featureNode(ArvDevice* device, const std::string& name) {
    ArvGcNode* node = arv_device_get_feature(device, name.c_str());
    return node && ARV_IS_GC_FEATURE_NODE(node) ? ARV_GC_FEATURE_NODE(node) : nullptr;
}

// Enumerations and booleans also answer as integers, so they are asked first.
bool typeOf(ArvGcFeatureNode* node, FeatureType& type) {
    if (ARV_IS_GC_ENUMERATION(node)) {
        type = FeatureType::Enumeration;
    } else if (ARV_IS_GC_COMMAND(node)) {
        type = FeatureType::Command;
    } else if (ARV_IS_GC_BOOLEAN(node)) {
        type = FeatureType::Boolean;
    } else if (ARV_IS_GC_INTEGER(node)) {
        type = FeatureType::Integer;
    } else if (ARV_IS_GC_FLOAT(node)) {
        type = FeatureType::Float;
    } else if (ARV_IS_GC_STRING(node)) {
        type = FeatureType::String;
    } else {
        return false;
    }
    return true;
}

void describeEntries(ArvGcEnumeration* enumeration, FeatureInfo& out) {
    for (const GSList* item = arv_gc_enumeration_get_entries(enumeration); item; item = item->next) {
        auto* entry = ARV_GC_ENUM_ENTRY(item->data);
        CGError error;
        const bool available = arv_gc_feature_node_is_available(ARV_GC_FEATURE_NODE(entry), error.out());
        const int64_t value = arv_gc_enum_entry_get_value(entry, error.out());
        if (available && !error.failed()) {
            out.entries.push_back(
                {copyText(arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(entry))), value});
        }
    }
}

void describeRange(ArvGcFeatureNode* node, FeatureInfo& out) {
    CGError error;
    if (out.type == FeatureType::Integer) {
        auto* integer = ARV_GC_INTEGER(node);
        const int64_t min = arv_gc_integer_get_min(integer, error.out());
        if (!error.failed()) {
            out.intMin = min;
        }
        const int64_t max = arv_gc_integer_get_max(integer, error.out());
        if (!error.failed()) {
            out.intMax = max;
        }
        const int64_t increment = arv_gc_integer_get_inc(integer, error.out());
        if (!error.failed() && increment > 0) {
            out.intIncrement = increment;
        }
    } else if (out.type == FeatureType::Float) {
        auto* number = ARV_GC_FLOAT(node);
        const double min = arv_gc_float_get_min(number, error.out());
        if (!error.failed()) {
            out.floatMin = min;
        }
        const double max = arv_gc_float_get_max(number, error.out());
        if (!error.failed()) {
            out.floatMax = max;
        }
    } else if (out.type == FeatureType::String) {
        const int64_t length = arv_gc_string_get_max_length(ARV_GC_STRING(node), error.out());
        if (!error.failed() && length > 0) {
            out.maxLength = static_cast<uint32_t>(length);
        }
    } else if (out.type == FeatureType::Enumeration) {
        describeEntries(ARV_GC_ENUMERATION(node), out);
    }
}

} // namespace

CallOutcome outcomeOf(const GError* error) {
    if (!error) {
        return CallOutcome::Done;
    }
    if (error->domain == arv_device_error_quark()) {
        switch (error->code) {
        case ARV_DEVICE_ERROR_TIMEOUT:
        case ARV_DEVICE_ERROR_TRANSFER_ERROR:
        case ARV_DEVICE_ERROR_NOT_CONNECTED:
            return CallOutcome::LinkFailed;
        default:
            break;
        }
    }
    return CallOutcome::Refused;
}

bool describeFeature(ArvDevice* device, const std::string& name, FeatureInfo& out) {
    ArvGcFeatureNode* node = featureNode(device, name);
    FeatureType type{};
    if (!node || !typeOf(node, type)) {
        return false;
    }
    CGError error;
    const bool implemented = arv_gc_feature_node_is_implemented(node, error.out()) && !error.failed();
    const bool available =
        implemented && arv_gc_feature_node_is_available(node, error.out()) && !error.failed();
    const ArvGcAccessMode access = arv_gc_feature_node_get_actual_access_mode(node);
    out = FeatureInfo{};
    out.name = name;
    out.type = type;
    out.readable = available && type != FeatureType::Command && access != ARV_GC_ACCESS_MODE_WO;
    out.writable = available && access != ARV_GC_ACCESS_MODE_RO;
    if (available) {
        describeRange(node, out);
    }
    return implemented;
}

CallOutcome readFeature(ArvDevice* device, const std::string& name, FeatureValue& out) {
    ArvGcFeatureNode* node = featureNode(device, name);
    FeatureType type{};
    if (!node || !typeOf(node, type)) {
        return CallOutcome::Refused;
    }
    CGError error;
    switch (type) {
    case FeatureType::Enumeration:
        out = static_cast<int64_t>(arv_gc_enumeration_get_int_value(ARV_GC_ENUMERATION(node), error.out()));
        break;
    case FeatureType::Boolean:
        out = arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node), error.out()) != FALSE;
        break;
    case FeatureType::Integer:
        out = static_cast<int64_t>(arv_gc_integer_get_value(ARV_GC_INTEGER(node), error.out()));
        break;
    case FeatureType::Float:
        out = arv_gc_float_get_value(ARV_GC_FLOAT(node), error.out());
        break;
    case FeatureType::String:
        out = copyText(arv_gc_string_get_value(ARV_GC_STRING(node), error.out()));
        break;
    case FeatureType::Command:
        return CallOutcome::Refused;
    }
    return outcomeOf(error.get());
}

CallOutcome writeFeature(ArvDevice* device, const std::string& name, const FeatureValue& value) {
    ArvGcFeatureNode* node = featureNode(device, name);
    FeatureType type{};
    if (!node || !typeOf(node, type)) {
        return CallOutcome::Refused;
    }
    CGError error;
    GError** slot = error.out();
    const auto* number = std::get_if<int64_t>(&value);
    const auto* text = std::get_if<std::string>(&value);
    if (type == FeatureType::Enumeration && text) {
        arv_gc_enumeration_set_string_value(ARV_GC_ENUMERATION(node), text->c_str(), slot);
    } else if (type == FeatureType::Enumeration && number) {
        arv_gc_enumeration_set_int_value(ARV_GC_ENUMERATION(node), *number, slot);
    } else if (type == FeatureType::Integer && number) {
        arv_gc_integer_set_value(ARV_GC_INTEGER(node), *number, slot);
    } else if (type == FeatureType::Float && std::holds_alternative<double>(value)) {
        arv_gc_float_set_value(ARV_GC_FLOAT(node), std::get<double>(value), slot);
    } else if (type == FeatureType::Boolean && std::holds_alternative<bool>(value)) {
        arv_gc_boolean_set_value(ARV_GC_BOOLEAN(node), std::get<bool>(value) ? TRUE : FALSE, slot);
    } else if (type == FeatureType::String && text) {
        arv_gc_string_set_value(ARV_GC_STRING(node), text->c_str(), slot);
    } else {
        return CallOutcome::Refused;
    }
    return outcomeOf(*slot);
}

CallOutcome executeCommand(ArvDevice* device, const std::string& name) {
    ArvGcFeatureNode* node = featureNode(device, name);
    if (!node || !ARV_IS_GC_COMMAND(node)) {
        return CallOutcome::Refused;
    }
    CGError error;
    GError** slot = error.out();
    arv_gc_command_execute(ARV_GC_COMMAND(node), slot);
    return outcomeOf(*slot);
}

bool registerSpan(ArvDevice* device, const std::string& name, uint64_t& address, uint64_t& length) {
    ArvGcNode* node = arv_device_get_feature(device, name.c_str());
    if (!node || !ARV_IS_GC_REGISTER(node)) {
        return false;
    }
    CGError error;
    address = arv_gc_register_get_address(ARV_GC_REGISTER(node), error.out());
    if (error.failed()) {
        return false;
    }
    length = arv_gc_register_get_length(ARV_GC_REGISTER(node), error.out());
    return !error.failed();
}

} // namespace Orvia::Aravis::Detail
