// Frames lost between a camera and the sheet-of-light library, told from the running numbers the
// camera gives its frames: what LpmcInput.missingFrames says of each frame that reaches the library.
#pragma once

#include <cstdint>

namespace Orvia::VisionSystem {

class CFrameLossTracker {
public:
    // The frame numbered `frameId` goes to the library. 0 when it follows the one before, or is the
    // first; the count of numbers skipped; LPMC_FRAMES_RESTARTED after a lost camera, or when the
    // numbers start over (the stream was started again).
    std::int32_t take(std::uint64_t frameId);
    // The camera was lost: its next frame follows an outage of unknown length.
    void cameraLost();

private:
    std::uint64_t lastId = 0;
    bool haveLast = false;
    bool lost = false;
};

} // namespace Orvia::VisionSystem
