// The whole pipeline through the five functions on the synthetic station: boxes of known size
// and pose, rendered as line forms and as Mono8 frames, measured and compared with the truth.
#include <cmath>

#include <gtest/gtest.h>

#include "LpmcSynthetic.h"

namespace {

using namespace lpmctest;

struct Scan {
    Station station = makeStation(StationDesign{});
    std::unique_ptr<Calibration> cal = station.calibration(0.0, 0.5); // 1 mm per stored image
};

void expectBox(const LpmcBox& got, const Box& box, double tol) {
    const Truth t = truthOf(box, 1.0);
    EXPECT_NEAR(got.length, t.length, tol);
    EXPECT_NEAR(got.width, t.width, tol);
    EXPECT_NEAR(got.height, t.height, tol);
    EXPECT_NEAR(slantDifference(slantOf(got), t.slantDeg, t.length == t.width), 0.0, 0.5);
    // Centre in the frame of the truth's enter frame: the reported frame moves with the enter time.
    const double enterFrame = (got.objEnterTime - 1.0) / 2.0;
    EXPECT_NEAR(got.center[0], t.cx, tol);
    EXPECT_NEAR(got.center[1] + (enterFrame - static_cast<double>(t.firstFrame)), t.cy, tol);
    EXPECT_NEAR(got.center[2], 0.5 * t.height, tol);
    EXPECT_NEAR(got.volume, got.length * got.width * got.height, 1e-3 * got.volume);
}

TEST(LpmcScannerTest, MeasuresOneBoxFromTheLineForm) {
    Scan s;
    Instance inst;
    ASSERT_EQ(openInstance(s.station, *s.cal, 2000, inst, [](LpmcConfig&) {}), 0);
    const Box box{400, 250, 180, 20, -300, 0, 0.8};
    const auto results = runLineScan(inst.handle, s.station, {box}, 800, 1.0);
    ASSERT_EQ(results.size(), 1u);
    ASSERT_EQ(results[0].state, LPMC_STATE_BOXES);
    ASSERT_EQ(results[0].boxes.size(), 1u);
    expectBox(results[0].boxes[0], box, 2.5);
}

} // namespace
