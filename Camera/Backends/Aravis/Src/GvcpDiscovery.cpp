#include "GvcpDiscovery.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>

namespace Orvia::Aravis::Detail {

namespace {

constexpr uint16_t kGvcpPort = 3956;
constexpr uint8_t kGvcpKey = 0x42;
constexpr uint8_t kAckRequired = 0x01;
constexpr uint16_t kDiscoveryCommand = 0x0002;
constexpr uint16_t kDiscoveryAck = 0x0003;
constexpr size_t kHeaderBytes = 8;
// The answer repeats the bootstrap registers; these are their offsets.
constexpr size_t kManufacturerOffset = 0x48;
constexpr size_t kModelOffset = 0x68;
constexpr size_t kSerialOffset = 0xD8;
constexpr size_t kNameBytes = 32;
constexpr size_t kSerialBytes = 16;
constexpr size_t kAckBytes = kHeaderBytes + 0xF8;

std::string fieldText(const uint8_t* payload, size_t offset, size_t size) {
    const char* text = reinterpret_cast<const char*>(payload + offset);
    return std::string(text, strnlen(text, size));
}

class CUdpSocket {
public:
    CUdpSocket() : fd_(::socket(AF_INET, SOCK_DGRAM, 0)) {}
    ~CUdpSocket() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    CUdpSocket(const CUdpSocket&) = delete;
    CUdpSocket& operator=(const CUdpSocket&) = delete;
    int fd() const { return fd_; }

private:
    int fd_;
};

bool askOne(const std::string& address, uint16_t requestId, std::chrono::milliseconds wait,
            GvcpDevice& found) {
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(kGvcpPort);
    if (::inet_pton(AF_INET, address.c_str(), &target.sin_addr) != 1) {
        return false;
    }
    CUdpSocket socket;
    if (socket.fd() < 0) {
        return false;
    }
    const std::array<uint8_t, kHeaderBytes> command{kGvcpKey,
                                                    kAckRequired,
                                                    0,
                                                    kDiscoveryCommand,
                                                    0,
                                                    0,
                                                    static_cast<uint8_t>(requestId >> 8),
                                                    static_cast<uint8_t>(requestId & 0xFF)};
    if (::sendto(socket.fd(), command.data(), command.size(), 0, reinterpret_cast<const sockaddr*>(&target),
                 sizeof(target)) != static_cast<ssize_t>(command.size())) {
        return false;
    }
    pollfd ready{socket.fd(), POLLIN, 0};
    if (::poll(&ready, 1, static_cast<int>(wait.count())) != 1) {
        return false;
    }
    std::array<uint8_t, 576> answer{};
    const ssize_t got = ::recv(socket.fd(), answer.data(), answer.size(), 0);
    const uint16_t kind = static_cast<uint16_t>(answer[2] << 8 | answer[3]);
    if (got < static_cast<ssize_t>(kAckBytes) || kind != kDiscoveryAck) {
        return false;
    }
    const uint8_t* payload = answer.data() + kHeaderBytes;
    found.address = address;
    found.vendor = fieldText(payload, kManufacturerOffset, kNameBytes);
    found.model = fieldText(payload, kModelOffset, kNameBytes);
    found.serial = fieldText(payload, kSerialOffset, kSerialBytes);
    return true;
}

} // namespace

std::vector<GvcpDevice> discoverByUnicast(const std::vector<std::string>& addresses,
                                          std::chrono::milliseconds wait) {
    std::vector<GvcpDevice> devices;
    uint16_t requestId = 1;
    for (const auto& address : addresses) {
        GvcpDevice device;
        if (askOne(address, requestId++, wait, device)) {
            devices.push_back(std::move(device));
        }
    }
    return devices;
}

} // namespace Orvia::Aravis::Detail
