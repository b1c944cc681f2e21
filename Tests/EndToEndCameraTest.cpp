// The whole system through its C interface in camera mode: a simulated laser camera plugged into
// this process serves the frames of the end-to-end scene (rendered by ScanSim), and the real
// sheet-of-light library measures them. Then the camera is pulled: never returned, or pulled
// while the caller stops. The site file of the
// program sets a short reconnection timeout before anything reads it.
#include "Quboid3DSdk.h"

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

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
using Orvia::Sim::ScanSimForm;
using Orvia::Sim::ScanSimFramesOptions;

const fs::path kScan = QUBOID3D_E2E_SCAN_DIR;
const fs::path kScene = QUBOID3D_E2E_SCENE;
constexpr double kToleranceMm = 2.5;
constexpr auto kBound = std::chrono::seconds(240);

struct TrueBox {
    double length, width, height;
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
        boxes.push_back({o["length"].GetDouble(), o["width"].GetDouble(), o["height"].GetDouble()});
    return boxes;
}

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
}

class SiteSettings : public ::testing::Environment {
public:
    void SetUp() override {
        workDir = std::make_unique<ScopedTempWorkDir>();
        workDir->writeFile("station/Quboid3DAdvCfg", "CameraReconnectTimeout=1000\n");
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
        std::string error;
        ASSERT_TRUE(ScanSim::loadSceneFile(kScene, scene, error)) << error;
        writeCameraClockCalibration();
        received.clear();
    }
    void TearDown() override {
        if (handle != 0) {
            vslbQuboid3DStop(handle);
            vslbQuboid3DDestroy(handle);
        }
    }
    // The scan's calibration, with the belt's travel per millisecond of the camera's clock in
    // place of the stored images' counter.
    void writeCameraClockCalibration() {
        cfgDir = fs::current_path() / ("camera-cfg-" + std::to_string(++cfgCount));
        fs::remove_all(cfgDir);
        fs::copy(kScan / "3DCfg", cfgDir, fs::copy_options::recursive);
        std::ofstream pose(cfgDir / "LaserMovePose.data", std::ios::trunc);
        for (const auto& [key, value] : ScanSim::movePoseKeys(scene, ScanSim::TimeBase::CameraMs))
            pose << key << " = " << value << "\n";
    }
    // A camera of `model` serving the scene once, each frame made when the library asks for it.
    void plug(ScanSimForm form, const std::string& model = "MV-DL2048-G0X") {
        ScanSimFramesOptions options;
        options.form = form;
        options.loop = false;
        camera = CSimCamera::plugIn(Orvia::Sim::laserCameraDescription("E2E", 0, model));
        ASSERT_TRUE(camera);
        camera->setFrameGenerator(std::make_shared<CScanSimFrames>(scene, options));
        camera->setDeliveryMode(Orvia::Sim::DeliveryMode::OnDemand);
    }
    void start() {
        handle = vslbQuboid3DCreate();
        ASSERT_EQ(vslbSetCameraStatusCallback(handle, &onCameraStatus), VSLB_OK);
        ASSERT_EQ(vslbQuboid3DInit(handle, (cfgDir.string() + "/").c_str()), VSLB_OK);
        ASSERT_EQ(vslbSetFrameStatusCallback(handle, &onFrameStatus), VSLB_OK);
        ASSERT_EQ(vslbQuboid3DRunEx(handle, &onBox), VSLB_OK);
    }
    void expectMatchesTruth() {
        std::lock_guard lock(received.mutex);
        ASSERT_EQ(received.boxes.size(), truth.size()) << "none lost, none doubled";
        for (std::size_t i = 0; i < truth.size(); ++i) {
            EXPECT_EQ(received.boxes[i].detailed, 1);
            EXPECT_NEAR(received.boxes[i].length, truth[i].length, kToleranceMm);
            EXPECT_NEAR(received.boxes[i].width, truth[i].width, kToleranceMm);
            EXPECT_NEAR(received.boxes[i].height, truth[i].height, kToleranceMm);
        }
    }
    // Measures the whole scene: every frame fetched, then the stream runs dry.
    void measureScene() {
        start();
        ASSERT_TRUE(received.waitForBoxes(truth.size()));
        ASSERT_TRUE(received.waitUntil([] { return received.framesMissing > 0; })) << "the scene ran out";
        ASSERT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
        expectMatchesTruth();
        std::lock_guard lock(received.mutex);
        EXPECT_EQ(received.frameCalls, static_cast<int>(camera->fetchTimeouts().size())) << "once per fetch";
        EXPECT_TRUE(received.statuses.empty());
    }

    ScanSim::Scene scene;
    fs::path cfgDir;
    int cfgCount = 0;
    std::vector<TrueBox> truth;
    std::shared_ptr<CSimCamera> camera;
    VslbHandle handle = 0;
};

TEST_F(EndToEndCameraTest, Mono8FramesAreMeasuredWithinTheAccuracyGoal) {
    plug(ScanSimForm::Mono8);
    measureScene();
}

TEST_F(EndToEndCameraTest, CameraThatNeverReturnsTimesOutAndTheApplicationHearsOnlyTheStatus) {
    plug(ScanSimForm::Mono8);
    camera->setDeliveryMode(Orvia::Sim::DeliveryMode::Manual);
    start();
    camera->unplug();
    ASSERT_TRUE(received.waitForStatus(VSLB_CAMERA_RECONNECT_TIMEOUT));
    EXPECT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    std::lock_guard lock(received.mutex);
    EXPECT_EQ(received.statuses, (std::vector<int>{VSLB_CAMERA_RECONNECTING, VSLB_CAMERA_RECONNECT_TIMEOUT}));
    EXPECT_TRUE(received.boxes.empty()) << "the -989 is dropped by the adapter";
}

TEST_F(EndToEndCameraTest, StopDuringReconnectionReturnsAndNothingFollows) {
    plug(ScanSimForm::Mono8);
    camera->setDeliveryMode(Orvia::Sim::DeliveryMode::Manual);
    start();
    camera->unplug();
    ASSERT_TRUE(received.waitForStatus(VSLB_CAMERA_RECONNECTING));
    EXPECT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    std::lock_guard lock(received.mutex);
    EXPECT_EQ(received.statuses, std::vector<int>{VSLB_CAMERA_RECONNECTING});
}

} // namespace
} // namespace quboid3d::test
