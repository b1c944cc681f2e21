// GigE Vision discovery of chosen addresses by unicast, with no broadcast: what a process uses
// when it must stay on given addresses (the network tests keep to 127.0.0.x). Linux sockets.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace Orvia::Aravis::Detail {

struct GvcpDevice {
    std::string address;
    std::string vendor;
    std::string model;
    std::string serial;
};

// Asks each address once and waits up to `wait` for each answer; lists those that answered.
std::vector<GvcpDevice> discoverByUnicast(const std::vector<std::string>& addresses,
                                          std::chrono::milliseconds wait);

} // namespace Orvia::Aravis::Detail
