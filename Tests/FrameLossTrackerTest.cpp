// The frames of a camera lost on the way, told from their numbers.
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "FrameLossTracker.h"
#include "Lpmc.h"

namespace quboid3d::test {
namespace {

using Orvia::VisionSystem::CFrameLossTracker;

TEST(FrameLossTrackerTest, FramesInTurnLoseNothing) {
    CFrameLossTracker losses;
    for (std::uint64_t id = 0; id < 5; ++id)
        EXPECT_EQ(losses.take(id), 0) << id;
}

TEST(FrameLossTrackerTest, TheFirstFrameLosesNothingWhateverItsNumber) {
    CFrameLossTracker losses;
    EXPECT_EQ(losses.take(17), 0);
    EXPECT_EQ(losses.take(18), 0);
}

TEST(FrameLossTrackerTest, SkippedNumbersAreTheFramesLost) {
    CFrameLossTracker losses;
    EXPECT_EQ(losses.take(3), 0);
    EXPECT_EQ(losses.take(7), 3);
    EXPECT_EQ(losses.take(8), 0);
}

TEST(FrameLossTrackerTest, NumbersThatStartOverAreARestart) {
    CFrameLossTracker losses;
    EXPECT_EQ(losses.take(40), 0);
    EXPECT_EQ(losses.take(0), LPMC_FRAMES_RESTARTED);
    EXPECT_EQ(losses.take(1), 0);
    EXPECT_EQ(losses.take(1), LPMC_FRAMES_RESTARTED); // the same number again
}

TEST(FrameLossTrackerTest, TheFrameAfterALostCameraIsARestartEvenIfItsNumberGoesOn) {
    CFrameLossTracker losses;
    EXPECT_EQ(losses.take(5), 0);
    losses.cameraLost();
    EXPECT_EQ(losses.take(6), LPMC_FRAMES_RESTARTED);
    EXPECT_EQ(losses.take(7), 0);
}

TEST(FrameLossTrackerTest, AHugeGapIsToldAsTheLargestCount) {
    CFrameLossTracker losses;
    EXPECT_EQ(losses.take(0), 0);
    EXPECT_EQ(losses.take(std::uint64_t{1} << 40), std::numeric_limits<std::int32_t>::max());
}

} // namespace
} // namespace quboid3d::test
