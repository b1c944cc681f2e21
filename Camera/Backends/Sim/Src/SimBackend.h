// The backend of simulated cameras: lists the devices this process has plugged in.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "Backend/Backend.h"

namespace Orvia::Sim::Detail {

class CSimDevice;

class CSimBackend : public Backend::IBackend {
public:
    bool listDevices(std::vector<std::shared_ptr<Backend::IBackendDevice>>& out) override;
    // False if a plugged-in device already has this key.
    bool add(const std::shared_ptr<CSimDevice>& device);
    void remove(const CSimDevice* device);
    void setDiscoveryFails(bool fails);

private:
    std::mutex mutex_;
    std::vector<std::shared_ptr<CSimDevice>> devices_;
    bool discoveryFails_ = false;
};

std::shared_ptr<CSimBackend> simBackend();

} // namespace Orvia::Sim::Detail
