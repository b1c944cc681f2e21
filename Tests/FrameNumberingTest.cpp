#include "FrameNumbering.h"

#include <gtest/gtest.h>

#include <vector>

using Orvia::Aravis::Detail::CFrameNumbering;

namespace {

struct Seen {
    std::vector<uint64_t> numbers; // of the frames given out, in order
    uint64_t skipped = 0;
    uint64_t late = 0;
};

Seen feed(CFrameNumbering& numbering, const std::vector<uint64_t>& ids) {
    Seen seen;
    for (const uint64_t id : ids) {
        const CFrameNumbering::Step step = numbering.take(id);
        if (step.late) {
            ++seen.late;
            continue;
        }
        seen.skipped += step.skipped;
        seen.numbers.push_back(step.number);
    }
    return seen;
}

Seen feed(const std::vector<uint64_t>& ids) {
    CFrameNumbering numbering;
    return feed(numbering, ids);
}

} // namespace

TEST(FrameNumberingTest, NumbersStartAtZeroWhateverTheFirstId) {
    const Seen seen = feed({517, 518, 519});
    EXPECT_EQ(seen.numbers, (std::vector<uint64_t>{0, 1, 2}));
    EXPECT_EQ(seen.skipped, 0u);
}

TEST(FrameNumberingTest, AHoleInTheIdsIsAHoleInTheNumbersAndCountedOnce) {
    const Seen seen = feed({1, 2, 5, 6});
    EXPECT_EQ(seen.numbers, (std::vector<uint64_t>{0, 1, 4, 5}));
    EXPECT_EQ(seen.skipped, 2u);
}

TEST(FrameNumberingTest, ShortIdsGoOnAcrossTheWrapFrom65535To1) {
    const Seen seen = feed({65534, 65535, 1, 2});
    EXPECT_EQ(seen.numbers, (std::vector<uint64_t>{0, 1, 2, 3}));
    EXPECT_EQ(seen.skipped, 0u);
}

TEST(FrameNumberingTest, AHoleAcrossTheWrapCountsOnlyTheMissingIds) {
    const Seen seen = feed({65533, 2}); // 65534, 65535 and 1 never came
    EXPECT_EQ(seen.numbers, (std::vector<uint64_t>{0, 4}));
    EXPECT_EQ(seen.skipped, 3u);
}

TEST(FrameNumberingTest, ALateFrameGetsNoNumberAndCountsNothingAgain) {
    // 13 and 14 were skipped when 15 came; 13 then turns up late.
    const Seen seen = feed({10, 11, 12, 15, 13, 16});
    EXPECT_EQ(seen.numbers, (std::vector<uint64_t>{0, 1, 2, 5, 6}));
    EXPECT_EQ(seen.skipped, 2u);
    EXPECT_EQ(seen.late, 1u);
}

TEST(FrameNumberingTest, LateFramesFifteenBehindDoNotMoveTheNewestBack) {
    std::vector<uint64_t> ids{100, 120};
    for (uint64_t id = 105; id < 120; ++id) {
        ids.push_back(id); // all late, a burst of frames the receiver gave up on
    }
    ids.push_back(121);
    const Seen seen = feed(ids);
    EXPECT_EQ(seen.numbers, (std::vector<uint64_t>{0, 20, 21}));
    EXPECT_EQ(seen.skipped, 19u);
    EXPECT_EQ(seen.late, 15u);
}

TEST(FrameNumberingTest, ALateFrameFromBeforeTheWrapIsLateNotAJump) {
    // Seen on an overloaded link: id 64, then a frame from before the wrap.
    const Seen seen = feed({65530, 63, 64, 65449, 65});
    EXPECT_EQ(seen.numbers, (std::vector<uint64_t>{0, 68, 69, 70}));
    EXPECT_EQ(seen.late, 1u);
    EXPECT_EQ(seen.skipped, 68u - 1u);
}

TEST(FrameNumberingTest, ARepeatedIdIsLate) {
    const Seen seen = feed({7, 8, 8, 9});
    EXPECT_EQ(seen.numbers, (std::vector<uint64_t>{0, 1, 2}));
    EXPECT_EQ(seen.late, 1u);
}

TEST(FrameNumberingTest, IdsFarBehindAreADeviceThatStartedAgainAndLoseNothing) {
    const Seen seen = feed({40000, 40001, 1, 2});
    EXPECT_EQ(seen.numbers, (std::vector<uint64_t>{0, 1, 2, 3}));
    EXPECT_EQ(seen.skipped, 0u);
    EXPECT_EQ(seen.late, 0u);
}

TEST(FrameNumberingTest, LongIdsDoNotWrapAndMayStartAtZero) {
    const Seen fromZero = feed({0, 1, 2, 70000, 70001});
    EXPECT_EQ(fromZero.numbers, (std::vector<uint64_t>{0, 1, 2, 70000, 70001}));
    EXPECT_EQ(fromZero.skipped, 70000u - 2u - 1u);
    const Seen pastShortIds = feed({65534, 65535, 65536, 65537});
    EXPECT_EQ(pastShortIds.numbers, (std::vector<uint64_t>{0, 1, 2, 3}));
    EXPECT_EQ(pastShortIds.skipped, 0u);
}

TEST(FrameNumberingTest, RestartNumbersTheNextFrameZero) {
    CFrameNumbering numbering;
    feed(numbering, {1, 2, 3});
    numbering.restart();
    const Seen seen = feed(numbering, {3, 4});
    EXPECT_EQ(seen.numbers, (std::vector<uint64_t>{0, 1}));
    EXPECT_EQ(seen.late, 0u);
}

TEST(FrameNumberingTest, StartedFromTheFirstFrameTakenUntilRestart) {
    CFrameNumbering numbering;
    EXPECT_FALSE(numbering.started());
    numbering.take(7);
    EXPECT_TRUE(numbering.started());
    numbering.restart();
    EXPECT_FALSE(numbering.started());
}
