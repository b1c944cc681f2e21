// Stretches of the profile with no line at all between two belt points, followed from frame to
// frame. One that no object's profile ever lay over is something the station saw pass but can't
// measure (taller than the view, or too dark for the line): it is reported as unmeasurable
// instead of being lost.
#pragma once

#include <cstdint>
#include <vector>

#include "Profile.h"

namespace lpmc {

struct BlindTrack {
    float x0 = 0.0f, x1 = 0.0f;         // board X span over all its frames
    float lastX0 = 0.0f, lastX1 = 0.0f; // in its last frame
    float y = 0.0f;                     // board Y of the line where it was seen
    uint64_t firstSeq = 0, lastSeq = 0; // lastSeq: the last frame that still hid the belt there
    uint64_t holeSeq = 0;               // the last frame with a hole in it
    uint32_t frames = 0;                // frames with a hole in it
    // An object's profile lay over it: the stretch was that object's own shadow or occlusion.
    bool explained = false;
};

class CHoleTracker {
public:
    static constexpr size_t kMaxOpen = 16;

    void configure(int32_t endFrames, int32_t minFrames);

    // Follows this frame's holes; appends to `completed` every track that ended unexplained
    // after at least minFrames frames. A track also goes on while the belt stays out of sight
    // over its last stretch (it may widen into a hole with no belt on one side).
    void track(uint64_t seq, const ProfileHole* holes, uint32_t holeCount, const ProfileRun* runs,
               uint32_t runCount, const CBeltBins& belt, std::vector<BlindTrack>& completed);

private:
    int32_t endFrames_ = 10, minFrames_ = 3;
    std::vector<BlindTrack> open_;
};

} // namespace lpmc
