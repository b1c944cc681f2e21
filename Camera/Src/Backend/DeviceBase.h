// What the device class of every backend keeps alike behind the seam: the device's description
// and the sink of its connection events.
#pragma once

#include <mutex>
#include <utility>

#include "Backend/Backend.h"

namespace Orvia::Backend {

class CBackendDeviceBase : public IBackendDevice {
public:
    explicit CBackendDeviceBase(DeviceInfo info) : info_(std::move(info)) {}

    const DeviceInfo& info() const final { return info_; }

    void setConnectionSink(ConnectionSink sink) final {
        std::lock_guard lock(sinkMutex_);
        sink_ = std::move(sink);
    }

protected:
    // Tells the sink, if one is set, on the calling thread. It is called outside the lock: the
    // library's sink may drop the last hold on its device core, whose end removes the sink.
    void notifyConnection(uint32_t state) {
        ConnectionSink sink;
        {
            std::lock_guard lock(sinkMutex_);
            sink = sink_;
        }
        if (sink) {
            sink(state);
        }
    }

private:
    const DeviceInfo info_;
    std::mutex sinkMutex_;
    ConnectionSink sink_;
};

} // namespace Orvia::Backend
