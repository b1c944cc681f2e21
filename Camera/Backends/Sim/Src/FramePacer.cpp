#include "FramePacer.h"

namespace Orvia::Sim::Detail {

CFramePacer::CFramePacer(Clock::duration period, Clock::time_point start)
    : period_(period), due_(start + period) {}

void CFramePacer::frameMade(Clock::time_point now) {
    // Up to half a period late is the jitter of any wake-up and is made up on the next slot;
    // later than that, the next frame comes a whole period after this one.
    const Clock::duration late = now - due_;
    if (late * 2 < period_) {
        due_ += period_;
        return;
    }
    slipped_ += late;
    due_ = now + period_;
}

} // namespace Orvia::Sim::Detail
