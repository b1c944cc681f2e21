// A camera on simulated laser cameras: construction, open and close, connection events, the
// small accessors, trigger and grabbing, frames with their status callback, and raw memory.
// The program runs with a site file of its own (encoder line 2, 40 buffers, an unused
// DropFrameCountExp), written before the first test reads the site settings.
#include "MvCamera.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "AdvancedConfig.h"
#include "CameraTestSupport.h"
#include "LogCapture.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

using Orvia::GenICam::CFrame;
using Orvia::Sim::CScriptedFrames;
using Orvia::Sim::SimDeviceDescription;
using Orvia::Sim::SimFaults;
using Orvia::Sim::SimFeature;
using Orvia::Sim::SimFeatureWrite;
using Orvia::Sim::SimTransfer;
using namespace Orvia::VisionSystem;

constexpr const char* kChannel = "OVCamera";
constexpr const char* kOpenFn = "Orvia::VisionSystem::CMvCamera::open";
constexpr const char* kCloseFn = "Orvia::VisionSystem::CMvCamera::close";
constexpr const char* kEventFn = "Orvia::VisionSystem::CMvCamera::procConnectEvent";
constexpr const char* kOpenTriggerFn = "Orvia::VisionSystem::CMvCamera::openTrigger";
constexpr const char* kStartGrabbingFn = "Orvia::VisionSystem::CMvCamera::startGrabbing";
constexpr const char* kStopGrabbingFn = "Orvia::VisionSystem::CMvCamera::stopGrabbing";
constexpr const char* kTriggerFn = "Orvia::VisionSystem::CMvCamera::trigger";
constexpr const char* kGetFrameFn = "Orvia::VisionSystem::CMvCamera::getFrame";
constexpr const char* kReadMemoryFn = "Orvia::VisionSystem::CMvCamera::readMemory";
constexpr const char* kWriteMemoryFn = "Orvia::VisionSystem::CMvCamera::writeMemory";
constexpr uint64_t kCalibrationArea = 0x4E0615E0;

// The site file of this program, in force before any test runs.
class SiteSettings : public ::testing::Environment {
public:
    void SetUp() override {
        workDir = std::make_unique<ScopedTempWorkDir>();
        workDir->writeFile("station/Quboid3DAdvCfg",
                           "EncoderLineInput=2\nFrameBufferCount=40\nDropFrameCountExp=5\n");
        std::filesystem::current_path(workDir->path() / "station");
        AdvancedConfig::instance();
    }
    void TearDown() override { workDir.reset(); }

private:
    std::unique_ptr<ScopedTempWorkDir> workDir;
};
[[maybe_unused]] ::testing::Environment* const kSiteSettings =
    ::testing::AddGlobalTestEnvironment(new SiteSettings);

// What the frame status callback saw; it runs on the thread that calls getFrame.
struct FrameStatusRecord {
    std::mutex mutex;
    std::vector<std::pair<std::string, int>> calls;
};
FrameStatusRecord frameStatus;

void recordFrameStatus(const FrameStatusInfo* info) {
    std::lock_guard lock(frameStatus.mutex);
    frameStatus.calls.emplace_back(info->key, info->ok);
}

std::vector<std::pair<std::string, int>> frameStatusCalls() {
    std::lock_guard lock(frameStatus.mutex);
    return frameStatus.calls;
}

class CountingObserver : public ICameraObserver {
public:
    void onCameraOffline(const std::string& key) override {
        {
            std::lock_guard lock(mutex);
            keys.push_back(key);
        }
        latch.arrive();
    }
    std::vector<std::string> seen() {
        std::lock_guard lock(mutex);
        return keys;
    }
    CEventLatch latch;

private:
    std::mutex mutex;
    std::vector<std::string> keys;
};

class MvCameraTest : public LogCaptureTest {
protected:
    void SetUp() override {
        std::lock_guard lock(frameStatus.mutex);
        frameStatus.calls.clear();
    }
    // Opened cameras stay alive through their subscription until closed.
    void TearDown() override {
        for (const auto& camera : made)
            camera->close();
    }

    // A simulated camera, discovered, wrapped in a CMvCamera of `type` and (unless told otherwise)
    // opened.
    TSharedPtr<CMvCamera> make(const std::string& serial, uint32_t type = CameraTypeGige, bool open = true,
                               const SimDeviceDescription* description = nullptr) {
        plugged = plugLaserCamera(serial, false, description);
        EXPECT_TRUE(plugged.sim && plugged.camera);
        plugged.sim->setFrameGenerator(frames);
        auto camera = std::make_shared<CMvCamera>(plugged.camera, type);
        made.push_back(camera);
        if (open) {
            EXPECT_EQ(camera->open(nullptr), 0);
        }
        plugged.sim->clearRecords();
        return camera;
    }
    void queueFrames(int count) {
        for (int i = 0; i < count; ++i)
            frames->pushMono8(4, 2, static_cast<uint64_t>(i));
        ASSERT_EQ(plugged.sim->emitFrames(static_cast<uint32_t>(count)), static_cast<uint32_t>(count));
    }
    int linesWithText(const std::string& prefix) const {
        int count = 0;
        for (const LogLine& line : log.lines())
            if (line.text.starts_with(prefix))
                ++count;
        return count;
    }
    std::string feature(const std::string& name) const {
        std::string text;
        EXPECT_TRUE(plugged.sim->featureText(name, text)) << name;
        return text;
    }

    PluggedCamera plugged;
    std::shared_ptr<CScriptedFrames> frames = std::make_shared<CScriptedFrames>();
    std::vector<TSharedPtr<CMvCamera>> made;
};

// ---- construction and accessors ----

TEST_F(MvCameraTest, ConstructionKeepsKeyTypeAndIdentityAndDoesNotConnect) {
    auto description = Orvia::Sim::laserCameraDescription("C0");
    description.gigeIdentity = "127.0.0.2 / 00:11:22:33:44:55";
    auto camera = make("C0", CameraTypeGige, false, &description);
    EXPECT_EQ(camera->getKey(), "sim:C0");
    EXPECT_EQ(camera->getGigeIdentity(), "127.0.0.2 / 00:11:22:33:44:55");
    EXPECT_EQ(camera->cameraType, CameraTypeGige);
    EXPECT_EQ(camera->timestampTicksPerMs, 1000000);
    EXPECT_FALSE(camera->isConnected());
    EXPECT_EQ(camera->frameStatusCallback, nullptr);
    EXPECT_TRUE(camera->getParams());

    CMvCamera empty(nullptr, CameraTypeU3);
    EXPECT_EQ(empty.getKey(), "");
    EXPECT_FALSE(empty.isConnected());
    EXPECT_EQ(empty.getDeviceLabel(), "");
    EXPECT_FALSE(empty.setDeviceLabel("x"));
}

TEST_F(MvCameraTest, FreshCameraHasANullUserTag) {
    auto camera = make("C1", CameraTypeGige, false);
    EXPECT_EQ(camera->getUserTag(), nullptr);
    camera->setUserTag("left");
    EXPECT_STREQ(camera->getUserTag(), "left");
    camera->setUserTag(nullptr);
    EXPECT_EQ(camera->getUserTag(), nullptr);
}

TEST_F(MvCameraTest, DeviceLabelIsTheDisplayNameOfflineAndTheLabelFeatureOnline) {
    auto description = Orvia::Sim::laserCameraDescription("C2");
    description.displayName = "belt camera";
    auto camera = make("C2", CameraTypeGige, false, &description);
    EXPECT_EQ(camera->getDeviceLabel(), "belt camera");
    ASSERT_EQ(camera->open(nullptr), 0);
    EXPECT_TRUE(camera->setDeviceLabel("line-3"));
    EXPECT_EQ(camera->getDeviceLabel(), "line-3");
    EXPECT_FALSE(camera->setDeviceLabel("a label far too long for it"));
}

// ---- open and close ----

TEST_F(MvCameraTest, OpenOnAConnectedCameraIsRefusedAndKeepsTheFirstObserver) {
    auto camera = make("C3", CameraTypeGige, false);
    auto first = std::make_shared<CountingObserver>();
    auto second = std::make_shared<CountingObserver>();
    ASSERT_EQ(camera->open(first), 0);
    EXPECT_EQ(camera->open(second), -4);
    EXPECT_TRUE(
        log.has(OVP_LOG_ERROR, kChannel, kOpenFn, "Open camera[sim:C3] failed, it's already opened.\n"));
    EXPECT_EQ(log.count(OVP_LOG_INFO, kChannel, kOpenFn, "Open camera[sim:C3], type: 2"), 1);

    plugged.sim->unplug();
    ASSERT_TRUE(first->latch.waitFor(1));
    EXPECT_EQ(first->seen(), std::vector<std::string>{"sim:C3"});
    EXPECT_TRUE(second->seen().empty());
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kEventFn, "Camera is disconnect!\n"));
}

TEST_F(MvCameraTest, GigeCameraWhoseFrequencyCannotBeReadFailsToOpenAndEndsDisconnected) {
    auto camera = make("C4", CameraTypeGige, false);
    SimFaults faults;
    faults.failingReads = {"GevTimestampTickFrequency"};
    plugged.sim->setFaults(faults);
    EXPECT_EQ(camera->open(nullptr), -1);
    EXPECT_FALSE(camera->isConnected());
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kOpenFn, "Get param[GevTimestampTickFrequency] failed.\n"));
    EXPECT_EQ(camera->timestampTicksPerMs, 1000000);
}

TEST_F(MvCameraTest, FrequencyBelowOneThousandGivesZeroTicksPerMillisecond) {
    auto camera = make("C5", CameraTypeGige, false);
    plugged.sim->setFeature(SimFeature::integer("GevTimestampTickFrequency", 999, 0, INT64_MAX));
    ASSERT_EQ(camera->open(nullptr), 0);
    EXPECT_EQ(camera->timestampTicksPerMs, 0);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kOpenFn, "frame frequency: 0"));
}

TEST_F(MvCameraTest, FrequencyBeyond32BitsAfterDivisionKeepsItsLow32Bits) {
    auto camera = make("C6", CameraTypeGige, false);
    const int64_t ticksPerMs = 5000000000; // 0x12A05F200
    plugged.sim->setFeature(
        SimFeature::integer("GevTimestampTickFrequency", ticksPerMs * 1000 + 999, 0, INT64_MAX));
    ASSERT_EQ(camera->open(nullptr), 0);
    EXPECT_EQ(camera->timestampTicksPerMs, 0x2A05F200);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kOpenFn, "frame frequency: " + std::to_string(0x2A05F200)));
}

TEST_F(MvCameraTest, U3AndAICamerasKeepTheDefaultTicksAndLogNoFrequency) {
    for (const uint32_t type : {CameraTypeU3, CameraTypeAI}) {
        auto camera = make("C7-" + std::to_string(type), type, false);
        plugged.sim->setFeature(SimFeature::integer("GevTimestampTickFrequency", 25000000, 0, INT64_MAX));
        ASSERT_EQ(camera->open(nullptr), 0);
        EXPECT_EQ(camera->timestampTicksPerMs, 1000000);
        EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kOpenFn,
                            "Open camera[" + camera->getKey() + "], type: " + std::to_string(type)));
    }
    EXPECT_EQ(linesWithText("frame frequency"), 0);
}

TEST_F(MvCameraTest, FailedConnectOrSubscriptionFailsTheOpen) {
    auto camera = make("C8", CameraTypeGige, false);
    SimFaults faults;
    faults.failConnect = true;
    plugged.sim->setFaults(faults);
    EXPECT_EQ(camera->open(nullptr), -1);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kOpenFn, "Open camera[sim:C8] failed, connect failed.\n"));
    faults = SimFaults{};
    faults.failSubscribe = true;
    plugged.sim->setFaults(faults);
    EXPECT_EQ(camera->open(nullptr), -1);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kOpenFn, "Camera[sim:C8] subscribe connect args failed.\n"));
    EXPECT_FALSE(camera->isConnected());
    CMvCamera empty(nullptr, CameraTypeGige);
    EXPECT_EQ(empty.open(nullptr), -2);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kOpenFn, "Open camera failed, gen-camera is null.\n"));
}

TEST_F(MvCameraTest, CloseWithoutGrabbingSucceedsAfterTheStopGrabbingError) {
    auto camera = make("C9");
    log.clear();
    EXPECT_EQ(camera->close(), 0);
    EXPECT_FALSE(camera->isConnected());
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].level, OVP_LOG_ERROR);
    EXPECT_EQ(lines[0].function, kStopGrabbingFn);
    EXPECT_EQ(lines[0].text, "Camera[sim:C9]  stop grabbing failed, stream src is null.\n");
    EXPECT_EQ(lines[1].level, OVP_LOG_INFO);
    EXPECT_EQ(lines[1].function, kCloseFn);
    EXPECT_EQ(lines[1].text, "Camera[sim:C9] close success.\n");
}

TEST_F(MvCameraTest, CloseOfACameraNeverOpenedLogsNoEventPtrAndStillDisconnects) {
    auto camera = make("C10", CameraTypeGige, false);
    ASSERT_TRUE(plugged.camera->connect(Orvia::GenICam::AccessModeControl));
    EXPECT_EQ(camera->close(), 0);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kCloseFn, "No event ptr...\n"));
    EXPECT_FALSE(plugged.camera->isConnected());
    // Nothing to disconnect the second time: the word and the code say so.
    EXPECT_EQ(camera->close(), -1);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kCloseFn, "Camera[sim:C10] close failed.\n"));
}

TEST_F(MvCameraTest, OfflineEventWithoutAnObserverOnlyLogs) {
    auto camera = make("C11");
    plugged.sim->unplug();
    ASSERT_TRUE(log.waitFor("Camera is disconnect!\n"));
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kEventFn, "Camera is disconnect!\n"));
    plugged.sim->replug();
    ASSERT_TRUE(log.waitFor("Camera is online.\n"));
    EXPECT_TRUE(log.has(OVP_LOG_DEBUG, kChannel, kEventFn, "Camera is online.\n"));
    EXPECT_EQ(camera->getKey(), "sim:C11");
}

// ---- trigger and grabbing ----

TEST_F(MvCameraTest, OpenTriggerOnARunningStreamSucceedsAndDrainsIt) {
    auto camera = make("T1");
    ASSERT_EQ(camera->startGrabbing(), 0);
    queueFrames(3);
    EXPECT_EQ(camera->openTrigger(false), 0);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kStartGrabbingFn,
                        "Camera[sim:T1] start grabbing failed, it's already starting.\n"));
    for (const char* text :
         {"clear old frame list: 31", "clear old frame list: 30", "clear old frame list: 29"})
        EXPECT_EQ(log.count(OVP_LOG_INFO, kChannel, kOpenTriggerFn, text), 1) << text;
    EXPECT_EQ(linesWithText("clear old frame list"), 3);
    EXPECT_EQ(plugged.sim->streamCounters().waiting, 0u);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kOpenTriggerFn, "Camera[sim:T1] open trigger success.\n"));
    EXPECT_EQ(plugged.sim->fetchTimeouts(), (std::vector<uint32_t>{1, 1, 1, 1}));
}

TEST_F(MvCameraTest, DrainTakesExactly32OldFramesAndLeavesTheRestToTheConsumer) {
    auto camera = make("T2");
    ASSERT_EQ(camera->startGrabbing(), 0);
    queueFrames(35);
    ASSERT_EQ(camera->openTrigger(false), 0);
    EXPECT_EQ(linesWithText("clear old frame list"), 32);
    EXPECT_EQ(log.count(OVP_LOG_INFO, kChannel, kOpenTriggerFn, "clear old frame list: 0"), 1);
    EXPECT_EQ(plugged.sim->fetchTimeouts().size(), 32u);
    for (uint64_t expected = 32; expected < 35; ++expected) {
        CFrame frame;
        ASSERT_EQ(camera->getFrame(frame, 0), 0);
        EXPECT_EQ(frame.getImageTimeStamp(), expected);
    }
    CFrame none;
    EXPECT_EQ(camera->getFrame(none, 0), -5);
}

TEST_F(MvCameraTest, EmptyStreamEndsTheDrainAtTheFirstFetchWithoutALine) {
    auto camera = make("T3");
    ASSERT_EQ(camera->openTrigger(false), 0);
    EXPECT_EQ(linesWithText("clear old frame list"), 0);
    EXPECT_EQ(plugged.sim->fetchTimeouts(), std::vector<uint32_t>{1});
    EXPECT_TRUE(
        log.has(OVP_LOG_INFO, kChannel, kStartGrabbingFn, "Camera[sim:T3] start grabbing success.\n"));
}

TEST_F(MvCameraTest, HardwareTriggerUsesTheSiteEncoderLineAndTheSiteBufferCount) {
    ASSERT_EQ(AdvancedConfig::instance().EncoderLineInput, 2);
    auto camera = make("T4");
    ASSERT_EQ(camera->openTrigger(true), 0);
    EXPECT_EQ(plugged.sim->featureWrites(),
              (std::vector<SimFeatureWrite>{{"TriggerSource", "Line2", true},
                                            {"TriggerSelector", "AcquisitionStart", true},
                                            {"TriggerMode", "Off", true},
                                            {"TriggerSelector", "FrameStart", true},
                                            {"TriggerMode", "On", true}}));
    EXPECT_EQ(feature("TriggerMode"), "On");
    auto stream = Orvia::GenICam::CSystem::getInstance().createStreamSource(plugged.camera, 0);
    ASSERT_TRUE(stream);
    EXPECT_EQ(stream->getBufferCount(), 40);
    // The software trigger now exposes a frame.
    frames->pushMono8(4, 2, 7);
    EXPECT_EQ(camera->trigger(), 0);
    CFrame frame;
    EXPECT_EQ(camera->getFrame(frame, 0), 0);
    EXPECT_EQ(frame.getImageTimeStamp(), 7u);
}

TEST_F(MvCameraTest, HardwareTriggerOnALineTheCameraLacksFailsAndKeepsTheControl) {
    auto description = Orvia::Sim::laserCameraDescription("T5");
    for (SimFeature& f : description.features)
        if (f.name == "TriggerSource")
            f.entries = {{"Software", 0}, {"Line0", 1}, {"Line1", 2}};
    auto camera = make("T5", CameraTypeGige, true, &description);
    EXPECT_EQ(camera->openTrigger(true), -1);
    EXPECT_TRUE(
        log.has(OVP_LOG_ERROR, kChannel, kOpenTriggerFn, "Camera[sim:T5] set TriggerSource[Line2] failed\n"));
    EXPECT_EQ(camera->trigger(), -6); // still closed
    EXPECT_FALSE(plugged.sim->streamCounters().captured > 0);

    // The acquisition control made by the failed open serves closeTrigger although no new one
    // can be made now.
    SimFaults faults;
    faults.failControlCreate = true;
    plugged.sim->setFaults(faults);
    plugged.sim->clearRecords();
    EXPECT_EQ(camera->closeTrigger(), 0);
    EXPECT_EQ(plugged.sim->featureWrites().size(), 4u);
    // Released by closeTrigger: the next one has to be made and can't be.
    EXPECT_EQ(camera->closeTrigger(), -2);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, "Orvia::VisionSystem::CMvCamera::closeTrigger",
                        "Camera close trigger failed, create acquisition ctrl failed.\n"));
}

TEST_F(MvCameraTest, AICameraTriggersThroughTypeAndSourceValuesAndCloseTriggerWritesNothing) {
    auto camera = make("T6", CameraTypeAI);
    ASSERT_EQ(camera->openTrigger(false), 0);
    EXPECT_EQ(plugged.sim->featureWrites(),
              (std::vector<SimFeatureWrite>{{"TriggerType", "1", true}, {"TriggerSource", "0", true}}));
    plugged.sim->clearRecords();
    EXPECT_EQ(camera->closeTrigger(), 0);
    EXPECT_TRUE(plugged.sim->featureWrites().empty());
    EXPECT_EQ(camera->trigger(), -6);
    EXPECT_EQ(feature("TriggerType"), "LineTrigger");

    // Hardware: source 2.
    plugged.sim->clearRecords();
    ASSERT_EQ(camera->openTrigger(true), 0);
    EXPECT_EQ(plugged.sim->featureWrites(),
              (std::vector<SimFeatureWrite>{{"TriggerType", "1", true}, {"TriggerSource", "2", true}}));
}

TEST_F(MvCameraTest, SecondOpenTriggerIsRefusedBeforeAnyWrite) {
    auto camera = make("T7");
    ASSERT_EQ(camera->openTrigger(false), 0);
    plugged.sim->clearRecords();
    EXPECT_EQ(camera->openTrigger(true), -4);
    EXPECT_TRUE(plugged.sim->featureWrites().empty());
    EXPECT_TRUE(plugged.sim->fetchTimeouts().empty());
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kOpenTriggerFn,
                        "Camera[sim:T7] open trigger failed, it's already open.\n"));
}

TEST_F(MvCameraTest, TriggerBeforeOpenTriggerIsAWrongModeWithoutTouchingTheDevice) {
    auto camera = make("T8");
    ASSERT_EQ(camera->startGrabbing(), 0);
    EXPECT_EQ(camera->trigger(), -6);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kTriggerFn, "Trigger failed, not open trigger mode.\n"));
    EXPECT_TRUE(plugged.sim->featureWrites().empty());
    EXPECT_EQ(plugged.sim->streamCounters().captured, 0u);
}

TEST_F(MvCameraTest, OpenTriggerNeedsAConnectedCamera) {
    auto camera = make("T9", CameraTypeGige, false);
    EXPECT_EQ(camera->openTrigger(false), -3);
    EXPECT_TRUE(
        log.has(OVP_LOG_ERROR, kChannel, kOpenTriggerFn, "Open trigger failed, camera is not connected.\n"));
    EXPECT_TRUE(plugged.sim->featureWrites().empty());
}

TEST_F(MvCameraTest, GetFrameHandsTheTimeoutToTheLibraryUnchanged) {
    auto camera = make("F1");
    ASSERT_EQ(camera->startGrabbing(), 0);
    CFrame frame;
    EXPECT_EQ(camera->getFrame(frame, 0), -5);
    EXPECT_EQ(camera->getFrame(frame, 2), -5);
    EXPECT_EQ(plugged.sim->fetchTimeouts(), (std::vector<uint32_t>{0, 2}));
}

TEST_F(MvCameraTest, GetFrameAfterStopGrabbingIsMissingAndCallsNoCallback) {
    auto camera = make("F2");
    {
        std::lock_guard lock(camera->frameStatusMutex);
        camera->frameStatusCallback = recordFrameStatus;
    }
    ASSERT_EQ(camera->startGrabbing(), 0);
    ASSERT_EQ(camera->stopGrabbing(), 0);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kStopGrabbingFn, "Camera[sim:F2] stop grabbing success.\n"));
    CFrame frame;
    EXPECT_EQ(camera->getFrame(frame, 0), -2);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kGetFrameFn,
                        "Camera[sim:F2] get frame failed, stream src is null.\n"));
    EXPECT_TRUE(frameStatusCalls().empty());
    EXPECT_EQ(camera->stopGrabbing(), -2);
}

TEST_F(MvCameraTest, TimeoutOnAConnectedCameraGivesMinusFiveAndReportsNotOk) {
    auto camera = make("F3");
    {
        std::lock_guard lock(camera->frameStatusMutex);
        camera->frameStatusCallback = recordFrameStatus;
    }
    ASSERT_EQ(camera->startGrabbing(), 0);
    CFrame frame;
    EXPECT_EQ(camera->getFrame(frame, 0), -5);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kGetFrameFn, "Camera[sim:F3] get frame timeout!!!\n"));
    queueFrames(1);
    EXPECT_EQ(camera->getFrame(frame, 0), 0);
    EXPECT_EQ(frameStatusCalls(), (std::vector<std::pair<std::string, int>>{{"sim:F3", 0}, {"sim:F3", 1}}));
}

TEST_F(MvCameraTest, LostCameraGivesMinusThree) {
    auto camera = make("F4");
    ASSERT_EQ(camera->startGrabbing(), 0);
    plugged.sim->unplug();
    CFrame frame;
    EXPECT_EQ(camera->getFrame(frame, 0), -3);
    EXPECT_TRUE(
        log.has(OVP_LOG_ERROR, kChannel, kGetFrameFn, "Camera[sim:F4] get frame failed, it's disconnect!\n"));
}

TEST_F(MvCameraTest, DropFrameCountSettingChangesNothingInTheFrameQueue) {
    ASSERT_EQ(AdvancedConfig::instance().DropFrameCountExp, 5);
    auto camera = make("F5");
    ASSERT_EQ(camera->startGrabbing(), 0);
    queueFrames(12);
    for (uint64_t expected = 0; expected < 12; ++expected) {
        CFrame frame;
        ASSERT_EQ(camera->getFrame(frame, 0), 0);
        EXPECT_EQ(frame.getImageTimeStamp(), expected);
    }
    EXPECT_EQ(plugged.sim->streamCounters().dropped, 0u);
}

TEST_F(MvCameraTest, StartGrabbingFailureAsksTheDevice) {
    auto camera = make("F6");
    SimFaults faults;
    faults.failStreamStart = true;
    plugged.sim->setFaults(faults);
    EXPECT_EQ(camera->startGrabbing(), -1);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kStartGrabbingFn, "Camera[sim:F6] start grabbing failed.\n"));
    faults = SimFaults{};
    faults.failStreamCreate = true;
    plugged.sim->setFaults(faults);
    EXPECT_EQ(camera->startGrabbing(), -2);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kStartGrabbingFn,
                        "Camera[sim:F6] start grabbing failed, create stream src failed.\n"));
}

// ---- raw memory ----

std::vector<uint8_t> pattern(size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<uint8_t>(i * 7 + 3);
    return bytes;
}

TEST_F(MvCameraTest, ReadMemoryReadsTheCalibrationAreaWhateverTheAddressIn64Reads) {
    auto camera = make("M1");
    const auto area = pattern(32768);
    ASSERT_TRUE(plugged.sim->pokeMemory(kCalibrationArea, area.data(), area.size()));
    std::vector<uint8_t> buffer(32768);
    ASSERT_TRUE(camera->readMemory(0x1234, buffer.data()));
    EXPECT_EQ(buffer, area);
    const auto transfers = plugged.sim->transfers();
    ASSERT_EQ(transfers.size(), 64u);
    for (size_t i = 0; i < transfers.size(); ++i) {
        EXPECT_FALSE(transfers[i].write);
        EXPECT_EQ(transfers[i].address, kCalibrationArea + 512 * i);
        EXPECT_EQ(transfers[i].asked, 512u);
    }
}

TEST_F(MvCameraTest, ShortReadsMakeTheNextReadStartWhereTheLastEnded) {
    auto camera = make("M2");
    const auto area = pattern(32768);
    ASSERT_TRUE(plugged.sim->pokeMemory(kCalibrationArea, area.data(), area.size()));
    SimFaults faults;
    faults.readLimit = 500;
    plugged.sim->setFaults(faults);
    std::vector<uint8_t> buffer(32768);
    ASSERT_TRUE(camera->readMemory(0, buffer.data()));
    EXPECT_EQ(buffer, area);
    const auto transfers = plugged.sim->transfers();
    ASSERT_EQ(transfers.size(), 66u); // 65 of 500, then the last 268
    EXPECT_EQ(transfers[1].address, kCalibrationArea + 500);
    EXPECT_EQ(transfers[1].asked, 512u);
    EXPECT_EQ(transfers.back().address, kCalibrationArea + 65 * 500);
    EXPECT_EQ(transfers.back().asked, 268u);
}

TEST_F(MvCameraTest, FailedReadStopsAtOnceWithItsAddress) {
    auto camera = make("M3");
    SimFaults faults;
    faults.failTransferAt = 2;
    plugged.sim->setFaults(faults);
    std::vector<uint8_t> buffer(32768);
    EXPECT_FALSE(camera->readMemory(0, buffer.data()));
    EXPECT_EQ(plugged.sim->transfers().size(), 3u);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kReadMemoryFn, "readMemory error. address: 4e0619e0"));
}

TEST_F(MvCameraTest, WriteOf176BytesIsOneTransfer) {
    auto camera = make("M4");
    const auto source = pattern(176);
    ASSERT_TRUE(camera->writeMemory(kCalibrationArea, source.data(), 176));
    const auto transfers = plugged.sim->transfers();
    ASSERT_EQ(transfers.size(), 1u);
    EXPECT_TRUE(transfers[0].write);
    EXPECT_EQ(transfers[0].address, kCalibrationArea);
    EXPECT_EQ(transfers[0].bytes, source);
}

TEST_F(MvCameraTest, WriteOf513BytesEndsWith16BytesReadPastTheSize) {
    auto camera = make("M5");
    const auto source = pattern(528); // the caller keeps 16 bytes beyond the last chunk's start
    ASSERT_TRUE(camera->writeMemory(kCalibrationArea, source.data(), 513));
    const auto transfers = plugged.sim->transfers();
    ASSERT_EQ(transfers.size(), 2u);
    EXPECT_EQ(transfers[0].bytes, std::vector<uint8_t>(source.begin(), source.begin() + 512));
    EXPECT_EQ(transfers[1].address, kCalibrationArea + 512);
    EXPECT_EQ(transfers[1].bytes, std::vector<uint8_t>(source.begin() + 512, source.begin() + 528));
}

TEST_F(MvCameraTest, ShortLastChunksAreRaisedTo16AndLongerOnesZeroFilledToFour) {
    auto camera = make("M6");
    const auto source = pattern(1024);
    ASSERT_TRUE(camera->writeMemory(kCalibrationArea, source.data(), 518));
    auto transfers = plugged.sim->transfers();
    ASSERT_EQ(transfers.size(), 2u);
    EXPECT_EQ(transfers[1].bytes, std::vector<uint8_t>(source.begin() + 512, source.begin() + 528));

    plugged.sim->clearRecords();
    ASSERT_TRUE(camera->writeMemory(kCalibrationArea, source.data(), 530));
    transfers = plugged.sim->transfers();
    ASSERT_EQ(transfers.size(), 2u);
    std::vector<uint8_t> last(source.begin() + 512, source.begin() + 530);
    last.push_back(0);
    last.push_back(0);
    EXPECT_EQ(transfers[1].bytes, last);
}

TEST_F(MvCameraTest, WriteOf1024BytesIsTwoFullTransfersAndNothingMore) {
    auto camera = make("M7");
    const auto source = pattern(1024);
    ASSERT_TRUE(camera->writeMemory(kCalibrationArea, source.data(), 1024));
    const auto transfers = plugged.sim->transfers();
    ASSERT_EQ(transfers.size(), 2u);
    EXPECT_EQ(transfers[0].bytes.size(), 512u);
    EXPECT_EQ(transfers[1].address, kCalibrationArea + 512);
    EXPECT_EQ(transfers[1].bytes.size(), 512u);
    std::vector<uint8_t> stored(1024);
    ASSERT_TRUE(plugged.sim->peekMemory(kCalibrationArea, stored.data(), stored.size()));
    EXPECT_EQ(stored, source);

    plugged.sim->clearRecords();
    EXPECT_TRUE(camera->writeMemory(kCalibrationArea, source.data(), 0));
    EXPECT_TRUE(plugged.sim->transfers().empty());
}

TEST_F(MvCameraTest, FailedWriteStopsWithItsAddressAndUnknownCamerasMoveNothing) {
    auto camera = make("M8");
    SimFaults faults;
    faults.failTransferAt = 1;
    plugged.sim->setFaults(faults);
    const auto source = pattern(2048);
    EXPECT_FALSE(camera->writeMemory(kCalibrationArea, source.data(), 2048));
    EXPECT_EQ(plugged.sim->transfers().size(), 2u);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kWriteMemoryFn, "writeMemory error. address: 0x4e0617e0"));

    CMvCamera unknown(nullptr, CameraTypeGige);
    std::vector<uint8_t> buffer(32768);
    EXPECT_FALSE(unknown.readMemory(0, buffer.data()));
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kReadMemoryFn, "interal camera ptr is null"));
    EXPECT_FALSE(unknown.writeMemory(0, buffer.data(), 16));
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kWriteMemoryFn, "interal camera ptr is null"));
}

} // namespace
} // namespace quboid3d::test
