// The recent frames' object points and runs, in a ring of fixed size allocated once: frame
// `seq` lives in slot seq % slotCount until frame seq + slotCount takes its place.
#pragma once

#include <cstdint>
#include <memory>

#include "Profile.h"

namespace lpmc {

struct Travel {
    double x = 0.0, y = 0.0; // belt travel in board coordinates since the first frame, mm
};

struct FrameInfo {
    uint64_t seq = 0;
    double timestamp = 0.0;               // of camera 0
    int64_t wallClockMs = 0;              // milliseconds since 1970, when processed
    Travel travel[LPMC_MAX_CAMERAS];      // belt travel at each camera's timestamp
    Travel step;                          // travel since the previous frame
    float beltPeak = 0.0f;                // mean peak grey of the belt's line; 0: none seen
    uint8_t beltBins[kBeltPeakBins] = {}; // the same per bin of board X (beltPeakBin); 0: none seen
};

struct FrameSlot {
    FrameInfo info;
    ProfilePoint* points = nullptr;
    uint8_t* strengths = nullptr; // the peak grey of each point's line, beside points
    uint32_t pointCount = 0;
    ProfileRun* runs = nullptr;
    uint32_t runCount = 0;
};

class CFrameStore {
public:
    // False on allocation failure.
    bool configure(uint32_t slotCount, uint32_t pointsPerFrame, uint32_t runsPerFrame);

    // Clears the slot of `seq` for writing.
    FrameSlot& begin(uint64_t seq);
    // The slot of `seq`, or null once it has been overwritten (or was never written).
    const FrameSlot* find(uint64_t seq) const;
    FrameSlot* find(uint64_t seq);

    uint32_t slotCount() const { return slotCount_; }
    uint32_t pointsPerFrame() const { return pointsPerFrame_; }
    uint32_t runsPerFrame() const { return runsPerFrame_; }

private:
    uint32_t slotCount_ = 0, pointsPerFrame_ = 0, runsPerFrame_ = 0;
    std::unique_ptr<FrameSlot[]> slots_;
    std::unique_ptr<bool[]> written_;
    std::unique_ptr<ProfilePoint[]> points_;
    std::unique_ptr<uint8_t[]> strengths_;
    std::unique_ptr<ProfileRun[]> runs_;
};

} // namespace lpmc
