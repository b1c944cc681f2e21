#include "SimStream.h"

#include "FramePacer.h"
#include "SimDevice.h"

namespace Orvia::Sim::Detail {

CSimStream::CSimStream(CSimDevice& device, bool dropOldest) : device_(device), queue_(dropOldest) {}

CSimStream::~CSimStream() {
    stop();
}

bool CSimStream::setBufferCount(uint32_t count) {
    if (count < 1) {
        return false;
    }
    queue_.setCapacity(count);
    return true;
}

bool CSimStream::start(uint64_t frameLimit) {
    if (device_.faults().failStreamStart || !device_.isConnected() || queue_.isOpen()) {
        return false;
    }
    stopPacer();
    {
        std::lock_guard lock(mutex_);
        frameLimit_ = frameLimit;
        offered_ = 0; // frame ids start again at 0
        pacerStop_ = false;
    }
    queue_.open();
    if (device_.deliveryMode() == DeliveryMode::Paced && device_.framesPerSecond() > 0.0) {
        const double rate = device_.framesPerSecond();
        const auto window = device_.catchUpWindow();
        std::lock_guard lock(mutex_);
        pacer_ = std::thread([this, rate, window] { pace(rate, window); });
    }
    return true;
}

bool CSimStream::stop() {
    const bool wasRunning = queue_.isOpen();
    queue_.close();
    stopPacer();
    return wasRunning;
}

void CSimStream::stopPacer() {
    std::thread pacer;
    {
        std::lock_guard lock(mutex_);
        pacerStop_ = true;
        pacer.swap(pacer_);
    }
    pacerWake_.notify_all();
    if (pacer.joinable()) {
        pacer.join();
    }
}

void CSimStream::pace(double framesPerSecond, std::chrono::microseconds catchUpWindow) {
    const auto period = std::chrono::duration_cast<CFramePacer::Clock::duration>(
        std::chrono::duration<double>(1.0 / framesPerSecond));
    CFramePacer pacer(period, CFramePacer::Clock::now(), catchUpWindow);
    std::unique_lock lock(mutex_);
    while (!pacerStop_) {
        if (pacerWake_.wait_until(lock, pacer.nextSlot(), [this] { return pacerStop_; })) {
            return;
        }
        const uint64_t frames = pacer.framesDue(CFramePacer::Clock::now());
        lock.unlock();
        for (uint64_t k = 0; k < frames; ++k) {
            device_.emitOne();
        }
        lock.lock();
    }
}

CSimStream::Offered CSimStream::offer(std::shared_ptr<GenICam::Detail::CFramePayload> frame) {
    {
        std::lock_guard lock(mutex_);
        if (frameLimit_ != 0 && offered_ >= frameLimit_) {
            return Offered::NotTaken;
        }
        frame->frameId = offered_++;
    }
    if (device_.losesFrame(frame->frameId)) {
        std::lock_guard lock(mutex_);
        ++lost_;
        return Offered::Lost;
    }
    return queue_.push(std::move(frame)) ? Offered::Taken : Offered::NotTaken;
}

uint64_t CSimStream::lostFrames() const {
    std::lock_guard lock(mutex_);
    return lost_;
}

std::shared_ptr<const GenICam::Detail::CFramePayload> CSimStream::pop(std::chrono::milliseconds timeout) {
    device_.recordFetch(static_cast<uint32_t>(timeout.count()));
    if (queue_.isOpen() && queue_.counters().waiting == 0 &&
        device_.deliveryMode() == DeliveryMode::OnDemand) {
        device_.emitOne();
    }
    return queue_.pop(timeout);
}

} // namespace Orvia::Sim::Detail
