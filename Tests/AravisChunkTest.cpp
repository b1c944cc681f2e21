// Chunk data through the Aravis backend: frames that carry chunks after their image reach the
// camera API as "Name:value" texts, named as the device's ChunkSelector names them. The virtual
// camera describes two chunks (--chunks) but its server sends none, so the stream is started on a
// software trigger that never comes and the test sends the frames to the stream's port itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "Network/GvspSender.h"
#include "Network/SentFramesTest.h"
#include "Orvia/GenICam/Frame.h"
#include "Orvia/GenICam/Node.h"
#include "Orvia/GenICam/StreamSource.h"
#include "Orvia/GenICam/System.h"

namespace {

using namespace Orvia::GenICam;
using Orvia::Infra::CString;
using Orvia::Infra::TVector;
using quboid3d::test::appendBigEndian;
using quboid3d::test::appendChunk;
using quboid3d::test::CGvspSender;
using quboid3d::test::GvspFrame;

constexpr uint32_t kFrameTimeoutMs = 2000;
constexpr uint32_t kMono8 = 0x01080001;
// The chunk ids of the virtual camera's description.
constexpr uint32_t kFrameCounterChunk = 0xA001;
constexpr uint32_t kExposureTimeChunk = 0xA002;
constexpr uint32_t kImageWidth = 16;
constexpr uint32_t kImageHeight = 2;

std::vector<uint8_t> bigEndian(uint64_t value, int byteCount) {
    std::vector<uint8_t> bytes;
    appendBigEndian(bytes, value, byteCount);
    return bytes;
}

std::vector<uint8_t> bigEndianDouble(double value) {
    uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bigEndian(bits, 8);
}

// A small Mono8 image, then the chunks given.
GvspFrame frameWith(uint16_t frameId, const std::vector<std::pair<uint32_t, std::vector<uint8_t>>>& chunks) {
    GvspFrame frame;
    frame.frameId = frameId;
    frame.width = kImageWidth;
    frame.height = kImageHeight;
    frame.pixelFormat = kMono8;
    frame.hasChunks = !chunks.empty();
    frame.payload.assign(kImageWidth * kImageHeight, 0x40);
    for (const auto& [id, data] : chunks) {
        appendChunk(frame.payload, id, data);
    }
    return frame;
}

std::vector<std::string> chunkTexts(const CFrame& frame) {
    std::vector<std::string> texts;
    for (uint32_t index = 0; index < frame.getChunkCount(); ++index) {
        uint32_t chunkId = 0;
        TVector<CString> some;
        if (frame.getChunkDataByIndex(index, chunkId, some)) {
            for (const auto& text : some) {
                texts.emplace_back(text.c_str());
            }
        }
    }
    return texts;
}

class AravisChunkTest : public quboid3d::test::CSentFramesTest {
protected:
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(bringUp({"--address", "127.0.0.1", "--chunks"})); }

    // Sends `sent` and takes the frame the stream makes of it.
    void sendAndTake(const GvspFrame& sent, CFrame& frame) {
        CGvspSender sender(streamPort);
        ASSERT_TRUE(sender.send(sent));
        ASSERT_TRUE(stream->getFrame(frame, kFrameTimeoutMs));
        // Frames are numbered from 0 at acquisition start, whatever number the device sent.
        EXPECT_EQ(frame.getFrameId(), 0U);
    }
};

TEST_F(AravisChunkTest, ChunksAfterTheImageBecomeNameValueTexts) {
    CFrame frame;
    sendAndTake(frameWith(1, {{kExposureTimeChunk, bigEndianDouble(250.5)},
                              {kFrameCounterChunk, bigEndian(1234, 4)}}),
                frame);
    // The texts come in the order of the device's chunk names, which the test does not fix.
    auto texts = chunkTexts(frame);
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(texts, (std::vector<std::string>{"ExposureTime:250.500000", "FrameCounter:1234"}));
    EXPECT_EQ(frame.getImageWidth(), kImageWidth);
    EXPECT_EQ(frame.getImageHeight(), kImageHeight);
}

TEST_F(AravisChunkTest, AChunkTheFrameDoesNotCarryIsLeftOut) {
    CFrame frame;
    sendAndTake(frameWith(1, {{kFrameCounterChunk, bigEndian(7, 4)}}), frame);
    EXPECT_EQ(chunkTexts(frame), (std::vector<std::string>{"FrameCounter:7"}));
}

TEST_F(AravisChunkTest, AFrameWithoutChunksHasNone) {
    CFrame frame;
    sendAndTake(frameWith(1, {}), frame);
    EXPECT_EQ(frame.getChunkCount(), 0u);
}

} // namespace
