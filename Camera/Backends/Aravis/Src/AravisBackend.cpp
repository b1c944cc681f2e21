#include "AravisBackend.h"

#include <arv.h>

#include <cstdlib>
#include <sstream>

#include "AravisDevice.h"
#include "GObjectRef.h"
#include "GvcpDiscovery.h"

namespace Orvia::Aravis::Detail {

namespace {

// Aravis's protocol names and the interface kinds of the camera API.
bool interfaceKindOf(const std::string& protocol, int32_t& kind) {
    if (protocol == "GigEVision") {
        kind = 0;
        return true;
    }
    if (protocol == "USB3Vision") {
        kind = 1;
        return true;
    }
    return false;
}

// Everything Aravis says of device `index`, copied before the next call.
bool describeListed(unsigned index, Backend::DeviceInfo& info, std::string& openId) {
    if (!interfaceKindOf(copyText(arv_get_device_protocol(index)), info.interfaceKind)) {
        return false;
    }
    const std::string id = copyText(arv_get_device_id(index));
    const std::string address = copyText(arv_get_device_address(index));
    const std::string serial = copyText(arv_get_device_serial_nbr(index));
    info.vendor = copyText(arv_get_device_vendor(index));
    info.model = copyText(arv_get_device_model(index));
    info.key = "arv:" + id;
    info.identity = id + (address.empty() ? "" : " @ " + address);
    info.displayName = info.vendor + " " + info.model + " (" + serial + ")";
    info.gigeIdentity = info.interfaceKind == 0 ? address : std::string();
    // A GigE Vision device opened by its address streams to a root process on loopback too.
    openId = info.interfaceKind == 0 && !address.empty() ? address : id;
    return !id.empty();
}

Backend::DeviceInfo describeAnswered(const GvcpDevice& device) {
    Backend::DeviceInfo info;
    info.interfaceKind = 0;
    info.vendor = device.vendor;
    info.model = device.model;
    info.key = "arv:" + device.vendor + "-" + device.serial;
    info.identity = device.vendor + "-" + device.serial + " @ " + device.address;
    info.displayName = device.vendor + " " + device.model + " (" + device.serial + ")";
    info.gigeIdentity = device.address;
    return info;
}

std::vector<std::string> splitAddresses(const std::string& list) {
    std::vector<std::string> addresses;
    std::stringstream stream(list);
    std::string address;
    while (std::getline(stream, address, ',')) {
        if (!address.empty()) {
            addresses.push_back(address);
        }
    }
    return addresses;
}

} // namespace

void CAravisBackend::keep(const Backend::DeviceInfo& info, const std::string& openId,
                          std::vector<std::shared_ptr<Backend::IBackendDevice>>& out) {
    auto& slot = devices_[info.key];
    if (!slot || slot->isLost() || slot->openId() != openId) {
        slot = std::make_shared<CAravisDevice>(info, openId);
    }
    out.push_back(slot);
}

void CAravisBackend::listEveryDevice(std::vector<std::shared_ptr<Backend::IBackendDevice>>& out) {
    arv_update_device_list();
    const unsigned count = arv_get_n_devices();
    for (unsigned index = 0; index < count; ++index) {
        Backend::DeviceInfo info;
        std::string openId;
        if (describeListed(index, info, openId)) {
            keep(info, openId, out);
        }
    }
}

void CAravisBackend::listAddresses(const std::vector<std::string>& addresses,
                                   std::vector<std::shared_ptr<Backend::IBackendDevice>>& out) {
    constexpr std::chrono::milliseconds kAnswerWait{500};
    for (const auto& device : discoverByUnicast(addresses, kAnswerWait)) {
        keep(describeAnswered(device), device.address, out);
    }
}

bool CAravisBackend::listDevices(std::vector<std::shared_ptr<Backend::IBackendDevice>>& out) {
    std::lock_guard lock(mutex_);
    const char* setting = std::getenv(kDiscoveryVariable);
    const std::string mode = setting ? setting : "all";
    if (mode == "off") {
        return true;
    }
    if (mode == "all") {
        listEveryDevice(out);
    } else {
        listAddresses(splitAddresses(mode), out);
    }
    return true;
}

std::shared_ptr<CAravisBackend> aravisBackend() {
    static auto backend = std::make_shared<CAravisBackend>();
    return backend;
}

} // namespace Orvia::Aravis::Detail
