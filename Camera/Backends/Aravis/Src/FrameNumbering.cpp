#include "FrameNumbering.h"

namespace Orvia::Aravis::Detail {
namespace {

using Numbering = CFrameNumbering;

bool nearWrapEnd(uint64_t id) {
    return id <= Numbering::kShortIdLast && id > Numbering::kShortIdLast - Numbering::kWindow;
}

bool nearWrapStart(uint64_t id) {
    return id < Numbering::kWindow;
}

// How far `id` lies ahead of `newest`: 0 for a late frame (at or a little behind the newest,
// also across the 16-bit wrap).
uint64_t ahead(uint64_t newest, uint64_t id) {
    if (id > newest) {
        const bool behindAcrossWrap = nearWrapStart(newest) && nearWrapEnd(id);
        return behindAcrossWrap ? 0 : id - newest;
    }
    if (nearWrapEnd(newest) && nearWrapStart(id) && id != 0) {
        return Numbering::kShortIdLast - newest + id; // 65535 is followed by 1
    }
    return 0;
}

} // namespace

CFrameNumbering::Step CFrameNumbering::take(uint64_t frameId) {
    if (!started_) {
        started_ = true;
        newest_ = frameId;
        number_ = 0;
        return {false, 0, 0};
    }
    const uint64_t distance = ahead(newest_, frameId);
    if (distance == 0) {
        const bool late = newest_ - frameId <= kWindow || (nearWrapStart(newest_) && nearWrapEnd(frameId));
        if (late) {
            return {true, 0, number_};
        }
        // Far behind: the device started its numbers again on its own. Nothing is known lost.
        newest_ = frameId;
        return {false, 0, ++number_};
    }
    newest_ = frameId;
    number_ += distance;
    return {false, distance - 1, number_};
}

void CFrameNumbering::restart() {
    started_ = false;
    newest_ = 0;
    number_ = 0;
}

} // namespace Orvia::Aravis::Detail
