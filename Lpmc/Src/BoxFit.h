// From one complete object's points to a measured box: the top-view footprint's convex hull and
// its minimum-area rectangle give length, width, orientation and centre; the heights give the
// top; the volume is length x width x height, or the integrated height map.
#pragma once

#include <cstdint>
#include <memory>

#include "CameraModel.h"
#include "ConvexHull.h"
#include "EndShare.h"
#include "FrameStore.h"
#include "HeightStats.h"
#include "Lpmc.h"
#include "MinAreaRect.h"
#include "ObjectTracker.h"

namespace lpmc {

struct FitSettings {
    bool edgeCompensation = true; // place each edge between the last sample on and the first off
    double heightQuantile = 0.99;
    double heightBand = 3.0;
    double maxHeight = 3000.0; // tallest height the statistics hold, mm
    double heightStep = 10.0;  // mm: a run this far from every neighbouring profile's run is apart
    bool finiteVolume = false;
    int32_t gridWidth = 256, gridHeight = 256; // most cells of the height map, across x along
    // The front placed from the frame in which it began to hide the line from the camera: camera
    // 0's centre, the belt's board Z and camera 0's height factor. Only for a vertical laser plane.
    bool frontFromOcclusion = false;
    // A tilted laser plane lights a vertical front or rear face as the face passes through it:
    // the profiles that walk down the face lie at one place along the belt, and the side lies there.
    bool facesFromTilt = false;
    Vec3 cameraCentre{};
    double beltZ = 0.0;
    double heightFactor = 1.0;
    // The light window along the belt (sheet thickness, FWHM mm; exposure's share of the frame
    // period): with a vertical plane, the front and rear are placed from the part strength of the
    // profiles that straddle them. Both 0: unknown.
    double sheetFwhm = 0.0;
    double exposureShare = 0.0;
    int32_t lineThreshold = 16; // camera 0's least peak grey of a line
    uint32_t pointsPerFrame = 4096;
    uint32_t hullCapacity = 1 << 16; // candidates gathered before they are reduced
    uint32_t edgeCapacity = 1 << 17; // edge samples kept per object
};

// A sample at the border of the footprint: `in` lies on the object, `out` is where the next
// sample beyond it would have been (the next column of the profile, or the previous or next
// profile), so the footprint's edge lies between the two.
struct EdgeSample {
    Point2 in, out;
};

// The first profile of an object: where it lies, in board and in reported coordinates, and how
// high, with the belt's direction of travel.
struct FirstProfile {
    Point2 board, reported; // mean of its points
    double height = 0.0;    // mean height above the belt
    Point2 travel;          // unit direction of the belt's travel
};

struct FittedBox {
    LpmcBox box{};
    TrackedObject object{};
    double footprintArea = 0.0;
    // The profiles can't place the front and rear sides closely enough for the length to be
    // within half the spacing plus 1 mm (or 2.5 mm): a box that lined up with the profiles
    // between two of them at both ends.
    bool lengthUnsure = false;
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
    bool isStray(const CFrameStore& store, const FrameSlot& slot, const ProfileRun& run) const;
    // Mean place along `travel` (reported frame) and mean height of the object's points in frame
    // `seq`; false when it holds none.
    bool profileMean(const TrackedObject& object, const CFrameStore& store, const FrameSlot& first,
                     uint64_t seq, const Point2& travel, double& along, double& height) const;
    bool endsOnFace(const TrackedObject& object, const CFrameStore& store, const FrameSlot& first,
                    uint64_t end, uint64_t inner, const Point2& step) const;
    void addCandidate(const Point2& p);
    void addEdge(const Point2& in, const Point2& out);
    void compact();
    Rect2 refineEdges(const Rect2& rect);
    bool frontAhead(const TrackedObject& object, const CFrameStore& store, const FirstProfile& front,
                    double& offset, double& spread) const;
    Rect2 placeFront(const Rect2& rect, const FirstProfile& front, double offset, bool& placed) const;
    // Where one end lies, in mm outward of its boundary profile, from the share of that
    // profile's light that fell on the top; `outer` is the profile beyond it, which showed none.
    bool endFromWindow(const TrackedObject& object, const CFrameStore& store, uint64_t boundary,
                       uint64_t inner, uint64_t outer, bool beltCanShow, double stepLength, double height,
                       double& offset, double& spread);
    Rect2 placeEndsFromWindow(const Rect2& rect, const TrackedObject& object, const CFrameStore& store,
                              const Point2& step, double height, bool frontSeen, double& frontSpread,
                              double& rearSpread);
    static double lengthLimit(double step);
    double lengthSpread(const Rect2& rect, const Point2& step, double frontSpread, double rearSpread) const;
    double integratedVolume(const TrackedObject& object, const CFrameStore& store, const FrameSlot& first,
                            const Point2& centre, const Point2& u, const Point2& v, double lengthU,
                            double lengthV);

    FitSettings s_{};
    std::unique_ptr<Point2[]> candidates_, hull_;
    size_t candidateCount_ = 0;
    std::unique_ptr<EdgeSample[]> edges_;
    size_t edgeCount_ = 0;
    // Half the width of the interval each side of the last refined rectangle was placed in.
    double sideSpread_[4] = {0.0, 0.0, 0.0, 0.0};
    CHeightStats heights_;
    CEndShare endShare_;
    std::unique_ptr<float[]> gridSum_;
    std::unique_ptr<uint32_t[]> gridCount_;
};

} // namespace lpmc
