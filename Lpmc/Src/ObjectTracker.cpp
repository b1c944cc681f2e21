#include "ObjectTracker.h"

#include <algorithm>

namespace lpmc {

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
    if (from.lastSeq > into.lastSeq) {
        into.lastX0 = from.lastX0;
        into.lastX1 = from.lastX1;
    } else if (from.lastSeq == into.lastSeq) {
        into.lastX0 = std::min(into.lastX0, from.lastX0);
        into.lastX1 = std::max(into.lastX1, from.lastX1);
    }
    into.matchX0 = std::min(into.matchX0, from.matchX0);
    into.matchX1 = std::max(into.matchX1, from.matchX1);
    into.firstSeq = std::min(into.firstSeq, from.firstSeq);
    into.lastSeq = std::max(into.lastSeq, from.lastSeq);
    into.framesSeen = std::max(into.framesSeen, from.framesSeen);
    into.pointCount += from.pointCount;
    into.touchesEdge = into.touchesEdge || from.touchesEdge;
}

void CObjectTracker::track(FrameSlot& slot, std::vector<TrackedObject>& completed) {
    const uint64_t seq = slot.info.seq;
    const float d = static_cast<float>(s_.joinDistance);
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
        if (!groups_.empty() && (!s_.multiPackage || run.x0 <= groups_.back().x1 + d)) {
            Group& g = groups_.back();
            g.x1 = std::max(g.x1, run.x1);
            ++g.runCount;
        } else {
            groups_.push_back(Group{run.x0, run.x1, i, 1});
        }
    }
    for (const Group& g : groups_) {
        // Every open object that the group continues; all of them become one.
        matches_.clear();
        for (int32_t i = 0; i < static_cast<int32_t>(open_.size()); ++i) {
            const TrackedObject& o = open_[static_cast<size_t>(i)];
            if (!s_.multiPackage || (g.x0 <= o.matchX1 + d && g.x1 + d >= o.matchX0)) {
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
        if (o.lastSeq == seq && o.framesSeen > 0) {
            o.lastX0 = std::min(o.lastX0, g.x0);
            o.lastX1 = std::max(o.lastX1, g.x1);
        } else {
            o.lastX0 = g.x0;
            o.lastX1 = g.x1;
            ++o.framesSeen;
        }
        o.lastSeq = seq;
        o.matchX0 = std::min(o.matchX0, g.x0);
        o.matchX1 = std::max(o.matchX1, g.x1);
        for (uint32_t i = g.firstRun; i < g.firstRun + g.runCount; ++i) {
            ProfileRun& run = slot.runs[order_[i]];
            run.object = o.id;
            o.pointCount += run.count;
            o.touchesEdge = o.touchesEdge || run.touchesEdge;
        }
    }
    // Objects that this frame ends.
    for (size_t i = 0; i < open_.size();) {
        TrackedObject& o = open_[i];
        const bool ended = seq - o.lastSeq >= static_cast<uint64_t>(s_.endFrames);
        const bool tooLong = seq - o.firstSeq + 1 >= static_cast<uint64_t>(s_.maxFrames);
        if (ended || tooLong) {
            o.cutOff = tooLong && !ended;
            completed.push_back(o);
            open_.erase(open_.begin() + static_cast<ptrdiff_t>(i));
        } else {
            ++i;
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
