#include "ObjectTracker.h"

#include <algorithm>
#include <cmath>

namespace lpmc {
namespace {

constexpr float kInnerGap = 5.0f; // mm without line between two runs of a group worth noting
// mm that a group and an object may overlap across a seam: the groove's bottom moves by a
// column or two from profile to profile.
constexpr float kSeamOverlap = 3.0f;
// mm that an object's last profile before a hidden gap lies below its flat top: its rear edge.
constexpr float kRearDrop = 0.3f;
// Profiles in a row with a seam at one place inside an object that part it in two.
constexpr uint32_t kSeamSplitFrames = 5;
// Profiles within which a seam at the same place counts as the same seam seen again.
constexpr uint64_t kSeamRecurFrames = 3;

// The first point of `run` on the other side of board X `x` from its first point; 0 if none.
uint32_t crossingIndex(const ProfilePoint* p, const ProfileRun& run, float x) {
    const bool firstLeft = p[run.first].x < x;
    for (uint32_t i = run.first + 1; i < run.first + run.count; ++i) {
        if ((p[i].x < x) != firstLeft) {
            return i;
        }
    }
    return 0;
}

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
        into.leftSeam = from.leftSeam;
        into.rightSeam = from.rightSeam;
        into.lastPeak = from.lastPeak;
        into.lastY = from.lastY;
    } else if (from.lastSeq == into.lastSeq) {
        if (from.lastX0 < into.lastX0) {
            into.lastX0 = from.lastX0;
            into.leftSeam = from.leftSeam;
        }
        if (from.lastX1 > into.lastX1) {
            into.lastX1 = from.lastX1;
            into.rightSeam = from.rightSeam;
        }
        into.lastPeak = std::min(into.lastPeak, from.lastPeak);
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
    if (o.beltBehind || g.x0 > o.matchX1 + d || g.x1 + d < o.matchX0 || acrossSeam(g, o)) {
        return false;
    }
    // After profiles that showed no line over it, a surface at another height is another package
    // (its front hid the gap from the camera), and so is one at the same height behind a gap
    // that the camera couldn't have seen.
    if (o.lastSeq + 1 < seq &&
        (std::fabs(g.h - o.lastH) > static_cast<float>(s_.heightStep) || hiddenGap(g, o, seq))) {
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

// The group lies beside the object rather than over it, and a seam parts them.
bool CObjectTracker::acrossSeam(const Group& g, const TrackedObject& o) const {
    const float overlap = std::min(g.x1, o.matchX1) - std::max(g.x0, o.matchX0);
    if (overlap >= kSeamOverlap) {
        return false;
    }
    const bool groupLeft = g.x0 + g.x1 < o.matchX0 + o.matchX1;
    return groupLeft ? (g.rightSeam || o.leftSeam) : (g.leftSeam || o.rightSeam);
}

// Profiles without any line over the object, between two surfaces at the same height: with the
// camera upstream, a package close behind hides the gap before it, as long as the camera's ray
// to the belt at the line passes below its front edge. A gap longer than that, or a weak line
// on either side (a dark surface loses the line now and then), is no proof of two packages; nor
// is a top that stays flat up to the band (a dark tape strip across one box), where a carton's
// rounded rear edge falls away in its last profile.
bool CObjectTracker::hiddenGap(const Group& g, const TrackedObject& o, uint64_t seq) const {
    const FrameSlot* before = store_->find(o.lastSeq);
    const FrameSlot* now = store_->find(seq);
    const double lineY = o.lastY, ahead = lineY - s_.cameraY, above = s_.cameraZ - s_.beltZ;
    if (before == nullptr || now == nullptr || ahead <= 0.0 || above <= 0.0 || o.lastPeak < s_.strongPeak ||
        g.peak < s_.strongPeak || o.seamAcross.endDrop() < kRearDrop) {
        return false;
    }
    const double height = std::min(o.lastH, g.h) / s_.heightFactor;
    const double hideable = height * ahead / above;
    const double travel = std::hypot(now->info.travel[0].x - before->info.travel[0].x,
                                     now->info.travel[0].y - before->info.travel[0].y);
    const double step = std::hypot(now->info.step.x, now->info.step.y);
    return travel <= hideable + step;
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
    keepSeams(slot);
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
        const float y = 0.5f * (slot.points[run.first].y + slot.points[run.first + run.count - 1].y);
        if (!groups_.empty() &&
            (!s_.multiPackage || (run.x0 <= groups_.back().x1 + d && run.leftBound != RunBound::Seam &&
                                  !beltBetween(groups_.back().x1, run.x0)))) {
            Group& g = groups_.back();
            g.gaps += run.x0 - g.x1 > kInnerGap ? 1 : 0;
            if (run.x1 >= g.x1) {
                g.x1 = run.x1;
                g.rightSeam = run.rightBound == RunBound::Seam;
            }
            g.h += 0.5f * (run.leftH + run.rightH);
            g.y += y;
            g.peak = std::min(g.peak, run.meanPeak);
            ++g.runCount;
        } else {
            Group g{run.x0, run.x1, i, 1, 0.5f * (run.leftH + run.rightH), 0};
            g.y = y;
            g.peak = run.meanPeak;
            g.leftSeam = run.leftBound == RunBound::Seam;
            g.rightSeam = run.rightBound == RunBound::Seam;
            groups_.push_back(g);
        }
    }
    for (Group& g : groups_) {
        g.h /= static_cast<float>(g.runCount);
        g.y /= static_cast<float>(g.runCount);
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
            if (g.x0 < o.lastX0) {
                o.lastX0 = g.x0;
                o.leftSeam = g.leftSeam;
            }
            if (g.x1 > o.lastX1) {
                o.lastX1 = g.x1;
                o.rightSeam = g.rightSeam;
            }
            o.lastPeak = std::min(o.lastPeak, g.peak);
        } else {
            o.lastX0 = g.x0;
            o.lastX1 = g.x1;
            o.leftSeam = g.leftSeam;
            o.rightSeam = g.rightSeam;
            o.lastPeak = g.peak;
            ++o.framesSeen;
        }
        o.lastSeq = seq;
        o.lastH = g.h;
        o.lastY = g.y;
        o.matchX0 = std::min(o.matchX0, g.x0);
        o.matchX1 = std::max(o.matchX1, g.x1);
        for (uint32_t i = g.firstRun; i < g.firstRun + g.runCount; ++i) {
            ProfileRun& run = slot.runs[order_[i]];
            run.object = o.id;
            o.pointCount += run.count;
            o.touchesEdge = o.touchesEdge || run.touchesEdge;
        }
    }
    noteSeams(slot);
    noteLevels(slot);
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

// Seams between two groups that continue one object: the same seam in several profiles in a row
// parts two packages that touch (rounded carton edges leave a groove between their tops).
void CObjectTracker::noteSeams(const FrameSlot& slot) {
    const uint64_t seq = slot.info.seq;
    // Where the seam between two parted objects lies now (it moves along a slanted pair).
    for (TrackedObject& a : open_) {
        for (const TrackedObject& b : open_) {
            if (b.id == a.rightPartner && a.lastSeq == seq && b.lastSeq == seq && a.rightSeam && b.leftSeam &&
                std::fabs(b.lastX0 - a.lastX1) <= kSeamOverlap) {
                a.seamX = 0.5f * (a.lastX1 + b.lastX0);
            }
        }
    }
    for (size_t k = 0; k + 1 < groups_.size(); ++k) {
        const Group& a = groups_[k];
        const Group& b = groups_[k + 1];
        const int32_t id = slot.runs[order_[a.firstRun]].object;
        if (id < 0 || id != slot.runs[order_[b.firstRun]].object || !a.rightSeam || !b.leftSeam ||
            b.x0 - a.x1 > kSeamOverlap) {
            continue;
        }
        auto it =
            std::find_if(open_.begin(), open_.end(), [&](const TrackedObject& o) { return o.id == id; });
        if (it == open_.end() || it->lastSeamSeq == seq) {
            continue; // one seam per object and frame
        }
        TrackedObject& o = *it;
        const float x = 0.5f * (a.x1 + b.x0);
        // Speckle makes a groove here and there; a seam recurs at one place.
        const bool inLine = o.lastSeamSeq > 0 && std::fabs(x - o.seamX) <= kSeamOverlap;
        o.seamStreak = inLine && o.lastSeamSeq + 1 == seq ? o.seamStreak + 1 : 1;
        o.seamFrames += inLine && o.lastSeamSeq + kSeamRecurFrames >= seq ? 1 : 0;
        o.seamX = x;
        o.lastSeamSeq = seq;
        if (o.seamStreak >= kSeamSplitFrames && !splitAtSeam(o, x)) {
            o.joined = true; // two packages, but their runs can't be parted: not one box
        }
    }
}

// Two objects parted by a seam stay parted where a profile doesn't show the groove (its depth
// comes and goes with noise, and fades at the rounded ends): a run across the seam is split
// where the seam last lay.
void CObjectTracker::keepSeams(FrameSlot& slot) const {
    for (const TrackedObject& a : open_) {
        if (a.rightPartner < 0 || std::none_of(open_.begin(), open_.end(), [&](const TrackedObject& b) {
                return b.id == a.rightPartner;
            })) {
            continue;
        }
        const uint32_t runCount = slot.runCount;
        for (uint32_t r = 0; r < runCount && slot.runCount < store_->runsPerFrame(); ++r) {
            ProfileRun& run = slot.runs[r];
            const uint32_t at = run.x0 < a.seamX - 1.0f && run.x1 > a.seamX + 1.0f
                                    ? crossingIndex(slot.points, run, a.seamX)
                                    : 0;
            if (at != 0) {
                ProfileRun left, right;
                splitRunAt(slot.points, run, at, left, right);
                run = left;
                slot.runs[slot.runCount++] = right;
                continue;
            }
            // A run that ends at the seam (the groove lost its bottom points) ends there.
            if (run.x1 <= a.seamX + 1.0f && run.x1 > a.seamX - kSeamOverlap) {
                run.rightBound = RunBound::Seam;
            }
            if (run.x0 >= a.seamX - 1.0f && run.x0 < a.seamX + kSeamOverlap) {
                run.leftBound = RunBound::Seam;
            }
        }
    }
}

// Each object that this frame continued adds its top's height along the belt: the mean of its
// points within 5 mm of its highest (side faces that come and go in view don't count).
void CObjectTracker::noteLevels(const FrameSlot& slot) {
    constexpr float kTopBand = 5.0f;
    const float travel = static_cast<float>(std::hypot(slot.info.travel[0].x, slot.info.travel[0].y));
    for (TrackedObject& o : open_) {
        if (o.lastSeq != slot.info.seq) {
            continue;
        }
        float top = -1e30f;
        for (uint32_t r = 0; r < slot.runCount; ++r) {
            const ProfileRun& run = slot.runs[r];
            for (uint32_t k = run.first; run.object == o.id && k < run.first + run.count; ++k) {
                top = std::max(top, slot.points[k].h);
            }
        }
        double sum = 0.0;
        uint32_t n = 0;
        for (uint32_t r = 0; r < slot.runCount; ++r) {
            const ProfileRun& run = slot.runs[r];
            for (uint32_t k = run.first; run.object == o.id && k < run.first + run.count; ++k) {
                const bool onTop = slot.points[k].h >= top - kTopBand;
                sum += onTop ? slot.points[k].h : 0.0f;
                n += onTop ? 1 : 0;
            }
        }
        if (n > 0) {
            o.seamAcross.add(travel, static_cast<float>(sum / n));
        }
    }
}

// The object's range and point count in `slot`, from the runs that carry its id.
void CObjectTracker::takeRangeOf(TrackedObject& o, const FrameSlot& slot) const {
    bool any = false;
    for (uint32_t r = 0; r < slot.runCount; ++r) {
        const ProfileRun& run = slot.runs[r];
        if (run.object != o.id) {
            continue;
        }
        if (!any || run.x0 < o.lastX0) {
            o.lastX0 = run.x0;
            o.leftSeam = run.leftBound == RunBound::Seam;
        }
        if (!any || run.x1 > o.lastX1) {
            o.lastX1 = run.x1;
            o.rightSeam = run.rightBound == RunBound::Seam;
        }
        any = true;
    }
    o.matchX0 = o.lastX0;
    o.matchX1 = o.lastX1;
}

// Parts the object at board X `seamX` in every frame it spans: the runs beyond the seam go to a
// new object, a run across it is split where it crosses. False (nothing changed) when there is
// no room for the new object or for the split runs.
bool CObjectTracker::splitAtSeam(TrackedObject& o, float seamX) {
    if (static_cast<int32_t>(open_.size()) >= kMaxOpen) {
        return false;
    }
    const auto crossing = [&](const FrameSlot& slot, const ProfileRun& run) {
        return crossingIndex(slot.points, run, seamX);
    };
    for (uint64_t seq = o.firstSeq; seq <= o.lastSeq; ++seq) {
        const FrameSlot* slot = store_->find(seq);
        if (slot == nullptr) {
            return false;
        }
        uint32_t across = 0;
        for (uint32_t r = 0; r < slot->runCount; ++r) {
            const ProfileRun& run = slot->runs[r];
            across +=
                run.object == o.id && run.x0 < seamX && run.x1 > seamX && crossing(*slot, run) != 0 ? 1 : 0;
        }
        if (slot->runCount + across > store_->runsPerFrame()) {
            return false;
        }
    }
    TrackedObject right = o;
    right.id = nextId_;
    nextId_ = nextId_ == INT32_MAX ? 0 : nextId_ + 1;
    o.pointCount = right.pointCount = 0;
    o.framesSeen = right.framesSeen = 0;
    for (uint64_t seq = o.firstSeq; seq <= o.lastSeq; ++seq) {
        FrameSlot& slot = *store_->find(seq);
        const uint32_t runCount = slot.runCount;
        bool seenLeft = false, seenRight = false;
        for (uint32_t r = 0; r < runCount; ++r) {
            ProfileRun& run = slot.runs[r];
            if (run.object != o.id) {
                continue;
            }
            const uint32_t at = run.x0 < seamX && run.x1 > seamX ? crossing(slot, run) : 0;
            if (at != 0) {
                ProfileRun a, b;
                splitRunAt(slot.points, run, at, a, b);
                b.object = right.id;
                run = a;
                slot.runs[slot.runCount++] = b;
                o.pointCount += a.count;
                right.pointCount += b.count;
                seenLeft = seenRight = true;
            } else if (0.5f * (run.x0 + run.x1) > seamX) {
                run.object = right.id;
                right.pointCount += run.count;
                seenRight = true;
            } else {
                o.pointCount += run.count;
                seenLeft = true;
            }
        }
        o.framesSeen += seenLeft ? 1 : 0;
        right.framesSeen += seenRight ? 1 : 0;
    }
    const FrameSlot& last = *store_->find(o.lastSeq);
    takeRangeOf(o, last);
    takeRangeOf(right, last);
    // Each keeps what was noted of its own outer side.
    o.unsureRight = 0;
    right.unsureLeft = 0;
    o.seamFrames = right.seamFrames = 0;
    o.seamStreak = right.seamStreak = 0;
    o.seamX = seamX;
    right.rightPartner = o.rightPartner;
    right.leftPartner = o.id;
    o.rightPartner = right.id;
    open_.push_back(right);
    return true;
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
