// One GigE Vision or USB3 Vision device behind the backend seam, through Aravis. Connecting
// opens a link and starts its watchdog; a lost link answers every call at once with a failure,
// closes the stream's fetches and tells the connection sink 0. Nothing that lets go of a lost
// device's Aravis objects runs on the caller's thread.
#pragma once

#include <memory>
#include <mutex>

#include "Backend/DeviceBase.h"

namespace Orvia::Aravis::Detail {

class CAravisLink;
class CAravisStream;
class CAravisWatchdog;

// The register feature that holds a device's private data area (the calibration text).
inline constexpr const char* kPrivateAreaFeature = "UserPrivateArea";

class CAravisDevice : public Backend::CBackendDeviceBase, public std::enable_shared_from_this<CAravisDevice> {
public:
    // `openId` is what Aravis opens: the address of a GigE Vision device, the id of others.
    CAravisDevice(Backend::DeviceInfo info, std::string openId);
    ~CAravisDevice() override;

    const std::string& openId() const { return openId_; }
    // True once the connection in use was lost; the backend then hands out a new object.
    bool isLost() const;

    bool isConnected() const override;
    bool connect(uint32_t accessMode) override;
    bool disconnect() override;
    bool describeFeature(const std::string& name, Backend::FeatureInfo& out) const override;
    bool readFeature(const std::string& name, Backend::FeatureValue& out) override;
    bool writeFeature(const std::string& name, const Backend::FeatureValue& value) override;
    bool executeCommand(const std::string& name) override;
    bool readMemory(uint64_t address, void* buffer, uint64_t& length) override;
    bool writeMemory(uint64_t address, const void* buffer, uint64_t& length) override;
    int32_t readPrivateArea(void* buffer, uint64_t count) override;
    int32_t writePrivateArea(const void* buffer, uint64_t count) override;
    bool offersControl(Backend::ControlKind kind) const override;
    std::shared_ptr<Backend::IBackendStream> stream(uint16_t channel) override;
    bool enableConnectionEvents() override;

private:
    // The link of the connection in use, or null when there is none or it is lost.
    std::shared_ptr<CAravisLink> liveLink() const;
    std::shared_ptr<CAravisStream> streamObject();
    void onLost();
    bool privateAreaSpan(CAravisLink& link, uint64_t count, uint64_t& address);

    std::string openId_;

    mutable std::mutex mutex_; // guards the members below
    std::shared_ptr<CAravisLink> link_;
    std::unique_ptr<CAravisWatchdog> watchdog_;
    std::shared_ptr<CAravisStream> stream_;
    bool lostOnce_ = false;
};

} // namespace Orvia::Aravis::Detail
