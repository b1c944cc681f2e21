// The stream channel of an Aravis device. Its buffers are allocated once per connection,
// payload size and buffer count, and go round: Aravis fills one, the stream thread hands it
// to the bounded queue as a frame that holds the buffer with no copy, and the buffer goes back
// to Aravis when the last frame that holds it is gone. Incomplete frames go straight back; the
// frames skipped between two the stream took (by their frame numbers) are counted, incomplete
// ones among them, and so are incomplete frames before the first complete one.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

#include "Backend/Backend.h"
#include "Core/FrameQueue.h"

namespace Orvia::Aravis::Detail {

class CAravisLink;
struct CStreamChannel;

struct StreamCounters {
    uint64_t completed = 0;
    uint64_t incomplete = 0;
    uint64_t skipped = 0;
};

class CAravisStream : public Backend::IBackendStream {
public:
    // The link the device has now, or null when it is not connected.
    using LinkSource = std::function<std::shared_ptr<CAravisLink>()>;

    explicit CAravisStream(LinkSource currentLink);
    ~CAravisStream() override;

    bool setBufferCount(uint32_t count) override;
    uint32_t bufferCount() const override;
    bool start(uint64_t frameLimit) override;
    bool stop() override;
    bool isRunning() const override;
    std::shared_ptr<const GenICam::Detail::CFramePayload> pop(std::chrono::milliseconds timeout) override;
    uint64_t droppedFrames() const override;

    // Wakes every fetch at once: the device is gone.
    void abort();
    // Lets go of the channel of a connection that ends.
    void release();
    StreamCounters counters() const;

private:
    std::shared_ptr<CStreamChannel> channelFor(const std::shared_ptr<CAravisLink>& link);
    void releaseLocked();

    LinkSource currentLink_;
    std::shared_ptr<GenICam::Detail::CFrameQueue> queue_;
    mutable std::mutex mutex_; // guards the members below
    uint32_t bufferCount_ = 8;
    std::shared_ptr<CStreamChannel> channel_;
    StreamCounters finished_; // counts of channels let go
};

} // namespace Orvia::Aravis::Detail
