// IStreamSource and IEventSubscribe as the library hands them out: views on a device's
// stream channel and on its connection event handlers.
#pragma once

#include <atomic>
#include <memory>

#include "Core/DeviceCore.h"
#include "Orvia/GenICam/EventSubscribe.h"
#include "Orvia/GenICam/StreamSource.h"

namespace Orvia::GenICam::Detail {

class CStreamSource : public IStreamSource {
public:
    CStreamSource(std::shared_ptr<CDeviceCore> core, std::shared_ptr<Backend::IBackendStream> stream)
        : core_(std::move(core)), stream_(std::move(stream)) {}

    bool setBufferCount(int32_t count) override;
    int32_t getBufferCount() const override { return static_cast<int32_t>(stream_->bufferCount()); }
    bool isGrabbing() const override { return stream_->isRunning(); }
    bool startGrabbing(uint64_t frameLimit, uint32_t strategy) override;
    bool stopGrabbing() override { return stream_->stop(); }
    bool getFrame(CFrame& frame, uint32_t timeoutMs) override;
    uint64_t getDroppedFrameCount() const override { return stream_->droppedFrames(); }

private:
    std::shared_ptr<CDeviceCore> core_;
    std::shared_ptr<Backend::IBackendStream> stream_;
};

class CEventSubscribe : public IEventSubscribe {
public:
    explicit CEventSubscribe(std::shared_ptr<CDeviceCore> core) : core_(std::move(core)) {}
    bool subscribeConnectArgs(const CConnectArgsProc& proc) override { return core_->subscribe(proc); }
    bool unsubscribeConnectArgs(const CConnectArgsProc& proc) override { return core_->unsubscribe(proc); }

private:
    std::shared_ptr<CDeviceCore> core_;
};

} // namespace Orvia::GenICam::Detail
