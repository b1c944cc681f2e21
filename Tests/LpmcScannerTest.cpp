// The whole pipeline through the five functions on the test station: boxes of known size and
// pose, rendered by ScanSim as line forms and as Mono8 frames, measured and compared with the truth;
// limits, the field of view, side-by-side packages, noise, motion, times and point lists.
#include <algorithm>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "LpmcBoxScan.h"
#include "LpmcFrameFeed.h"

namespace {

using namespace lpmctest;
using quboid3d::test::feedLpmcFrames;

struct Station {
    ScanSim::Station station = testStation();
    std::unique_ptr<Calibration> cal = calibrationOf(station, 0.0, 0.5); // 1 mm per stored image
};

// A scan of boxes at 1 mm per frame, and what was found in it.
struct Scan {
    std::vector<Result> results;
    ScanSim::ScanTruth truth;
};

void expectBox(const LpmcBox& got, const ScanSim::ObjectTruth& t, double tol) {
    EXPECT_NEAR(got.length, t.length, tol);
    EXPECT_NEAR(got.width, t.width, tol);
    EXPECT_NEAR(got.height, t.height, tol);
    EXPECT_NEAR(slantDifference(slantOf(got), t.slantAngleDeg, t.length == t.width), 0.0, 0.5);
    // The reported frame is the board frame at the enter time: move the centre into the frame of
    // the truth's first frame before comparing.
    const double enterFrame = (got.objEnterTime - 1.0) / 2.0;
    EXPECT_NEAR(got.center[0], t.centre.x, tol);
    EXPECT_NEAR(got.center[1] - (enterFrame - static_cast<double>(t.firstFrame)), t.centre.y, tol);
    EXPECT_NEAR(got.center[2], 0.5 * t.height, tol);
    EXPECT_NEAR(got.axis2[2], 1.0f, 1e-6);
    EXPECT_GE(got.axis1[1], 0.0f);
    EXPECT_FLOAT_EQ(got.axis0[0], got.axis1[1]);
    EXPECT_FLOAT_EQ(got.axis0[1], -got.axis1[0]);
    EXPECT_NEAR(got.volume, got.length * got.width * got.height, 1e-3 * got.volume);
}

int32_t framesFor(const std::vector<Box>& boxes) {
    double last = 0.0;
    for (const Box& b : boxes) {
        last = std::max(last, -b.trailingY());
    }
    return static_cast<int32_t>(last) + 40;
}

Scan lineScan(const Station& s, const std::vector<Box>& boxes, void (*edit)(LpmcConfig&) = nullptr,
              int32_t frameNum = 2000) {
    Instance inst;
    EXPECT_EQ(openInstance(s.station, *s.cal, frameNum, inst,
                           [edit](LpmcConfig& c) {
                               if (edit != nullptr) {
                                   edit(c);
                               }
                           }),
              0);
    CBoxScan scan(s.station, boxes);
    Scan out;
    out.results = runLineScan(inst.handle, scan, framesFor(boxes));
    out.truth = scan.truth();
    return out;
}

TEST(LpmcScannerTest, MeasuresBoxesOfManySizesAndYawsFromTheLineForm) {
    Station s;
    const Box boxes[] = {{400, 250, 180, 20.3, -300.4, 0, 0.8},  {400, 250, 180, -150, -300.7, 30, 0.8},
                         {100, 60, 50, 200.2, -100.2, 45, 0.1},  {700, 500, 600, 0, -500.1, 10, 0.8},
                         {300, 300, 100, -200, -200.6, 17, 0.5}, {80, 80, 60, 100, -70.5, -33, 0.8}};
    for (const Box& box : boxes) {
        SCOPED_TRACE(::testing::Message() << box.length << " x " << box.width << " yaw " << box.yawDeg);
        const auto [results, truth] = lineScan(s, {box});
        ASSERT_EQ(results.size(), 1u);
        ASSERT_EQ(results[0].state, LPMC_STATE_BOXES);
        ASSERT_EQ(results[0].boxes.size(), 1u);
        expectBox(results[0].boxes[0], truth.objects.at(0), 2.5);
    }
}

TEST(LpmcScannerTest, MeasuresABoxFromNoisyMono8Frames) {
    Station s;
    Instance inst;
    ASSERT_EQ(openInstance(s.station, *s.cal, 2000, inst, [](LpmcConfig&) {}), 0);
    const Box box{260, 180, 140, -40, -140.3, 20, 0.1}; // dark: peaks of 20 grey over 4 of ambient
    ScanSim::Optics optics = stripeOptics();
    optics.sensorNoise = 1.5;
    CBoxScan scan(s.station, {box}, 1.0, optics, 9);
    const auto results = runMono8Scan(inst.handle, scan, framesFor({box}));
    ASSERT_EQ(results.size(), 1u);
    ASSERT_EQ(results[0].state, LPMC_STATE_BOXES);
    expectBox(results[0].boxes.at(0), scan.truth().objects.at(0), 2.5);
}

TEST(LpmcScannerTest, SideBySidePackagesAreSeparateBoxesUnlessTheFlagIsOff) {
    Station s;
    const std::vector<Box> pair = {{300, 200, 150, -200, -200.3, 0, 0.8},
                                   {250, 150, 250, 150, -180.8, 15, 0.8}};
    // Reported as soon as each is complete: two results, one box each.
    const Scan inTime = lineScan(s, pair);
    ASSERT_EQ(inTime.results.size(), 2u);
    for (const auto& r : inTime.results) {
        ASSERT_EQ(r.boxes.size(), 1u);
        const size_t which = std::fabs(r.boxes[0].center[0] - pair[0].x) < 50 ? 0 : 1;
        expectBox(r.boxes[0], inTime.truth.objects.at(which), 2.5);
    }
    // Held until the line is clear: one result with both.
    auto results = lineScan(s, pair, [](LpmcConfig& c) { c.scan_package_intime_flag = 0; }).results;
    ASSERT_EQ(results.size(), 1u);
    ASSERT_EQ(results[0].boxes.size(), 2u);
    // One object for everything seen together.
    results = lineScan(s, pair, [](LpmcConfig& c) { c.scan_mult_package_flag = 0; }).results;
    ASSERT_EQ(results.size(), 1u);
    ASSERT_EQ(results[0].boxes.size(), 1u);
    EXPECT_GT(results[0].boxes[0].length, 500.0f); // both across the belt: about 550 mm
}

TEST(LpmcScannerTest, FivePackagesSideBySideComeOutInOneResult) {
    Station s;
    std::vector<Box> row;
    // Clear of the belt's edges: a tall box flush with an edge casts its laser shadow past the
    // belt, which the library can't tell from a box cut by the laser fan.
    for (int i = 0; i < 5; ++i) {
        row.push_back({150, 120, 80.0 + 20 * i, -360.0 + 180 * i, -100.3 - 7 * i, 0, 0.8});
    }
    const auto [results, truth] = lineScan(s, row, [](LpmcConfig& c) { c.scan_package_intime_flag = 0; });
    ASSERT_EQ(results.size(), 1u);
    ASSERT_EQ(results[0].boxes.size(), 5u);
    for (const LpmcBox& b : results[0].boxes) {
        const auto it = std::min_element(row.begin(), row.end(), [&](const Box& a, const Box& c) {
            return std::fabs(a.x - b.center[0]) < std::fabs(c.x - b.center[0]);
        });
        expectBox(b, truth.objects.at(static_cast<size_t>(it - row.begin())), 2.5);
    }
}

TEST(LpmcScannerTest, BoxesOutsideTheLimitsAreReportedAsUnmeasured) {
    Station s;
    const Box box{300, 200, 150, 0, -200.3, 0, 0.8};
    auto results = lineScan(s, {box}, [](LpmcConfig& c) { c.scan_max_h = 120.0; }).results;
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].state, LPMC_STATE_UNMEASURED);
    ASSERT_EQ(results[0].boxes.size(), 1u);
    EXPECT_NEAR(results[0].boxes[0].height, 150.0, 2.5); // what was measured is still there
    results = lineScan(s, {box}, [](LpmcConfig& c) { c.scan_min_l = 350.0; }).results;
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].state, LPMC_STATE_UNMEASURED);
    results = lineScan(s, {box}, [](LpmcConfig& c) { c.scan_max_w = 0.0; }).results; // 0: no upper limit
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].state, LPMC_STATE_BOXES);
}

TEST(LpmcScannerTest, MeasuredBoxesGoFirstAndUnmeasuredOnesFollowInTheirOwnResult) {
    Station s;
    const std::vector<Box> pair = {{300, 200, 150, -200, -200.3, 0, 0.8},
                                   {300, 200, 40, 200, -200.3, 0, 0.8}};
    const auto results = lineScan(s, pair, [](LpmcConfig& c) {
                             c.scan_package_intime_flag = 0;
                             c.scan_min_h = 60.0;
                         }).results;
    ASSERT_EQ(results.size(), 2u);
    EXPECT_EQ(results[0].state, LPMC_STATE_BOXES);
    EXPECT_NEAR(results[0].boxes.at(0).height, 150.0, 2.5);
    EXPECT_EQ(results[1].state, LPMC_STATE_UNMEASURED);
    EXPECT_NEAR(results[1].boxes.at(0).height, 40.0, 2.5);
    EXPECT_EQ(results[1].frame, results[0].frame + 1);
}

TEST(LpmcScannerTest, ABoxCutOffByTheFieldOfViewIsUnmeasured) {
    Station s;
    const Box box{300, 200, 150, 0, -200.3, 0, 0.8};
    // A region that ends on the box.
    const auto results = lineScan(s, {box}, [](LpmcConfig& c) { c.region[0]->width = 256; }).results;
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].state, LPMC_STATE_UNMEASURED);
}

TEST(LpmcScannerTest, ABoxLongerThanTheFrameLimitIsUnmeasured) {
    Station s;
    const Box box{600, 200, 150, 0, -350.3, 0, 0.8};
    const auto results = lineScan(s, {box}, nullptr, 300).results;
    ASSERT_GE(results.size(), 1u);
    EXPECT_EQ(results[0].state, LPMC_STATE_UNMEASURED);
    for (const auto& r : results) {
        EXPECT_NE(r.state, LPMC_STATE_BOXES);
    }
}

TEST(LpmcScannerTest, NoiseOnAnEmptyBeltGivesNoBox) {
    Station s;
    Instance inst;
    ASSERT_EQ(openInstance(s.station, *s.cal, 2000, inst, [](LpmcConfig&) {}), 0);
    std::mt19937 rng(4);
    CBoxScan emptyBelt(s.station, {});
    LineFrame line;
    int results = 0;
    const int32_t processed = feedLpmcFrames(
        inst.handle, 600,
        [&](int32_t k, LpmcInput& in) {
            emptyBelt.line(k, line);
            // Specks: a few columns far above the belt, and some columns without a line.
            for (int i = 0; i < 6; ++i) {
                const size_t c = rng() % line.rows.size();
                line.rows[c] = static_cast<float>(rng() % 100);
                if (rng() % 2 == 0 && c + 1 < line.rows.size()) {
                    line.rows[c + 1] = line.rows[c] + 0.3f;
                }
                line.rows[rng() % line.rows.size()] = -1.0f;
            }
            in = lineInput(line, k);
            return true;
        },
        [&](int32_t, const LpmcResult& r) {
            results += r.resultState != 0 ? 1 : 0;
            return true;
        });
    ASSERT_EQ(processed, 600);
    EXPECT_EQ(results, 0);
}

TEST(LpmcScannerTest, TheEncoderStepSetsTheTravelWhateverTheTimestamps) {
    Station s;
    Instance inst;
    ASSERT_EQ(openInstance(s.station, *s.cal, 2000, inst,
                           [](LpmcConfig& c) {
                               c.scan_encode_flag[0] = 1;
                               c.scan_encode_step[0] = 1.0;
                           }),
              0);
    const Box box{300, 200, 150, 0, -200.3, 12, 0.8};
    CBoxScan scan(s.station, {box});
    LineFrame line;
    std::vector<LpmcBox> got;
    const int32_t frames = framesFor({box});
    const int32_t processed = feedLpmcFrames(
        inst.handle, frames,
        [&](int32_t k, LpmcInput& in) {
            scan.line(k, line);
            in.imageType[0] = LPMC_IMAGE_LINE;
            in.timestamp[0] = 0.0; // a camera without timestamps
            in.pipelineCount[0] = static_cast<int32_t>(line.rows.size());
            in.pipelineFirst[0] = line.rows.data();
            return true;
        },
        [&](int32_t, const LpmcResult& r) {
            for (int i = 0; i < r.volumeNum; ++i) {
                got.push_back(*r.boxes[i]);
            }
            return true;
        });
    ASSERT_EQ(processed, frames);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_NEAR(got[0].length, 300.0, 2.5);
    EXPECT_NEAR(got[0].width, 200.0, 2.5);
}

TEST(LpmcScannerTest, TimesAreThoseOfTheFirstAndLastFramesAndTheWallClock) {
    Station s;
    Instance inst;
    ASSERT_EQ(openInstance(s.station, *s.cal, 2000, inst, [](LpmcConfig&) {}), 0);
    const Box box{200, 150, 100, 0, -150.4, 0, 0.8};
    CBoxScan scan(s.station, {box});
    const auto results = runLineScan(inst.handle, scan, framesFor({box}));
    ASSERT_EQ(results.size(), 1u);
    const LpmcBox& b = results[0].boxes.at(0);
    const ScanSim::ObjectTruth t = scan.truth().objects.at(0);
    EXPECT_NEAR(b.objEnterTime, t.enterTime, 4.0); // within two frames of the truth
    EXPECT_NEAR(b.objLeaveTime, t.leaveTime, 4.0);
    auto key = [](const uint16_t* t) {
        uint64_t k = 0;
        for (int i : {0, 1, 3, 4, 5, 6, 7}) {
            k = k * 2000 + t[i];
        }
        return k;
    };
    for (const uint16_t* stamp : {b.enter_sys_time, b.leave_sys_time, b.output_sys_time}) {
        EXPECT_GE(stamp[LPMC_TIME_YEAR], 2024);
        EXPECT_GE(stamp[LPMC_TIME_MONTH], 1);
        EXPECT_LE(stamp[LPMC_TIME_MONTH], 12);
        EXPECT_LE(stamp[LPMC_TIME_DAY_OF_WEEK], 6);
        EXPECT_GE(stamp[LPMC_TIME_DAY], 1);
        EXPECT_LE(stamp[LPMC_TIME_DAY], 31);
        EXPECT_LE(stamp[LPMC_TIME_HOUR], 23);
        EXPECT_LE(stamp[LPMC_TIME_MINUTE], 59);
        EXPECT_LE(stamp[LPMC_TIME_SECOND], 60);
        EXPECT_LE(stamp[LPMC_TIME_MILLISECOND], 999);
    }
    EXPECT_LE(key(b.enter_sys_time), key(b.leave_sys_time));
    EXPECT_LE(key(b.leave_sys_time), key(b.output_sys_time));
}

// The points of a result with one box 100 high: in the box's reported frame, and on the laser
// plane in the board frame.
void expectPointsOfTheBox(const LpmcResult& r, double chessboardHeight) {
    ASSERT_GT(r.pointCount, 1000);
    ASSERT_NE(r.points, nullptr);
    ASSERT_NE(r.auxPoints, nullptr);
    const LpmcBox& b = *r.boxes[0];
    int onTop = 0;
    for (int i = 0; i < r.pointCount; ++i) {
        const float* p = r.points + 3 * i;
        const float* a = r.auxPoints + 3 * i;
        EXPECT_LE(std::fabs(p[0] - b.center[0]), 0.5f * b.width + 2.5f);
        EXPECT_LE(std::fabs(p[1] - b.center[1]), 0.5f * b.length + 2.5f);
        EXPECT_NEAR(a[0], p[0], 1e-3);                    // no sideways travel
        EXPECT_NEAR(a[1], 0.0, 0.05);                     // seen on the laser plane
        EXPECT_NEAR(a[2] + chessboardHeight, p[2], 1e-3); // board Z
        onTop += std::fabs(p[2] - 100.0f) < 0.5f ? 1 : 0;
    }
    EXPECT_GT(onTop, r.pointCount * 9 / 10);
}

TEST(LpmcScannerTest, PointsAreTheBoxesPointsInTheReportedFrameAndAuxPointsInTheBoardFrame) {
    Station s;
    Instance inst;
    ASSERT_EQ(openInstance(s.station, *s.cal, 2000, inst, [](LpmcConfig&) {}), 0);
    const Box box{200, 150, 100, 30, -150.4, 0, 0.8};
    CBoxScan scan(s.station, {box});
    LineFrame line;
    bool seen = false;
    feedLpmcFrames(
        inst.handle, framesFor({box}),
        [&](int32_t k, LpmcInput& in) {
            scan.line(k, line);
            in.imageType[0] = LPMC_IMAGE_LINE;
            in.timestamp[0] = 1.0 + 2.0 * k;
            in.pipelineCount[0] = static_cast<int32_t>(line.rows.size());
            in.pipelineFirst[0] = line.rows.data();
            return true;
        },
        [&](int32_t, const LpmcResult& r) {
            if (r.resultState == 0) {
                EXPECT_EQ(r.pointCount, 0);
                return true;
            }
            seen = true;
            expectPointsOfTheBox(r, s.station.chessboardHeight);
            return false;
        });
    EXPECT_TRUE(seen);
}

TEST(LpmcScannerTest, TheIntegratedVolumeOfABoxIsItsVolume) {
    Station s;
    const Box box{300, 200, 150, 0, -200.3, 25, 0.8};
    const auto results = lineScan(s, {box}, [](LpmcConfig& c) { c.scan_volume_finite_flag = 1; }).results;
    ASSERT_EQ(results.size(), 1u);
    const LpmcBox& b = results[0].boxes.at(0);
    EXPECT_NEAR(b.volume, 300.0 * 200.0 * 150.0, 0.02 * 300.0 * 200.0 * 150.0);
    EXPECT_NE(b.volume, b.length * b.width * b.height);
}

TEST(LpmcScannerTest, ThePlaneHeightFactorScalesHeights) {
    Station s;
    s.cal->plane.PlaneHeightFactor = 1.1;
    const Box box{300, 200, 150, 0, -200.3, 0, 0.8};
    const auto results = lineScan(s, {box}).results;
    ASSERT_EQ(results.size(), 1u);
    EXPECT_NEAR(results[0].boxes.at(0).height, 165.0, 0.5);
}

TEST(LpmcScannerTest, ASecondSetConfigStartsAFreshScan) {
    Station s;
    Instance inst;
    ASSERT_EQ(openInstance(s.station, *s.cal, 2000, inst, [](LpmcConfig&) {}), 0);
    const Box box{300, 200, 150, 0, -200.3, 0, 0.8};
    // Half a box, then a new configuration: the half is forgotten.
    runLineScan(inst.handle, s.station, {box}, 250);
    ASSERT_EQ(lpmcSetConfig(inst.handle, &inst.config), 0);
    CBoxScan scan(s.station, {box});
    const auto results = runLineScan(inst.handle, scan, framesFor({box}));
    ASSERT_EQ(results.size(), 1u);
    expectBox(results[0].boxes.at(0), scan.truth().objects.at(0), 2.5);
}

} // namespace
