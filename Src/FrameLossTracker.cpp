#include "FrameLossTracker.h"

#include <algorithm>
#include <limits>

#include "Lpmc.h"

namespace Orvia::VisionSystem {

std::int32_t CFrameLossTracker::take(std::uint64_t frameId) {
    const bool first = !haveLast;
    const bool restarted = !first && (lost || frameId <= lastId);
    const std::uint64_t skipped = first || restarted ? 0 : frameId - lastId - 1;
    lastId = frameId;
    haveLast = true;
    lost = false;
    if (restarted)
        return LPMC_FRAMES_RESTARTED;
    constexpr std::uint64_t kMostTold = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::min(skipped, kMostTold));
}

void CFrameLossTracker::cameraLost() {
    lost = true;
}

} // namespace Orvia::VisionSystem
