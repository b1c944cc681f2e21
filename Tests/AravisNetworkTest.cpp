// The camera library's Aravis backend against the virtual laser camera on 127.0.0.1: discovery,
// features through the node tree, the private data area, frames in reused buffers, and a camera
// that vanishes or is switched off while frames are taken.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "Network/VirtualCameraProcess.h"
#include "Orvia/GenICam/EventSubscribe.h"
#include "Orvia/GenICam/Frame.h"
#include "Orvia/GenICam/Node.h"
#include "Orvia/GenICam/StreamSource.h"
#include "Orvia/GenICam/System.h"

namespace {

using namespace Orvia::GenICam;
using Orvia::Infra::CString;
using Orvia::Infra::TVector;
using Orvia::Memory::TSharedPtr;
using quboid3d::test::CVirtualCameraProcess;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kStartLimit{20000};
constexpr uint32_t kAccessControl = 3;
constexpr uint32_t kFrameTimeoutMs = 2000;
constexpr int kPrivateAreaBytes = 32768;
#ifndef QUBOID3D_LOST_CLOSE_LIMIT_MS
#define QUBOID3D_LOST_CLOSE_LIMIT_MS 100
#endif
constexpr std::chrono::milliseconds kLostCloseLimit{QUBOID3D_LOST_CLOSE_LIMIT_MS};

// Asks up to `attempts` times: a camera just switched on may miss the first question.
TSharedPtr<ICamera> findVirtualCamera(int attempts = 10) {
    for (int attempt = 0; attempt < attempts; ++attempt) {
        TVector<TSharedPtr<ICamera>> cameras;
        CSystem::getInstance().discovery(cameras);
        for (const auto& camera : cameras) {
            if (std::string(camera->getModelName()) == "MV-DL2048-G0X") {
                return camera;
            }
        }
    }
    return nullptr;
}

// Connection events as they arrive on the library's event thread.
class CEventLog {
public:
    void record(const ConnectArgs& args) {
        std::lock_guard lock(mutex_);
        states_.push_back(args.state);
        arrived_.notify_all();
    }
    bool waitForState(uint32_t state, std::chrono::milliseconds limit) {
        std::unique_lock lock(mutex_);
        return arrived_.wait_for(
            lock, limit, [&] { return std::find(states_.begin(), states_.end(), state) != states_.end(); });
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<uint32_t> states_;
};

class AravisNetworkTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.start({"--address", "127.0.0.1", "--fps", "50"}, kStartLimit)) << server.banner();
        camera = findVirtualCamera();
        ASSERT_NE(camera, nullptr);
    }
    void TearDown() override {
        if (camera && camera->isConnected()) {
            camera->disconnect();
        }
        server.stop();
    }

    CVirtualCameraProcess server;
    TSharedPtr<ICamera> camera;
};

TEST_F(AravisNetworkTest, DiscoveryListsTheVirtualCameraAsAGigEVisionLaserCamera) {
    EXPECT_EQ(camera->getInterfaceKind(), 0);
    EXPECT_STREQ(camera->getVendorName(), "Quboid3D Virtual");
    EXPECT_EQ(std::string(camera->getKey()).rfind("arv:", 0), 0u);
    EXPECT_NE(std::string(camera->getDeviceIdentity()).find("127.0.0.1"), std::string::npos);
    EXPECT_NE(std::string(camera->getDisplayName()).find("VLC0001"), std::string::npos);
    EXPECT_FALSE(camera->isConnected());
    // The same device keeps its object from one discovery to the next.
    EXPECT_EQ(findVirtualCamera().get(), camera.get());
}

TEST_F(AravisNetworkTest, FeaturesAnswerThroughTheNodeTree) {
    ASSERT_TRUE(camera->connect(kAccessControl));
    EXPECT_TRUE(camera->isConnected());
    int64_t width = 0;
    int64_t height = 0;
    int64_t ticks = 0;
    int64_t payload = 0;
    EXPECT_TRUE(CIntNode(camera, "Width").getValue(width));
    EXPECT_TRUE(CIntNode(camera, "Height").getValue(height));
    EXPECT_TRUE(CIntNode(camera, "GevTimestampTickFrequency").getValue(ticks));
    EXPECT_TRUE(CIntNode(camera, "PayloadSize").getValue(payload));
    EXPECT_EQ(width, 2048);
    EXPECT_EQ(height, 512);
    EXPECT_EQ(ticks, 1000000000);
    EXPECT_EQ(payload, 2048 * 512);
    EXPECT_FALSE(CIntNode(camera, "Width").isWritable());

    CEnumNode format(camera, "PixelFormat");
    CString symbol;
    EXPECT_TRUE(format.getValueSymbol(symbol));
    EXPECT_EQ(symbol.str(), "Mono8");
    EXPECT_TRUE(format.setValueBySymbol(CString("Mono4p")));
    EXPECT_TRUE(CIntNode(camera, "PayloadSize").getValue(payload));
    EXPECT_EQ(payload, 2048 * 512 / 2);
    EXPECT_TRUE(format.setValue(0x01080001));
    EXPECT_FALSE(format.setValueBySymbol(CString("Mono16")));

    CStringNode userId(camera, "DeviceUserID");
    EXPECT_TRUE(userId.setValue(CString("station-3")));
    CString read;
    EXPECT_TRUE(userId.getValue(read));
    EXPECT_EQ(read.str(), "station-3");
    EXPECT_FALSE(CIntNode(camera, "NoSuchFeature").isValid());
    EXPECT_TRUE(CCmdNode(camera, "TriggerSoftware").isValid());
}

TEST_F(AravisNetworkTest, PrivateAreaHoldsTheStationCalibrationText) {
    ASSERT_TRUE(camera->connect(kAccessControl));
    std::vector<char> area(kPrivateAreaBytes + 1, '\0');
    ASSERT_EQ(camera->readPrivateArea(area.data(), kPrivateAreaBytes), kPrivateAreaBytes);
    const std::string text(area.data());
    EXPECT_EQ(text.rfind("{\"CalibScanCfg.cfg\":", 0), 0u);
    for (const char* file : {"CameraParams.cfg", "CamInstrinsic0.data", "CamExtrinsic0.data",
                             "LightPlaneParam.data", "LaserMovePose.data"}) {
        EXPECT_NE(text.find(std::string("\"") + file + "\":"), std::string::npos) << file;
    }
    const std::string written = "{\"written\":\"back\"}";
    std::vector<char> block(written.begin(), written.end());
    block.resize(written.size() + 2, '\0');
    EXPECT_EQ(camera->writePrivateArea(block.data(), block.size()), static_cast<int32_t>(block.size()));
    std::vector<char> again(block.size(), 'x');
    EXPECT_EQ(camera->readPrivateArea(again.data(), again.size()), static_cast<int32_t>(again.size()));
    EXPECT_EQ(again, block);
    // Past the area's end is a failed transfer.
    EXPECT_LT(camera->readPrivateArea(area.data(), kPrivateAreaBytes + 1), 0);
}

TEST_F(AravisNetworkTest, FramesArriveInReusedBuffersWithDeviceTimestamps) {
    ASSERT_TRUE(camera->connect(kAccessControl));
    auto stream = CSystem::getInstance().createStreamSource(camera, 0);
    ASSERT_NE(stream, nullptr);
    ASSERT_TRUE(stream->setBufferCount(4));
    ASSERT_TRUE(stream->startGrabbing(0, 0));
    std::set<const uint8_t*> buffers;
    uint64_t lastTimestamp = 0;
    uint64_t lastId = 0;
    const uint64_t droppedBefore = stream->getDroppedFrameCount();
    for (int i = 0; i < 20; ++i) {
        CFrame frame;
        ASSERT_TRUE(stream->getFrame(frame, kFrameTimeoutMs)) << "frame " << i;
        EXPECT_EQ(frame.getImageWidth(), 2048u);
        EXPECT_EQ(frame.getImageHeight(), 512u);
        EXPECT_EQ(frame.getImagePixelFormat(), static_cast<uint32_t>(PixelFormatMono8));
        EXPECT_EQ(frame.getImageSize(), 2048u * 512u);
        EXPECT_GT(frame.getImageTimeStamp(), lastTimestamp);
        if (i > 0) {
            EXPECT_GT(frame.getFrameId(), lastId);
        }
        lastTimestamp = frame.getImageTimeStamp();
        lastId = frame.getFrameId();
        buffers.insert(frame.getImage());
    }
    EXPECT_LE(buffers.size(), 4u);
    // Numbered from 0 at the start; a number skipped is a frame the stream counted as dropped.
    EXPECT_LE(lastId + 1 - 20, stream->getDroppedFrameCount() - droppedBefore);
    EXPECT_TRUE(stream->stopGrabbing());
}

// Both buffers held by the consumer: the frames the camera sends meanwhile find none free and are
// dropped, and the next frame taken shows the hole in its number. A camera sends a few frames while
// a fetch waits in vain; a few rounds allow for a host too slow to give it the time.
TEST_F(AravisNetworkTest, FramesThatFindNoBufferLeaveAHoleInTheNumbers) {
    ASSERT_TRUE(camera->connect(kAccessControl));
    auto stream = CSystem::getInstance().createStreamSource(camera, 0);
    ASSERT_NE(stream, nullptr);
    ASSERT_TRUE(stream->setBufferCount(2));
    ASSERT_TRUE(stream->startGrabbing(0, 0));
    constexpr int kRounds = 5;
    uint64_t hole = 0;
    for (int round = 0; round < kRounds && hole == 0; ++round) {
        // Frames lost from here on are counted as they are lost, before the next one comes.
        const uint64_t droppedBefore = stream->getDroppedFrameCount();
        CFrame first;
        CFrame second;
        ASSERT_TRUE(stream->getFrame(first, kFrameTimeoutMs));
        ASSERT_TRUE(stream->getFrame(second, kFrameTimeoutMs));
        CFrame none;
        EXPECT_FALSE(stream->getFrame(none, 300)) << "no buffer is free";
        const uint64_t held = second.getFrameId();
        first = CFrame();
        second = CFrame();
        CFrame next;
        ASSERT_TRUE(stream->getFrame(next, kFrameTimeoutMs));
        ASSERT_GT(next.getFrameId(), held);
        hole = next.getFrameId() - held - 1;
        EXPECT_LE(hole, stream->getDroppedFrameCount() - droppedBefore) << "every lost frame is counted";
        RecordProperty("hole", static_cast<int>(hole));
    }
    EXPECT_GT(hole, 0u) << "no frame was lost in " << kRounds << " rounds";
    EXPECT_TRUE(stream->stopGrabbing());
}

TEST_F(AravisNetworkTest, SoftwareTriggerExposesOneFrame) {
    ASSERT_TRUE(camera->connect(kAccessControl));
    ASSERT_TRUE(CEnumNode(camera, "TriggerSource").setValueBySymbol(CString("Software")));
    ASSERT_TRUE(CEnumNode(camera, "TriggerMode").setValueBySymbol(CString("On")));
    auto stream = CSystem::getInstance().createStreamSource(camera, 0);
    ASSERT_NE(stream, nullptr);
    ASSERT_TRUE(stream->startGrabbing(0, 0));
    CFrame frame;
    EXPECT_FALSE(stream->getFrame(frame, 300)); // nothing without a trigger
    // Aravis's fake-camera server lets the first software trigger after acquisition starts pass
    // without a frame more often than not (seen here: the second trigger brings the frame, every
    // time we looked). So the trigger is given a few times until a frame comes, and a trigger must
    // never bring more than one frame.
    constexpr int kTriggers = 5;
    int triggers = 0;
    bool exposed = false;
    while (!exposed && triggers < kTriggers) {
        ASSERT_TRUE(CCmdNode(camera, "TriggerSoftware").execute());
        ++triggers;
        exposed = stream->getFrame(frame, kFrameTimeoutMs);
    }
    RecordProperty("triggers", triggers);
    EXPECT_TRUE(exposed) << "no frame after " << triggers << " triggers";
    EXPECT_FALSE(stream->getFrame(frame, 300)); // one trigger, one frame
    EXPECT_TRUE(stream->stopGrabbing());
}

TEST_F(AravisNetworkTest, VanishedCameraIsSeenWithinThreeSecondsAndClosesAtOnce) {
    ASSERT_TRUE(camera->connect(kAccessControl));
    auto events = std::make_shared<CEventLog>();
    auto subscribe = CSystem::getInstance().createEventSubscribe(camera);
    ASSERT_NE(subscribe, nullptr);
    const CConnectArgsProc proc(events, &CEventLog::record);
    ASSERT_TRUE(subscribe->subscribeConnectArgs(proc));
    auto stream = CSystem::getInstance().createStreamSource(camera, 0);
    ASSERT_NE(stream, nullptr);
    ASSERT_TRUE(stream->startGrabbing(0, 0));
    CFrame frame;
    ASSERT_TRUE(stream->getFrame(frame, kFrameTimeoutMs));
    frame.reset();

    server.kill();
    const auto lostAt = Clock::now();
    // The fetch that is waiting when the camera goes ends without a frame, within 3 s.
    int fetches = 0;
    while (stream->getFrame(frame, 3000) && ++fetches < 100) {
        frame.reset();
    }
    const auto seen = Clock::now() - lostAt;
    EXPECT_LT(seen, std::chrono::seconds(3));
    RecordProperty("lossSeenMs",
                   static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(seen).count()));
    EXPECT_FALSE(camera->isConnected());
    EXPECT_TRUE(events->waitForState(0, std::chrono::seconds(3)));

    const auto closeStart = Clock::now();
    stream->stopGrabbing();
    subscribe->unsubscribeConnectArgs(proc);
    camera->disconnect();
    const auto closing = Clock::now() - closeStart;
    EXPECT_LT(closing, kLostCloseLimit);
    RecordProperty("closeOfLostUs",
                   static_cast<int>(std::chrono::duration_cast<std::chrono::microseconds>(closing).count()));

    // Switched on again, the camera is a new object that connects and streams.
    ASSERT_TRUE(server.start({"--address", "127.0.0.1", "--fps", "50"}, kStartLimit));
    auto back = findVirtualCamera(10);
    ASSERT_NE(back, nullptr);
    EXPECT_NE(back.get(), camera.get());
    ASSERT_TRUE(back->connect(kAccessControl));
    auto again = CSystem::getInstance().createStreamSource(back, 0);
    ASSERT_NE(again, nullptr);
    ASSERT_TRUE(again->startGrabbing(0, 0));
    EXPECT_TRUE(again->getFrame(frame, kFrameTimeoutMs));
    frame.reset();
    again->stopGrabbing();
    back->disconnect();
}

} // namespace
