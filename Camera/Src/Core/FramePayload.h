// What a CFrame holds: a device buffer and its description. The buffer stays alive through
// `owner` (the backend's storage, with no copy); `poolSlot` gives the buffer back to the
// backend's own pool, and `queueSlot` frees its place in the stream's bounded queue, when the
// last frame that holds it is gone.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Orvia::GenICam::Detail {

struct CFrameChunk {
    uint32_t id = 0;
    std::vector<std::string> texts; // "Name:value"
};

struct CFramePayload {
    const uint8_t* data = nullptr;
    uint64_t size = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t pixelFormat = 0;
    uint64_t timestamp = 0;
    uint64_t frameId = 0;
    std::vector<CFrameChunk> chunks;
    std::shared_ptr<const void> owner;
    std::shared_ptr<void> poolSlot;
    std::shared_ptr<void> queueSlot; // set by the queue that takes the frame
};

} // namespace Orvia::GenICam::Detail
