// The backend of GigE Vision (interface kind 0) and USB3 Vision (interface kind 1) devices
// through Aravis. A device keeps its object from one discovery to the next until its
// connection is lost; the next discovery then hands out a new object for it.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Backend/Backend.h"

namespace Orvia::Aravis::Detail {

class CAravisDevice;

// How devices are found: "all" (the default) asks Aravis, which searches every interface
// (broadcast on each network, USB); "off" lists nothing; a comma-separated list of IPv4
// addresses asks exactly those GigE Vision devices by unicast.
inline constexpr const char* kDiscoveryVariable = "QUBOID3D_ARAVIS_DISCOVERY";

class CAravisBackend : public Backend::IBackend {
public:
    bool listDevices(std::vector<std::shared_ptr<Backend::IBackendDevice>>& out) override;

private:
    void listEveryDevice(std::vector<std::shared_ptr<Backend::IBackendDevice>>& out);
    void listAddresses(const std::vector<std::string>& addresses,
                       std::vector<std::shared_ptr<Backend::IBackendDevice>>& out);
    void keep(const Backend::DeviceInfo& info, const std::string& openId,
              std::vector<std::shared_ptr<Backend::IBackendDevice>>& out);

    std::mutex mutex_; // Aravis's device list is process-wide; one discovery at a time
    std::map<std::string, std::shared_ptr<CAravisDevice>> devices_;
};

std::shared_ptr<CAravisBackend> aravisBackend();

} // namespace Orvia::Aravis::Detail
