// The whole system through its C interface in camera mode: a simulated laser camera plugged into
// this process serves the frames of the end-to-end scene, and the real sheet-of-light library
// measures them. Each pixel form of the scene is rendered once per program into a ring that every
// test replays; the camera makes each frame when the library asks for it. Then the camera is
// pulled: put back, never put back, or pulled while the caller stops. The site file of the program
// sets a short reconnection timeout (or turns reconnection off) before anything reads it.
#include "Quboid3DSdk.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "LogCapture.h"
#include "Orvia/Sim/ScanSimFrames.h"
#include "Orvia/Sim/SimCamera.h"
#include "ScanSim/ScanWriter.h"
#include "ScanSim/SceneJson.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

namespace fs = std::filesystem;
using Orvia::Sim::CScanSimFrames;
using Orvia::Sim::CSimCamera;
using Orvia::Sim::IFrameGenerator;
using Orvia::Sim::ScanSimForm;
using Orvia::Sim::ScanSimFramesOptions;
using Orvia::Sim::SimFrame;

const fs::path kScan = QUBOID3D_E2E_SCAN_DIR;
const fs::path kScene = QUBOID3D_E2E_SCENE;
constexpr double kToleranceMm = 2.5;
// Only a failing test waits this long; a busy machine under ThreadSanitizer is slow.
constexpr auto kBound = std::chrono::seconds(200);
// Short, so that a scene that has run out shows within a moment.
constexpr std::uint32_t kFrameTimeoutMs = 300;
constexpr const char* kPlainModel = "MV-DL2048-G0X"; // type 2: plain images
constexpr const char* kLineModel = "MV-DL2048-G1X";  // type 3: the camera's own line form
#ifdef QUBOID3D_E2E_RECONNECT_OFF
constexpr const char* kSiteFile = "EnableCameraReconnect=0\n";
#else
constexpr const char* kSiteFile = "CameraReconnectTimeout=1000\n";
#endif

struct TrueBox {
    double length, width, height;
    int firstFrame, lastFrame; // the frames of the scene that show it
};

std::vector<TrueBox> loadTruth() {
    std::ifstream in(kScan / "truth.json");
    std::stringstream text;
    text << in.rdbuf();
    rapidjson::Document doc;
    doc.Parse(text.str().c_str());
    std::vector<TrueBox> boxes;
    if (doc.HasParseError() || !doc.IsObject())
        return boxes;
    for (const auto& o : doc["objects"].GetArray())
        boxes.push_back({o["length"].GetDouble(), o["width"].GetDouble(), o["height"].GetDouble(),
                         o["firstFrame"].GetInt(), o["lastFrame"].GetInt()});
    return boxes;
}

const ScanSim::Scene& scene() {
    static const ScanSim::Scene loaded = [] {
        ScanSim::Scene s;
        std::string error;
        if (!ScanSim::loadSceneFile(kScene, s, error))
            ADD_FAILURE() << error;
        return s;
    }();
    return loaded;
}

// The scene in `form`, rendered on first use and kept for the rest of the program.
const CScanSimFrames& renderedScene(ScanSimForm form) {
    static std::map<ScanSimForm, std::shared_ptr<CScanSimFrames>> rings;
    auto& ring = rings[form];
    if (!ring)
        ring = CScanSimFrames::renderForms(scene(), ScanSimFramesOptions{}, {form}).front();
    return *ring;
}

// Frames of a replayed ring, handed out only as far as the test has allowed: the camera has
// nothing to send before the test lets the scene pass, and nothing once it has passed.
class CFrameAllowance : public IFrameGenerator {
public:
    explicit CFrameAllowance(std::shared_ptr<CScanSimFrames> source) : source(std::move(source)) {}
    void allow(int frames) {
        std::lock_guard lock(mutex);
        allowed += frames;
    }
    bool next(SimFrame& frame) override {
        std::lock_guard lock(mutex);
        if (allowed <= 0 || !source->next(frame))
            return false;
        --allowed;
        return true;
    }

private:
    std::mutex mutex;
    std::shared_ptr<CScanSimFrames> source;
    int allowed = 0;
};

// What the application's callbacks received.
struct Received {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<VslbVolumeResult> boxes;
    std::vector<int> statuses;
    int frameCalls = 0;
    int framesMissing = 0;

    void clear() {
        std::lock_guard lock(mutex);
        boxes.clear();
        statuses.clear();
        frameCalls = 0;
        framesMissing = 0;
    }
    template <class Pred>
    bool waitUntil(Pred pred) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, kBound, pred);
    }
    bool waitForBoxes(std::size_t count) {
        return waitUntil([&] { return boxes.size() >= count; });
    }
    bool waitForStatus(int status) {
        return waitUntil(
            [&] { return std::find(statuses.begin(), statuses.end(), status) != statuses.end(); });
    }
};
Received received;

void onBox(const VslbVolumeResult* box) {
    std::lock_guard lock(received.mutex);
    received.boxes.push_back(*box);
    received.changed.notify_all();
}
void onCameraStatus(const VslbCameraStatus* status) {
    std::lock_guard lock(received.mutex);
    received.statuses.push_back(status->status);
    received.changed.notify_all();
}
void onFrameStatus(const FrameStatusInfo* info) {
    std::lock_guard lock(received.mutex);
    ++received.frameCalls;
    if (info->ok == 0)
        ++received.framesMissing;
    received.changed.notify_all();
}

class SiteSettings : public ::testing::Environment {
public:
    void SetUp() override {
        workDir = std::make_unique<ScopedTempWorkDir>();
        workDir->writeFile("station/Quboid3DAdvCfg", kSiteFile);
        std::filesystem::current_path(workDir->path() / "station");
    }
    void TearDown() override { workDir.reset(); }

private:
    std::unique_ptr<ScopedTempWorkDir> workDir;
};
[[maybe_unused]] ::testing::Environment* const kSiteSettings =
    ::testing::AddGlobalTestEnvironment(new SiteSettings);

class EndToEndCameraTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(fs::exists(kScan / "truth.json"))
            << "the scan is rendered by the test RenderEndToEndScan";
        truth = loadTruth();
        ASSERT_EQ(truth.size(), 2u);
        writeCameraClockCalibration(false);
        received.clear();
    }
    void TearDown() override {
        if (handle != 0) {
            vslbQuboid3DStop(handle);
            vslbQuboid3DDestroy(handle);
        }
    }
    // The scan's calibration, with the belt's travel per millisecond of the camera's clock in
    // place of the stored images' counter, a short frame timeout, and the encoder as asked.
    void writeCameraClockCalibration(bool encoder) {
        cfgDir = fs::current_path() / ("camera-cfg-" + std::to_string(++cfgCount));
        fs::remove_all(cfgDir);
        fs::copy(kScan / "3DCfg", cfgDir, fs::copy_options::recursive);
        std::ofstream pose(cfgDir / "LaserMovePose.data", std::ios::trunc);
        for (const auto& [key, value] : ScanSim::movePoseKeys(scene(), ScanSim::TimeBase::CameraMs))
            pose << key << " = " << value << "\n";
        std::ifstream in(cfgDir / "CalibScanCfg.cfg");
        std::stringstream kept;
        for (std::string line; std::getline(in, line);)
            if (!line.starts_with("scan_frame_timeout") && !line.starts_with("scan_encode_flag"))
                kept << line << "\n";
        in.close();
        std::ofstream scan(cfgDir / "CalibScanCfg.cfg", std::ios::trunc);
        scan << kept.str() << "scan_frame_timeout = " << kFrameTimeoutMs << "\n"
             << "scan_encode_flag = " << (encoder ? 1 : 0) << "\n";
    }
    // A camera of `model` that will serve the scene in `form`, each frame made when the library
    // asks for it, once the test allows it.
    void plug(ScanSimForm form, const char* model = kPlainModel) {
        camera = CSimCamera::plugIn(Orvia::Sim::laserCameraDescription("E2E", 0, model));
        ASSERT_TRUE(camera);
        sceneFrames = renderedScene(form).passFrames();
        frames = std::make_shared<CFrameAllowance>(renderedScene(form).replay(true));
        camera->setFrameGenerator(frames);
        camera->setDeliveryMode(Orvia::Sim::DeliveryMode::OnDemand);
    }
    void start() {
        handle = vslbQuboid3DCreate();
        ASSERT_EQ(vslbSetCameraStatusCallback(handle, &onCameraStatus), VSLB_OK);
        ASSERT_EQ(vslbQuboid3DInit(handle, (cfgDir.string() + "/").c_str()), VSLB_OK);
        ASSERT_EQ(vslbSetFrameStatusCallback(handle, &onFrameStatus), VSLB_OK);
        ASSERT_EQ(vslbQuboid3DRunEx(handle, &onBox), VSLB_OK);
    }
    // Lets the scene pass once and waits until both boxes came and the camera has run dry.
    void passScene(std::size_t boxesBefore) {
        const int missingBefore = [] {
            std::lock_guard lock(received.mutex);
            return received.framesMissing;
        }();
        frames->allow(sceneFrames);
        ASSERT_TRUE(received.waitForBoxes(boxesBefore + truth.size()));
        ASSERT_TRUE(received.waitUntil([&] { return received.framesMissing > missingBefore; }))
            << "the scene ran out";
    }
    // The boxes from `first` on are the scene's, and there are `total` in all.
    void expectMatchesTruth(std::size_t first, std::size_t total) {
        std::lock_guard lock(received.mutex);
        ASSERT_EQ(received.boxes.size(), total) << "none lost, none doubled";
        for (std::size_t i = 0; i < truth.size(); ++i) {
            const VslbVolumeResult& box = received.boxes[first + i];
            EXPECT_EQ(box.detailed, 1);
            EXPECT_NEAR(box.length, truth[i].length, kToleranceMm) << "box " << first + i;
            EXPECT_NEAR(box.width, truth[i].width, kToleranceMm) << "box " << first + i;
            EXPECT_NEAR(box.height, truth[i].height, kToleranceMm) << "box " << first + i;
        }
    }
    // Fetches of the measuring thread, told from the short waits of a trigger's drain.
    int measuringFetches() const {
        const auto timeouts = camera->fetchTimeouts();
        return static_cast<int>(std::count(timeouts.begin(), timeouts.end(), kFrameTimeoutMs));
    }
    void expectFrameStatusOncePerFetch() {
        std::lock_guard lock(received.mutex);
        EXPECT_EQ(received.frameCalls, measuringFetches()) << "once per fetch";
    }
    // Measures the whole scene from a camera started by `run`, then stops.
    void measureScene() {
        start();
        passScene(0);
        ASSERT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
        expectMatchesTruth(0, truth.size());
        expectFrameStatusOncePerFetch();
        std::lock_guard lock(received.mutex);
        EXPECT_TRUE(received.statuses.empty());
    }
    int statusCount() {
        std::lock_guard lock(received.mutex);
        return static_cast<int>(received.statuses.size());
    }

    fs::path cfgDir;
    int cfgCount = 0;
    std::vector<TrueBox> truth;
    std::shared_ptr<CSimCamera> camera;
    std::shared_ptr<CFrameAllowance> frames;
    int sceneFrames = 0;
    VslbHandle handle = 0;
    LogCapture log;
};

#ifndef QUBOID3D_E2E_RECONNECT_OFF

TEST_F(EndToEndCameraTest, Mono8FreeRunningIsMeasuredWithinTheAccuracyGoal) {
    plug(ScanSimForm::Mono8);
    measureScene();
}

TEST_F(EndToEndCameraTest, Mono4pFreeRunningIsMeasuredWithinTheAccuracyGoal) {
    plug(ScanSimForm::Mono4p);
    measureScene();
}

TEST_F(EndToEndCameraTest, LineFormOfACameraOfType3IsMeasuredWithinTheAccuracyGoal) {
    plug(ScanSimForm::LineForm, kLineModel);
    measureScene();
}

TEST_F(EndToEndCameraTest, Mono8OnTheEncoderLineIsMeasuredWithinTheAccuracyGoal) {
    writeCameraClockCalibration(true);
    plug(ScanSimForm::Mono8);
    measureScene();
    const auto writes = camera->featureWrites();
    EXPECT_NE(std::find_if(writes.begin(), writes.end(),
                           [](const auto& w) { return w.name == "TriggerMode" && w.value == "On"; }),
              writes.end())
        << "run opened the hardware trigger";
}

TEST_F(EndToEndCameraTest, FramesLostInTheMiddleOfABoxMakeItUnmeasurableAndTheOtherBoxIsMeasured) {
    plug(ScanSimForm::Mono8);
    // Frame ids count the scene's frames from 0: lose ten in the middle of the first box.
    constexpr int kLost = 10;
    const int lostFrom = (truth[0].firstFrame + truth[0].lastFrame) / 2;
    Orvia::Sim::SimFaults faults;
    faults.loseFramesFrom = static_cast<std::uint64_t>(lostFrom);
    faults.loseFrameCount = kLost;
    camera->setFaults(faults);
    start();
    passScene(0);
    ASSERT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    EXPECT_EQ(camera->streamCounters().lost, static_cast<std::uint64_t>(kLost));
    EXPECT_EQ(log.withText("Camera[0] lost 10 frames before frame id[" + std::to_string(lostFrom + kLost) +
                           "], the objects in scan are unmeasurable.\n")
                  .size(),
              1u);
    std::lock_guard lock(received.mutex);
    ASSERT_EQ(received.boxes.size(), truth.size()) << "one result per box, none doubled";
    EXPECT_EQ(received.boxes[0].detailed, 0) << "the box scanned across the loss is unmeasurable";
    const VslbVolumeResult& whole = received.boxes[1];
    EXPECT_EQ(whole.detailed, 1);
    EXPECT_NEAR(whole.length, truth[1].length, kToleranceMm);
    EXPECT_NEAR(whole.width, truth[1].width, kToleranceMm);
    EXPECT_NEAR(whole.height, truth[1].height, kToleranceMm);
}

TEST_F(EndToEndCameraTest, CameraPutBackIsMeasuredAgainAtOnce) {
    plug(ScanSimForm::Mono8);
    start();
    passScene(0);
    camera->unplug();
    ASSERT_TRUE(received.waitForStatus(VSLB_CAMERA_RECONNECTING));
    // The new camera object has no frame status callback: only fetches before the loss count.
    expectFrameStatusOncePerFetch();
    frames->allow(sceneFrames);
    camera->replug();
    ASSERT_TRUE(received.waitForStatus(VSLB_CAMERA_RECONNECTED));
    ASSERT_TRUE(received.waitForBoxes(2 * truth.size()));
    ASSERT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    expectMatchesTruth(0, 2 * truth.size());
    expectMatchesTruth(truth.size(), 2 * truth.size());
    EXPECT_TRUE(log.waitFor("Reconnect ok."));
    std::lock_guard lock(received.mutex);
    EXPECT_EQ(received.statuses, (std::vector<int>{VSLB_CAMERA_RECONNECTING, VSLB_CAMERA_RECONNECTED}));
}

TEST_F(EndToEndCameraTest, CameraThatNeverReturnsTimesOutAndTheApplicationHearsOnlyTheStatus) {
    plug(ScanSimForm::Mono8);
    start();
    passScene(0);
    const auto lost = std::chrono::steady_clock::now();
    camera->unplug();
    ASSERT_TRUE(received.waitForStatus(VSLB_CAMERA_RECONNECT_TIMEOUT));
    const auto waited = std::chrono::steady_clock::now() - lost;
    EXPECT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    // One attempt at least every 50 ms plus discovery, within the configured 1000 ms.
    const auto failed = log.withText("Reconnect failed, camera num < 1. now is 0");
    EXPECT_GE(failed.size(), 2u);
    EXPECT_LE(failed.size(), 21u);
    EXPECT_GE(waited, std::chrono::milliseconds(1000));
    EXPECT_TRUE(log.waitFor("Reconnect timeout."));
    std::lock_guard lock(received.mutex);
    EXPECT_EQ(received.statuses, (std::vector<int>{VSLB_CAMERA_RECONNECTING, VSLB_CAMERA_RECONNECT_TIMEOUT}));
    EXPECT_EQ(received.boxes.size(), truth.size()) << "the -989 is dropped by the adapter";
}

TEST_F(EndToEndCameraTest, StopDuringReconnectionReturnsAfterOneAttemptAndNothingFollows) {
    plug(ScanSimForm::Mono8);
    start();
    camera->unplug();
    ASSERT_TRUE(received.waitForStatus(VSLB_CAMERA_RECONNECTING));
    ASSERT_TRUE(log.waitFor("Reconnect failed, camera num < 1. now is 0"));
    EXPECT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    EXPECT_TRUE(log.withText("Reconnect timeout.").empty());
    std::lock_guard lock(received.mutex);
    EXPECT_EQ(received.statuses, std::vector<int>{VSLB_CAMERA_RECONNECTING});
    EXPECT_TRUE(received.boxes.empty());
}

#else

TEST_F(EndToEndCameraTest, CameraLostWithReconnectionOffEndsTheThreadAndStopStillSucceeds) {
    plug(ScanSimForm::Mono8);
    start();
    passScene(0);
    camera->unplug();
    ASSERT_TRUE(received.waitForStatus(VSLB_CAMERA_OFFLINE));
    EXPECT_TRUE(log.waitFor("Camera is offline and reconnect is off, exit 3D proc thread."));
    EXPECT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    expectMatchesTruth(0, truth.size());
    expectFrameStatusOncePerFetch();
    std::lock_guard lock(received.mutex);
    EXPECT_EQ(received.statuses, std::vector<int>{VSLB_CAMERA_OFFLINE});
}

#endif

} // namespace
} // namespace quboid3d::test
