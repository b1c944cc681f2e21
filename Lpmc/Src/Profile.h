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

// Neighbouring object points of one camera in one frame.
struct ProfileRun {
    uint32_t first = 0; // index of its first point in the frame's point store
    uint32_t count = 0;
    float x0 = 0.0f, x1 = 0.0f; // board X range
    int32_t object = -1;        // the object the run belongs to, once tracked
    uint8_t camera = 0;
    bool touchesEdge = false; // reaches the first or last column of the region
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
};

struct ProfileOutput {
    ProfilePoint* points = nullptr; // room for region.width more points
    uint32_t pointCount = 0;        // in/out: points already in the store
    ProfileRun* runs = nullptr;
    uint32_t runCapacity = 0;
    uint32_t runCount = 0; // in/out
};

// Turns line rows (one per image column; negative: no line) into object points and runs and
// appends them to `out`. Runs beyond its capacity are dropped.
void buildProfile(const float* rows, const CTriangulationTable& table, const ProfileSettings& settings,
                  uint8_t camera, ProfileOutput& out);

} // namespace lpmc
