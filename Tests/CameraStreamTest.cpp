// Streams of simulated cameras: order of arrival, the buffer bound and its drop policies,
// frames held by consumers, fetch timeouts and wake-ups, frame ownership without copies,
// delivery modes, software trigger and the stream faults.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "CameraTestSupport.h"
#include "Orvia/GenICam/Frame.h"

namespace quboid3d::test {
namespace {

using namespace Orvia::GenICam;
using Orvia::Infra::CString;
using Orvia::Infra::TVector;
using Orvia::Sim::CScriptedFrames;
using Orvia::Sim::DeliveryMode;
using Orvia::Sim::DropPolicy;
using Orvia::Sim::SimChunk;
using Orvia::Sim::SimFaults;
using Orvia::Sim::SimFrame;

struct StreamingCamera {
    PluggedCamera plugged;
    std::shared_ptr<CScriptedFrames> frames = std::make_shared<CScriptedFrames>();
    TSharedPtr<IStreamSource> stream;
};

StreamingCamera startStream(const std::string& serial, int32_t buffers,
                            DropPolicy policy = DropPolicy::DropNewest) {
    StreamingCamera s;
    auto description = Orvia::Sim::laserCameraDescription(serial);
    description.dropPolicy = policy;
    s.plugged = plugLaserCamera(serial, true, &description);
    s.plugged.sim->setFrameGenerator(s.frames);
    s.stream = CSystem::getInstance().createStreamSource(s.plugged.camera, 0);
    if (s.stream) {
        s.stream->setBufferCount(buffers);
        s.stream->startGrabbing(0, 0);
    }
    return s;
}

void queueFrames(CScriptedFrames& frames, uint64_t firstTimestamp, int count) {
    for (int i = 0; i < count; ++i) {
        frames.pushMono8(4, 2, firstTimestamp + static_cast<uint64_t>(i), static_cast<uint8_t>(i));
    }
}

std::vector<uint64_t> fetchTimestamps(IStreamSource& stream, int count) {
    std::vector<uint64_t> stamps;
    for (int i = 0; i < count; ++i) {
        CFrame frame;
        if (!stream.getFrame(frame, 0)) {
            break;
        }
        stamps.push_back(frame.getImageTimeStamp());
    }
    return stamps;
}

TEST(CameraStreamTest, FramesComeOutInOrderOfArrivalWithTheirDescription) {
    auto s = startStream("ST1", 16);
    ASSERT_TRUE(s.stream && s.stream->isGrabbing());
    SimFrame chunked = SimFrame::fromBytes({1, 2, 3}, 3, 1, 0x01100003, 99);
    chunked.chunks = {SimChunk{7, {"PipelineResultTsHigh:1", "PipelineResultTsLow:0"}},
                      SimChunk{8, {"Other:x"}}};
    queueFrames(*s.frames, 10, 3);
    s.frames->push(chunked);
    EXPECT_EQ(s.plugged.sim->emitFrames(10), 4u); // the script holds four

    for (uint64_t i = 0; i < 3; ++i) {
        CFrame frame;
        ASSERT_TRUE(s.stream->getFrame(frame, 0));
        EXPECT_TRUE(frame.valid());
        EXPECT_EQ(frame.getFrameId(), i);
        EXPECT_EQ(frame.getImageTimeStamp(), 10 + i);
        EXPECT_EQ(frame.getImageWidth(), 4u);
        EXPECT_EQ(frame.getImageHeight(), 2u);
        EXPECT_EQ(frame.getImageSize(), 8u);
        EXPECT_EQ(frame.getImagePixelFormat(), 0x01080001u);
        EXPECT_EQ(frame.getImage()[0], i);
        EXPECT_EQ(frame.getChunkCount(), 0u);
    }
    CFrame last;
    ASSERT_TRUE(s.stream->getFrame(last, 0));
    EXPECT_EQ(last.getImagePixelFormat(), 0x01100003u);
    ASSERT_EQ(last.getChunkCount(), 2u);
    uint32_t id = 0;
    TVector<CString> texts;
    ASSERT_TRUE(last.getChunkDataByIndex(0, id, texts));
    EXPECT_EQ(id, 7u);
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_EQ(texts[0], CString("PipelineResultTsHigh:1"));
    EXPECT_EQ(texts[1], CString("PipelineResultTsLow:0"));
    ASSERT_TRUE(last.getChunkDataByIndex(1, id, texts));
    EXPECT_EQ(texts.size(), 3u); // appended
    EXPECT_FALSE(last.getChunkDataByIndex(2, id, texts));
}

TEST(CameraStreamTest, EveryFetchTimeoutIsRecordedAsTheStreamGotIt) {
    auto s = startStream("ST0", 4);
    ASSERT_TRUE(s.stream && s.stream->isGrabbing());
    queueFrames(*s.frames, 1, 1);
    ASSERT_EQ(s.plugged.sim->emitFrames(1), 1u);
    CFrame frame;
    EXPECT_TRUE(s.stream->getFrame(frame, 0));
    EXPECT_FALSE(s.stream->getFrame(frame, 1));
    EXPECT_FALSE(s.stream->getFrame(frame, 3));
    EXPECT_EQ(s.plugged.sim->fetchTimeouts(), (std::vector<uint32_t>{0, 1, 3}));
    s.plugged.sim->clearRecords();
    EXPECT_TRUE(s.plugged.sim->fetchTimeouts().empty());
}

TEST(CameraStreamTest, FetchRecordKeepsOnlyTheLatestFetches) {
    auto s = startStream("ST9", 4);
    ASSERT_TRUE(s.stream && s.stream->isGrabbing());
    CFrame frame;
    // Nothing is queued: the first five fetches wait 1 ms each, the rest not at all, the last 2 ms.
    const std::size_t fetches = Orvia::Sim::kRecordLimit + 5;
    for (std::size_t k = 0; k < fetches; ++k)
        EXPECT_FALSE(s.stream->getFrame(frame, k < 5 ? 1 : (k + 1 == fetches ? 2 : 0)));
    const std::vector<uint32_t> kept = s.plugged.sim->fetchTimeouts();
    ASSERT_EQ(kept.size(), Orvia::Sim::kRecordLimit);
    EXPECT_EQ(std::count(kept.begin(), kept.end(), 1u), 0) << "the five oldest let go";
    EXPECT_EQ(kept.back(), 2u);
}

TEST(CameraStreamTest, EmptyFrameGivesNothing) {
    CFrame frame;
    EXPECT_FALSE(frame.valid());
    EXPECT_EQ(frame.getImage(), nullptr);
    EXPECT_EQ(frame.getImageSize(), 0u);
    EXPECT_EQ(frame.getChunkCount(), 0u);
    uint32_t id = 5;
    TVector<CString> texts;
    EXPECT_FALSE(frame.getChunkDataByIndex(0, id, texts));
    EXPECT_EQ(id, 5u);
}

TEST(CameraStreamTest, FullPoolDropsTheNewestAndCountsIt) {
    auto s = startStream("ST2", 4);
    queueFrames(*s.frames, 100, 10);
    EXPECT_EQ(s.plugged.sim->emitFrames(10), 4u);
    EXPECT_EQ(s.stream->getDroppedFrameCount(), 6u);
    EXPECT_EQ(fetchTimestamps(*s.stream, 10), (std::vector<uint64_t>{100, 101, 102, 103}));
    const auto counters = s.plugged.sim->streamCounters();
    EXPECT_EQ(counters.captured, 4u);
    EXPECT_EQ(counters.dropped, 6u);
    EXPECT_EQ(counters.delivered, 4u);
}

TEST(CameraStreamTest, FullPoolDropsTheOldestWhenTheDeviceSaysSo) {
    auto s = startStream("ST3", 4, DropPolicy::DropOldest);
    queueFrames(*s.frames, 100, 10);
    EXPECT_EQ(s.plugged.sim->emitFrames(10), 10u);
    EXPECT_EQ(s.stream->getDroppedFrameCount(), 6u);
    EXPECT_EQ(fetchTimestamps(*s.stream, 10), (std::vector<uint64_t>{106, 107, 108, 109}));
}

std::vector<uint64_t> fetchIds(IStreamSource& stream, int count) {
    std::vector<uint64_t> ids;
    for (int i = 0; i < count; ++i) {
        CFrame frame;
        if (!stream.getFrame(frame, 0)) {
            break;
        }
        ids.push_back(frame.getFrameId());
    }
    return ids;
}

TEST(CameraStreamTest, FramesDroppedByAFullPoolLeaveAHoleInTheIds) {
    auto s = startStream("ST2H", 2);
    queueFrames(*s.frames, 100, 6);
    EXPECT_EQ(s.plugged.sim->emitFrames(4), 2u); // ids 2 and 3 find no buffer
    EXPECT_EQ(fetchIds(*s.stream, 2), (std::vector<uint64_t>{0, 1}));
    EXPECT_EQ(s.plugged.sim->emitFrames(2), 2u);
    EXPECT_EQ(fetchIds(*s.stream, 2), (std::vector<uint64_t>{4, 5}));
}

TEST(CameraStreamTest, FramesLostOnTheWayUseUpTheirIdsAndCountAsDropped) {
    auto s = startStream("ST2L", 16);
    SimFaults faults;
    faults.loseFramesFrom = 2;
    faults.loseFrameCount = 3;
    s.plugged.sim->setFaults(faults);
    queueFrames(*s.frames, 100, 8);
    EXPECT_EQ(s.plugged.sim->emitFrames(3), 3u); // the third is made after the three lost
    EXPECT_EQ(fetchTimestamps(*s.stream, 8), (std::vector<uint64_t>{100, 101, 105}));
    EXPECT_EQ(s.stream->getDroppedFrameCount(), 3u);
    EXPECT_EQ(s.plugged.sim->streamCounters().lost, 3u);
    EXPECT_EQ(s.plugged.sim->emitFrames(2), 2u);
    EXPECT_EQ(fetchIds(*s.stream, 8), (std::vector<uint64_t>{6, 7}));
}

TEST(CameraStreamTest, OnDemandFetchAfterLostFramesGetsTheNextOneAtOnce) {
    auto s = startStream("ST2D", 2);
    s.plugged.sim->setDeliveryMode(DeliveryMode::OnDemand);
    SimFaults faults;
    faults.loseFramesFrom = 1;
    faults.loseFrameCount = 4;
    s.plugged.sim->setFaults(faults);
    queueFrames(*s.frames, 0, 10);
    std::vector<uint64_t> ids;
    for (int i = 0; i < 3; ++i) {
        CFrame frame;
        ASSERT_TRUE(s.stream->getFrame(frame, 1000));
        ids.push_back(frame.getFrameId());
    }
    EXPECT_EQ(ids, (std::vector<uint64_t>{0, 5, 6}));
}

TEST(CameraStreamTest, FramesHeldByConsumersOccupyBuffers) {
    auto s = startStream("ST4", 2);
    queueFrames(*s.frames, 0, 6);
    ASSERT_EQ(s.plugged.sim->emitFrames(1), 1u);
    CFrame held;
    ASSERT_TRUE(s.stream->getFrame(held, 0));
    CFrame copy = held; // a copy holds the same buffer
    EXPECT_EQ(s.plugged.sim->emitFrames(1), 1u);
    EXPECT_EQ(s.plugged.sim->emitFrames(1), 0u); // one waiting, one held
    EXPECT_EQ(s.plugged.sim->streamCounters().held, 1u);
    held = CFrame();
    EXPECT_EQ(s.plugged.sim->emitFrames(1), 0u);
    copy = CFrame();
    EXPECT_EQ(s.plugged.sim->streamCounters().held, 0u);
    EXPECT_EQ(s.plugged.sim->emitFrames(1), 1u);
    EXPECT_EQ(s.stream->getDroppedFrameCount(), 2u);
}

TEST(CameraStreamTest, FetchingIntoAFrameGivesItsOldBufferBack) {
    auto s = startStream("ST5", 1);
    queueFrames(*s.frames, 0, 3);
    CFrame frame;
    ASSERT_EQ(s.plugged.sim->emitFrames(1), 1u);
    ASSERT_TRUE(s.stream->getFrame(frame, 0));
    EXPECT_FALSE(s.stream->getFrame(frame, 0)); // releases the buffer, finds nothing
    EXPECT_FALSE(frame.valid());
    EXPECT_EQ(s.plugged.sim->emitFrames(1), 1u);
}

TEST(CameraStreamTest, BufferCountTakesEffectAtTheNextStart) {
    auto s = startStream("ST6", 2);
    EXPECT_FALSE(s.stream->setBufferCount(0));
    EXPECT_TRUE(s.stream->setBufferCount(5));
    EXPECT_EQ(s.stream->getBufferCount(), 5);
    queueFrames(*s.frames, 0, 10);
    EXPECT_EQ(s.plugged.sim->emitFrames(5), 2u);
    ASSERT_TRUE(s.stream->stopGrabbing());
    ASSERT_TRUE(s.stream->startGrabbing(0, 0));
    EXPECT_EQ(s.plugged.sim->emitFrames(5), 5u);
}

TEST(CameraStreamTest, DrainingOldFramesTakesThemOldestFirst) {
    auto s = startStream("ST20", 40);
    queueFrames(*s.frames, 0, 40);
    ASSERT_EQ(s.plugged.sim->emitFrames(40), 40u);
    int drained = 0;
    for (int left = 32; left > 0; --left) {
        CFrame frame;
        if (!s.stream->getFrame(frame, 1)) {
            break;
        }
        ++drained;
    }
    EXPECT_EQ(drained, 32);
    EXPECT_EQ(fetchTimestamps(*s.stream, 40), (std::vector<uint64_t>{32, 33, 34, 35, 36, 37, 38, 39}));
}

TEST(CameraStreamTest, FetchWaitsForItsTimeoutWhenNothingArrives) {
    auto s = startStream("ST7", 4);
    CFrame frame;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(s.stream->getFrame(frame, 30));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
    EXPECT_FALSE(frame.valid());
    EXPECT_TRUE(s.plugged.camera->isConnected());
}

TEST(CameraStreamTest, BlockedFetchTakesAFrameThatArrivesFromAnotherThread) {
    auto s = startStream("ST8", 4);
    queueFrames(*s.frames, 42, 1);
    CFrame frame;
    bool got = false;
    std::thread consumer([&] { got = s.stream->getFrame(frame, 60000); });
    EXPECT_EQ(s.plugged.sim->emitFrames(1), 1u);
    consumer.join();
    ASSERT_TRUE(got);
    EXPECT_EQ(frame.getImageTimeStamp(), 42u);
}

TEST(CameraStreamTest, StopWakesABlockedFetch) {
    auto s = startStream("ST9", 4);
    bool got = true;
    std::thread consumer([&] {
        CFrame frame;
        got = s.stream->getFrame(frame, 60000);
    });
    EXPECT_TRUE(s.stream->stopGrabbing());
    consumer.join();
    EXPECT_FALSE(got);
    EXPECT_FALSE(s.stream->isGrabbing());
    EXPECT_FALSE(s.stream->stopGrabbing());
}

TEST(CameraStreamTest, LostDeviceWakesABlockedFetch) {
    auto s = startStream("ST10", 4);
    bool got = true;
    std::thread consumer([&] {
        CFrame frame;
        got = s.stream->getFrame(frame, 60000);
    });
    s.plugged.sim->unplug();
    consumer.join();
    EXPECT_FALSE(got);
    EXPECT_FALSE(s.plugged.camera->isConnected());
    EXPECT_FALSE(s.stream->isGrabbing());
}

TEST(CameraStreamTest, StopDropsWaitingFramesButHeldOnesStayReadable) {
    auto s = startStream("ST11", 4);
    queueFrames(*s.frames, 0, 3);
    s.plugged.sim->emitFrames(3);
    CFrame held;
    ASSERT_TRUE(s.stream->getFrame(held, 0));
    s.stream->stopGrabbing();
    EXPECT_EQ(held.getImageTimeStamp(), 0u);
    EXPECT_EQ(held.getImage()[7], 0);
    s.stream->startGrabbing(0, 0);
    CFrame none;
    EXPECT_FALSE(s.stream->getFrame(none, 0));
}

TEST(CameraStreamTest, FrameReadsTheGeneratorsBufferAndKeepsItAlive) {
    CFrame frame;
    const uint8_t* generated = nullptr;
    {
        auto s = startStream("ST12", 4);
        SimFrame source = SimFrame::fromBytes(std::vector<uint8_t>(2048 * 4, 0x5A), 2048, 4, 0x01080001, 1);
        generated = source.data;
        s.frames->push(source);
        source = SimFrame{};
        ASSERT_EQ(s.plugged.sim->emitFrames(1), 1u);
        ASSERT_TRUE(s.stream->getFrame(frame, 0));
        EXPECT_EQ(frame.getImage(), generated); // no copy between generator and consumer
    }                                           // stream, camera, generator and device are gone
    ASSERT_TRUE(frame.valid());
    EXPECT_EQ(frame.getImage(), generated);
    EXPECT_EQ(frame.getImage()[2048 * 4 - 1], 0x5A);
}

TEST(CameraStreamTest, StalledDeviceSendsNothingWhileConnected) {
    auto s = startStream("ST13", 4);
    queueFrames(*s.frames, 0, 2);
    SimFaults faults;
    faults.stallFrames = true;
    s.plugged.sim->setFaults(faults);
    EXPECT_EQ(s.plugged.sim->emitFrames(2), 0u);
    CFrame frame;
    EXPECT_FALSE(s.stream->getFrame(frame, 5));
    EXPECT_TRUE(s.plugged.camera->isConnected());
    s.plugged.sim->setFaults(SimFaults{});
    EXPECT_EQ(s.plugged.sim->emitFrames(2), 2u);
}

TEST(CameraStreamTest, StartNeedsAConnectedIdleDeviceAndCanBeMadeToFail) {
    auto plugged = plugLaserCamera("ST14", false);
    auto& system = CSystem::getInstance();
    auto stream = system.createStreamSource(plugged.camera, 0);
    ASSERT_TRUE(stream);
    EXPECT_FALSE(stream->startGrabbing(0, 0)); // not connected
    plugged.camera->connect(AccessModeControl);
    SimFaults faults;
    faults.failStreamStart = true;
    plugged.sim->setFaults(faults);
    EXPECT_FALSE(stream->startGrabbing(0, 0));
    plugged.sim->setFaults(SimFaults{});
    EXPECT_FALSE(stream->startGrabbing(0, 1)); // no such strategy
    EXPECT_TRUE(stream->startGrabbing(0, 0));
    EXPECT_FALSE(stream->startGrabbing(0, 0)); // already grabbing
    auto another = system.createStreamSource(plugged.camera, 0);
    EXPECT_TRUE(another->isGrabbing()); // a view on the same stream
    EXPECT_TRUE(plugged.camera->disconnect());
    EXPECT_FALSE(stream->isGrabbing());
}

TEST(CameraStreamTest, FrameLimitEndsCapture) {
    auto plugged = plugLaserCamera("ST15");
    auto frames = std::make_shared<CScriptedFrames>();
    plugged.sim->setFrameGenerator(frames);
    auto stream = CSystem::getInstance().createStreamSource(plugged.camera, 0);
    ASSERT_TRUE(stream->startGrabbing(3, 0));
    queueFrames(*frames, 0, 5);
    EXPECT_EQ(plugged.sim->emitFrames(5), 3u);
}

TEST(CameraStreamTest, SoftwareTriggerExposesOneFrame) {
    auto s = startStream("ST16", 4);
    queueFrames(*s.frames, 5, 2);
    auto acquisition = CSystem::getInstance().createAcquisitionControl(s.plugged.camera);
    auto trigger = acquisition->triggerCommandNode();
    ASSERT_TRUE(trigger.execute());
    EXPECT_EQ(fetchTimestamps(*s.stream, 2), (std::vector<uint64_t>{5}));
}

TEST(CameraStreamTest, OnDemandDeviceMakesTheFrameTheConsumerAsksFor) {
    auto s = startStream("ST17", 2);
    s.plugged.sim->setDeliveryMode(DeliveryMode::OnDemand);
    queueFrames(*s.frames, 0, 50);
    for (uint64_t i = 0; i < 50; ++i) {
        CFrame frame;
        ASSERT_TRUE(s.stream->getFrame(frame, 1000));
        EXPECT_EQ(frame.getImageTimeStamp(), i);
    }
    CFrame none;
    EXPECT_FALSE(s.stream->getFrame(none, 1)); // the script is used up
    EXPECT_EQ(s.stream->getDroppedFrameCount(), 0u);
}

TEST(CameraStreamTest, PacedDeviceDeliversFromItsOwnThread) {
    auto plugged = plugLaserCamera("ST18");
    auto frames = std::make_shared<CScriptedFrames>();
    queueFrames(*frames, 0, 20);
    plugged.sim->setFrameGenerator(frames);
    plugged.sim->setDeliveryMode(DeliveryMode::Paced, 2000.0);
    auto stream = CSystem::getInstance().createStreamSource(plugged.camera, 0);
    stream->setBufferCount(32);
    ASSERT_TRUE(stream->startGrabbing(0, 0));
    for (uint64_t i = 0; i < 20; ++i) {
        CFrame frame;
        ASSERT_TRUE(stream->getFrame(frame, 60000));
        EXPECT_EQ(frame.getImageTimeStamp(), i);
        EXPECT_EQ(frame.getFrameId(), i);
    }
    EXPECT_TRUE(stream->stopGrabbing());
    EXPECT_EQ(stream->getDroppedFrameCount(), 0u);
}

TEST(CameraStreamTest, ConsumerThatKeepsUpLosesNothing) {
    auto plugged = plugLaserCamera("ST19");
    auto frames = std::make_shared<CScriptedFrames>();
    queueFrames(*frames, 0, 500);
    plugged.sim->setFrameGenerator(frames);
    auto stream = CSystem::getInstance().createStreamSource(plugged.camera, 0);
    stream->setBufferCount(4);
    ASSERT_TRUE(stream->startGrabbing(0, 0));
    // The producer offers a frame only once the consumer has taken the one before, so the
    // consumer always keeps up, whatever the scheduling.
    CEventLatch taken;
    std::vector<uint64_t> seen;
    std::thread consumer([&] {
        for (int i = 0; i < 500; ++i) {
            CFrame frame;
            if (!stream->getFrame(frame, 60000)) {
                return;
            }
            seen.push_back(frame.getImageTimeStamp());
            frame = CFrame();
            taken.arrive();
        }
    });
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(plugged.sim->emitFrames(1), 1u);
        ASSERT_TRUE(taken.waitFor(i + 1));
    }
    consumer.join();
    ASSERT_EQ(seen.size(), 500u);
    for (uint64_t i = 0; i < 500; ++i) {
        EXPECT_EQ(seen[i], i);
    }
    EXPECT_EQ(stream->getDroppedFrameCount(), 0u);
}

} // namespace
} // namespace quboid3d::test
