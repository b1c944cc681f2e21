// Frames sent as a GigE Vision camera sends them, from the test's own UDP socket to a stream's
// port on 127.0.0.1: a leader, the payload in one data packet, a trailer. For what the virtual
// camera's server never sends: chunk data, and frames that lose packets on the way (any of the
// three left out). POSIX only, as the network tests are.
#pragma once

#include <cstdint>
#include <vector>

namespace quboid3d::test {

struct GvspFrame {
    uint16_t frameId = 1;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t pixelFormat = 0;
    bool hasChunks = false;       // the payload type's chunk bit: chunks follow the image
    std::vector<uint8_t> payload; // the image, then each chunk's data with its id and length
};

// Which packets of a frame go out; a frame that lacks one reaches the receiver unfinished.
enum class GvspPackets : unsigned {
    Leader = 1,
    Payload = 2,
    Trailer = 4,
    All = 7,
};
constexpr GvspPackets operator|(GvspPackets a, GvspPackets b) {
    return static_cast<GvspPackets>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}
constexpr bool has(GvspPackets set, GvspPackets one) {
    return (static_cast<unsigned>(set) & static_cast<unsigned>(one)) != 0;
}

class CGvspSender {
public:
    explicit CGvspSender(uint16_t port);
    ~CGvspSender();
    CGvspSender(const CGvspSender&) = delete;
    CGvspSender& operator=(const CGvspSender&) = delete;

    // Sends the packets of `frame` that `packets` names, in their order. False if a packet could
    // not be sent, or the payload does not fit one data packet.
    bool send(const GvspFrame& frame, GvspPackets packets = GvspPackets::All);

private:
    bool sendPacket(const std::vector<uint8_t>& packet);

    int socket_ = -1;
    uint16_t port_;
};

// Appends `value` to `bytes` in network order (big-endian), as GigE Vision numbers go.
void appendBigEndian(std::vector<uint8_t>& bytes, uint64_t value, int byteCount);
// One chunk as it follows the image: its data, then its id and length, both big-endian.
void appendChunk(std::vector<uint8_t>& payload, uint32_t chunkId, const std::vector<uint8_t>& data);

} // namespace quboid3d::test
