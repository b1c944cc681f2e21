// Segmentation along the belt: the runs of each frame join the objects they continue, start new
// ones, or bridge two into one; an object is complete once no run has continued it for
// scan_end_frame_num frames, or cut off once it spans scan_frame_num frames.
#pragma once

#include <cstdint>
#include <vector>

#include "BeltHistory.h"
#include "FrameStore.h"
#include "SeamAcross.h"

namespace lpmc {

struct TrackedObject {
    int32_t id = -1;
    uint64_t firstSeq = 0, lastSeq = 0;
    float lastX0 = 0.0f, lastX1 = 0.0f; // board X range of its runs in frame lastSeq
    // What the groups of the frame being tracked are matched against: the range of the frame
    // before, widened by the groups already given to the object in this frame.
    float matchX0 = 0.0f, matchX1 = 0.0f;
    uint32_t framesSeen = 0;
    uint64_t pointCount = 0;
    bool touchesEdge = false; // some run reached the side of the view
    bool cutOff = false;      // completed because it spanned scan_frame_num frames
    bool framesLost = false;  // frames were lost while it was scanned (LpmcInput.missingFrames)
    // Why what was seen may not be the whole object (each makes it unmeasurable):
    bool beltBehind = false; // the belt showed over its last range after its last profile
    bool rearHidden = false; // completed without the belt ever showing behind it
    bool hiddenJoin = false; // continued after profiles that showed no line over it at all
    bool joined = false;     // two objects, each seen on its own, became one
    // The profile before its first showed no belt where it begins: the line there was hidden
    // from the camera, maybe by the object's own front.
    bool frontHidden = false;
    // The last frame before its first that showed the belt where it begins, plus one (0: none):
    // the frame after it is the one in which its front began to hide the line from the camera.
    uint64_t beltSeenBefore = 0;
    // Its first profile lies well below its top behind a hidden line: a rounded or sloping front
    // faced away from the camera, and how far it reaches ahead is unknown.
    bool frontUnseen = false;
    // Profiles in which its left (smaller x) or right end had nothing beyond it, or the line
    // vanished there beside a taller surface (laser shadow or camera occlusion).
    uint32_t unsureLeft = 0, unsureRight = 0;
    // Profiles in which a stretch without line lay inside it: a narrow gap between two packages
    // side by side, shadowed or hidden from the camera.
    uint32_t gappedFrames = 0, gapStreak = 0, longestGapStreak = 0;
    uint64_t lastGappedSeq = 0;
    float lastH = 0.0f;   // mean height of its runs' ends in frame lastSeq
    float lastY = 0.0f;   // board Y of the line over it in frame lastSeq
    uint8_t lastPeak = 0; // least mean peak grey of its runs in frame lastSeq
    // Its ends in frame lastSeq were seams: a groove that parts it from a neighbour.
    bool leftSeam = false, rightSeam = false;
    // A seam inside it (a groove between two of its groups): the frame of the last one, where
    // it lay, in how many frames and in how many in a row.
    float seamX = 0.0f;
    uint64_t lastSeamSeq = 0;
    uint32_t seamFrames = 0, seamStreak = 0;
    // The objects it was parted from at a seam (ids, -1: none); seamX then holds where the seam
    // to its right partner lies.
    int32_t leftPartner = -1, rightPartner = -1;
    // Its top's height profile by profile along the belt.
    CSeamAcross seamAcross;
    // Dropouts on a dark surface come and go; the gap between two packages stays.
    bool gapped() const { return longestGapStreak >= 10 && 5 * longestGapStreak >= framesSeen; }
    // Seams inside it in many profiles, but never long enough in a row to part it in two.
    bool seamed() const { return seamFrames >= 10 && 5 * seamFrames >= framesSeen; }
    bool sideUnsure() const { return 2 * unsureLeft >= framesSeen || 2 * unsureRight >= framesSeen; }
    bool incomplete() const {
        return rearHidden || hiddenJoin || joined || frontUnseen || sideUnsure() || gapped() || seamed() ||
               seamAcross.seen();
    }
};

struct TrackerSettings {
    bool multiPackage = true;   // side-by-side objects stay apart
    double joinDistance = 10.0; // mm across the belt within which runs belong together
    int32_t endFrames = 10;     // frames without a run that complete an object
    int32_t maxFrames = 2000;   // frames an object may span
    double heightStep = 10.0;   // mm: a neighbour this much taller may hide an object's end
    // What tells a gap that the camera couldn't see from a line lost on a dark surface: camera
    // 0's centre (board Y, Z; upstream of the line when cameraY is below the line's Y), the
    // belt's board Z, the height factor, and the peak grey of a line that can't be a dropout.
    double cameraY = 0.0, cameraZ = 0.0, beltZ = 0.0, heightFactor = 1.0;
    int32_t strongPeak = 48;
};

class CObjectTracker {
public:
    static constexpr int32_t kMaxOpen = 32;

    void configure(const TrackerSettings& settings, CFrameStore* store);
    void reset();

    // Assigns the runs of `slot` (frame slot.info.seq) to objects and appends to `completed`
    // every object that this frame completes. `completed` must have room for kMaxOpen more.
    // `belt` marks where this frame shows the belt, `beltBefore` where the frame before showed
    // it (either may be null).
    void track(FrameSlot& slot, std::vector<TrackedObject>& completed, const CBeltBins* belt = nullptr,
               const CBeltBins* beltBefore = nullptr);

    // Notes, for the objects that frame `seq` started, when the belt last showed where they
    // begin; call after track() and before `history` takes frame `seq`.
    void noteFronts(uint64_t seq, CBeltHistory& history);

    // Completes every open object (used when the instance is reconfigured).
    void flush(std::vector<TrackedObject>& completed);

    int32_t openCount() const { return static_cast<int32_t>(open_.size()); }
    const std::vector<TrackedObject>& open() const { return open_; }

private:
    struct Group {
        float x0, x1;
        uint32_t firstRun, runCount; // into order_
        float h = 0.0f;              // mean height of its runs' ends
        uint32_t gaps = 0;           // stretches of more than 5 mm without line between its runs
        float y = 0.0f;              // board Y of the line over it
        uint8_t peak = 255;          // least mean peak grey of its runs
        bool leftSeam = false, rightSeam = false;
    };
    bool hiddenGap(const Group& g, const TrackedObject& o, uint64_t seq) const;
    bool acrossSeam(const Group& g, const TrackedObject& o) const;
    void mergeInto(TrackedObject& into, const TrackedObject& from);
    bool beltBetween(float x0, float x1) const;
    bool continues(const Group& g, const TrackedObject& o, uint64_t seq) const;
    void noteEnds(const FrameSlot& slot, const Group& g, TrackedObject& o) const;
    void lookBehind(uint64_t seq);
    void relabel(const TrackedObject& from, int32_t id);
    void noteSeams(const FrameSlot& slot);
    void keepSeams(FrameSlot& slot) const;
    bool splitAtSeam(TrackedObject& o, float seamX);
    void takeRangeOf(TrackedObject& o, const FrameSlot& slot) const;
    void noteLevels(const FrameSlot& slot);

    TrackerSettings s_{};
    CFrameStore* store_ = nullptr;
    int32_t nextId_ = 0;
    std::vector<TrackedObject> open_;
    std::vector<uint32_t> order_; // runs of the frame sorted by x0
    std::vector<Group> groups_;
    std::vector<int32_t> matches_;
    const CBeltBins* belt_ = nullptr; // of the frame being tracked
};

} // namespace lpmc
