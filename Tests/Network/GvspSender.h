// Frames sent as a GigE Vision camera sends them, from the test's own UDP socket to a stream's
// port on 127.0.0.1: a leader, the payload in one data packet, a trailer. For what the virtual
// camera's server never sends (chunk data). POSIX only, as the network tests are.
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

class CGvspSender {
public:
    explicit CGvspSender(uint16_t port);
    ~CGvspSender();
    CGvspSender(const CGvspSender&) = delete;
    CGvspSender& operator=(const CGvspSender&) = delete;

    // False if a packet could not be sent, or the payload does not fit one data packet.
    bool send(const GvspFrame& frame);

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
