#include "ScanSim/SceneJson.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

namespace ScanSim {
namespace {

using Value = rapidjson::Value;

// Reads the members of one JSON object into fields; an unknown member or a wrong type is an
// error, so that a misspelt key doesn't pass silently.
class CMembers {
public:
    CMembers(const Value& obj, std::string where, std::string& error)
        : obj_(obj), where_(std::move(where)), error_(error) {}

    CMembers& num(const char* key, double& out) {
        return field(key, [&out](const Value& v) {
            if (!v.IsNumber()) {
                return false;
            }
            out = v.GetDouble();
            return true;
        });
    }
    CMembers& integer(const char* key, int& out) {
        return field(key, [&out](const Value& v) {
            if (!v.IsInt()) {
                return false;
            }
            out = v.GetInt();
            return true;
        });
    }
    CMembers& unsignedInt(const char* key, uint32_t& out) {
        return field(key, [&out](const Value& v) {
            if (!v.IsUint()) {
                return false;
            }
            out = v.GetUint();
            return true;
        });
    }
    CMembers& boolean(const char* key, bool& out) {
        return field(key, [&out](const Value& v) {
            if (!v.IsBool()) {
                return false;
            }
            out = v.GetBool();
            return true;
        });
    }
    CMembers& text(const char* key, std::string& out) {
        return field(key, [&out](const Value& v) {
            if (!v.IsString()) {
                return false;
            }
            out = v.GetString();
            return true;
        });
    }
    CMembers& field(const char* key, std::function<bool(const Value&)> read) {
        readers_[key] = std::move(read);
        return *this;
    }
    bool apply() {
        if (!obj_.IsObject()) {
            error_ = where_ + ": expected an object";
            return false;
        }
        for (auto it = obj_.MemberBegin(); it != obj_.MemberEnd(); ++it) {
            const std::string name = it->name.GetString();
            const auto reader = readers_.find(name);
            if (reader == readers_.end()) {
                error_ = where_ + ": unknown member \"" + name + "\"";
                return false;
            }
            if (!reader->second(it->value)) {
                if (error_.empty()) {
                    error_ = where_ + ": member \"" + name + "\" has the wrong type or value";
                }
                return false;
            }
        }
        return true;
    }

private:
    const Value& obj_;
    std::string where_;
    std::string& error_;
    std::map<std::string, std::function<bool(const Value&)>> readers_;
};

bool readDistortion(const Value& v, std::array<double, 5>& out) {
    if (!v.IsArray() || v.Size() != 5) {
        return false;
    }
    for (rapidjson::SizeType i = 0; i < 5; ++i) {
        if (!v[i].IsNumber()) {
            return false;
        }
        out[i] = v[i].GetDouble();
    }
    return true;
}

bool readStation(const Value& v, Scene& scene, std::string& error) {
    StationDesign d;
    std::string pixelFormat = "Mono8";
    double heightFactor = 1.0;
    double sheetFwhm = 0.0;
    CMembers m(v, "station", error);
    m.num("beltWidth", d.beltWidth)
        .num("maxHeight", d.maxHeight)
        .num("chessboardHeight", d.chessboardHeight)
        .num("triangulationDeg", d.triangulationDeg)
        .num("cameraDistance", d.cameraDistance)
        .num("aimHeight", d.aimHeight)
        .boolean("cameraUpstream", d.cameraUpstream)
        .num("laserSourceHeight", d.laserSourceHeight)
        .num("laserTiltDeg", d.laserTiltDeg)
        .integer("imageWidth", d.imageWidth)
        .integer("imageHeight", d.imageHeight)
        .num("acrossMargin", d.acrossMargin)
        .num("heightFill", d.heightFill)
        .field("distortion", [&d](const Value& x) { return readDistortion(x, d.distortion); })
        .text("pixelFormat", pixelFormat)
        .num("planeHeightFactor", heightFactor)
        .num("laserSheetFwhm", sheetFwhm);
    if (!m.apply()) {
        return false;
    }
    if (sheetFwhm < 0.0 || sheetFwhm > 20.0) {
        error = "station: laserSheetFwhm must be 0 to 20 mm";
        return false;
    }
    if (pixelFormat != "Mono8" && pixelFormat != "Mono4p") {
        error = "station: pixelFormat must be Mono8 or Mono4p";
        return false;
    }
    if (d.imageWidth < 2 || d.imageWidth > 3840 || d.imageHeight < 2 || d.imageHeight > 8192) {
        error = "station: image size out of range (width 2..3840, height 2..8192)";
        return false;
    }
    d.pixelFormat = pixelFormat == "Mono8" ? PixelFormat::Mono8 : PixelFormat::Mono4p;
    scene.station = designStation(d);
    scene.station.planeHeightFactor = heightFactor;
    scene.station.laserSheetFwhm = sheetFwhm;
    return true;
}

bool readKind(const Value& v, ShapeKind& kind) {
    if (!v.IsString()) {
        return false;
    }
    const std::string s = v.GetString();
    for (const ShapeKind k :
         {ShapeKind::Box, ShapeKind::CylinderLying, ShapeKind::CylinderStanding, ShapeKind::Bag}) {
        if (s == shapeKindName(k)) {
            kind = k;
            return true;
        }
    }
    return false;
}

bool readObjects(const Value& v, Scene& scene, std::string& error) {
    if (!v.IsArray()) {
        error = "objects: expected an array";
        return false;
    }
    scene.objects.clear();
    for (rapidjson::SizeType i = 0; i < v.Size(); ++i) {
        SceneObject o;
        o.name = "object-" + std::to_string(i);
        CMembers m(v[i], "objects[" + std::to_string(i) + "]", error);
        m.text("name", o.name)
            .field("kind", [&o](const Value& x) { return readKind(x, o.kind); })
            .num("length", o.length)
            .num("width", o.width)
            .num("height", o.height)
            .num("diameter", o.diameter)
            .num("x", o.x)
            .num("yaw", o.yawDeg)
            .num("gap", o.gap)
            .num("reflectance", o.reflectance)
            .num("edgeRadius", o.edgeRadius)
            .unsignedInt("shapeSeed", o.shapeSeed);
        if (!m.apply()) {
            return false;
        }
        if (o.length <= 0 || o.width <= 0 || o.height <= 0 || o.diameter <= 0 || o.reflectance < 0) {
            error = "objects[" + std::to_string(i) + "]: sizes must be positive and reflectance not negative";
            return false;
        }
        if (o.edgeRadius < 0 || 2.0 * o.edgeRadius > std::min({o.length, o.width, o.height})) {
            error = "objects[" + std::to_string(i) + "]: edgeRadius must be 0 to half the smallest side";
            return false;
        }
        scene.objects.push_back(o);
    }
    return true;
}

} // namespace

bool parseScene(const std::string& json, Scene& out, std::string& error) {
    rapidjson::Document doc;
    doc.Parse(json.c_str(), json.size());
    if (doc.HasParseError()) {
        error = std::string("JSON error at offset ") + std::to_string(doc.GetErrorOffset()) + ": " +
                rapidjson::GetParseError_En(doc.GetParseError());
        return false;
    }
    Scene scene = defaultScene();
    error.clear();
    uint64_t seed = scene.seed;
    std::string description; // for the reader of the file only
    CMembers top(doc, "scene", error);
    top.field("seed",
              [&seed](const Value& v) {
                  if (!v.IsUint64()) {
                      return false;
                  }
                  seed = v.GetUint64();
                  return true;
              })
        .num("trailingGap", scene.trailingGap)
        .text("description", description)
        .field("station", [&](const Value& v) { return readStation(v, scene, error); })
        .field("motion",
               [&](const Value& v) {
                   CMembers m(v, "motion", error);
                   m.num("mmPerFrame", scene.motion.mmPerFrame)
                       .num("driftXPerFrame", scene.motion.driftXPerFrame)
                       .num("framePeriodMs", scene.motion.framePeriodMs)
                       .boolean("encoder", scene.motion.encoder)
                       .num("exposureShare", scene.motion.exposureShare);
                   return m.apply();
               })
        .field("optics",
               [&](const Value& v) {
                   Optics& o = scene.optics;
                   CMembers m(v, "optics", error);
                   m.num("lineSigmaPx", o.lineSigmaPx)
                       .num("laserGain", o.laserGain)
                       .num("beltReflectance", o.beltReflectance)
                       .num("ambient", o.ambient)
                       .num("sensorNoise", o.sensorNoise)
                       .num("shotNoise", o.shotNoise)
                       .num("speckle", o.speckle)
                       .num("ghostFraction", o.ghostFraction)
                       .num("ghostOffsetRows", o.ghostOffsetRows)
                       .num("lineJitterPx", o.lineJitterPx)
                       .integer("lineThreshold", o.lineThreshold);
                   return m.apply();
               })
        .field("objects", [&](const Value& v) { return readObjects(v, scene, error); });
    if (!top.apply()) {
        return false;
    }
    if (scene.motion.mmPerFrame <= 0.0 || scene.motion.framePeriodMs <= 0.0) {
        error = "motion: mmPerFrame and framePeriodMs must be positive";
        return false;
    }
    if (scene.motion.exposureShare < 0.0 || scene.motion.exposureShare > 1.0) {
        error = "motion: exposureShare must be 0 to 1";
        return false;
    }
    scene.seed = seed;
    out = scene;
    return true;
}

bool loadSceneFile(const std::filesystem::path& path, Scene& out, std::string& error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot open " + path.string();
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    return parseScene(text.str(), out, error);
}

} // namespace ScanSim
