#include "ScanSim/Truth.h"

#include "Shapes.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <cmath>

namespace ScanSim {
namespace {

// Degrees into (-90, 90]: a long side and its reverse are the same slant.
double normaliseSlant(double deg) {
    double a = std::fmod(deg, 180.0);
    if (a <= -90.0) {
        a += 180.0;
    } else if (a > 90.0) {
        a -= 180.0;
    }
    return a;
}

struct Dimensions {
    double length;
    double width;
    double height;
    double solid;
};

Dimensions dimensionsOf(const SceneObject& o) {
    const double r = o.diameter / 2.0;
    switch (o.kind) {
    case ShapeKind::Box:
        return {o.length, o.width, o.height, o.length * o.width * o.height};
    case ShapeKind::CylinderLying:
        return {o.length, o.diameter, o.diameter, kPi * r * r * o.length};
    case ShapeKind::CylinderStanding:
        return {o.diameter, o.diameter, o.height, kPi * r * r * o.height};
    case ShapeKind::Bag: {
        const Detail::BagShape bag = Detail::makeBagShape(o);
        return {o.length, o.width, o.height, Detail::bagSolidVolume(o, bag)};
    }
    }
    return {0, 0, 0, 0};
}

} // namespace

double timestampOfFrame(const Scene& scene, int frame, TimeBase base) {
    return base == TimeBase::StoredImages ? 1.0 + 2.0 * frame : frame * scene.motion.framePeriodMs;
}

Vec3 beltSpeed(const Scene& scene, TimeBase base) {
    const double perUnit = base == TimeBase::StoredImages ? 0.5 : 1.0 / scene.motion.framePeriodMs;
    return {scene.motion.driftXPerFrame * perUnit, scene.motion.mmPerFrame * perUnit, 0.0};
}

CTruthTracker::CTruthTracker(const CFrameRenderer& renderer)
    : renderer_(renderer), first_(renderer.layout().objects.size(), -1),
      last_(renderer.layout().objects.size(), -1) {}

void CTruthTracker::add(const ProfileTrace& trace) {
    for (int c = 0; c < trace.width; ++c) {
        const ColumnSample* s = trace.column(c);
        for (int i = 0; i < trace.counts[static_cast<size_t>(c)]; ++i) {
            if (!s[i].visible || s[i].object == kBeltObject) {
                continue;
            }
            const auto k = static_cast<size_t>(s[i].object);
            if (first_[k] < 0 || trace.frame < first_[k]) {
                first_[k] = trace.frame;
            }
            last_[k] = std::max(last_[k], trace.frame);
        }
    }
}

void CTruthTracker::merge(const CTruthTracker& other) {
    for (size_t k = 0; k < first_.size(); ++k) {
        if (other.first_[k] >= 0 && (first_[k] < 0 || other.first_[k] < first_[k])) {
            first_[k] = other.first_[k];
        }
        last_[k] = std::max(last_[k], other.last_[k]);
    }
}

ScanTruth CTruthTracker::finish(TimeBase base) const {
    ScanTruth truth;
    truth.timeBase = base;
    truth.frameCount = renderer_.frameCount();
    const Scene& scene = renderer_.scene();
    for (size_t k = 0; k < first_.size(); ++k) {
        const SceneObject& desc = renderer_.layout().objects[k].desc;
        const Dimensions dims = dimensionsOf(desc);
        ObjectTruth t;
        t.name = desc.name;
        t.kind = desc.kind;
        double yaw = desc.yawDeg;
        t.length = dims.length;
        t.width = dims.width;
        if (t.width > t.length) {
            std::swap(t.length, t.width);
            yaw += 90.0;
        }
        t.height = dims.height;
        t.volume = t.length * t.width * t.height;
        t.solidVolume = dims.solid;
        t.slantAngleDeg = normaliseSlant(yaw);
        t.reflectance = desc.reflectance;
        t.seen = first_[k] >= 0;
        t.firstFrame = first_[k];
        t.lastFrame = last_[k];
        const Vec3 c = renderer_.objectCentreAt(static_cast<int>(k), std::max(0, t.firstFrame));
        t.centre = Vec3{c.x, c.y, t.height / 2.0};
        if (t.seen) {
            t.enterTime = timestampOfFrame(scene, t.firstFrame, base);
            t.leaveTime = timestampOfFrame(scene, t.lastFrame, base);
        }
        truth.objects.push_back(t);
    }
    return truth;
}

ScanTruth computeTruth(const CFrameRenderer& renderer, TimeBase base) {
    CTruthTracker tracker(renderer);
    ProfileTrace trace;
    for (int k = 0; k < renderer.frameCount(); ++k) {
        renderer.trace(k, trace);
        tracker.add(trace);
    }
    return tracker.finish(base);
}

std::string truthToJson(const ScanTruth& truth, const Scene& scene) {
    rapidjson::StringBuffer buf;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> w(buf);
    w.SetMaxDecimalPlaces(6);
    const Vec3 speed = beltSpeed(scene, truth.timeBase);
    w.StartObject();
    w.Key("timeBase");
    w.String(truth.timeBase == TimeBase::StoredImages ? "stored-images" : "camera-ms");
    w.Key("frameCount");
    w.Int(truth.frameCount);
    w.Key("mmPerFrame");
    w.Double(scene.motion.mmPerFrame);
    w.Key("encoder");
    w.Bool(scene.motion.encoder);
    w.Key("speedVx");
    w.Double(speed.x);
    w.Key("speedVy");
    w.Double(speed.y);
    w.Key("chessboardHeight");
    w.Double(scene.station.chessboardHeight);
    w.Key("imageWidth");
    w.Int(scene.station.camera.width);
    w.Key("imageHeight");
    w.Int(scene.station.camera.height);
    w.Key("seed");
    w.Uint64(scene.seed);
    w.Key("objects");
    w.StartArray();
    for (const ObjectTruth& o : truth.objects) {
        w.StartObject();
        w.Key("name");
        w.String(o.name.c_str());
        w.Key("kind");
        w.String(shapeKindName(o.kind));
        w.Key("length");
        w.Double(o.length);
        w.Key("width");
        w.Double(o.width);
        w.Key("height");
        w.Double(o.height);
        w.Key("volume");
        w.Double(o.volume);
        w.Key("solidVolume");
        w.Double(o.solidVolume);
        w.Key("slantAngle");
        w.Double(o.slantAngleDeg);
        w.Key("center");
        w.StartArray();
        w.Double(o.centre.x);
        w.Double(o.centre.y);
        w.Double(o.centre.z);
        w.EndArray();
        w.Key("reflectance");
        w.Double(o.reflectance);
        w.Key("seen");
        w.Bool(o.seen);
        w.Key("firstFrame");
        w.Int(o.firstFrame);
        w.Key("lastFrame");
        w.Int(o.lastFrame);
        w.Key("enterTime");
        w.Double(o.enterTime);
        w.Key("leaveTime");
        w.Double(o.leaveTime);
        w.EndObject();
    }
    w.EndArray();
    w.EndObject();
    return std::string(buf.GetString(), buf.GetSize()) + "\n";
}

} // namespace ScanSim
