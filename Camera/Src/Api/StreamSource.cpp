#include "Api/StreamSource.h"

namespace Orvia::GenICam::Detail {

bool CStreamSource::setBufferCount(int32_t count) {
    return count >= 1 && stream_->setBufferCount(static_cast<uint32_t>(count));
}

bool CStreamSource::startGrabbing(uint64_t frameLimit, uint32_t strategy) {
    if (strategy != 0 || !core_->isConnected() || stream_->isRunning()) {
        return false;
    }
    return stream_->start(frameLimit);
}

bool CStreamSource::getFrame(CFrame& frame, uint32_t timeoutMs) {
    frame.reset(); // gives the held buffer back before waiting
    frame.reset(stream_->pop(std::chrono::milliseconds(timeoutMs)));
    return frame.valid();
}

} // namespace Orvia::GenICam::Detail
