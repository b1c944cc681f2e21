// From one complete object's points to a measured box: the top-view footprint's convex hull and
// its minimum-area rectangle give length, width, orientation and centre; the heights give the
// top; the volume is length x width x height, or the integrated height map.
#pragma once

#include <cstdint>
#include <memory>

#include "ConvexHull.h"
#include "FrameStore.h"
#include "HeightStats.h"
#include "Lpmc.h"
#include "ObjectTracker.h"

namespace lpmc {

struct FitSettings {
    bool edgeCompensation = true; // widen the footprint by half a sample spacing at its edges
    double heightQuantile = 0.99;
    double heightBand = 3.0;
    double maxHeight = 3000.0; // tallest height the statistics hold, mm
    bool finiteVolume = false;
    int32_t gridWidth = 256, gridHeight = 256; // most cells of the height map, across x along
    uint32_t hullCapacity = 1 << 16;           // candidates gathered before they are reduced
};

struct FittedBox {
    LpmcBox box{};
    TrackedObject object{};
    double footprintArea = 0.0;
};

class CBoxFitter {
public:
    bool configure(const FitSettings& settings);

    // Measures `object` from the frames still in `store`. The box's times are filled from the
    // frames; the wall-clock stamps are left to the caller.
    void fit(const TrackedObject& object, const CFrameStore& store, FittedBox& out);

    // Reported coordinates of a point of camera `camera` in frame `slot` for an object whose
    // first frame is `first`.
    static Point2 reported(const ProfilePoint& p, const FrameSlot& slot, const FrameSlot& first,
                           uint8_t camera);

private:
    void addCandidate(const Point2& p);
    void compact();
    double integratedVolume(const TrackedObject& object, const CFrameStore& store, const FrameSlot& first,
                            const Point2& centre, const Point2& u, const Point2& v, double lengthU,
                            double lengthV);

    FitSettings s_{};
    std::unique_ptr<Point2[]> candidates_, hull_;
    size_t candidateCount_ = 0;
    CHeightStats heights_;
    std::unique_ptr<float[]> gridSum_;
    std::unique_ptr<uint32_t[]> gridCount_;
};

} // namespace lpmc
