// A measuring object in camera mode on a simulated laser camera and the scripted library: its
// camera steps, the measurement thread's camera branch, the loss of the camera and its
// reconnection, with the camera status reports. The site file of the program is written before
// the first test reads the site settings: a short reconnection timeout, or (in the program built
// with CAMERA_RECONNECT_OFF) reconnection switched off.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <vector>

#include <gtest/gtest.h>

#include "AdvancedConfig.h"
#include "CalcQuboid3DMgr.h"
#include "CalcQuboid3DMulti.h"
#include "CalibFiles.h"
#include "CameraTestSupport.h"
#include "ICalcVolumeSink.h"
#include "LocalStation.h"
#include "LogCapture.h"
#include "LpmcStub.h"
#include "MvCamera.h"
#include "Orvia/ConfigFormat/CalibFiles.h"
#include "Orvia/Sim/FrameGenerator.h"
#include "SystemClock.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

using Orvia::Sim::CScriptedFrames;
using namespace Orvia::VisionSystem;
namespace stub = lpmc_stub;
using Clock = std::chrono::steady_clock;

constexpr const char* kVolume = "Volume";
constexpr const char* kInitializeFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::initialize";
constexpr const char* kRunFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::run";
constexpr const char* kThreadFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::threadCalcQuboid3D";
constexpr const char* kExitLine = "Exit 3D volume proc thread success.\n";
constexpr auto kBound = std::chrono::seconds(30);

#ifdef CAMERA_RECONNECT_OFF
constexpr const char* kSiteFile = "EnableCameraReconnect=0\n";
#else
constexpr const char* kSiteFile = "CameraReconnectTimeout=1000\n";
#endif

class SiteSettings : public ::testing::Environment {
public:
    void SetUp() override {
        workDir = std::make_unique<ScopedTempWorkDir>();
        workDir->writeFile("station/Quboid3DAdvCfg", kSiteFile);
        std::filesystem::current_path(workDir->path() / "station");
        AdvancedConfig::instance();
    }
    void TearDown() override { workDir.reset(); }

private:
    std::unique_ptr<ScopedTempWorkDir> workDir;
};
[[maybe_unused]] ::testing::Environment* const kSiteSettings =
    ::testing::AddGlobalTestEnvironment(new SiteSettings);

// Camera status reports and frame status calls, with the moment each report came.
struct StatusRecord {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::pair<int, Clock::time_point>> statuses;
    int frameStatusCalls = 0;

    void reset() {
        std::lock_guard lock(mutex);
        statuses.clear();
        frameStatusCalls = 0;
    }
    bool waitForStatus(int status) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, kBound, [&] {
            return std::any_of(statuses.begin(), statuses.end(),
                               [&](const auto& s) { return s.first == status; });
        });
    }
    std::vector<int> values() {
        std::lock_guard lock(mutex);
        std::vector<int> out;
        for (const auto& s : statuses)
            out.push_back(s.first);
        return out;
    }
    Clock::time_point timeOf(int status) {
        std::lock_guard lock(mutex);
        for (const auto& s : statuses)
            if (s.first == status)
                return s.second;
        return {};
    }
    int frameCalls() {
        std::lock_guard lock(mutex);
        return frameStatusCalls;
    }
};
StatusRecord record;

void onCameraStatus(const VslbCameraStatus* status) {
    std::lock_guard lock(record.mutex);
    record.statuses.emplace_back(status->status, Clock::now());
    record.changed.notify_all();
}

[[maybe_unused]] void onFrameStatus(const FrameStatusInfo*) {
    std::lock_guard lock(record.mutex);
    ++record.frameStatusCalls;
}

class RecordingSink : public ICalcVolumeSink {
public:
    struct Pass {
        std::size_t boxes;
        bool hadResult;
        int status;
    };
    void onVolumeResult(const std::vector<BoxDims>& boxes, const LpmcResult* result, int status) override {
        std::lock_guard lock(mutex_);
        passes_.push_back({boxes.size(), result != nullptr, status});
        changed_.notify_all();
    }
    bool waitForBoxes(std::size_t count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, kBound, [&] { return boxesLocked() >= count; });
    }
    std::vector<Pass> passes() {
        std::lock_guard lock(mutex_);
        return passes_;
    }

private:
    std::size_t boxesLocked() const {
        std::size_t total = 0;
        for (const Pass& pass : passes_)
            total += pass.boxes;
        return total;
    }
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Pass> passes_;
};

class CameraModeTest : public TempWorkDirTest {
protected:
    void SetUp() override {
        stub::reset();
        record.reset();
        files.scan[Format::ScanKey::kFrameTimeout] = "100";
        files.write("cfg/");
        plugged = plugLaserCamera("CM1", false);
        ASSERT_TRUE(plugged.sim && plugged.camera);
        plugged.sim->setFrameGenerator(frames);
        manager.setCameraStatusCallback(&onCameraStatus);
    }
    void TearDown() override {
        manager.stop();
        manager.finalize();
    }
    bool initialize(int* error = nullptr) { return manager.initialize(false, "cfg/", error); }
    // Frames the library turns into `boxes` results, one box each, after `framesPerBox` frames.
    void queueBoxes(int boxes, int framesPerBox) {
        stub::script([&](stub::Script& s) {
            for (int b = 0; b < boxes; ++b) {
                for (int f = 1; f < framesPerBox; ++f)
                    s.results.push_back({});
                s.results.push_back({0, 1, {boxOf(300, 200, 100)}, {}, -1});
            }
        });
        for (int i = 0; i < boxes * framesPerBox; ++i)
            frames->pushMono8(64, 32, static_cast<std::uint64_t>(i) * 1'000'000);
    }
    void emitQueued() {
        const auto count = static_cast<std::uint32_t>(frames->pending());
        ASSERT_EQ(plugged.sim->emitFrames(count), count);
    }
    int lines(const std::string& text) { return static_cast<int>(log.withText(text).size()); }

    CalibFiles files;
    PluggedCamera plugged;
    std::shared_ptr<CScriptedFrames> frames = std::make_shared<CScriptedFrames>();
    CCalcQuboid3DMgr manager;
    RecordingSink sink;
};

#ifndef CAMERA_RECONNECT_OFF

TEST_F(CameraModeTest, WithTwoCamerasOnlyTheFirstDiscoveredIsOpened) {
    auto second = Orvia::Sim::CSimCamera::plugIn(Orvia::Sim::laserCameraDescription("CM2"));
    std::vector<TSharedPtr<CMvCamera>> found;
    ASSERT_EQ(CCameraManager::getInstance().getAll3DCameras(found), 2);
    ASSERT_TRUE(initialize());
    ASSERT_EQ(manager.cameraList().size(), 1u);
    EXPECT_EQ(manager.cameraList()[0]->getKey(), found[0]->getKey());
    EXPECT_TRUE(found[0]->isConnected());
    EXPECT_FALSE(found[1]->isConnected());
}

TEST_F(CameraModeTest, NoCameraGives999AndALineThatDoesNotPrintTheCount) {
    plugged.sim.reset();
    int error = 0;
    EXPECT_FALSE(initialize(&error));
    EXPECT_EQ(error, VSLB_ERR_NO_CAMERA);
    EXPECT_EQ(log.count(OVP_LOG_ERROR, kVolume, kInitializeFn,
                        "Initialize 3D volume failed, U3 camera num < 1. now is\n"),
              1);
    EXPECT_EQ(manager.calculatorObject(), nullptr);
}

TEST_F(CameraModeTest, SecondInitializeWithoutFinalizeFindsTheCameraOpenAndGives998) {
    ASSERT_TRUE(initialize());
    int error = 0;
    EXPECT_FALSE(initialize(&error));
    EXPECT_EQ(error, VSLB_ERR_OPEN_CAMERA);
    EXPECT_EQ(log.count(OVP_LOG_ERROR, kVolume, kInitializeFn,
                        "Initialize 3D volume failed, open camera failed.\n"),
              1);
    EXPECT_EQ(manager.cameraList().size(), 1u);
}

TEST_F(CameraModeTest, FreeRunningCameraMeasuresEveryBoxAndCallsFrameStatusOncePerFetch) {
    ASSERT_TRUE(initialize());
    ASSERT_TRUE(manager.setFrameStatusCallback(&onFrameStatus));
    queueBoxes(3, 4);
    ASSERT_TRUE(manager.run(&sink));
    emitQueued();
    ASSERT_TRUE(sink.waitForBoxes(3));
    manager.stop();
    EXPECT_EQ(stub::received().processCalls, 12);
    EXPECT_EQ(lines("Calc a new volume, length[30.0 cm]-width[20.0 cm]-height[10.0 cm]-volume[6000.0 cm3]\n"),
              3);
    // Every frame was fetched once; the fetches that timed out afterwards count as well.
    EXPECT_GE(record.frameCalls(), 12);
    const auto fetches = static_cast<int>(plugged.sim->fetchTimeouts().size());
    EXPECT_EQ(record.frameCalls(), fetches);
    for (std::uint32_t timeout : plugged.sim->fetchTimeouts())
        EXPECT_EQ(timeout, 100u);
    EXPECT_TRUE(record.values().empty());
}

TEST_F(CameraModeTest, EncoderFlagOpensTheHardwareTriggerAndASecondRunAfterStopFails) {
    files.scan["scan_encode_flag"] = "7";
    files.write("cfg/");
    ASSERT_TRUE(initialize());
    plugged.sim->clearRecords();
    ASSERT_TRUE(manager.run(&sink));
    manager.stop();
    const auto writes = plugged.sim->featureWrites();
    EXPECT_TRUE(std::any_of(writes.begin(), writes.end(),
                            [](const auto& w) { return w.name == "TriggerMode" && w.value == "On"; }));
    EXPECT_FALSE(manager.run(&sink));
    EXPECT_EQ(log.count(OVP_LOG_ERROR, kVolume, kRunFn,
                        "Run 3D volume failed, start grabbing failed or open hard trigger failed.\n"),
              1);
}

TEST_F(CameraModeTest, WithoutEncoderFlagRunStopRunStartsGrabbingAgain) {
    ASSERT_TRUE(initialize());
    ASSERT_TRUE(manager.run(&sink));
    manager.stop();
    queueBoxes(1, 2);
    ASSERT_TRUE(manager.run(&sink));
    emitQueued();
    EXPECT_TRUE(sink.waitForBoxes(1));
}

TEST_F(CameraModeTest, SecondRunWithoutStopFailsWhileTheThreadRuns) {
    ASSERT_TRUE(initialize());
    ASSERT_TRUE(manager.run(&sink));
    EXPECT_FALSE(manager.run(&sink));
    queueBoxes(1, 2);
    emitQueued();
    EXPECT_TRUE(sink.waitForBoxes(1)) << "the first thread still measures";
}

TEST_F(CameraModeTest, ReplugGivesReconnectingThenReconnectedAndPackagesAfterwardsAreMeasured) {
    ASSERT_TRUE(initialize());
    const auto before = manager.cameraList().at(0);
    ASSERT_TRUE(manager.run(&sink));
    plugged.sim->unplug();
    ASSERT_TRUE(record.waitForStatus(VSLB_CAMERA_RECONNECTING));
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kVolume, kThreadFn, "Camera is offline, start reconnect."));
    ASSERT_TRUE(log.waitFor("Reconnect failed, camera num < 1. now is 0"));
    plugged.sim->replug();
    ASSERT_TRUE(record.waitForStatus(VSLB_CAMERA_RECONNECTED));
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kVolume, kThreadFn, "Reconnect ok."));
    queueBoxes(2, 3);
    emitQueued();
    ASSERT_TRUE(sink.waitForBoxes(2));
    manager.stop();
    EXPECT_EQ(record.values(), (std::vector<int>{VSLB_CAMERA_RECONNECTING, VSLB_CAMERA_RECONNECTED}));
    EXPECT_NE(manager.cameraList().at(0), before);
    // The pass of the loss isn't handed to the sink; only the pass that the stop cut short
    // comes without a result.
    const auto passes = sink.passes();
    EXPECT_EQ(std::count_if(passes.begin(), passes.end(), [](const auto& p) { return p.hadResult; }), 2);
    EXPECT_LE(std::count_if(passes.begin(), passes.end(), [](const auto& p) { return !p.hadResult; }), 1);
}

TEST_F(CameraModeTest, CameraThatNeverComesBackTimesOutWithMinus989AndStatus3) {
    ASSERT_TRUE(initialize());
    ASSERT_TRUE(manager.run(&sink));
    plugged.sim->unplug();
    ASSERT_TRUE(record.waitForStatus(VSLB_CAMERA_RECONNECT_TIMEOUT));
    ASSERT_TRUE(log.waitFor(kExitLine));
    EXPECT_EQ(record.values(), (std::vector<int>{VSLB_CAMERA_RECONNECTING, VSLB_CAMERA_RECONNECT_TIMEOUT}));
    EXPECT_GE(record.timeOf(VSLB_CAMERA_RECONNECT_TIMEOUT) - record.timeOf(VSLB_CAMERA_RECONNECTING),
              std::chrono::milliseconds(1000));
    EXPECT_GE(lines("Reconnect failed, camera num < 1. now is 0"), 1);
    EXPECT_EQ(log.count(OVP_LOG_INFO, kVolume, kThreadFn, "Reconnect timeout."), 1);
    const auto passes = sink.passes();
    ASSERT_EQ(passes.size(), 1u);
    EXPECT_EQ(passes[0].status, VSLB_ERR_RECONNECT_TIMEOUT);
    EXPECT_FALSE(passes[0].hadResult);
    EXPECT_TRUE(manager.stop());
}

// A computer clock that stands still until the test sets it, as an operator would.
std::atomic<std::int64_t> standingClockTicks{0};
std::int64_t standingClock() {
    return standingClockTicks.load();
}
constexpr std::int64_t kTicksPerMs = 10000;
constexpr std::int64_t kTicksPerHour = 3600LL * 1000 * kTicksPerMs;
constexpr const char* kAttemptLine = "Reconnect failed, camera num < 1. now is 0";

class CameraModeClockTest : public CameraModeTest {
protected:
    void SetUp() override {
        standingClockTicks = 17 * kTicksPerHour;
        setSystemClockSource(&standingClock);
        CameraModeTest::SetUp();
    }
    void TearDown() override {
        CameraModeTest::TearDown();
        setSystemClockSource(nullptr);
    }
    // The camera is pulled, and the thread has made `attempts` attempts on the standing clock.
    void loseTheCamera(std::size_t attempts) {
        ASSERT_TRUE(initialize());
        ASSERT_TRUE(manager.run(&sink));
        plugged.sim->unplug();
        ASSERT_TRUE(record.waitForStatus(VSLB_CAMERA_RECONNECTING));
        ASSERT_TRUE(log.waitForCount(kAttemptLine, attempts));
    }
};

TEST_F(CameraModeClockTest, ClockSetForwardDuringAnOutageBringsTheTimeoutForward) {
    loseTheCamera(3);
    EXPECT_EQ(record.values(), std::vector<int>{VSLB_CAMERA_RECONNECTING}) << "the clock stood still";
    standingClockTicks += kTicksPerHour;
    ASSERT_TRUE(record.waitForStatus(VSLB_CAMERA_RECONNECT_TIMEOUT));
    EXPECT_EQ(record.values(), (std::vector<int>{VSLB_CAMERA_RECONNECTING, VSLB_CAMERA_RECONNECT_TIMEOUT}));
    EXPECT_EQ(log.count(OVP_LOG_INFO, kVolume, kThreadFn, "Reconnect timeout."), 1);
}

TEST_F(CameraModeClockTest, ClockSetBackDuringAnOutagePushesTheTimeoutBack) {
    loseTheCamera(1);
    // Back by an hour, then on by the whole timeout: the deadline is still an hour away.
    standingClockTicks -= kTicksPerHour;
    standingClockTicks += AdvancedConfig::instance().CameraReconnectTimeout * kTicksPerMs;
    const std::size_t seen = log.withText(kAttemptLine).size();
    ASSERT_TRUE(log.waitForCount(kAttemptLine, seen + 3));
    EXPECT_EQ(record.values(), std::vector<int>{VSLB_CAMERA_RECONNECTING});
    standingClockTicks += kTicksPerHour;
    ASSERT_TRUE(record.waitForStatus(VSLB_CAMERA_RECONNECT_TIMEOUT));
    EXPECT_EQ(record.values(), (std::vector<int>{VSLB_CAMERA_RECONNECTING, VSLB_CAMERA_RECONNECT_TIMEOUT}));
}

TEST_F(CameraModeTest, StopDuringReconnectionEndsAfterTheAttemptUnderWay) {
    ASSERT_TRUE(initialize());
    ASSERT_TRUE(manager.run(&sink));
    plugged.sim->unplug();
    ASSERT_TRUE(record.waitForStatus(VSLB_CAMERA_RECONNECTING));
    EXPECT_TRUE(manager.stop());
    EXPECT_EQ(lines(kExitLine), 1);
    const int attempts = lines("Reconnect failed, camera num < 1. now is 0");
    EXPECT_TRUE(log.withText("Reconnect timeout.").empty());
    EXPECT_EQ(record.values(), std::vector<int>{VSLB_CAMERA_RECONNECTING});
    EXPECT_EQ(lines("Reconnect failed, camera num < 1. now is 0"), attempts) << "no attempt after the join";
}

TEST_F(CameraModeTest, SetFrameStatusCallbackReachesTheCameraUnderItsLock) {
    ASSERT_TRUE(initialize());
    ASSERT_TRUE(manager.setFrameStatusCallback(&onFrameStatus));
    const auto camera = manager.cameraList().at(0);
    std::lock_guard lock(camera->frameStatusMutex);
    EXPECT_EQ(camera->frameStatusCallback, &onFrameStatus);
}

#else

TEST_F(CameraModeTest, LostCameraWithReconnectionOffReportsOfflineAndEndsTheThread) {
    ASSERT_TRUE(initialize());
    ASSERT_TRUE(manager.run(&sink));
    plugged.sim->unplug();
    ASSERT_TRUE(record.waitForStatus(VSLB_CAMERA_OFFLINE));
    ASSERT_TRUE(log.waitFor(kExitLine));
    EXPECT_EQ(record.values(), std::vector<int>{VSLB_CAMERA_OFFLINE});
    EXPECT_EQ(log.count(OVP_LOG_ERROR, kVolume, kThreadFn,
                        "Camera is offline and reconnect is off, exit 3D proc thread."),
              1);
    EXPECT_TRUE(log.withText("Camera is offline, start reconnect.").empty());
    EXPECT_TRUE(sink.passes().empty());
    EXPECT_TRUE(manager.stop());
}

#endif

} // namespace
} // namespace quboid3d::test
