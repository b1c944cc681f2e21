#include "CalcQuboid3DMgr.h"

#include <system_error>

#include <gtest/gtest.h>

#include "CalcQuboid3DMulti.h"
#include "CalibFiles.h"
#include "ImageFiles.h"
#include "LoadImage.h"
#include "LocalStation.h"
#include "LpmcStub.h"
#include "Orvia/Sim/SimCamera.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

using Orvia::VisionSystem::CCalcQuboid3DMgr;

constexpr const char* kVolume = "Volume";
constexpr const char* kThreadFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::threadCalcQuboid3D";

namespace stub = lpmc_stub;
constexpr const char* kInitializeFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::initialize";

// A working directory with a configuration directory "cfg/" and one stored image, and a
// simulated laser camera for camera mode.
class CalcQuboid3DMgrTest : public TempWorkDirTest {
protected:
    void SetUp() override {
        stub::reset();
        writeLocalStation();
        CalibFiles{}.write("./3DCfg/");
    }
    void TearDown() override { manager.finalize(); }

    std::shared_ptr<Orvia::Sim::CSimCamera> camera =
        Orvia::Sim::CSimCamera::plugIn(Orvia::Sim::laserCameraDescription("MGR1"));
    CCalcQuboid3DMgr manager;
};

TEST_F(CalcQuboid3DMgrTest, FinalizeBeforeInitializeSucceedsAndOnlyLogsItsLine) {
    EXPECT_TRUE(manager.finalize());
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, OVP_LOG_INFO);
    EXPECT_EQ(lines[0].channel, kVolume);
    EXPECT_EQ(lines[0].function, "Orvia::VisionSystem::CCalcQuboid3DMgr::finalize");
    EXPECT_EQ(lines[0].text, "Finalize 3D volume success!\n");
}

TEST_F(CalcQuboid3DMgrTest, EmptyDirectoryMeansTheDefaultOne) {
    int error = 0;
    ASSERT_TRUE(manager.initialize(true, "", &error));
    EXPECT_EQ(manager.configDir(), "./3DCfg/");
    EXPECT_TRUE(manager.localModeEnabled());
}

TEST_F(CalcQuboid3DMgrTest, NullErrorOutputIsAllowed) {
    EXPECT_TRUE(manager.initialize(false, "cfg/", nullptr));
    EXPECT_FALSE(manager.localModeEnabled());
    EXPECT_FALSE(manager.initialize(false, "missing/", nullptr));
}

TEST_F(CalcQuboid3DMgrTest, FinalizeKeepsModeAndDirectory) {
    ASSERT_TRUE(manager.initialize(true, "cfg/", nullptr));
    ASSERT_TRUE(manager.finalize());
    EXPECT_TRUE(manager.localModeEnabled());
    EXPECT_EQ(manager.configDir(), "cfg/");
}

TEST_F(CalcQuboid3DMgrTest, LocalModeLogsItselfAndMakesOneSourceAndACalculator) {
    int error = 0;
    ASSERT_TRUE(manager.initialize(true, "cfg/", &error));
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kVolume, kInitializeFn, "run in local mode."));
    ASSERT_EQ(manager.localSources().size(), 1u);
    EXPECT_EQ(manager.localSources()[0]->fileList(), std::vector<std::string>{"./LocalImages/0001.png"});
    EXPECT_NE(manager.calculatorObject(), nullptr);
}

TEST_F(CalcQuboid3DMgrTest, MissingImageDirectoryGives997AndNoCalculator) {
    std::filesystem::remove_all("LocalImages");
    int error = 0;
    EXPECT_FALSE(manager.initialize(true, "cfg/", &error));
    EXPECT_EQ(error, VSLB_ERR_OPEN_LOCAL_DIR);
    EXPECT_EQ(log.count(OVP_LOG_ERROR, kVolume, kInitializeFn,
                        "Initialize 3D volume failed, open local dir failed.\n"),
              1);
    EXPECT_EQ(manager.calculatorObject(), nullptr);
    EXPECT_EQ(stub::received().createCalls, 0);
    EXPECT_TRUE(manager.localSources().empty());
}

TEST_F(CalcQuboid3DMgrTest, FailingCalculatorReportsItsCodeAndLeavesTheImageSource) {
    int error = 0;
    EXPECT_FALSE(manager.initialize(true, "missing/", &error));
    EXPECT_EQ(error, VSLB_ERR_READ_CFG);
    EXPECT_EQ(log.count(OVP_LOG_ERROR, kVolume, kInitializeFn,
                        "Initialize 3D volume failed, init volume 3D failed.\n"),
              1);
    EXPECT_EQ(manager.localSources().size(), 1u);
    EXPECT_TRUE(log.withText("Initialize 3D volume success!\n").empty());
    ASSERT_TRUE(manager.finalize());
    EXPECT_TRUE(manager.localSources().empty());
}

TEST_F(CalcQuboid3DMgrTest, CameraModeMakesACalculatorAndNoImageSource) {
    int error = 0;
    ASSERT_TRUE(manager.initialize(false, "cfg/", &error));
    EXPECT_TRUE(manager.localSources().empty());
    EXPECT_NE(manager.calculatorObject(), nullptr);
    EXPECT_TRUE(log.withText("run in local mode.").empty());
}

TEST_F(CalcQuboid3DMgrTest, SecondInitializeReplacesTheSourceAndDropsTheCalculatorWithoutRelease) {
    ASSERT_TRUE(manager.initialize(true, "cfg/", nullptr));
    const auto firstCalculator = manager.calculatorObject();
    const auto firstSource = manager.localSources().at(0);
    ASSERT_TRUE(manager.initialize(true, "cfg/", nullptr));
    EXPECT_NE(manager.calculatorObject(), firstCalculator);
    ASSERT_EQ(manager.localSources().size(), 1u);
    EXPECT_NE(manager.localSources()[0], firstSource);
    EXPECT_EQ(stub::received().releaseCalls, 0);
    EXPECT_EQ(stub::received().createCalls, 2);
}

TEST_F(CalcQuboid3DMgrTest, FinalizeReleasesTheCalculatorAndEmptiesTheSources) {
    ASSERT_TRUE(manager.initialize(true, "cfg/", nullptr));
    const auto source = manager.localSources().at(0);
    ASSERT_TRUE(manager.finalize());
    EXPECT_EQ(stub::received().releaseCalls, 1);
    EXPECT_EQ(manager.calculatorObject(), nullptr);
    EXPECT_TRUE(manager.localSources().empty());
    EXPECT_TRUE(source->fileList().empty()) << "the file list is emptied before the source is dropped";
}

TEST_F(CalcQuboid3DMgrTest, RunClearsAndStopRaisesTheCalculatorsStopFlag) {
    ASSERT_TRUE(manager.initialize(true, "cfg/", nullptr));
    manager.calculatorObject()->stopRequested = true;
    ASSERT_TRUE(manager.run(nullptr));
    EXPECT_FALSE(manager.calculatorObject()->stopRequested.load());
    ASSERT_TRUE(manager.stop());
    EXPECT_TRUE(manager.calculatorObject()->stopRequested.load());
}

TEST_F(CalcQuboid3DMgrTest, RunStraightAfterConstructionReturnsTrueAndStopJoins) {
    EXPECT_TRUE(manager.run(nullptr));
    EXPECT_TRUE(manager.stop());
    EXPECT_EQ(log.count(OVP_LOG_ERROR, kVolume, kThreadFn,
                        "Can't start calc3DProc thread, calc3DVolume obj is null!\n"),
              1);
    EXPECT_TRUE(log.withText("Exit 3D volume proc thread success.\n").empty());
    EXPECT_TRUE(log.withText("Start 3D volume proc thread success.\n").empty());
}

TEST_F(CalcQuboid3DMgrTest, StopWithNoThreadReturnsTrue) {
    EXPECT_TRUE(manager.stop());
    EXPECT_TRUE(manager.stop());
}

TEST_F(CalcQuboid3DMgrTest, FrameStatusCallbackWithoutCamerasFails) {
    EXPECT_FALSE(manager.setFrameStatusCallback(nullptr));
    EXPECT_EQ(log.count(OVP_LOG_ERROR, kVolume,
                        "Orvia::VisionSystem::CCalcQuboid3DMgr::setFrameStatusCallback",
                        "setFrameStatusCallback error, no camera is valid."),
              1);
}

using CalcQuboid3DMgrDeathTest = CalcQuboid3DMgrTest;

TEST_F(CalcQuboid3DMgrDeathTest, DestroyingAnObjectWhoseThreadIsJoinableEndsTheProcess) {
    EXPECT_DEATH(
        {
            auto* doomed = new CCalcQuboid3DMgr;
            doomed->run(nullptr);
            delete doomed;
        },
        "");
}

TEST_F(CalcQuboid3DMgrDeathTest, RunTwiceWithoutStopEndsTheProcess) {
    ASSERT_TRUE(manager.initialize(true, "cfg/", nullptr));
    EXPECT_DEATH(
        {
            manager.run(nullptr);
            manager.run(nullptr);
        },
        "");
}

} // namespace
} // namespace quboid3d::test
