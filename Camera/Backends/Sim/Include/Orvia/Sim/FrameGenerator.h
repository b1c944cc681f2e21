// Where a simulated camera's frames come from. A generator hands out frames whose bytes it owns;
// the stream passes them to consumers without copying.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Orvia/CameraApi.h"

namespace Orvia::Sim {

struct SimChunk {
    uint32_t id = 0;
    std::vector<std::string> texts; // "Name:value"
};

struct ORVIA_CAMERA_API SimFrame {
    std::shared_ptr<const void> owner; // keeps `data` alive
    const uint8_t* data = nullptr;
    uint64_t size = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t pixelFormat = 0;
    uint64_t timestamp = 0; // device ticks
    std::vector<SimChunk> chunks;

    // A frame that owns `bytes`.
    static SimFrame fromBytes(std::vector<uint8_t> bytes, uint32_t width, uint32_t height,
                              uint32_t pixelFormat, uint64_t timestamp);
};

class IFrameGenerator {
public:
    virtual ~IFrameGenerator() = default;
    // The next frame; false when there is none now. Called on whichever thread makes frames
    // (the control API's caller, a fetching consumer, or the stream's pacing thread), never by
    // two at once.
    virtual bool next(SimFrame& frame) = 0;
};

// Frames a test or tool queues, handed out in order, each once. Thread-safe.
class ORVIA_CAMERA_API CScriptedFrames : public IFrameGenerator {
public:
    void push(SimFrame frame);
    // A Mono8 frame whose pixels are all `fill`.
    void pushMono8(uint32_t width, uint32_t height, uint64_t timestamp, uint8_t fill = 0);
    size_t pending() const;
    bool next(SimFrame& frame) override;

private:
    mutable std::mutex mutex_;
    std::deque<SimFrame> frames_;
};

// The images of a directory (bmp, jpg, png, in name order), decoded once to 8-bit grey Mono8
// frames and handed out round and round. Timestamps advance by `ticksPerFrame`.
class ORVIA_CAMERA_API CImageDirectoryFrames : public IFrameGenerator {
public:
    explicit CImageDirectoryFrames(const std::filesystem::path& directory, uint64_t ticksPerFrame = 1000000);
    size_t imageCount() const { return images_.size(); }
    bool next(SimFrame& frame) override;

private:
    std::vector<SimFrame> images_;
    uint64_t ticksPerFrame_;
    uint64_t served_ = 0;
};

} // namespace Orvia::Sim
