// Frames lost on the way from the camera, as the caller tells them in LpmcInput.missingFrames: a
// box scanned across the loss is unmeasurable, with what was seen of it; a box that comes after
// it is measured; a restart may start the timestamps over.
#include <gtest/gtest.h>

#include "LpmcBoxScan.h"
#include "LpmcFrameFeed.h"

namespace {

using namespace lpmctest;
using quboid3d::test::feedLpmcFrames;

// Two boxes one behind the other at 1 mm per frame: the first passes the line in frames of
// about 50 to 350, the second in about 550 to 850.
const std::vector<Box> kTwoBoxes = {{300, 200, 150, 0, -200.3, 0, 0.8}, {300, 200, 150, 0, -700.3, 0, 0.8}};
constexpr int32_t kFrames = 900;
constexpr int32_t kLostFrom = 150; // inside the first box
constexpr int32_t kLostCount = 10;

struct Station {
    ScanSim::Station station = testStation();
    std::unique_ptr<Calibration> cal = calibrationOf(station, 0.0, 0.5); // 1 mm per 2 time units
};

// The boxes and unmeasured objects that came out, in order.
struct Outcome {
    std::vector<LpmcBox> measured, unmeasured;
};

// Always goes on to the next frame.
bool take(const LpmcResult& r, Outcome& out) {
    for (int32_t i = 0; i < r.volumeNum; ++i) {
        (r.resultState == LPMC_STATE_BOXES ? out.measured : out.unmeasured).push_back(*r.boxes[i]);
    }
    return true;
}

// Feeds the line frames of kTwoBoxes, leaving out frames kLostFrom .. kLostFrom + kLostCount - 1;
// `tell(in, k)` fills the frame after the loss as the caller would.
template <class Tell>
Outcome scanWithLoss(void* handle, Tell tell) {
    Station s;
    CBoxScan scan(s.station, kTwoBoxes);
    Outcome out;
    LineFrame line;
    feedLpmcFrames(
        handle, kFrames,
        [&](int32_t k, LpmcInput& in) {
            scan.line(k, line); // lost frames are rendered too: the belt moves on
            if (k >= kLostFrom && k < kLostFrom + kLostCount) {
                return false;
            }
            in = lineInput(line, k);
            if (k == kLostFrom + kLostCount) {
                tell(in, k);
            }
            return true;
        },
        [&](int32_t, const LpmcResult& r) { return take(r, out); });
    return out;
}

void expectSize(const LpmcBox& box, const Box& truth, double tolerance) {
    EXPECT_NEAR(box.length, truth.length, tolerance);
    EXPECT_NEAR(box.width, truth.width, tolerance);
    EXPECT_NEAR(box.height, truth.height, tolerance);
}

TEST(LpmcLostFramesTest, ABoxScannedAcrossLostFramesIsUnmeasuredAndTheNextOneIsMeasured) {
    Station s;
    Instance inst;
    ASSERT_EQ(openInstance(s.station, *s.cal, 2000, inst, [](LpmcConfig&) {}), 0);
    const Outcome out =
        scanWithLoss(inst.handle, [](LpmcInput& in, int32_t) { in.missingFrames = kLostCount; });
    ASSERT_EQ(out.unmeasured.size(), 1u);
    // What was seen of it: the clock ran on, so its length still spans the lost frames.
    expectSize(out.unmeasured[0], kTwoBoxes[0], 2.5);
    ASSERT_EQ(out.measured.size(), 1u);
    expectSize(out.measured[0], kTwoBoxes[1], 2.5);
}

TEST(LpmcLostFramesTest, WithoutBeingToldOfTheLossBothBoxesComeOutMeasured) {
    Station s;
    Instance inst;
    ASSERT_EQ(openInstance(s.station, *s.cal, 2000, inst, [](LpmcConfig&) {}), 0);
    const Outcome out = scanWithLoss(inst.handle, [](LpmcInput&, int32_t) {});
    EXPECT_TRUE(out.unmeasured.empty());
    EXPECT_EQ(out.measured.size(), 2u);
}

TEST(LpmcLostFramesTest, OnTheEncoderTheLostFramesAreStepsOfTravel) {
    Station s;
    Instance inst;
    ASSERT_EQ(openInstance(s.station, *s.cal, 2000, inst,
                           [](LpmcConfig& c) {
                               c.scan_encode_flag[0] = 1;
                               c.scan_encode_step[0] = 1.0;
                           }),
              0);
    const Outcome out =
        scanWithLoss(inst.handle, [](LpmcInput& in, int32_t) { in.missingFrames = kLostCount; });
    ASSERT_EQ(out.unmeasured.size(), 1u);
    expectSize(out.unmeasured[0], kTwoBoxes[0], 2.5);
    ASSERT_EQ(out.measured.size(), 1u);
    expectSize(out.measured[0], kTwoBoxes[1], 2.5);
}

TEST(LpmcLostFramesTest, AfterARestartTheClockMayStartOverAndTheNextBoxIsMeasured) {
    Station s;
    Instance inst;
    ASSERT_EQ(openInstance(s.station, *s.cal, 2000, inst, [](LpmcConfig&) {}), 0);
    CBoxScan scan(s.station, kTwoBoxes);
    Outcome out;
    LineFrame line;
    constexpr int32_t kRestartAt = 200; // inside the first box
    constexpr int32_t kClockBefore = 5000;
    feedLpmcFrames(
        inst.handle, kFrames,
        [&](int32_t k, LpmcInput& in) {
            scan.line(k, line);
            // The source's clock had run long before, and starts over at the restart.
            in = lineInput(line, k < kRestartAt ? k + kClockBefore : k - kRestartAt);
            if (k == kRestartAt) {
                in.missingFrames = LPMC_FRAMES_RESTARTED;
            }
            return true;
        },
        [&](int32_t, const LpmcResult& r) { return take(r, out); });
    ASSERT_EQ(out.unmeasured.size(), 1u);
    ASSERT_EQ(out.measured.size(), 1u);
    expectSize(out.measured[0], kTwoBoxes[1], 2.5);
}

TEST(LpmcLostFramesTest, ACountBelowRestartedIsAnInputError) {
    Station s;
    Instance inst;
    ASSERT_EQ(openInstance(s.station, *s.cal, 2000, inst, [](LpmcConfig&) {}), 0);
    CBoxScan scan(s.station, {});
    LineFrame line;
    scan.line(0, line);
    LpmcInput in = lineInput(line, 0);
    in.missingFrames = -2;
    LpmcResult r{};
    EXPECT_EQ(lpmcProcess(inst.handle, &in, &r), LPMC_ERR_INPUT);
    in.missingFrames = LPMC_FRAMES_RESTARTED;
    EXPECT_EQ(lpmcProcess(inst.handle, &in, &r), LPMC_OK);
}

} // namespace
