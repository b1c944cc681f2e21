#include "GvspSender.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quboid3d::test {

namespace {

constexpr uint8_t kLeader = 0x01;
constexpr uint8_t kTrailer = 0x02;
constexpr uint8_t kDataPayload = 0x03;
constexpr uint16_t kPayloadTypeImage = 0x0001;
constexpr uint16_t kChunkBit = 0x4000;
// A data packet of 9000 bytes less the IP, UDP and stream headers, as the camera is set up.
constexpr std::size_t kLargestPayload = 9000 - 20 - 8 - 8;

// Status 0, the 16-bit frame id, then the content type over the packet id.
std::vector<uint8_t> packetHeader(uint16_t frameId, uint8_t content, uint32_t packetId) {
    std::vector<uint8_t> packet;
    appendBigEndian(packet, 0, 2);
    appendBigEndian(packet, frameId, 2);
    appendBigEndian(packet, (uint32_t(content) << 24) | packetId, 4);
    return packet;
}

uint16_t payloadType(const GvspFrame& frame) {
    return frame.hasChunks ? kPayloadTypeImage | kChunkBit : kPayloadTypeImage;
}

std::vector<uint8_t> leader(const GvspFrame& frame) {
    auto packet = packetHeader(frame.frameId, kLeader, 0);
    appendBigEndian(packet, 0, 2); // flags
    appendBigEndian(packet, payloadType(frame), 2);
    appendBigEndian(packet, 0, 8); // timestamp
    appendBigEndian(packet, frame.pixelFormat, 4);
    appendBigEndian(packet, frame.width, 4);
    appendBigEndian(packet, frame.height, 4);
    appendBigEndian(packet, 0, 4); // offset x
    appendBigEndian(packet, 0, 4); // offset y
    appendBigEndian(packet, 0, 2); // padding x
    appendBigEndian(packet, 0, 2); // padding y
    return packet;
}

std::vector<uint8_t> dataPacket(const GvspFrame& frame) {
    auto packet = packetHeader(frame.frameId, kDataPayload, 1);
    packet.insert(packet.end(), frame.payload.begin(), frame.payload.end());
    return packet;
}

std::vector<uint8_t> trailer(const GvspFrame& frame) {
    auto packet = packetHeader(frame.frameId, kTrailer, 2);
    appendBigEndian(packet, 0, 2); // reserved
    appendBigEndian(packet, payloadType(frame), 2);
    appendBigEndian(packet, frame.height, 4);
    return packet;
}

} // namespace

void appendBigEndian(std::vector<uint8_t>& bytes, uint64_t value, int byteCount) {
    for (int shift = 8 * (byteCount - 1); shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<uint8_t>(value >> shift));
    }
}

void appendChunk(std::vector<uint8_t>& payload, uint32_t chunkId, const std::vector<uint8_t>& data) {
    payload.insert(payload.end(), data.begin(), data.end());
    appendBigEndian(payload, chunkId, 4);
    appendBigEndian(payload, data.size(), 4);
}

CGvspSender::CGvspSender(uint16_t port) : socket_(::socket(AF_INET, SOCK_DGRAM, 0)), port_(port) {}

CGvspSender::~CGvspSender() {
    if (socket_ >= 0) {
        ::close(socket_);
    }
}

bool CGvspSender::sendPacket(const std::vector<uint8_t>& packet) {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port_);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const auto sent =
        ::sendto(socket_, packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    return sent == static_cast<ssize_t>(packet.size());
}

bool CGvspSender::send(const GvspFrame& frame, GvspPackets packets) {
    if (socket_ < 0 || frame.payload.size() > kLargestPayload) {
        return false;
    }
    return (!has(packets, GvspPackets::Leader) || sendPacket(leader(frame))) &&
           (!has(packets, GvspPackets::Payload) || sendPacket(dataPacket(frame))) &&
           (!has(packets, GvspPackets::Trailer) || sendPacket(trailer(frame)));
}

} // namespace quboid3d::test
