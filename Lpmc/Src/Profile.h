// One camera's profile of one frame: the object points that the laser line shows (heights at
// or above the object floor), grouped into runs of neighbouring columns.
#pragma once

#include <cstdint>

#include "Lpmc.h"
#include "TriangulationTable.h"

namespace lpmc {

struct ProfilePoint {
    float x, y; // board X and Y when the frame was taken, mm
    float h;    // height above the belt, mm
};

// What a profile shows beyond the end of a run: the belt, nothing at all up to the end of the
// view (the laser fan or the view ends there), another object point, or a seam: a narrow groove
// in the surface, such as two cartons with rounded edges leave where they touch. OwnShadow:
// nothing, but the fan reached well beyond the end and the end's own laser shadow falls past the
// belt.
enum class RunBound : uint8_t { Belt, Open, Object, OwnShadow, Seam };

// Neighbouring object points of one camera in one frame.
struct ProfileRun {
    uint32_t first = 0; // index of its first point in the frame's point store
    uint32_t count = 0;
    float x0 = 0.0f, x1 = 0.0f; // board X range
    int32_t object = -1;        // the object the run belongs to, once tracked
    uint8_t camera = 0;
    bool touchesEdge = false; // reaches the first or last column of the region
    RunBound leftBound = RunBound::Open, rightBound = RunBound::Open; // beyond x0 and beyond x1
    float leftH = 0.0f, rightH = 0.0f;                                // heights of its end points
    float leftNeighbourH = 0.0f, rightNeighbourH = 0.0f;              // of the object point beyond, if any
    uint16_t innerGaps = 0; // stretches of more than 5 mm without line inside the run
    uint8_t meanPeak = 0;   // mean peak grey of its line (0 where the input carries none)
};

// A stretch of the profile with no line at all between two belt points: something too tall for
// the view, or too dark to show the line, stands there (or hides it from the camera).
struct ProfileHole {
    float x0 = 0.0f, x1 = 0.0f; // board X of the belt points on either side
    float y = 0.0f;             // board Y of the line there
};

// The belt seen in one frame, in 1 mm bins of board X.
class CBeltBins {
public:
    static constexpr int32_t kHalfRange = 8192; // mm either side of X = 0
    void clear();
    void mark(float x);
    // Bins of [x0, x1] holding belt, and all bins of it.
    void count(float x0, float x1, int32_t& belt, int32_t& all) const;
    bool any(float x0, float x1) const;
    // The bin of board X `x`, and the span of marked bins (first > last when none is).
    static int32_t binOf(float x);
    int32_t firstMarked() const { return lo_; }
    int32_t lastMarked() const { return hi_; }
    bool marked(int32_t bin) const { return bins_[bin] != 0; }

private:
    uint8_t bins_[2 * kHalfRange] = {};
    int32_t lo_ = 2 * kHalfRange, hi_ = -1; // the marked span, so that clearing is cheap
};

struct ProfileSettings {
    LpmcImageRegion region{};    // columns [x, x + width) are used
    double heightOffset = 0.0;   // scan_chessboard_height
    double heightFactor = 1.0;   // PlaneHeightFactor
    double objectFloor = 5.0;    // mm
    double maxGap = 10.0;        // mm across the belt that still joins two points of one run
    double maxHeightStep = 10.0; // mm of height between neighbouring points of one run
    double minRunLength = 3.0;   // mm across the belt; shorter runs are noise
    int32_t minRunPoints = 1;    // shorter runs are noise
    bool splitAtSeams = true;    // a groove across the run ends it (scan_mult_package_flag)
    // Least mean peak grey of a run whose heights are steady enough to show a groove; a run
    // without peak levels (a line form without them) is taken as steady.
    int32_t seamPeak = 48;
    // Gather the belt's line strength (ProfileOutput's belt peaks); only the light window uses it.
    bool beltStrength = false;
};

// The belt's line strength across the belt in coarse bins of board X, for telling how much of a
// profile's light fell on the belt behind an object.
constexpr int32_t kBeltPeakBins = 256;
constexpr float kBeltPeakBinWidth = 8.0f;                                    // mm
constexpr float kBeltPeakFirstX = -0.5f * kBeltPeakBins * kBeltPeakBinWidth; // board X of bin 0's start
// The bin of board X `x`, or -1 outside them.
inline int32_t beltPeakBin(float x) {
    const float at = (x - kBeltPeakFirstX) * (1.0f / kBeltPeakBinWidth);
    return at >= 0.0f && at < static_cast<float>(kBeltPeakBins) ? static_cast<int32_t>(at) : -1;
}

struct ProfileOutput {
    ProfilePoint* points = nullptr; // room for region.width more points
    uint8_t* strengths = nullptr;   // optional: beside points, the peak grey of each point's line
    uint32_t pointCount = 0;        // in/out: points already in the store
    ProfileRun* runs = nullptr;
    uint32_t runCapacity = 0;
    uint32_t runCount = 0;        // in/out
    CBeltBins* belt = nullptr;    // optional: marked where the belt shows
    ProfileHole* holes = nullptr; // optional
    uint32_t holeCapacity = 0;
    uint32_t holeCount = 0;     // in/out
    double minHoleWidth = 20.0; // mm
    // Board X extent of this call's belt points and of its object points (noise included);
    // min > max when there were none.
    float beltMinX = 1e30f, beltMaxX = -1e30f, objectMinX = 1e30f, objectMaxX = -1e30f;
    float beltY = 0.0f; // board Y of the last belt point
    // Peak grey of the belt's line, summed over the belt points that carry one, and their count.
    uint64_t beltPeakSum = 0;
    uint32_t beltPeakCount = 0;
    uint32_t beltBinSum[kBeltPeakBins] = {}; // the same per bin of board X
    uint16_t beltBinCount[kBeltPeakBins] = {};
};

// Turns line rows (one per image column; negative: no line) into object points and runs and
// appends them to `out`. `peaks` (may be null) holds each column's peak grey. Runs beyond its
// capacity are dropped.
void buildProfile(const float* rows, const CTriangulationTable& table, const ProfileSettings& settings,
                  uint8_t camera, ProfileOutput& out, const uint8_t* peaks = nullptr);

// Parts a finished run (bounds by board X) into the points before index `at` and those from it
// on, with a seam between them; `left` gets the part of smaller X.
void splitRunAt(const ProfilePoint* points, const ProfileRun& run, uint32_t at, ProfileRun& left,
                ProfileRun& right);

// Where the points [first, first + count) of one run (in column order) hold a seam: the index of
// the bottom of a groove at most 10 mm wide and at least 2 mm deep below the surface 5 to 15 mm
// on either side of it, with that surface on both sides. Writes up to `capacity` indices in
// column order; returns how many.
uint32_t findSeams(const ProfilePoint* points, uint32_t first, uint32_t count, uint32_t* seams,
                   uint32_t capacity);

} // namespace lpmc
