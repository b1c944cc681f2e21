// The stream channel of a simulated device: the bounded pool, and in Paced mode a thread that
// makes frames at the device's rate while grabbing.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "Backend/Backend.h"
#include "Core/FrameQueue.h"

namespace Orvia::Sim::Detail {

class CSimDevice;

class CSimStream : public Backend::IBackendStream {
public:
    CSimStream(CSimDevice& device, bool dropOldest);
    ~CSimStream() override;

    bool setBufferCount(uint32_t count) override;
    uint32_t bufferCount() const override { return queue_.capacity(); }
    bool start(uint64_t frameLimit) override;
    bool stop() override;
    bool isRunning() const override { return queue_.isOpen(); }
    std::shared_ptr<const GenICam::Detail::CFramePayload> pop(std::chrono::milliseconds timeout) override;
    uint64_t droppedFrames() const override { return queue_.counters().dropped + lostFrames(); }

    enum class Offered { Taken, NotTaken, Lost };
    // A frame the device made: taken into the pool, not taken (stopped, past the frame limit, or
    // dropped by the pool), or lost on the way by the device's fault.
    Offered offer(std::shared_ptr<GenICam::Detail::CFramePayload> frame);
    uint64_t lostFrames() const;
    GenICam::Detail::CFrameQueue::Counters counters() const { return queue_.counters(); }

private:
    void stopPacer();
    void pace(double framesPerSecond, std::chrono::microseconds catchUpWindow);

    CSimDevice& device_;
    GenICam::Detail::CFrameQueue queue_;
    mutable std::mutex mutex_; // guards the members below
    uint64_t frameLimit_ = 0;
    uint64_t offered_ = 0;
    uint64_t lost_ = 0;
    bool pacerStop_ = false;
    std::condition_variable pacerWake_;
    std::thread pacer_;
};

} // namespace Orvia::Sim::Detail
