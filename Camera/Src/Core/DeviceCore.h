// One discovered device as the API classes see it: typed feature access with the checks of
// type, access and range done once here, connection event handlers, and the objects the
// library hands out per device (internal camera, memory assistant).
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Backend/Backend.h"
#include "Orvia/GenICam/Camera.h"
#include "Orvia/GenICam/EventSubscribe.h"
#include "Orvia/GenICam/Internal.h"

namespace Orvia::GenICam::Detail {

class CDeviceCore : public std::enable_shared_from_this<CDeviceCore> {
public:
    static std::shared_ptr<CDeviceCore> create(std::shared_ptr<Backend::IBackendDevice> device);
    ~CDeviceCore();

    Backend::IBackendDevice& device() { return *device_; }
    const Backend::DeviceInfo& info() const { return device_->info(); }
    bool isConnected() const { return device_->isConnected(); }

    bool describe(const std::string& name, Backend::FeatureInfo& out) const;
    bool hasFeature(const std::string& name, Backend::FeatureType type) const;

    bool readInt(const std::string& name, int64_t& value) const;
    bool readFloat(const std::string& name, double& value) const;
    bool readEnum(const std::string& name, int64_t& value) const;
    bool readEnumSymbol(const std::string& name, std::string& symbol) const;
    bool readBool(const std::string& name, bool& value) const;
    bool readString(const std::string& name, std::string& value) const;
    bool readAsString(const std::string& name, std::string& text) const;

    bool writeInt(const std::string& name, int64_t value);
    bool writeFloat(const std::string& name, double value);
    bool writeEnum(const std::string& name, int64_t value);
    bool writeEnumSymbol(const std::string& name, const std::string& symbol);
    bool writeBool(const std::string& name, bool value);
    bool writeString(const std::string& name, const std::string& value);
    bool execute(const std::string& name);

    bool subscribe(const CConnectArgsProc& proc);
    bool unsubscribe(const CConnectArgsProc& proc);

    std::shared_ptr<CInternalCamera> internalCamera();
    CInternalAssistant* assistant() { return &assistant_; }

private:
    explicit CDeviceCore(std::shared_ptr<Backend::IBackendDevice> device);
    bool readable(const std::string& name, Backend::FeatureType type, Backend::FeatureInfo& info) const;
    bool writable(const std::string& name, Backend::FeatureType type, Backend::FeatureInfo& info) const;
    bool readNative(const std::string& name, Backend::FeatureType type, Backend::FeatureValue& value) const;
    void onConnectionChanged(uint32_t state);
    void deliver(const ConnectArgs& args);

    std::shared_ptr<Backend::IBackendDevice> device_;
    CInternalAssistant assistant_;

    std::mutex mutex_; // guards the members below
    std::vector<CConnectArgsProc> handlers_;
    uint64_t eventCount_ = 0;
    std::weak_ptr<CInternalCamera> internalCamera_;
};

// The core behind an ICamera this library made; null for any other object.
std::shared_ptr<CDeviceCore> coreOf(const Memory::TSharedPtr<ICamera>& camera);

} // namespace Orvia::GenICam::Detail
