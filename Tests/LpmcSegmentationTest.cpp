// Segmentation: object points of one profile grouped into runs, and runs followed along the
// belt into objects that complete, merge, stay apart side by side, or are cut off.
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "BeltHistory.h"
#include "CameraModel.h"
#include "FrameStore.h"
#include "LpmcBoxScan.h"
#include "ObjectTracker.h"
#include "Profile.h"
#include "TriangulationTable.h"

namespace {

using namespace lpmc;

struct ProfileFixture {
    ScanSim::Station station = lpmctest::testStation();
    std::unique_ptr<lpmctest::Calibration> cal = lpmctest::calibrationOf(station, 0.0, 0.5);
    CTriangulationTable table;
    ProfileSettings settings;
    std::vector<ProfilePoint> points = std::vector<ProfilePoint>(512);
    std::vector<ProfileRun> runs = std::vector<ProfileRun>(16);

    ProfileFixture() {
        CameraModel m;
        EXPECT_EQ(loadCameraModel(&cal->calib, m), LPMC_OK);
        table.build(m, station.camera.width, station.camera.height);
        settings.region = {0, 0, station.camera.width, station.camera.height};
        settings.heightOffset = station.chessboardHeight;
        settings.minRunPoints = 3;
    }
    lpmctest::LineFrame render(const std::vector<lpmctest::Box>& boxes) {
        lpmctest::LineFrame line;
        lpmctest::CBoxScan(station, boxes).line(0, line);
        return line;
    }
    ProfileOutput build(const std::vector<float>& rows) {
        ProfileOutput out;
        out.points = points.data();
        out.runs = runs.data();
        out.runCapacity = static_cast<uint32_t>(runs.size());
        buildProfile(rows.data(), table, settings, 0, out);
        return out;
    }
};

// A box whose footprint covers the line Y = 0 at travel 0.
lpmctest::Box boxAt(double x, double width, double height) {
    return {300.0, width, height, x, 0.0, 0.0, 0.8};
}

TEST(LpmcSegmentationTest, ABoxBecomesOneRunOfObjectPointsAtItsHeight) {
    ProfileFixture f;
    const auto line = f.render({boxAt(50.0, 200.0, 120.0)});
    const ProfileOutput out = f.build(line.rows);
    ASSERT_EQ(out.runCount, 1u);
    const ProfileRun& r = f.runs[0];
    EXPECT_NEAR(r.x0, -50.0, 2.5);
    EXPECT_NEAR(r.x1, 150.0, 2.5);
    EXPECT_FALSE(r.touchesEdge);
    EXPECT_EQ(out.pointCount, r.count);
    for (uint32_t i = 0; i < r.count; ++i) {
        EXPECT_NEAR(f.points[r.first + i].h, 120.0, 0.01);
        EXPECT_NEAR(f.points[r.first + i].y, 0.0, 0.01);
    }
}

TEST(LpmcSegmentationTest, BeltBetweenBoxesAndWideGapsSplitRuns) {
    ProfileFixture f;
    const auto line = f.render({boxAt(-200.0, 150.0, 100.0), boxAt(100.0, 150.0, 60.0)});
    EXPECT_EQ(f.build(line.rows).runCount, 2u);
    // A dropout of 10 columns (about 21 mm) inside one box.
    auto rows = f.render({boxAt(0.0, 300.0, 100.0)}).rows;
    for (int c = 250; c < 260; ++c) {
        rows[static_cast<size_t>(c)] = -1.0f;
    }
    f.settings.maxGap = 10.0;
    EXPECT_EQ(f.build(rows).runCount, 2u);
    f.settings.maxGap = 40.0;
    EXPECT_EQ(f.build(rows).runCount, 1u);
}

TEST(LpmcSegmentationTest, RunsShorterThanTheNoiseFactorAreDropped) {
    ProfileFixture f;
    auto rows = f.render({}).rows; // empty belt
    EXPECT_EQ(f.build(rows).runCount, 0u);
    rows[100] = rows[101] = 20.0f; // two columns high above the belt: a speck
    const ProfileOutput out = f.build(rows);
    EXPECT_EQ(out.runCount, 0u);
    EXPECT_EQ(out.pointCount, 0u);
    f.settings.minRunPoints = 2;
    EXPECT_EQ(f.build(rows).runCount, 0u); // narrower than the least run length
    f.settings.minRunLength = 1.0;
    EXPECT_EQ(f.build(rows).runCount, 1u);
}

TEST(LpmcSegmentationTest, AHeightJumpBetweenNeighbouringColumnsBreaksARun) {
    ProfileFixture f;
    f.settings.minRunPoints = 1;
    f.settings.minRunLength = 0.0;
    auto rows = f.render({}).rows;
    // Columns without a line show noise at random rows: heights that jump from column to column.
    std::mt19937 rng(2);
    for (int c = 100; c < 140; ++c) {
        rows[static_cast<size_t>(c)] = static_cast<float>(rng() % 90);
    }
    ProfileOutput out = f.build(rows);
    EXPECT_GT(out.runCount, 10u);
    f.settings.minRunPoints = 3;
    f.settings.minRunLength = 3.0;
    out = f.build(rows);
    EXPECT_EQ(out.runCount, 0u);
    // A real surface is continuous and stays one run.
    out = f.build(f.render({boxAt(0.0, 300.0, 100.0)}).rows);
    EXPECT_EQ(out.runCount, 1u);
}

TEST(LpmcSegmentationTest, ARunAtTheFirstOrLastColumnOfTheRegionTouchesTheEdge) {
    ProfileFixture f;
    const auto rows = f.render({boxAt(0.0, 300.0, 100.0)}).rows;
    const auto belt = f.render({}).rows;
    int first = 0; // the first column on the box: its top is higher in the image than the belt
    while (first + 1 < static_cast<int>(rows.size()) &&
           !(rows[static_cast<size_t>(first)] >= 0.0f &&
             rows[static_cast<size_t>(first)] < belt[static_cast<size_t>(first)] - 3.0f)) {
        ++first;
    }
    ASSERT_LT(first + 60, static_cast<int>(rows.size()));
    f.settings.region = {first + 3, 0, 200, f.station.camera.height};
    ProfileOutput out = f.build(rows);
    ASSERT_EQ(out.runCount, 1u);
    EXPECT_TRUE(f.runs[0].touchesEdge);
    f.settings.region = {first - 20, 0, 60, f.station.camera.height};
    out = f.build(rows);
    ASSERT_EQ(out.runCount, 1u);
    EXPECT_TRUE(f.runs[0].touchesEdge); // runs past the last column
    f.settings.region = {0, 0, f.station.camera.width, f.station.camera.height};
    out = f.build(rows);
    ASSERT_EQ(out.runCount, 1u);
    EXPECT_FALSE(f.runs[0].touchesEdge);
}

// Tracker fixture: frames whose runs are given as X ranges.
struct Tracking {
    CFrameStore store;
    CObjectTracker tracker;
    std::vector<TrackedObject> completed;
    uint64_t seq = 0;

    explicit Tracking(TrackerSettings s, uint32_t slots = 200) {
        EXPECT_TRUE(store.configure(slots, 64, 16));
        tracker.configure(s, &store);
    }
    void frame(std::initializer_list<std::pair<float, float>> ranges) {
        FrameSlot& slot = store.begin(seq++);
        for (const auto& [x0, x1] : ranges) {
            ProfileRun r;
            r.first = slot.pointCount;
            r.count = 4;
            r.x0 = x0;
            r.x1 = x1;
            for (int i = 0; i < 4; ++i) {
                slot.points[slot.pointCount++] = ProfilePoint{x0 + (x1 - x0) * i / 3.0f, 0.0f, 50.0f};
            }
            slot.runs[slot.runCount++] = r;
        }
        tracker.track(slot, completed);
    }
    void empty(int n) {
        for (int i = 0; i < n; ++i) {
            frame({});
        }
    }
};

TrackerSettings trackerSettings(bool multi = true) {
    TrackerSettings s;
    s.multiPackage = multi;
    s.joinDistance = 10.0;
    s.endFrames = 5;
    s.maxFrames = 100;
    return s;
}

TEST(LpmcSegmentationTest, AnObjectCompletesAfterTheEndFrames) {
    Tracking t(trackerSettings());
    for (int i = 0; i < 30; ++i) {
        t.frame({{-50.0f, 50.0f}});
    }
    t.empty(4);
    EXPECT_TRUE(t.completed.empty());
    EXPECT_EQ(t.tracker.openCount(), 1);
    t.empty(1);
    ASSERT_EQ(t.completed.size(), 1u);
    EXPECT_EQ(t.completed[0].firstSeq, 0u);
    EXPECT_EQ(t.completed[0].lastSeq, 29u);
    EXPECT_EQ(t.completed[0].framesSeen, 30u);
    EXPECT_EQ(t.completed[0].pointCount, 120u);
    EXPECT_FALSE(t.completed[0].cutOff);
}

TEST(LpmcSegmentationTest, ADropoutShorterThanTheEndFramesKeepsOneObject) {
    Tracking t(trackerSettings());
    for (int i = 0; i < 10; ++i) {
        t.frame({{0.0f, 100.0f}});
    }
    t.empty(4);
    for (int i = 0; i < 10; ++i) {
        t.frame({{5.0f, 105.0f}});
    }
    t.empty(5);
    ASSERT_EQ(t.completed.size(), 1u);
    EXPECT_EQ(t.completed[0].lastSeq, 23u);
}

TEST(LpmcSegmentationTest, SideBySideObjectsStayApartOrBecomeOne) {
    for (bool multi : {true, false}) {
        Tracking t(trackerSettings(multi));
        for (int i = 0; i < 20; ++i) {
            t.frame({{-300.0f, -100.0f}, {50.0f, 250.0f}});
        }
        t.empty(5);
        EXPECT_EQ(t.completed.size(), multi ? 2u : 1u);
        // Every run of the frames carries its object's id.
        for (uint64_t s = 0; s < 20; ++s) {
            const FrameSlot* slot = t.store.find(s);
            ASSERT_NE(slot, nullptr);
            EXPECT_EQ(slot->runs[0].object == slot->runs[1].object, !multi);
        }
    }
}

TEST(LpmcSegmentationTest, RunsThatBridgeTwoObjectsJoinThemAndRelabelTheirPast) {
    Tracking t(trackerSettings());
    for (int i = 0; i < 10; ++i) { // a V seen from its open end: two arms
        t.frame({{-100.0f, -60.0f}, {60.0f, 100.0f}});
    }
    for (int i = 0; i < 10; ++i) { // then its base joins them
        t.frame({{-100.0f, 100.0f}});
    }
    t.empty(5);
    ASSERT_EQ(t.completed.size(), 1u);
    const int32_t id = t.completed[0].id;
    EXPECT_EQ(t.completed[0].firstSeq, 0u);
    EXPECT_EQ(t.completed[0].pointCount, 120u);
    for (uint64_t s = 0; s < 20; ++s) {
        const FrameSlot* slot = t.store.find(s);
        for (uint32_t r = 0; r < slot->runCount; ++r) {
            EXPECT_EQ(slot->runs[r].object, id);
        }
    }
}

TEST(LpmcSegmentationTest, TwoPiecesOfOneObjectInOneFrameBothContinueIt) {
    Tracking t(trackerSettings());
    for (int i = 0; i < 10; ++i) {
        t.frame({{0.0f, 200.0f}});
    }
    for (int i = 0; i < 10; ++i) { // a dropout splits the profile: both pieces are the same object
        t.frame({{0.0f, 50.0f}, {150.0f, 200.0f}});
    }
    t.empty(5);
    ASSERT_EQ(t.completed.size(), 1u);
    EXPECT_EQ(t.completed[0].pointCount, 120u);
}

TEST(LpmcSegmentationTest, RunsWithinTheJoinDistanceBelongTogether) {
    Tracking t(trackerSettings());
    for (int i = 0; i < 10; ++i) {
        t.frame({{0.0f, 100.0f}, {108.0f, 200.0f}}); // 8 mm apart: one object
    }
    t.empty(5);
    EXPECT_EQ(t.completed.size(), 1u);
}

TEST(LpmcSegmentationTest, AnObjectSpanningTheMostFramesIsCutOff) {
    Tracking t(trackerSettings());
    for (int i = 0; i < 100; ++i) {
        t.frame({{0.0f, 100.0f}});
    }
    ASSERT_EQ(t.completed.size(), 1u);
    EXPECT_TRUE(t.completed[0].cutOff);
    EXPECT_EQ(t.completed[0].lastSeq - t.completed[0].firstSeq + 1, 100u);
}

TEST(LpmcSegmentationTest, TheStoreForgetsFramesItHasOverwritten) {
    CFrameStore store;
    ASSERT_TRUE(store.configure(8, 4, 2));
    EXPECT_EQ(store.find(0), nullptr);
    for (uint64_t s = 0; s < 12; ++s) {
        store.begin(s).info.timestamp = static_cast<double>(s);
    }
    EXPECT_EQ(store.find(3), nullptr);
    ASSERT_NE(store.find(4), nullptr);
    EXPECT_EQ(store.find(4)->info.timestamp, 4.0);
    EXPECT_EQ(store.find(11)->info.seq, 11u);
    EXPECT_EQ(store.find(12), nullptr);
}

} // namespace

TEST(LpmcSegmentationTest, AnObjectWhoseLineWasHiddenTheFrameBeforeHasItsFrontHidden) {
    CBeltBins belt, beltBefore;
    for (float x = -200.0f; x <= 200.0f; x += 1.0f) {
        beltBefore.mark(x);
    }
    for (const bool beltShowed : {true, false}) {
        SCOPED_TRACE(beltShowed);
        Tracking t(trackerSettings());
        FrameSlot& slot = t.store.begin(0);
        ProfileRun r;
        r.first = 0;
        r.count = 4;
        r.x0 = -50.0f;
        r.x1 = 50.0f;
        for (int i = 0; i < 4; ++i) {
            slot.points[slot.pointCount++] = ProfilePoint{-50.0f + 100.0f * i / 3.0f, 0.0f, 50.0f};
        }
        slot.runs[slot.runCount++] = r;
        t.tracker.track(slot, t.completed, &belt, beltShowed ? &beltBefore : &belt);
        ASSERT_EQ(t.tracker.openCount(), 1);
        EXPECT_EQ(t.tracker.open()[0].frontHidden, !beltShowed);
    }
}

TEST(LpmcSegmentationTest, TheBeltHistoryKnowsWhenTheLineWasLastSeenUnderAnObject) {
    CBeltHistory history;
    ASSERT_TRUE(history.configure());
    CBeltBins belt;
    for (uint64_t seq = 0; seq < 10; ++seq) {
        belt.clear();
        for (float x = -200.0f; x <= 200.0f; x += 1.0f) {
            if (seq < 5 || std::fabs(x) > 60.0f) { // from frame 5 on, something hides the middle
                belt.mark(x);
            }
        }
        history.update(belt, seq);
    }
    EXPECT_EQ(history.lastSeenPlusOne(-50.0f, 50.0f), 5u);
    // The middle half of a wider range is mostly hidden too.
    EXPECT_EQ(history.lastSeenPlusOne(-200.0f, 200.0f), 5u);
    EXPECT_EQ(history.lastSeenPlusOne(100.0f, 200.0f), 10u);
    EXPECT_EQ(history.lastSeenPlusOne(400.0f, 500.0f), 0u);
}

namespace {

// A profile across a flat top at 0.7 mm per column, `height` from column to column.
std::vector<ProfilePoint> topProfile(int count, const std::function<float(float)>& height) {
    std::vector<ProfilePoint> p;
    for (int i = 0; i < count; ++i) {
        const float x = -0.7f * (count / 2) + 0.7f * static_cast<float>(i);
        p.push_back({x, 0.0f, height(x)});
    }
    return p;
}

// The groove between two cartons with edges rounded to `r` that touch at x = at.
float seamHeight(float x, float at, float r) {
    const float u = std::fabs(x - at);
    return u >= r ? 200.0f : 200.0f - r + std::sqrt(r * r - (r - u) * (r - u));
}

} // namespace

TEST(LpmcSegmentationTest, AGrooveBetweenTwoRoundedTopsIsASeamAtItsBottom) {
    const auto p = topProfile(400, [](float x) { return seamHeight(x, 20.0f, 4.0f); });
    uint32_t seams[4];
    ASSERT_EQ(findSeams(p.data(), 0, 400, seams, 4), 1u);
    EXPECT_NEAR(p[seams[0]].x, 20.0f, 0.8f);
}

TEST(LpmcSegmentationTest, SpeckleATroughAndAGrooveAtTheEndAreNoSeams) {
    uint32_t seams[4];
    // Lone deep points, as speckle makes them, on a top with half a millimetre of noise.
    std::mt19937 rng(7);
    std::normal_distribution<float> noise(0.0f, 0.25f);
    auto speckled = topProfile(400, [&](float) { return 200.0f + noise(rng); });
    for (int i = 20; i < 400; i += 37) {
        speckled[static_cast<size_t>(i)].h -= 5.0f;
    }
    EXPECT_EQ(findSeams(speckled.data(), 0, 400, seams, 4), 0u);
    // A trough 30 mm wide is a shape of the surface, not a seam.
    const auto trough = topProfile(400, [](float x) { return std::fabs(x) < 15.0f ? 196.0f : 200.0f; });
    EXPECT_EQ(findSeams(trough.data(), 0, 400, seams, 4), 0u);
    // A rounded edge at the end of the run has no surface beyond it.
    const float end = -0.7f * 200 + 0.7f * 399;
    const auto edge = topProfile(400, [&](float x) { return seamHeight(x, end, 4.0f); });
    EXPECT_EQ(findSeams(edge.data(), 0, 400, seams, 4), 0u);
}

TEST(LpmcSegmentationTest, ARunSplitAtASeamKeepsItsOuterBoundsAndGetsASeamBetween) {
    const auto p = topProfile(100, [](float x) { return 200.0f + 0.01f * x; });
    ProfileRun run;
    run.first = 0;
    run.count = 100;
    run.x0 = p.front().x;
    run.x1 = p.back().x;
    run.leftBound = RunBound::Belt;
    run.rightBound = RunBound::Open;
    ProfileRun left, right;
    splitRunAt(p.data(), run, 40, left, right);
    EXPECT_EQ(left.count + right.count, 100u);
    EXPECT_EQ(left.first, 0u);
    EXPECT_EQ(right.first, 40u);
    EXPECT_FLOAT_EQ(left.x1, p[39].x);
    EXPECT_FLOAT_EQ(right.x0, p[40].x);
    EXPECT_EQ(left.leftBound, RunBound::Belt);
    EXPECT_EQ(left.rightBound, RunBound::Seam);
    EXPECT_EQ(right.leftBound, RunBound::Seam);
    EXPECT_EQ(right.rightBound, RunBound::Open);
    EXPECT_FLOAT_EQ(left.rightH, p[39].h);
    EXPECT_FLOAT_EQ(right.leftH, p[40].h);
}
