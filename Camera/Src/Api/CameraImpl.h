// The ICamera and IGigECamera this library hands out: thin views on a device core.
#pragma once

#include <memory>

#include "Core/DeviceCore.h"
#include "Orvia/GenICam/Camera.h"
#include "Orvia/GenICam/GigECamera.h"

namespace Orvia::GenICam::Detail {

class CCameraImpl : public ICamera {
public:
    explicit CCameraImpl(std::shared_ptr<CDeviceCore> core) : core_(std::move(core)) {}

    int32_t getInterfaceKind() const override { return core_->info().interfaceKind; }
    const char* getVendorName() const override { return core_->info().vendor.c_str(); }
    const char* getModelName() const override { return core_->info().model.c_str(); }
    const char* getDeviceIdentity() const override { return core_->info().identity.c_str(); }
    const char* getKey() const override { return core_->info().key.c_str(); }
    const char* getDisplayName() const override { return core_->info().displayName.c_str(); }
    bool isConnected() const override { return core_->isConnected(); }
    bool connect(uint32_t accessMode) override { return core_->device().connect(accessMode); }
    bool disconnect() override { return core_->device().disconnect(); }
    int32_t readPrivateArea(void* buffer, uint64_t count) override;
    int32_t writePrivateArea(const void* buffer, uint64_t count) override;

    const std::shared_ptr<CDeviceCore>& core() const { return core_; }

private:
    std::shared_ptr<CDeviceCore> core_;
};

class CGigECameraImpl : public IGigECamera {
public:
    explicit CGigECameraImpl(std::shared_ptr<CDeviceCore> core) : core_(std::move(core)) {}
    Infra::CString identityText() const override { return core_->info().gigeIdentity; }

private:
    std::shared_ptr<CDeviceCore> core_;
};

} // namespace Orvia::GenICam::Detail
