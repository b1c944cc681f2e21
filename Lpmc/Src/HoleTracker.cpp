#include "HoleTracker.h"

#include <algorithm>

namespace lpmc {

void CHoleTracker::configure(int32_t endFrames, int32_t minFrames) {
    endFrames_ = std::max(1, endFrames);
    minFrames_ = std::max(1, minFrames);
    open_.clear();
    open_.reserve(kMaxOpen);
}

void CHoleTracker::track(uint64_t seq, const ProfileHole* holes, uint32_t holeCount, const ProfileRun* runs,
                         uint32_t runCount, const CBeltBins& belt, std::vector<BlindTrack>& completed) {
    for (uint32_t h = 0; h < holeCount; ++h) {
        const ProfileHole& hole = holes[h];
        auto it = std::find_if(open_.begin(), open_.end(), [&](const BlindTrack& t) {
            return hole.x1 >= t.lastX0 && hole.x0 <= t.lastX1;
        });
        if (it == open_.end()) {
            if (open_.size() >= kMaxOpen) {
                continue;
            }
            BlindTrack t;
            t.x0 = t.lastX0 = hole.x0;
            t.x1 = t.lastX1 = hole.x1;
            t.y = hole.y;
            t.firstSeq = t.lastSeq = seq;
            open_.push_back(t);
            it = open_.end() - 1;
        }
        BlindTrack& t = *it;
        if (t.frames == 0 || t.holeSeq != seq) {
            ++t.frames;
            t.lastX0 = hole.x0;
            t.lastX1 = hole.x1;
        } else {
            t.lastX0 = std::min(t.lastX0, hole.x0);
            t.lastX1 = std::max(t.lastX1, hole.x1);
        }
        t.lastSeq = t.holeSeq = seq;
        t.x0 = std::min(t.x0, hole.x0);
        t.x1 = std::max(t.x1, hole.x1);
    }
    // A track that an object's profile reaches was that object's shadow or occlusion (a tall box
    // hides the belt ahead of it from the camera): it ends there, explained.
    for (size_t i = 0; i < open_.size();) {
        BlindTrack& t = open_[i];
        for (uint32_t r = 0; r < runCount && !t.explained; ++r) {
            t.explained = runs[r].x1 >= t.x0 && runs[r].x0 <= t.x1;
        }
        if (t.explained) {
            open_.erase(open_.begin() + static_cast<ptrdiff_t>(i));
            continue;
        }
        int32_t beltBins = 0, all = 0;
        belt.count(t.lastX0, t.lastX1, beltBins, all);
        if (10 * beltBins < 3 * all) {
            t.lastSeq = seq; // still hidden
        }
        ++i;
    }
    for (size_t i = 0; i < open_.size();) {
        const BlindTrack& t = open_[i];
        if (seq - t.lastSeq >= static_cast<uint64_t>(endFrames_)) {
            if (!t.explained && t.frames >= static_cast<uint32_t>(minFrames_)) {
                completed.push_back(t);
            }
            open_.erase(open_.begin() + static_cast<ptrdiff_t>(i));
        } else {
            ++i;
        }
    }
}

} // namespace lpmc
