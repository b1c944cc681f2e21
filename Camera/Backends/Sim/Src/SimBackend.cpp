#include "SimBackend.h"

#include <algorithm>

#include "SimDevice.h"

namespace Orvia::Sim::Detail {

bool CSimBackend::listDevices(std::vector<std::shared_ptr<Backend::IBackendDevice>>& out) {
    std::lock_guard lock(mutex_);
    if (discoveryFails_) {
        return false;
    }
    for (const auto& device : devices_) {
        if (device->isPlugged()) {
            out.push_back(device);
        }
    }
    return true;
}

bool CSimBackend::add(const std::shared_ptr<CSimDevice>& device) {
    std::lock_guard lock(mutex_);
    const bool taken = std::any_of(devices_.begin(), devices_.end(),
                                   [&](const auto& d) { return d->info().key == device->info().key; });
    if (taken) {
        return false;
    }
    devices_.push_back(device);
    return true;
}

void CSimBackend::remove(const CSimDevice* device) {
    std::lock_guard lock(mutex_);
    std::erase_if(devices_, [device](const auto& d) { return d.get() == device; });
}

void CSimBackend::setDiscoveryFails(bool fails) {
    std::lock_guard lock(mutex_);
    discoveryFails_ = fails;
}

std::shared_ptr<CSimBackend> simBackend() {
    static auto backend = std::make_shared<CSimBackend>();
    return backend;
}

} // namespace Orvia::Sim::Detail
