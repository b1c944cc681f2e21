#include "FramePacer.h"

#include <algorithm>

namespace Orvia::Sim::Detail {

CFramePacer::CFramePacer(Clock::duration period, Clock::time_point start, Clock::duration catchUpWindow)
    : period_(std::max(period, Clock::duration(1))), window_(std::max(catchUpWindow, period_)),
      due_(start + period_) {}

uint64_t CFramePacer::framesDue(Clock::time_point now) {
    if (now < due_) {
        now = due_;
    }
    // Slots due_, due_ + period, ... up to now.
    auto due = static_cast<uint64_t>((now - due_) / period_) + 1;
    if (now - due_ > window_) {
        // Slots that passed longer ago than the window are the held-up thread's loss; the
        // youngest slot is always made.
        const auto stale = std::min(
            due - 1, static_cast<uint64_t>((now - window_ - due_ + period_ - Clock::duration(1)) / period_));
        skipped_ += stale;
        due -= stale;
        due_ += period_ * static_cast<int64_t>(stale);
    }
    due_ += period_ * static_cast<int64_t>(due);
    return due;
}

} // namespace Orvia::Sim::Detail
