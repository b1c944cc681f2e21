// The true answer of a scan: per object, what the measuring library should report, in the
// reported box frame of Docs/geometry.md.
#pragma once

#include "ScanSim/Renderer.h"

#include <string>
#include <vector>

namespace ScanSim {

// How frames are stamped where the scan is consumed. In encoder mode the stamps still run on,
// but the belt travel is mmPerFrame per frame whatever they say.
enum class TimeBase {
    StoredImages, // 1 + 2k: the measuring library's counter for stored images
    CameraMs      // k * framePeriodMs
};

double timestampOfFrame(const Scene& scene, int frame, TimeBase base);
// SpeedVx, SpeedVy (x, y) in mm per timestamp unit for that time base.
Vec3 beltSpeed(const Scene& scene, TimeBase base);

struct ObjectTruth {
    std::string name;
    ShapeKind kind = ShapeKind::Box;
    double length = 0.0; // of the bounding box aligned with the object's yaw; length >= width
    double width = 0.0;
    double height = 0.0;
    double volume = 0.0;        // length * width * height
    double solidVolume = 0.0;   // of the shape itself
    double slantAngleDeg = 0.0; // (-90, 90], Docs/geometry.md
    Vec3 centre;                // reported box frame; z = height / 2
    double reflectance = 0.0;
    bool seen = false; // false: no frame showed a point of it
    int firstFrame = -1;
    int lastFrame = -1;
    double enterTime = 0.0;
    double leaveTime = 0.0;
};

struct ScanTruth {
    TimeBase timeBase = TimeBase::StoredImages;
    int frameCount = 0;
    std::vector<ObjectTruth> objects;
};

// Collects, frame by frame, which objects were seen; then states the truth.
class CTruthTracker {
public:
    explicit CTruthTracker(const CFrameRenderer& renderer);
    void add(const ProfileTrace& trace);
    // Takes in what another tracker of the same renderer saw (frames traced elsewhere).
    void merge(const CTruthTracker& other);
    ScanTruth finish(TimeBase base) const;

private:
    const CFrameRenderer& renderer_;
    std::vector<int> first_;
    std::vector<int> last_;
};

// Traces every frame (no image) and states the truth.
ScanTruth computeTruth(const CFrameRenderer& renderer, TimeBase base);

std::string truthToJson(const ScanTruth& truth, const Scene& scene);

} // namespace ScanSim
