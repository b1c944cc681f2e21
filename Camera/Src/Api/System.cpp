#include "Orvia/GenICam/System.h"

#include <map>
#include <mutex>

#include "Api/CameraImpl.h"
#include "Api/Controls.h"
#include "Api/StreamSource.h"
#include "Backend/BackendTable.h"
#include "Core/DeviceCore.h"

namespace Orvia::GenICam {

using Memory::TSharedPtr;

struct CSystem::Impl {
    mutable std::mutex mutex;
    std::vector<Backend::BackendEntry> backends = Backend::makeBackendTable();
    // Every device discovered so far, by key; a device is rebuilt when its backend hands out
    // a new object for the key.
    std::map<std::string, std::shared_ptr<Detail::CCameraImpl>> cameras;

    std::shared_ptr<Detail::CCameraImpl> cameraFor(const std::shared_ptr<Backend::IBackendDevice>& device) {
        auto& slot = cameras[device->info().key];
        if (!slot || &slot->core()->device() != device.get()) {
            slot = std::make_shared<Detail::CCameraImpl>(Detail::CDeviceCore::create(device));
        }
        return slot;
    }
};

CSystem::CSystem() : impl_(std::make_unique<Impl>()) {}
CSystem::~CSystem() = default;

CSystem& CSystem::getInstance() {
    static CSystem system;
    return system;
}

bool CSystem::discovery(Infra::TVector<TSharedPtr<ICamera>>& cameras, uint32_t interfaceSelector) {
    std::lock_guard lock(impl_->mutex);
    bool allListed = true;
    for (const auto& entry : impl_->backends) {
        if (!entry.enabled) {
            continue;
        }
        std::vector<std::shared_ptr<Backend::IBackendDevice>> devices;
        if (!entry.backend->listDevices(devices)) {
            allListed = false;
        }
        for (const auto& device : devices) {
            const int32_t kind = device->info().interfaceKind;
            const bool selected = interfaceSelector == kInterfaceSelectorAll ||
                                  (kind >= 0 && kind < 8 && (interfaceSelector & (1u << kind)) != 0);
            if (selected) {
                cameras.push_back(impl_->cameraFor(device));
            }
        }
    }
    return allListed;
}

namespace {

template <class Control>
TSharedPtr<Control> makeControl(const TSharedPtr<ICamera>& camera, Backend::ControlKind kind) {
    auto core = Detail::coreOf(camera);
    if (!core || !core->device().offersControl(kind)) {
        return nullptr;
    }
    return std::make_shared<Control>(camera);
}

} // namespace

TSharedPtr<IAcquisitionControl> CSystem::createAcquisitionControl(const TSharedPtr<ICamera>& camera) {
    return makeControl<Detail::CAcquisitionControl>(camera, Backend::ControlKind::Acquisition);
}

TSharedPtr<IImageFormatControl> CSystem::createImageFormatControl(const TSharedPtr<ICamera>& camera) {
    return makeControl<Detail::CImageFormatControl>(camera, Backend::ControlKind::ImageFormat);
}

TSharedPtr<IAnalogControl> CSystem::createAnalogControl(const TSharedPtr<ICamera>& camera) {
    return makeControl<Detail::CAnalogControl>(camera, Backend::ControlKind::Analog);
}

TSharedPtr<IISPControl> CSystem::createISPControl(const TSharedPtr<ICamera>& camera) {
    return makeControl<Detail::CIspControl>(camera, Backend::ControlKind::Isp);
}

TSharedPtr<IUserSetControl> CSystem::createUserSetControl(const TSharedPtr<ICamera>& camera) {
    return makeControl<Detail::CUserSetControl>(camera, Backend::ControlKind::UserSet);
}

TSharedPtr<IDeviceControl> CSystem::createDeviceControl(const TSharedPtr<ICamera>& camera) {
    return makeControl<Detail::CDeviceControl>(camera, Backend::ControlKind::Device);
}

TSharedPtr<IStreamSource> CSystem::createStreamSource(const TSharedPtr<ICamera>& camera, uint16_t channel) {
    auto core = Detail::coreOf(camera);
    if (!core) {
        return nullptr;
    }
    auto stream = core->device().stream(channel);
    if (!stream) {
        return nullptr;
    }
    return std::make_shared<Detail::CStreamSource>(core, std::move(stream));
}

TSharedPtr<IEventSubscribe> CSystem::createEventSubscribe(const TSharedPtr<ICamera>& camera) {
    auto core = Detail::coreOf(camera);
    if (!core) {
        return nullptr;
    }
    return std::make_shared<Detail::CEventSubscribe>(core);
}

uint32_t CSystem::getBackendCount() const {
    std::lock_guard lock(impl_->mutex);
    return static_cast<uint32_t>(impl_->backends.size());
}

Infra::CString CSystem::getBackendName(uint32_t index) const {
    std::lock_guard lock(impl_->mutex);
    return index < impl_->backends.size() ? Infra::CString(impl_->backends[index].name) : Infra::CString();
}

bool CSystem::setBackendEnabled(const char* name, bool enabled) {
    std::lock_guard lock(impl_->mutex);
    for (auto& entry : impl_->backends) {
        if (name && entry.name == name) {
            entry.enabled = enabled;
            return true;
        }
    }
    return false;
}

bool CSystem::isBackendEnabled(const char* name) const {
    std::lock_guard lock(impl_->mutex);
    for (const auto& entry : impl_->backends) {
        if (name && entry.name == name) {
            return entry.enabled;
        }
    }
    return false;
}

// ---- raw access by key ----

CInternalSystem& CInternalSystem::getInstance() {
    static CInternalSystem system;
    return system;
}

TSharedPtr<CInternalCamera> CInternalSystem::getCameraPtr(const Infra::CString& key) {
    auto& impl = *CSystem::getInstance().impl_;
    std::shared_ptr<Detail::CDeviceCore> core;
    {
        std::lock_guard lock(impl.mutex);
        auto found = impl.cameras.find(key.str());
        if (found == impl.cameras.end()) {
            return nullptr;
        }
        core = found->second->core();
    }
    return core->internalCamera();
}

} // namespace Orvia::GenICam
