#include "CalcQuboid3DMgr.h"

#include <system_error>

#include <gtest/gtest.h>

#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

using Orvia::VisionSystem::CCalcQuboid3DMgr;

constexpr const char* kVolume = "Volume";
constexpr const char* kThreadFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::threadCalcQuboid3D";

class CalcQuboid3DMgrTest : public TempWorkDirTest {
protected:
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
    EXPECT_TRUE(manager.initialize(false, "x/", nullptr));
    EXPECT_FALSE(manager.localModeEnabled());
}

TEST_F(CalcQuboid3DMgrTest, FinalizeKeepsModeAndDirectory) {
    ASSERT_TRUE(manager.initialize(true, "keep/", nullptr));
    ASSERT_TRUE(manager.finalize());
    EXPECT_TRUE(manager.localModeEnabled());
    EXPECT_EQ(manager.configDir(), "keep/");
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
