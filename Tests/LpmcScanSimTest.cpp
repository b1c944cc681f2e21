// ScanSim scans measured through the five functions as the calculator drives them, against the
// scans' truth: every box found once, length, width and height within 2.5 mm, slant within
// 0.5 degree, nothing found on an empty belt.
#include <cmath>

#include <gtest/gtest.h>

#include "LpmcScanSim.h"

namespace {

using namespace lpmctest;

const std::string kScenes = QUBOID3D_SOURCE_DIR "/ScanSim/scenes/";

void expectWithinGoal(const SimResult& r) {
    ASSERT_TRUE(r.ok) << r.error;
    const SimComparison c = compare(r);
    EXPECT_EQ(c.phantoms, 0);
    EXPECT_TRUE(r.unmeasured.empty());
    for (const SimMatch& m : c.objects) {
        SCOPED_TRACE(m.truth->name);
        ASSERT_EQ(m.found, 1);
        EXPECT_LE(std::fabs(m.dLength), 2.5);
        EXPECT_LE(std::fabs(m.dWidth), 2.5);
        EXPECT_LE(std::fabs(m.dHeight), 2.5);
        EXPECT_LE(std::fabs(m.dSlant), 0.5);
        EXPECT_LE(std::hypot(m.dCentreX, m.dCentreY), 2.5);
        EXPECT_NEAR(m.box.objEnterTime, m.truth->enterTime, 4.0);
        EXPECT_NEAR(m.box.objLeaveTime, m.truth->leaveTime, 4.0);
    }
}

TEST(LpmcScanSimTest, TheDefaultSceneFromMono8Frames) {
    // White, brown, dark (reflectance 0.1) and tall boxes at yaws from -40 to 70 degrees.
    const SimResult r = runScene(ScanSim::defaultScene(), {});
    expectWithinGoal(r);
    EXPECT_EQ(r.boxes.size(), 4u);
}

TEST(LpmcScanSimTest, SideBySideBoxesFromMono8Frames) {
    const SimResult r = runScene(loadScene(kScenes + "side-by-side.json"), {});
    expectWithinGoal(r);
    EXPECT_EQ(r.boxes.size(), 2u);
}

TEST(LpmcScanSimTest, AHarshSceneFromTheLineForm) {
    // Tilted laser, strong distortion, sideways drift, 1.5 mm between profiles, ghosts, a shiny
    // and a black box.
    SimRunOptions o;
    o.lineForm = true;
    const SimResult r = runScene(loadScene(kScenes + "harsh.json"), o);
    expectWithinGoal(r);
    EXPECT_EQ(r.boxes.size(), 2u);
}

TEST(LpmcScanSimTest, AnEncoderSceneFromTheLineForm) {
    SimRunOptions o;
    o.lineForm = true;
    const SimResult r = runScene(loadScene(kScenes + "encoder.json"), o);
    expectWithinGoal(r);
}

TEST(LpmcScanSimTest, AnEmptyNoisyBeltGivesNothing) {
    ScanSim::Scene scene = ScanSim::defaultScene();
    scene.objects.clear();
    scene.trailingGap = 1500.0;
    scene.optics.sensorNoise = 4.0;
    scene.optics.ambient = 14.0;
    scene.optics.speckle = 0.4;
    const SimResult r = runScene(scene, {});
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_TRUE(r.boxes.empty());
    EXPECT_TRUE(r.unmeasured.empty());
}

} // namespace
