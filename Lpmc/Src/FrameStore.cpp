#include "FrameStore.h"

#include <new>

namespace lpmc {

bool CFrameStore::configure(uint32_t slotCount, uint32_t pointsPerFrame, uint32_t runsPerFrame) {
    slotCount_ = 0;
    // Left uninitialised: pages of the point store are touched only as frames fill them.
    points_.reset(new (std::nothrow) ProfilePoint[size_t{slotCount} * pointsPerFrame]);
    strengths_.reset(new (std::nothrow) uint8_t[size_t{slotCount} * pointsPerFrame]);
    runs_.reset(new (std::nothrow) ProfileRun[size_t{slotCount} * runsPerFrame]);
    slots_.reset(new (std::nothrow) FrameSlot[slotCount]);
    written_.reset(new (std::nothrow) bool[slotCount]());
    if (!points_ || !strengths_ || !runs_ || !slots_ || !written_) {
        return false;
    }
    slotCount_ = slotCount;
    pointsPerFrame_ = pointsPerFrame;
    runsPerFrame_ = runsPerFrame;
    for (uint32_t i = 0; i < slotCount; ++i) {
        slots_[i].points = points_.get() + size_t{i} * pointsPerFrame;
        slots_[i].strengths = strengths_.get() + size_t{i} * pointsPerFrame;
        slots_[i].runs = runs_.get() + size_t{i} * runsPerFrame;
    }
    return true;
}

FrameSlot& CFrameStore::begin(uint64_t seq) {
    const size_t i = static_cast<size_t>(seq % slotCount_);
    FrameSlot& s = slots_[i];
    s.info = FrameInfo{};
    s.info.seq = seq;
    s.pointCount = 0;
    s.runCount = 0;
    written_[i] = true;
    return s;
}

const FrameSlot* CFrameStore::find(uint64_t seq) const {
    if (slotCount_ == 0) {
        return nullptr;
    }
    const size_t i = static_cast<size_t>(seq % slotCount_);
    return written_[i] && slots_[i].info.seq == seq ? &slots_[i] : nullptr;
}

FrameSlot* CFrameStore::find(uint64_t seq) {
    return const_cast<FrameSlot*>(static_cast<const CFrameStore*>(this)->find(seq));
}

} // namespace lpmc
