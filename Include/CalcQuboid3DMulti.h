// The scan calculator: feeds frames to the sheet-of-light library and returns finished boxes.
// Only the parts the measuring object needs at start and stop are here so far.
#pragma once

#include <atomic>

namespace Orvia::VisionSystem {

class CCalcQuboid3DMulti {
public:
    // Raised by the measuring object to cut short any wait for a frame.
    std::atomic<bool> stopRequested{false};

    // Frees what initialisation allocated; safe to call more than once.
    bool release() { return true; }
};

} // namespace Orvia::VisionSystem
