// Frames that reach the Aravis backend unfinished or behind a newer one, sent to the stream's port
// on 127.0.0.1 by the test itself (the virtual camera's server waits for a software trigger that
// never comes). Aravis hands its buffers back in the order their frames began; a frame that loses
// its leader comes back unfinished with the id its buffer held before (0 for a buffer never used),
// and a frame more than 100 ids behind the newest comes back complete after the newer ones. Either
// way the camera API hands out frames whose numbers only go up, never the late or unfinished one,
// and the stream's dropped count counts each frame the device sent and the host never got once.
//
// The stream has four buffers and every burst fits in them: a frame that found none would be a
// loss of another kind. Each frame's pixels are the low byte of its id, so the test sees which
// frame it got.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <ostream>
#include <utility>
#include <vector>

#include "Network/GvspSender.h"
#include "Network/SentFramesTest.h"
#include "Orvia/GenICam/Frame.h"
#include "Orvia/GenICam/Node.h"
#include "Orvia/GenICam/StreamSource.h"
#include "Orvia/GenICam/System.h"

namespace {

using namespace Orvia::GenICam;
using quboid3d::test::CGvspSender;
using quboid3d::test::GvspFrame;
using quboid3d::test::GvspPackets;

// Aravis keeps an unfinished frame 100 ms before it gives up on it; the frames after it wait.
constexpr uint32_t kFrameTimeoutMs = 3000;
constexpr int32_t kBuffers = 4;
// More frames than any burst sends: the bound of every loop that takes frames.
constexpr int kMostFramesTaken = 16;
constexpr uint32_t kMono8 = 0x01080001;
constexpr uint32_t kImageWidth = 16;
constexpr uint32_t kImageHeight = 2;

constexpr GvspPackets kWhole = GvspPackets::All;
constexpr GvspPackets kLeaderLost = GvspPackets::Payload | GvspPackets::Trailer;
constexpr GvspPackets kTrailerLost = GvspPackets::Leader | GvspPackets::Payload;

// A frame as the camera API handed it out: its running number and the mark in its pixels.
struct Taken {
    uint64_t number = 0;
    uint8_t mark = 0;
    bool operator==(const Taken&) const = default;
};

void PrintTo(const Taken& taken, std::ostream* out) {
    *out << "{number " << taken.number << ", mark " << int(taken.mark) << "}";
}

uint8_t markOf(uint16_t frameId) {
    return static_cast<uint8_t>(frameId & 0xFF);
}

GvspFrame markedFrame(uint16_t frameId) {
    GvspFrame frame;
    frame.frameId = frameId;
    frame.width = kImageWidth;
    frame.height = kImageHeight;
    frame.pixelFormat = kMono8;
    frame.payload.assign(kImageWidth * kImageHeight, markOf(frameId));
    return frame;
}

class AravisLateFrameTest : public quboid3d::test::CSentFramesTest {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(bringUp({"--address", "127.0.0.1"}, kBuffers));
        sender = std::make_unique<CGvspSender>(streamPort);
        // The count goes on across connections of the device.
        droppedBefore = stream->getDroppedFrameCount();
    }

    void send(std::initializer_list<std::pair<uint16_t, GvspPackets>> frames) {
        for (const auto& [frameId, packets] : frames) {
            ASSERT_TRUE(sender->send(markedFrame(frameId), packets));
        }
    }

    // The frames handed out up to and with the one marked as `lastId`'s; the buffers go back.
    std::vector<Taken> takeThrough(uint16_t lastId) {
        std::vector<Taken> taken;
        for (int i = 0; i < kMostFramesTaken; ++i) {
            CFrame frame;
            if (!stream->getFrame(frame, kFrameTimeoutMs)) {
                ADD_FAILURE() << "no frame came after " << taken.size();
                break;
            }
            taken.push_back({frame.getFrameId(), frame.getImage()[0]});
            if (taken.back().mark == markOf(lastId)) {
                break;
            }
        }
        return taken;
    }

    // Whole frames sent and taken one at a time: each of the buffers has held a frame.
    void sendWholeAndTake(uint16_t firstId, int count) {
        for (int i = 0; i < count; ++i) {
            const auto frameId = static_cast<uint16_t>(firstId + i);
            send({{frameId, kWhole}});
            ASSERT_EQ(takeThrough(frameId), (std::vector<Taken>{{uint64_t(i), markOf(frameId)}}));
        }
    }

    uint64_t droppedSinceStart() const { return stream->getDroppedFrameCount() - droppedBefore; }

    std::unique_ptr<CGvspSender> sender;
    uint64_t droppedBefore = 0;
};

TEST_F(AravisLateFrameTest, AFrameWhoseLeaderWasLostIsAHoleCountedOnce) {
    sendWholeAndTake(100, kBuffers);
    // Three times over: the buffer of each such frame comes back with an older frame's id.
    uint64_t number = kBuffers - 1;
    for (uint16_t lost = 104; lost < 113; lost += 3) {
        send({{lost, kLeaderLost}, {uint16_t(lost + 1), kWhole}, {uint16_t(lost + 2), kWhole}});
        EXPECT_EQ(takeThrough(lost + 2),
                  (std::vector<Taken>{{number + 2, markOf(lost + 1)}, {number + 3, markOf(lost + 2)}}));
        number += 3;
    }
    EXPECT_EQ(droppedSinceStart(), 3u);
    // Every buffer came back: four whole frames at once are all handed out.
    send({{113, kWhole}, {114, kWhole}, {115, kWhole}, {116, kWhole}});
    EXPECT_EQ(takeThrough(116), (std::vector<Taken>{{number + 1, markOf(113)},
                                                    {number + 2, markOf(114)},
                                                    {number + 3, markOf(115)},
                                                    {number + 4, markOf(116)}}));
    EXPECT_EQ(droppedSinceStart(), 3u);
}

TEST_F(AravisLateFrameTest, AFrameWhoseLeaderWasLostOnANewBufferIsAHoleCountedOnce) {
    // The second frame's buffer was never used: it comes back with id 0, far behind the first.
    send({{1000, kWhole}, {1001, kLeaderLost}, {1002, kWhole}, {1003, kWhole}});
    EXPECT_EQ(takeThrough(1003),
              (std::vector<Taken>{{0, markOf(1000)}, {2, markOf(1002)}, {3, markOf(1003)}}));
    EXPECT_EQ(droppedSinceStart(), 1u);
}

TEST_F(AravisLateFrameTest, AFrameCutShortAfterItsLeaderIsAHoleCountedOnce) {
    sendWholeAndTake(20, kBuffers);
    send({{24, kTrailerLost}, {25, kWhole}, {26, kWhole}});
    EXPECT_EQ(takeThrough(26), (std::vector<Taken>{{5, markOf(25)}, {6, markOf(26)}}));
    EXPECT_EQ(droppedSinceStart(), 1u);
}

TEST_F(AravisLateFrameTest, UnfinishedFramesBeforeTheFirstWholeOneCountOnceEach) {
    // Numbers start at the first whole frame; the two before it leave no hole and count as
    // incomplete.
    send({{2000, kLeaderLost}, {2001, kTrailerLost}, {2002, kWhole}, {2003, kWhole}});
    EXPECT_EQ(takeThrough(2003), (std::vector<Taken>{{0, markOf(2002)}, {1, markOf(2003)}}));
    EXPECT_EQ(droppedSinceStart(), 2u);
}

TEST_F(AravisLateFrameTest, AFrameFarBehindTheNewestIsNotHandedOut) {
    sendWholeAndTake(1000, kBuffers);
    // 150 behind: Aravis passes it on as a new frame, after 1003.
    send({{850, kWhole}, {1004, kWhole}});
    EXPECT_EQ(takeThrough(1004), (std::vector<Taken>{{4, markOf(1004)}}));
    EXPECT_EQ(droppedSinceStart(), 0u);
}

TEST_F(AravisLateFrameTest, LateAndUnfinishedFramesAcrossTheWrapOfShortIds) {
    sendWholeAndTake(65531, kBuffers);
    // 65535 loses its leader; the ids go on at 1, as 65535 is followed by 1.
    send({{65535, kLeaderLost}, {1, kWhole}, {2, kWhole}});
    EXPECT_EQ(takeThrough(2), (std::vector<Taken>{{5, markOf(1)}, {6, markOf(2)}}));
    EXPECT_EQ(droppedSinceStart(), 1u);
    // 138 behind across the wrap, passed on by Aravis after 2.
    send({{65400, kWhole}, {3, kWhole}});
    EXPECT_EQ(takeThrough(3), (std::vector<Taken>{{7, markOf(3)}}));
    EXPECT_EQ(droppedSinceStart(), 1u);
}

} // namespace
