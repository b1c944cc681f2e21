// When a paced simulated camera makes its frames: one slot per period, as a sensor's frame timer
// gives them. The pacing thread is an ordinary thread of the host, and a busy host may hold it
// up. A real camera's frames reach the host bunched by its link at most as far as the link's
// interrupt moderation goes, about a millisecond; they never arrive as a stall's worth at once.
// So a pacing thread that wakes late makes the frames of the slots that passed within a
// catch-up window (that millisecond by default), and skips older ones: the camera keeps its rate
// and its clock, and a stall of its thread costs the frames of the stall instead of flooding the
// pool with them. A wider window stands for a host whose receive thread stalls while the NIC
// ring and socket buffer hold the frames: they come late, as a burst, but they come.
#pragma once

#include <chrono>
#include <cstdint>

namespace Orvia::Sim::Detail {

class CFramePacer {
public:
    using Clock = std::chrono::steady_clock;
    // `catchUpWindow`: how long ago a slot may have passed for its frame still to be made (at
    // least one period).
    CFramePacer(Clock::duration period, Clock::time_point start, Clock::duration catchUpWindow);

    // When the next frame is due.
    Clock::time_point nextSlot() const { return due_; }
    // The pacing thread woke at `now`, not before the next slot: how many frames to make now
    // (at least 1). Moves the schedule past them.
    uint64_t framesDue(Clock::time_point now);
    // The slots skipped so far, and the time they covered.
    uint64_t skippedSlots() const { return skipped_; }
    Clock::duration slipped() const { return period_ * static_cast<int64_t>(skipped_); }

private:
    Clock::duration period_;
    Clock::duration window_;
    Clock::time_point due_;
    uint64_t skipped_ = 0;
};

} // namespace Orvia::Sim::Detail
