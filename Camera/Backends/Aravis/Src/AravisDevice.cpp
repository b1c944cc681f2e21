#include "AravisDevice.h"

#include <limits>

#include "AravisFeatures.h"
#include "AravisLink.h"
#include "AravisStream.h"
#include "AravisWatchdog.h"

namespace Orvia::Aravis::Detail {

using Backend::FeatureInfo;
using Backend::FeatureValue;

namespace {

// One control call under the link's lock, counted toward the run of failures.
template <typename Call>
bool controlCall(const std::shared_ptr<CAravisLink>& link, Call&& call) {
    if (!link) {
        return false;
    }
    std::lock_guard lock(link->controlMutex());
    const CallOutcome outcome = call(link->device());
    link->record(outcome);
    return outcome == CallOutcome::Done;
}

CallOutcome memoryOutcome(bool done, const CGError& error) {
    if (done) {
        return CallOutcome::Done;
    }
    return error.failed() ? outcomeOf(error.get()) : CallOutcome::Refused;
}

} // namespace

CAravisDevice::CAravisDevice(Backend::DeviceInfo info, std::string openId)
    : CBackendDeviceBase(std::move(info)), openId_(std::move(openId)) {}

CAravisDevice::~CAravisDevice() {
    disconnect();
}

std::shared_ptr<CAravisLink> CAravisDevice::liveLink() const {
    std::lock_guard lock(mutex_);
    return link_ && !link_->lost() ? link_ : nullptr;
}

bool CAravisDevice::isLost() const {
    std::lock_guard lock(mutex_);
    return lostOnce_ || (link_ && link_->lost());
}

bool CAravisDevice::isConnected() const {
    return liveLink() != nullptr;
}

bool CAravisDevice::connect(uint32_t accessMode) {
    if (accessMode < 1 || accessMode > 3) {
        return false;
    }
    {
        std::lock_guard lock(mutex_);
        if (link_ || lostOnce_) {
            return false;
        }
    }
    std::string error;
    auto link = CAravisLink::open(openId_, info().interfaceKind == 0, error);
    if (!link) {
        return false;
    }
    std::weak_ptr<CAravisDevice> self = weak_from_this();
    link->setLostHandler([self] {
        if (auto device = self.lock()) {
            device->onLost();
        }
    });
    std::lock_guard lock(mutex_);
    link_ = link;
    watchdog_ = std::make_unique<CAravisWatchdog>(link);
    return true;
}

bool CAravisDevice::disconnect() {
    std::shared_ptr<CAravisLink> link;
    std::unique_ptr<CAravisWatchdog> watchdog;
    std::shared_ptr<CAravisStream> stream;
    {
        std::lock_guard lock(mutex_);
        link.swap(link_);
        watchdog.swap(watchdog_);
        stream = stream_;
    }
    if (!link) {
        return false;
    }
    if (stream) {
        stream->stop();
        stream->release();
    }
    watchdog.reset();
    link.reset(); // a lost link goes on a detached thread
    return true;
}

void CAravisDevice::onLost() {
    std::shared_ptr<CAravisStream> stream;
    {
        std::lock_guard lock(mutex_);
        lostOnce_ = true;
        stream = stream_;
    }
    if (stream) {
        stream->abort();
    }
    notifyConnection(0);
}

bool CAravisDevice::describeFeature(const std::string& name, FeatureInfo& out) const {
    auto link = liveLink();
    if (!link) {
        return false;
    }
    std::lock_guard lock(link->controlMutex());
    return Detail::describeFeature(link->device(), name, out);
}

bool CAravisDevice::readFeature(const std::string& name, FeatureValue& out) {
    return controlCall(liveLink(), [&](ArvDevice* device) { return Detail::readFeature(device, name, out); });
}

bool CAravisDevice::writeFeature(const std::string& name, const FeatureValue& value) {
    return controlCall(liveLink(),
                       [&](ArvDevice* device) { return Detail::writeFeature(device, name, value); });
}

bool CAravisDevice::executeCommand(const std::string& name) {
    return controlCall(liveLink(), [&](ArvDevice* device) { return Detail::executeCommand(device, name); });
}

bool CAravisDevice::readMemory(uint64_t address, void* buffer, uint64_t& length) {
    const uint64_t asked = length;
    length = 0;
    if (asked > std::numeric_limits<guint32>::max()) {
        return false;
    }
    const bool done = controlCall(liveLink(), [&](ArvDevice* device) {
        CGError error;
        const bool read =
            arv_device_read_memory(device, address, static_cast<guint32>(asked), buffer, error.out());
        return memoryOutcome(read, error);
    });
    length = done ? asked : 0;
    return done;
}

bool CAravisDevice::writeMemory(uint64_t address, const void* buffer, uint64_t& length) {
    const uint64_t asked = length;
    length = 0;
    if (asked > std::numeric_limits<guint32>::max()) {
        return false;
    }
    const bool done = controlCall(liveLink(), [&](ArvDevice* device) {
        CGError error;
        // Aravis takes the bytes as non-const but only sends them.
        const bool written = arv_device_write_memory(device, address, static_cast<guint32>(asked),
                                                     const_cast<void*>(buffer), error.out());
        return memoryOutcome(written, error);
    });
    length = done ? asked : 0;
    return done;
}

bool CAravisDevice::privateAreaSpan(CAravisLink& link, uint64_t count, uint64_t& address) {
    std::lock_guard lock(link.controlMutex());
    uint64_t length = 0;
    return registerSpan(link.device(), kPrivateAreaFeature, address, length) && count >= 1 &&
           count <= length && count <= static_cast<uint64_t>(std::numeric_limits<int32_t>::max());
}

int32_t CAravisDevice::readPrivateArea(void* buffer, uint64_t count) {
    auto link = liveLink();
    uint64_t address = 0;
    if (!link || !privateAreaSpan(*link, count, address)) {
        return -1;
    }
    uint64_t length = count;
    return readMemory(address, buffer, length) ? static_cast<int32_t>(count) : -1;
}

int32_t CAravisDevice::writePrivateArea(const void* buffer, uint64_t count) {
    auto link = liveLink();
    uint64_t address = 0;
    if (!link || !privateAreaSpan(*link, count, address)) {
        return -1;
    }
    uint64_t length = count;
    return writeMemory(address, buffer, length) ? static_cast<int32_t>(count) : -1;
}

bool CAravisDevice::offersControl(Backend::ControlKind) const {
    return true;
}

std::shared_ptr<CAravisStream> CAravisDevice::streamObject() {
    std::lock_guard lock(mutex_);
    if (!stream_) {
        std::weak_ptr<CAravisDevice> self = weak_from_this();
        stream_ = std::make_shared<CAravisStream>([self]() -> std::shared_ptr<CAravisLink> {
            auto device = self.lock();
            return device ? device->liveLink() : nullptr;
        });
    }
    return stream_;
}

std::shared_ptr<Backend::IBackendStream> CAravisDevice::stream(uint16_t channel) {
    if (channel != 0) {
        return nullptr;
    }
    return streamObject();
}

bool CAravisDevice::enableConnectionEvents() {
    return true;
}

} // namespace Orvia::Aravis::Detail
