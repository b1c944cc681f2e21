// The schedule of a paced simulated camera, on made-up times: frames at steady slots, a late
// wake-up makes the frames of the slots within the catch-up window (a millisecond by default), a
// longer stall skips the older ones and counts them.
#include <chrono>

#include <gtest/gtest.h>

#include "FramePacer.h"

namespace {

using Orvia::Sim::Detail::CFramePacer;
using namespace std::chrono_literals;

const CFramePacer::Clock::time_point kStart{1000s};
// What a link bunches together: the simulated camera's default.
constexpr auto kLinkWindow = 1ms;

TEST(FramePacerTest, OnTimeWakeUpsMakeOneFrameEachOnePeriodApart) {
    CFramePacer pacer(1ms, kStart, kLinkWindow);
    for (int k = 1; k <= 5; ++k) {
        ASSERT_EQ(pacer.nextSlot(), kStart + 1ms * k);
        EXPECT_EQ(pacer.framesDue(pacer.nextSlot()), 1u);
    }
    EXPECT_EQ(pacer.skippedSlots(), 0u);
}

TEST(FramePacerTest, ALateWakeUpKeepsTheCameraClock) {
    CFramePacer pacer(1ms, kStart, kLinkWindow);
    EXPECT_EQ(pacer.framesDue(kStart + 1ms + 700us), 1u);
    EXPECT_EQ(pacer.nextSlot(), kStart + 2ms);
    EXPECT_EQ(pacer.skippedSlots(), 0u);
}

TEST(FramePacerTest, SlotsWithinTheLastMillisecondAreAllMade) {
    // 20,000 frames per second and a wake-up 200 us late: the four slots that passed meanwhile
    // and the one due come together, as a link bunches them.
    CFramePacer pacer(50us, kStart, kLinkWindow);
    EXPECT_EQ(pacer.framesDue(kStart + 50us + 200us), 5u);
    EXPECT_EQ(pacer.nextSlot(), kStart + 300us);
    EXPECT_EQ(pacer.skippedSlots(), 0u);
}

TEST(FramePacerTest, AStallCostsItsSlotsInsteadOfABurst) {
    CFramePacer pacer(1ms, kStart, kLinkWindow);
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
    CFramePacer pacer(2ms, kStart, kLinkWindow);
    EXPECT_EQ(pacer.framesDue(kStart + 2ms + 9ms), 1u); // slots at 2, 4, 6, 8, 10 passed; 10 is made
    EXPECT_EQ(pacer.skippedSlots(), 4u);
    EXPECT_EQ(pacer.framesDue(kStart + 12ms + 5ms), 1u); // slots at 12, 14, 16; 16 is made
    EXPECT_EQ(pacer.skippedSlots(), 6u);
    EXPECT_EQ(pacer.nextSlot(), kStart + 18ms);
}

TEST(FramePacerTest, AStallShorterThanAWideWindowMakesEveryFrame) {
    // A host whose receive thread stalls 120 ms while the network card holds the frames: all
    // 121 slots that passed come at once, late, and none is skipped.
    CFramePacer pacer(1ms, kStart, 150ms);
    EXPECT_EQ(pacer.framesDue(kStart + 1ms + 120ms), 121u);
    EXPECT_EQ(pacer.skippedSlots(), 0u);
    EXPECT_EQ(pacer.slipped(), 0ms);
    EXPECT_EQ(pacer.nextSlot(), kStart + 122ms);
    EXPECT_EQ(pacer.framesDue(pacer.nextSlot()), 1u);
}

TEST(FramePacerTest, AStallLongerThanAWideWindowSkipsTheOlderSlotsAndCountsThem) {
    // Held up 200.5 ms past its first slot: 201 slots have passed; the 51 of them older than
    // 150 ms are skipped, the 150 younger ones made.
    CFramePacer pacer(1ms, kStart, 150ms);
    EXPECT_EQ(pacer.framesDue(kStart + 1ms + 200500us), 150u);
    EXPECT_EQ(pacer.skippedSlots(), 51u);
    EXPECT_EQ(pacer.slipped(), 51ms);
    EXPECT_EQ(pacer.nextSlot(), kStart + 202ms);
    // A second stall adds its own.
    EXPECT_EQ(pacer.framesDue(kStart + 202ms + 160ms),
              151u); // slots 202 .. 362; 202 .. 211 older than 150 ms
    EXPECT_EQ(pacer.skippedSlots(), 61u);
    EXPECT_EQ(pacer.nextSlot(), kStart + 363ms);
}

TEST(FramePacerTest, AWindowShorterThanThePeriodStillMakesTheDueSlot) {
    // At 100 frames per second a 1 ms window is narrower than a period: a wake-up 5 ms late
    // still makes the slot it woke for.
    CFramePacer pacer(10ms, kStart, kLinkWindow);
    EXPECT_EQ(pacer.framesDue(kStart + 10ms + 5ms), 1u);
    EXPECT_EQ(pacer.skippedSlots(), 0u);
    EXPECT_EQ(pacer.nextSlot(), kStart + 20ms);
}

} // namespace
