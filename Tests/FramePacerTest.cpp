// The schedule of a paced simulated camera, on made-up times: frames at steady slots, small
// lateness made up, a long stall skipped without a burst.
#include <chrono>
#include <vector>

#include <gtest/gtest.h>

#include "FramePacer.h"

namespace {

using Orvia::Sim::Detail::CFramePacer;
using namespace std::chrono_literals;

const CFramePacer::Clock::time_point kStart{1000s};

// The pacing thread's loop with the wake-up times a host might give it: each wake is the slot
// plus the given lateness. Returns when each frame was made.
std::vector<CFramePacer::Clock::time_point>
makeFrames(CFramePacer& pacer, const std::vector<CFramePacer::Clock::duration>& lateness) {
    std::vector<CFramePacer::Clock::time_point> made;
    for (const auto late : lateness) {
        const auto now = pacer.nextSlot() + late;
        pacer.frameMade(now);
        made.push_back(now);
    }
    return made;
}

TEST(FramePacerTest, OnTimeFramesComeOnePeriodApart) {
    CFramePacer pacer(1ms, kStart);
    EXPECT_EQ(pacer.nextSlot(), kStart + 1ms);
    const auto made = makeFrames(pacer, std::vector<CFramePacer::Clock::duration>(5, 0ms));
    for (std::size_t k = 0; k < made.size(); ++k)
        EXPECT_EQ(made[k], kStart + 1ms * static_cast<int>(k + 1));
    EXPECT_EQ(pacer.slipped(), 0ms);
}

TEST(FramePacerTest, AWakeUpLessThanHalfAPeriodLateKeepsTheSchedule) {
    CFramePacer pacer(1ms, kStart);
    makeFrames(pacer, {0us, 400us, 0us});
    EXPECT_EQ(pacer.nextSlot(), kStart + 4ms);
    EXPECT_EQ(pacer.slipped(), 0ms);
}

TEST(FramePacerTest, AStalledThreadResumesAtItsRateWithoutABurst) {
    CFramePacer pacer(1ms, kStart);
    // Held up 40 ms before its third frame: a burst would make 40 frames at once after it.
    const auto made = makeFrames(pacer, {0ms, 0ms, 40ms, 0ms, 0ms, 0ms});
    for (std::size_t k = 1; k < made.size(); ++k)
        EXPECT_GE(made[k] - made[k - 1], 1ms) << "frame " << k;
    EXPECT_EQ(made[2], kStart + 43ms);
    EXPECT_EQ(made[3], kStart + 44ms);
    EXPECT_EQ(pacer.slipped(), 40ms);
}

TEST(FramePacerTest, SlipsAddUp) {
    CFramePacer pacer(2ms, kStart);
    makeFrames(pacer, {5ms, 0ms, 1ms, 7ms});
    EXPECT_EQ(pacer.slipped(), 13ms);
    EXPECT_EQ(pacer.nextSlot(), kStart + 2ms + 5ms + 2ms + 2ms + 1ms + 2ms + 7ms + 2ms);
}

} // namespace
