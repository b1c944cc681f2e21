// The schedule of a paced simulated camera, on made-up times: frames at steady slots, a late
// wake-up makes the frames of the last millisecond's slots, a long stall skips the older ones.
#include <chrono>

#include <gtest/gtest.h>

#include "FramePacer.h"

namespace {

using Orvia::Sim::Detail::CFramePacer;
using namespace std::chrono_literals;

const CFramePacer::Clock::time_point kStart{1000s};

TEST(FramePacerTest, OnTimeWakeUpsMakeOneFrameEachOnePeriodApart) {
    CFramePacer pacer(1ms, kStart);
    for (int k = 1; k <= 5; ++k) {
        ASSERT_EQ(pacer.nextSlot(), kStart + 1ms * k);
        EXPECT_EQ(pacer.framesDue(pacer.nextSlot()), 1u);
    }
    EXPECT_EQ(pacer.skippedSlots(), 0u);
}

TEST(FramePacerTest, ALateWakeUpKeepsTheCameraClock) {
    CFramePacer pacer(1ms, kStart);
    EXPECT_EQ(pacer.framesDue(kStart + 1ms + 700us), 1u);
    EXPECT_EQ(pacer.nextSlot(), kStart + 2ms);
    EXPECT_EQ(pacer.skippedSlots(), 0u);
}

TEST(FramePacerTest, SlotsWithinTheLastMillisecondAreAllMade) {
    // 20,000 frames per second and a wake-up 200 us late: the four slots that passed meanwhile
    // and the one due come together, as a link bunches them.
    CFramePacer pacer(50us, kStart);
    EXPECT_EQ(pacer.framesDue(kStart + 50us + 200us), 5u);
    EXPECT_EQ(pacer.nextSlot(), kStart + 300us);
    EXPECT_EQ(pacer.skippedSlots(), 0u);
}

TEST(FramePacerTest, AStallCostsItsSlotsInsteadOfABurst) {
    CFramePacer pacer(1ms, kStart);
    // Held up 40.5 ms past its first slot: 41 slots have passed, and only the youngest, 0.5 ms
    // ago, is made.
    EXPECT_EQ(pacer.framesDue(kStart + 1ms + 40500us), 1u);
    EXPECT_EQ(pacer.skippedSlots(), 40u);
    EXPECT_EQ(pacer.slipped(), 40ms);
    // The camera goes on at its rate, on its own clock.
    EXPECT_EQ(pacer.nextSlot(), kStart + 42ms);
    EXPECT_EQ(pacer.framesDue(pacer.nextSlot()), 1u);
    EXPECT_EQ(pacer.nextSlot(), kStart + 43ms);
}

TEST(FramePacerTest, SkippedSlotsAddUp) {
    CFramePacer pacer(2ms, kStart);
    EXPECT_EQ(pacer.framesDue(kStart + 2ms + 9ms), 1u); // slots at 2, 4, 6, 8, 10 passed; 10 is made
    EXPECT_EQ(pacer.skippedSlots(), 4u);
    EXPECT_EQ(pacer.framesDue(kStart + 12ms + 5ms), 1u); // slots at 12, 14, 16; 16 is made
    EXPECT_EQ(pacer.skippedSlots(), 6u);
    EXPECT_EQ(pacer.nextSlot(), kStart + 18ms);
}

} // namespace
