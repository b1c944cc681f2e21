#include "ObjectTracker.h"

#include <algorithm>

namespace lpmc {
namespace {

constexpr float kInnerGap = 5.0f; // mm without line between two runs of a group worth noting

} // namespace

void CObjectTracker::configure(const TrackerSettings& settings, CFrameStore* store) {
    s_ = settings;
    store_ = store;
    open_.clear();
    open_.reserve(kMaxOpen);
    order_.reserve(store->runsPerFrame());
    groups_.reserve(store->runsPerFrame());
    matches_.reserve(kMaxOpen);
}

void CObjectTracker::reset() {
    open_.clear();
}

void CObjectTracker::relabel(const TrackedObject& from, int32_t id) {
    for (uint64_t seq = from.firstSeq; seq <= from.lastSeq; ++seq) {
        FrameSlot* slot = store_->find(seq);
        if (slot == nullptr) {
            continue;
        }
        for (uint32_t r = 0; r < slot->runCount; ++r) {
            if (slot->runs[r].object == from.id) {
                slot->runs[r].object = id;
            }
        }
    }
}

void CObjectTracker::mergeInto(TrackedObject& into, const TrackedObject& from) {
    relabel(from, into.id);
    // Two objects each seen in several profiles on their own: packages that touch, or one that
    // only looks like two. Either way, not one measured box.
    constexpr uint32_t kEstablished = 3;
    into.joined =
        into.joined || from.joined || (into.framesSeen >= kEstablished && from.framesSeen >= kEstablished);
    if (from.lastSeq > into.lastSeq) {
        into.lastX0 = from.lastX0;
        into.lastX1 = from.lastX1;
    } else if (from.lastSeq == into.lastSeq) {
        into.lastX0 = std::min(into.lastX0, from.lastX0);
        into.lastX1 = std::max(into.lastX1, from.lastX1);
    }
    into.matchX0 = std::min(into.matchX0, from.matchX0);
    into.matchX1 = std::max(into.matchX1, from.matchX1);
    if (from.firstSeq < into.firstSeq) {
        into.frontHidden = from.frontHidden;
        into.beltSeenBefore = from.beltSeenBefore;
    }
    into.firstSeq = std::min(into.firstSeq, from.firstSeq);
    into.lastSeq = std::max(into.lastSeq, from.lastSeq);
    into.framesSeen = std::max(into.framesSeen, from.framesSeen);
    into.pointCount += from.pointCount;
    into.touchesEdge = into.touchesEdge || from.touchesEdge;
    into.hiddenJoin = into.hiddenJoin || from.hiddenJoin;
    into.unsureLeft = std::max(into.unsureLeft, from.unsureLeft);
    into.unsureRight = std::max(into.unsureRight, from.unsureRight);
    into.gappedFrames = std::max(into.gappedFrames, from.gappedFrames);
    into.longestGapStreak = std::max(into.longestGapStreak, from.longestGapStreak);
}

// Belt seen strictly between two positions of this frame's profile.
bool CObjectTracker::beltBetween(float x0, float x1) const {
    return belt_ != nullptr && x1 - x0 > 1.0f && belt_->any(x0 + 0.5f, x1 - 0.5f);
}

// A group continues an open object when it lies over (or within the join distance of) the
// object's range, with no belt between them, and the belt hasn't shown behind the object since
// its last profile (then what comes is another package).
bool CObjectTracker::continues(const Group& g, const TrackedObject& o, uint64_t seq) const {
    const float d = static_cast<float>(s_.joinDistance);
    if (!s_.multiPackage) {
        return true;
    }
    if (o.beltBehind || g.x0 > o.matchX1 + d || g.x1 + d < o.matchX0) {
        return false;
    }
    // After profiles that showed no line over it, a surface at another height is another package
    // (its front hid the gap from the camera).
    if (o.lastSeq + 1 < seq && std::fabs(g.h - o.lastH) > static_cast<float>(s_.heightStep)) {
        return false;
    }
    if (g.x0 > o.matchX1) {
        return !beltBetween(o.matchX1, g.x0);
    }
    if (g.x1 < o.matchX0) {
        return !beltBetween(g.x1, o.matchX0);
    }
    return true;
}

// What lies beyond the group's outer ends: nothing up to the end of the view, or missing line
// beside a taller surface, means the object may go on where it can't be seen.
void CObjectTracker::noteEnds(const FrameSlot& slot, const Group& g, TrackedObject& o) const {
    const ProfileRun* left = nullptr;
    const ProfileRun* right = nullptr;
    for (uint32_t i = g.firstRun; i < g.firstRun + g.runCount; ++i) {
        const ProfileRun& run = slot.runs[order_[i]];
        left = left == nullptr || run.x0 < left->x0 ? &run : left;
        right = right == nullptr || run.x1 > right->x1 ? &run : right;
    }
    const float step = static_cast<float>(s_.heightStep);
    auto unsure = [&](RunBound bound, float ownH, float neighbourH) {
        return bound == RunBound::Open || (bound == RunBound::Object && neighbourH > ownH + step);
    };
    uint32_t innerGaps = 0;
    for (uint32_t i = g.firstRun; i < g.firstRun + g.runCount; ++i) {
        innerGaps += slot.runs[order_[i]].innerGaps;
    }
    // Runs of the group that lie apart, or a stretch without line inside one.
    if ((innerGaps > 0 || g.gaps > 0) && !(o.gappedFrames > 0 && o.lastGappedSeq == slot.info.seq)) {
        ++o.gappedFrames;
        o.gapStreak = o.gappedFrames > 1 && o.lastGappedSeq + 1 == slot.info.seq ? o.gapStreak + 1 : 1;
        o.longestGapStreak = std::max(o.longestGapStreak, o.gapStreak);
        o.lastGappedSeq = slot.info.seq;
    }
    if (left != nullptr && !left->touchesEdge && unsure(left->leftBound, left->leftH, left->leftNeighbourH)) {
        ++o.unsureLeft;
    }
    if (right != nullptr && !right->touchesEdge &&
        unsure(right->rightBound, right->rightH, right->rightNeighbourH)) {
        ++o.unsureRight;
    }
}

// Open objects that this frame didn't continue: does the belt show where they were?
void CObjectTracker::lookBehind(uint64_t seq) {
    if (belt_ == nullptr) {
        return;
    }
    for (TrackedObject& o : open_) {
        if (o.lastSeq == seq || o.beltBehind) {
            continue;
        }
        int32_t beltBins = 0, all = 0;
        belt_->count(o.lastX0, o.lastX1, beltBins, all);
        o.beltBehind = all > 0 && 10 * beltBins >= 3 * all;
    }
}

void CObjectTracker::track(FrameSlot& slot, std::vector<TrackedObject>& completed, const CBeltBins* belt,
                           const CBeltBins* beltBefore) {
    const uint64_t seq = slot.info.seq;
    const float d = static_cast<float>(s_.joinDistance);
    belt_ = belt;
    // Runs across the belt in order, then grouped where they overlap or nearly touch: the
    // cameras' runs of one surface, or one surface broken by a dropout.
    order_.clear();
    for (uint32_t r = 0; r < slot.runCount; ++r) {
        order_.push_back(r);
    }
    std::sort(order_.begin(), order_.end(),
              [&](uint32_t a, uint32_t b) { return slot.runs[a].x0 < slot.runs[b].x0; });
    for (TrackedObject& o : open_) {
        o.matchX0 = o.lastX0;
        o.matchX1 = o.lastX1;
    }
    groups_.clear();
    for (uint32_t i = 0; i < order_.size(); ++i) {
        const ProfileRun& run = slot.runs[order_[i]];
        if (!groups_.empty() && (!s_.multiPackage || (run.x0 <= groups_.back().x1 + d &&
                                                      !beltBetween(groups_.back().x1, run.x0)))) {
            Group& g = groups_.back();
            g.gaps += run.x0 - g.x1 > kInnerGap ? 1 : 0;
            g.x1 = std::max(g.x1, run.x1);
            g.h += 0.5f * (run.leftH + run.rightH);
            ++g.runCount;
        } else {
            groups_.push_back(Group{run.x0, run.x1, i, 1, 0.5f * (run.leftH + run.rightH), 0});
        }
    }
    for (Group& g : groups_) {
        g.h /= static_cast<float>(g.runCount);
    }
    for (const Group& g : groups_) {
        // Every open object that the group continues; all of them become one.
        matches_.clear();
        for (int32_t i = 0; i < static_cast<int32_t>(open_.size()); ++i) {
            if (continues(g, open_[static_cast<size_t>(i)], seq)) {
                matches_.push_back(i);
            }
        }
        int32_t target;
        if (matches_.empty()) {
            if (static_cast<int32_t>(open_.size()) >= kMaxOpen) {
                continue; // no room to follow another object: the group is dropped
            }
            TrackedObject o;
            o.id = nextId_;
            nextId_ = nextId_ == INT32_MAX ? 0 : nextId_ + 1;
            o.firstSeq = o.lastSeq = seq;
            o.lastX0 = o.matchX0 = g.x0;
            o.lastX1 = o.matchX1 = g.x1;
            int32_t beltBins = 0, all = 0;
            if (beltBefore != nullptr) {
                beltBefore->count(g.x0, g.x1, beltBins, all);
            }
            o.frontHidden = 10 * beltBins < 3 * all || all == 0;
            open_.push_back(o);
            target = static_cast<int32_t>(open_.size()) - 1;
        } else {
            // The earliest object takes in the others.
            target = matches_[0];
            for (int32_t m : matches_) {
                if (open_[static_cast<size_t>(m)].firstSeq < open_[static_cast<size_t>(target)].firstSeq) {
                    target = m;
                }
            }
            const int32_t targetId = open_[static_cast<size_t>(target)].id;
            for (auto it = matches_.rbegin(); it != matches_.rend(); ++it) {
                if (*it != target) {
                    mergeInto(open_[static_cast<size_t>(target)], open_[static_cast<size_t>(*it)]);
                    open_.erase(open_.begin() + *it);
                }
            }
            target =
                static_cast<int32_t>(std::find_if(open_.begin(), open_.end(),
                                                  [&](const TrackedObject& o) { return o.id == targetId; }) -
                                     open_.begin());
        }
        TrackedObject& o = open_[static_cast<size_t>(target)];
        // Profiles without any line over it, and then it goes on: a gap that the camera
        // couldn't see may lie between two packages.
        if (o.framesSeen > 0 && o.lastSeq + 1 < seq) {
            o.hiddenJoin = true;
        }
        noteEnds(slot, g, o);
        if (o.lastSeq == seq && o.framesSeen > 0) {
            o.lastX0 = std::min(o.lastX0, g.x0);
            o.lastX1 = std::max(o.lastX1, g.x1);
        } else {
            o.lastX0 = g.x0;
            o.lastX1 = g.x1;
            ++o.framesSeen;
        }
        o.lastSeq = seq;
        o.lastH = g.h;
        o.matchX0 = std::min(o.matchX0, g.x0);
        o.matchX1 = std::max(o.matchX1, g.x1);
        for (uint32_t i = g.firstRun; i < g.firstRun + g.runCount; ++i) {
            ProfileRun& run = slot.runs[order_[i]];
            run.object = o.id;
            o.pointCount += run.count;
            o.touchesEdge = o.touchesEdge || run.touchesEdge;
        }
    }
    lookBehind(seq);
    // Objects that this frame ends.
    for (size_t i = 0; i < open_.size();) {
        TrackedObject& o = open_[i];
        const bool ended = seq - o.lastSeq >= static_cast<uint64_t>(s_.endFrames);
        const bool tooLong = seq - o.firstSeq + 1 >= static_cast<uint64_t>(s_.maxFrames);
        if (ended || tooLong) {
            o.cutOff = tooLong && !ended;
            o.rearHidden = belt_ != nullptr && ended && !o.beltBehind;
            completed.push_back(o);
            open_.erase(open_.begin() + static_cast<ptrdiff_t>(i));
        } else {
            ++i;
        }
    }
}

void CObjectTracker::noteFronts(uint64_t seq, CBeltHistory& history) {
    for (TrackedObject& o : open_) {
        if (o.firstSeq == seq) {
            o.beltSeenBefore = history.lastSeenPlusOne(o.lastX0, o.lastX1);
        }
    }
}

void CObjectTracker::flush(std::vector<TrackedObject>& completed) {
    for (const TrackedObject& o : open_) {
        completed.push_back(o);
    }
    open_.clear();
}

} // namespace lpmc
