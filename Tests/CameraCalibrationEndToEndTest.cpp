// The whole system through its C interface in camera mode, from an empty configuration
// directory: a simulated AI laser camera carries the calibration of a virtual station in its
// memory and serves that station's frames in the camera's line form (pre-rendered once). The
// calibration comes down into 3DCfg/, and the real sheet-of-light library measures the boxes
// with it as closely as it does in local mode.
#include "Quboid3DSdk.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CameraTestSupport.h"
#include "Orvia/ConfigFormat/KeyValueWriter.h"
#include "Orvia/Sim/ScanSimCalibration.h"
#include "Orvia/Sim/ScanSimFrames.h"
#include "ScanSim/CameraCalibration.h"
#include "ScanSim/SceneJson.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

namespace fs = std::filesystem;
namespace Format = Orvia::VisionSystem::ConfigFormat;

constexpr double kToleranceMm = 2.5;
constexpr double kSlantToleranceDeg = 0.5;
constexpr double kDegreesPerRadian = 57.29577951308232;
// A GigE model whose name makes it an AI camera: calibration in memory, frames in the line form.
constexpr const char* kAIModel = "MV-DL2048-GAX";

std::string contentOf(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

double slantError(double measuredDeg, double trueDeg) {
    double d = std::fmod(measuredDeg - trueDeg, 180.0);
    if (d > 90)
        d -= 180;
    if (d < -90)
        d += 180;
    return std::abs(d);
}

// The boxes the application received; the callback takes no context.
struct Received {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<VslbVolumeResult> boxes;

    bool waitFor(std::size_t count) {
        std::unique_lock lock(mutex);
        // A bound, not a timing: the test's own limit is 300 s.
        return changed.wait_for(lock, std::chrono::seconds(240), [&] { return boxes.size() >= count; });
    }
    std::vector<VslbVolumeResult> copy() {
        std::lock_guard lock(mutex);
        return boxes;
    }
};
Received received;

void onBox(const VslbVolumeResult* box) {
    std::lock_guard lock(received.mutex);
    received.boxes.push_back(*box);
    received.changed.notify_all();
}

class CameraCalibrationEndToEndTest : public TempWorkDirTest {
protected:
    // The scene's frames are rendered once for the program.
    static void SetUpTestSuite() {
        std::string error;
        scene = std::make_unique<ScanSim::Scene>();
        ASSERT_TRUE(ScanSim::loadSceneFile(QUBOID3D_E2E_SCENE, *scene, error)) << error;
        Orvia::Sim::ScanSimFramesOptions options;
        options.form = Orvia::Sim::ScanSimForm::LineForm;
        frames = std::make_shared<Orvia::Sim::CScanSimFrames>(*scene, options);
    }
    static void TearDownTestSuite() {
        frames.reset();
        scene.reset();
    }
    void TearDown() override {
        if (handle != 0) {
            vslbQuboid3DStop(handle);
            vslbQuboid3DDestroy(handle);
        }
    }

    static std::unique_ptr<ScanSim::Scene> scene;
    static std::shared_ptr<Orvia::Sim::CScanSimFrames> frames;
    VslbHandle handle = 0;
};
std::unique_ptr<ScanSim::Scene> CameraCalibrationEndToEndTest::scene;
std::shared_ptr<Orvia::Sim::CScanSimFrames> CameraCalibrationEndToEndTest::frames;

TEST_F(CameraCalibrationEndToEndTest, TheCalibrationComesDownIntoAnEmptyDirectoryAndTheBoxesMatchTheTruth) {
    fs::create_directory("3DCfg");
    ASSERT_TRUE(fs::is_empty("3DCfg"));
    const auto description =
        Orvia::Sim::laserCameraDescription("E2E-AI", Orvia::GenICam::InterfaceKindGigE, kAIModel);
    auto sim = Orvia::Sim::CSimCamera::plugIn(description);
    ASSERT_TRUE(sim);
    ASSERT_TRUE(Orvia::Sim::holdStationCalibration(*sim, *scene, Orvia::Sim::CalibrationArea::Memory));
    sim->setFrameGenerator(frames);
    sim->setDeliveryMode(Orvia::Sim::DeliveryMode::OnDemand);

    handle = vslbQuboid3DCreate();
    ASSERT_EQ(vslbQuboid3DInit(handle, "./3DCfg/"), VSLB_OK);
    const auto files = ScanSim::calibrationFiles(*scene, ScanSim::TimeBase::CameraMs);
    ASSERT_EQ(files.size(), 6u);
    for (const ScanSim::CalibrationFile& file : files)
        EXPECT_EQ(contentOf(fs::path("3DCfg") / file.name),
                  Format::keyValueText(file.keys, file.comment.c_str()))
            << file.name;

    ASSERT_EQ(vslbQuboid3DRunEx(handle, &onBox), VSLB_OK);
    ASSERT_TRUE(received.waitFor(2));
    ASSERT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    const auto boxes = received.copy();
    ASSERT_EQ(scene->objects.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        const ScanSim::SceneObject& truth = scene->objects[i];
        SCOPED_TRACE(truth.name);
        EXPECT_EQ(boxes[i].detailed, 1);
        EXPECT_NEAR(boxes[i].length, std::max(truth.length, truth.width), kToleranceMm);
        EXPECT_NEAR(boxes[i].width, std::min(truth.length, truth.width), kToleranceMm);
        EXPECT_NEAR(boxes[i].height, truth.height, kToleranceMm);
        EXPECT_LT(slantError(boxes[i].slantAngle * kDegreesPerRadian, truth.yawDeg), kSlantToleranceDeg);
        EXPECT_GT(boxes[i].pointCount, 100);
    }
}

} // namespace
} // namespace quboid3d::test
