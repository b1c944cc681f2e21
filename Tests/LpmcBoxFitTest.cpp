// The box fitter on objects written straight into the frame store: what it takes from the runs
// of an object and what it leaves out.
#include <vector>

#include <gtest/gtest.h>

#include "BoxFit.h"
#include "FrameStore.h"
#include "ObjectTracker.h"

namespace {

using namespace lpmc;

constexpr int32_t kObject = 7;
constexpr uint32_t kFrames = 60;

// A flat box 200 mm across the belt and 200 mm high, one profile per mm of travel.
struct FlatBoxScan {
    CFrameStore store;
    TrackedObject object;

    FlatBoxScan() {
        EXPECT_TRUE(store.configure(kFrames + 8, 512, 8));
        for (uint64_t seq = 0; seq < kFrames; ++seq) {
            FrameSlot& slot = store.begin(seq);
            slot.info.travel[0] = {0.0, static_cast<double>(seq)};
            slot.info.step = {0.0, seq == 0 ? 0.0 : 1.0};
            addRun(slot, -100.0f, 201, 200.0f);
        }
        object.id = kObject;
        object.firstSeq = 0;
        object.lastSeq = kFrames - 1;
        object.framesSeen = kFrames;
    }

    // `count` points 1 mm apart from `x0`, on the line (board Y 0), at height `h`.
    static void addRun(FrameSlot& slot, float x0, uint32_t count, float h) {
        ProfileRun& run = slot.runs[slot.runCount++];
        run = ProfileRun{};
        run.first = slot.pointCount;
        run.count = count;
        run.x0 = x0;
        run.x1 = x0 + static_cast<float>(count - 1);
        run.object = kObject;
        run.leftH = run.rightH = h;
        run.leftBound = run.rightBound = RunBound::Belt;
        for (uint32_t i = 0; i < count; ++i) {
            slot.points[slot.pointCount++] = ProfilePoint{x0 + static_cast<float>(i), 0.0f, h};
        }
    }

    FittedBox fit() {
        CBoxFitter fitter;
        EXPECT_TRUE(fitter.configure(FitSettings{}));
        FittedBox out;
        fitter.fit(object, store, out);
        return out;
    }
};

TEST(LpmcBoxFitTest, AFlatBoxIsMeasuredToHalfASpacingBeyondItsSamples) {
    FlatBoxScan scan;
    const FittedBox f = scan.fit();
    EXPECT_NEAR(f.box.width, 60.0, 0.01);
    EXPECT_NEAR(f.box.length, 201.0, 0.01);
    EXPECT_NEAR(f.box.height, 200.0, 0.05);
}

TEST(LpmcBoxFitTest, AShortRunInOneProfileOnlyDoesNotWidenTheFootprint) {
    FlatBoxScan scan;
    // Speckle beside a bright line: three points 10 mm off the box's side, 90 mm above its top.
    FlatBoxScan::addRun(*scan.store.find(30), -113.0f, 3, 290.0f);
    const FittedBox f = scan.fit();
    EXPECT_NEAR(f.box.length, 201.0, 0.01);
    EXPECT_NEAR(f.box.width, 60.0, 0.01);
}

TEST(LpmcBoxFitTest, AShortRunThatNeighbouringProfilesContinueIsPartOfTheObject) {
    FlatBoxScan scan;
    for (uint64_t seq = 29; seq <= 31; ++seq) {
        FlatBoxScan::addRun(*scan.store.find(seq), -113.0f, 3, 290.0f);
    }
    const FittedBox f = scan.fit();
    EXPECT_GT(f.box.length, 213.0);
}

TEST(LpmcBoxFitTest, AFirstProfileWellBelowTheTopBehindAHiddenLineLeavesTheFrontUnseen) {
    FlatBoxScan scan;
    // A rounded front: the first profiles climb from 120 mm to the top.
    for (uint64_t seq = 0; seq < 4; ++seq) {
        FrameSlot& slot = *scan.store.find(seq);
        for (uint32_t i = 0; i < slot.pointCount; ++i) {
            slot.points[i].h = 120.0f + 20.0f * static_cast<float>(seq);
        }
        slot.runs[0].leftH = slot.runs[0].rightH = slot.points[0].h;
    }
    scan.object.frontHidden = true;
    const FittedBox f = scan.fit();
    EXPECT_TRUE(f.object.frontUnseen);
    EXPECT_TRUE(f.object.incomplete());
    // The same front with the belt seen just before it: the camera saw all of it.
    scan.object.frontHidden = false;
    EXPECT_FALSE(scan.fit().object.incomplete());
}

TEST(LpmcBoxFitTest, AFirstProfileOnTheTopBehindAHiddenLineIsAVerticalFront) {
    FlatBoxScan scan;
    scan.object.frontHidden = true;
    const FittedBox f = scan.fit();
    EXPECT_FALSE(f.object.frontUnseen);
    EXPECT_FALSE(f.object.incomplete());
}

} // namespace
