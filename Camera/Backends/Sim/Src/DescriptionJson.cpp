#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <algorithm>

#include "Orvia/Sim/Description.h"

namespace Orvia::Sim {

namespace {

using Value = rapidjson::Value;

bool readFeature(const Value& v, SimFeature& f, std::string& error) {
    if (!v.IsObject() || !v.HasMember("name") || !v["name"].IsString() || !v.HasMember("type") ||
        !v["type"].IsString()) {
        error = "a feature needs a string \"name\" and \"type\"";
        return false;
    }
    const std::string name = v["name"].GetString();
    const std::string type = v["type"].GetString();
    const bool hasValue = v.HasMember("value");
    if (type == "int") {
        f = SimFeature::integer(
            name, hasValue && v["value"].IsInt64() ? v["value"].GetInt64() : 0,
            v.HasMember("min") && v["min"].IsInt64() ? v["min"].GetInt64() : 0,
            v.HasMember("max") && v["max"].IsInt64() ? v["max"].GetInt64() : INT64_MAX,
            v.HasMember("increment") && v["increment"].IsInt64() ? v["increment"].GetInt64() : 1);
    } else if (type == "float") {
        f = SimFeature::floating(name, hasValue && v["value"].IsNumber() ? v["value"].GetDouble() : 0.0,
                                 v.HasMember("min") && v["min"].IsNumber() ? v["min"].GetDouble() : 0.0,
                                 v.HasMember("max") && v["max"].IsNumber() ? v["max"].GetDouble() : 1e9);
    } else if (type == "enum") {
        if (!v.HasMember("entries") || !v["entries"].IsObject()) {
            error = "enumeration " + name + " needs an object \"entries\" of symbol: number";
            return false;
        }
        std::vector<std::pair<std::string, int64_t>> entries;
        int64_t current = 0;
        for (const auto& m : v["entries"].GetObject()) {
            if (!m.value.IsInt64()) {
                error = "enumeration " + name + ": entry numbers must be integers";
                return false;
            }
            entries.emplace_back(m.name.GetString(), m.value.GetInt64());
            if (hasValue && v["value"].IsString() && entries.back().first == v["value"].GetString()) {
                current = entries.back().second;
            }
        }
        if (entries.empty()) {
            error = "enumeration " + name + " has no entries";
            return false;
        }
        if (!hasValue) {
            current = entries.front().second;
        }
        f = SimFeature::enumeration(name, std::move(entries), current);
    } else if (type == "bool") {
        f = SimFeature::boolean(name, hasValue && v["value"].IsBool() && v["value"].GetBool());
    } else if (type == "string") {
        f = SimFeature::string(name, hasValue && v["value"].IsString() ? v["value"].GetString() : "",
                               v.HasMember("maxLength") && v["maxLength"].IsUint() ? v["maxLength"].GetUint()
                                                                                   : 64);
    } else if (type == "command") {
        f = SimFeature::command(name);
    } else {
        error = "feature " + name + ": unknown type " + type;
        return false;
    }
    if (v.HasMember("readable") && v["readable"].IsBool()) {
        f.readable = v["readable"].GetBool();
    }
    if (v.HasMember("writable") && v["writable"].IsBool()) {
        f.writable = v["writable"].GetBool();
    }
    if (v.HasMember("selectedBy") && v["selectedBy"].IsString()) {
        f.selectedBy = v["selectedBy"].GetString();
    }
    return true;
}

void readText(const Value& doc, const char* key, std::string& out) {
    if (doc.HasMember(key) && doc[key].IsString()) {
        out = doc[key].GetString();
    }
}

} // namespace

bool parseDescriptionJson(const std::string& json, SimDeviceDescription& out, std::string& error) {
    rapidjson::Document doc;
    doc.Parse(json.c_str());
    if (doc.HasParseError() || !doc.IsObject()) {
        error = doc.HasParseError() ? rapidjson::GetParseError_En(doc.GetParseError()) : "not a JSON object";
        return false;
    }
    if (!doc.HasMember("serial") || !doc["serial"].IsString()) {
        error = "a description needs a string \"serial\"";
        return false;
    }
    const int32_t kind =
        doc.HasMember("interfaceKind") && doc["interfaceKind"].IsInt() ? doc["interfaceKind"].GetInt() : 0;
    SimDeviceDescription d = laserCameraDescription(doc["serial"].GetString(), kind);
    readText(doc, "vendor", d.vendor);
    readText(doc, "model", d.model);
    readText(doc, "displayName", d.displayName);
    readText(doc, "gigeIdentity", d.gigeIdentity);
    if (doc.HasMember("dropPolicy") && doc["dropPolicy"].IsString()) {
        d.dropPolicy = std::string(doc["dropPolicy"].GetString()) == "oldest" ? DropPolicy::DropOldest
                                                                              : DropPolicy::DropNewest;
    }
    if (doc.HasMember("removeFeatures") && doc["removeFeatures"].IsArray()) {
        for (const auto& name : doc["removeFeatures"].GetArray()) {
            if (name.IsString()) {
                std::erase_if(d.features, [&](const SimFeature& f) { return f.name == name.GetString(); });
            }
        }
    }
    if (doc.HasMember("features") && doc["features"].IsArray()) {
        for (const auto& v : doc["features"].GetArray()) {
            SimFeature f;
            if (!readFeature(v, f, error)) {
                return false;
            }
            std::erase_if(d.features, [&](const SimFeature& old) { return old.name == f.name; });
            d.features.push_back(std::move(f));
        }
    }
    out = std::move(d);
    return true;
}

} // namespace Orvia::Sim
