// When a paced simulated camera makes its frames: one slot per period, as a sensor's frame timer
// gives them. The pacing thread is an ordinary thread of the host, and a busy host may hold it
// up; a real camera's timer never stops, but it never hands over the frames of a whole stall at
// once either. So a pacing thread that wakes a long way behind its slot makes one frame and goes
// on at its rate from there: the frames keep their steady spacing, and the slots it missed are
// dropped from the schedule, not crowded into a burst that no consumer could have taken.
#pragma once

#include <chrono>

namespace Orvia::Sim::Detail {

class CFramePacer {
public:
    using Clock = std::chrono::steady_clock;

    CFramePacer(Clock::duration period, Clock::time_point start);

    // When the next frame is due.
    Clock::time_point nextSlot() const { return due_; }
    // The pacing thread makes the due frame at `now` (not before its slot); sets the next slot.
    void frameMade(Clock::time_point now);
    // How far the schedule has moved behind the one set at the start, by the stalls it skipped.
    Clock::duration slipped() const { return slipped_; }

private:
    Clock::duration period_;
    Clock::time_point due_;
    Clock::duration slipped_{0};
};

} // namespace Orvia::Sim::Detail
