// The box fitter on objects written straight into the frame store: what it takes from the runs
// of an object and what it leaves out.
#include <algorithm>
#include <cmath>
#include <iterator>
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

    // `spacing` mm of travel between profiles.
    explicit FlatBoxScan(double spacing = 1.0) {
        EXPECT_TRUE(store.configure(kFrames + 8, 512, 8));
        for (uint64_t seq = 0; seq < kFrames; ++seq) {
            FrameSlot& slot = store.begin(seq);
            slot.info.travel[0] = {0.0, spacing * static_cast<double>(seq)};
            slot.info.step = {0.0, seq == 0 ? 0.0 : spacing};
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

TEST(LpmcBoxFitTest, ALengthThatTheProfilesPlaceWithinHalfTheSpacingPlusOneMillimetreIsSure) {
    // Front and rear each between two profiles 2 mm apart: the length is within 2 mm either way.
    FlatBoxScan scan(2.0);
    const FittedBox f = scan.fit();
    EXPECT_NEAR(f.box.width, 120.0, 0.01);
    EXPECT_FALSE(f.lengthUnsure);
}

TEST(LpmcBoxFitTest, ALengthThatCanBeOffByMoreThanHalfTheSpacingPlusOneMillimetreIsUnsure) {
    // 4 mm between profiles and nothing narrows either end: front and rear each within 2 mm
    // either way, so the length may be off by 4 mm, more than the 3 mm a measurement allows.
    FlatBoxScan scan(4.0);
    const FittedBox f = scan.fit();
    EXPECT_NEAR(f.box.length, 240.0, 0.01); // now the longer side
    EXPECT_TRUE(f.lengthUnsure);
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

// A box 300 mm along the belt and 200 mm high at 5 mm between profiles, its first profile in
// frame 40, behind 40 frames of belt; the camera looks at the line from 1000 mm upstream, so the
// box's top edge hides the line from 117.5 mm before it.
struct CoarseBoxScan {
    static constexpr double kStep = 5.0;
    static constexpr uint64_t kFirst = 40, kLast = 99;
    CFrameStore store;
    TrackedObject object;
    FitSettings settings;

    CoarseBoxScan() {
        EXPECT_TRUE(store.configure(128, 512, 8));
        for (uint64_t seq = 0; seq <= kLast; ++seq) {
            FrameSlot& slot = store.begin(seq);
            slot.info.travel[0] = {0.0, kStep * static_cast<double>(seq)};
            slot.info.step = {0.0, seq == 0 ? 0.0 : kStep};
            if (seq >= kFirst) {
                FlatBoxScan::addRun(slot, -100.0f, 201, 200.0f);
            }
        }
        object.id = kObject;
        object.firstSeq = kFirst;
        object.lastSeq = kLast;
        object.framesSeen = static_cast<uint32_t>(kLast - kFirst + 1);
        object.frontHidden = true;
        settings.frontFromOcclusion = true;
        settings.cameraCentre = {0.0, -1000.0, 200.0 * 1000.0 / 117.5};
    }

    double length(uint64_t lastFrameWithBelt) {
        object.beltSeenBefore = lastFrameWithBelt + 1;
        CBoxFitter fitter;
        EXPECT_TRUE(fitter.configure(settings));
        FittedBox out;
        fitter.fit(object, store, out);
        return out.box.length;
    }
};

TEST(LpmcBoxFitTest, TheFrameThatLostTheLineBeforeTheFrontNarrowsWhereTheFrontIs) {
    CoarseBoxScan scan;
    // Rear half a step behind the last profile, 297.5 mm behind the first. A front 3.7 mm past
    // the line at the first profile hid the line from frame 16 on: it lies 2.5 to 5 mm ahead.
    EXPECT_NEAR(scan.length(15), 297.5 + 3.75, 0.01);
    // A front 1 mm past the line hid it from frame 17 on: 0 to 2.5 mm ahead.
    EXPECT_NEAR(scan.length(16), 297.5 + 1.25, 0.01);
}

TEST(LpmcBoxFitTest, AFrontThatCantHaveHiddenTheLineWhenItWasLostIsPlacedHalfAStepAhead) {
    CoarseBoxScan scan;
    // Lost 20 frames too early (a package before it), or never shown: the usual half step.
    EXPECT_NEAR(scan.length(1), 300.0, 0.01);
    scan.object.beltSeenBefore = 0;
    CBoxFitter fitter;
    ASSERT_TRUE(fitter.configure(scan.settings));
    FittedBox out;
    fitter.fit(scan.object, scan.store, out);
    EXPECT_NEAR(out.box.length, 300.0, 0.01);
    // Nor where the laser plane isn't vertical.
    scan.settings.frontFromOcclusion = false;
    EXPECT_NEAR(scan.length(15), 300.0, 0.01);
}

// Share of a profile's light that falls on the object when the line, at `line` mm along the
// belt, gathers it from line - d for d spread by a Gaussian sheet of `sigma` seen through an
// exposure of `travel` mm, and the object spans [rear, front]. Summed in 1 um steps.
double windowShare(double line, double rear, double front, double sigma, double travel) {
    if (line < rear - 8.0 || line > front + 8.0) {
        return 0.0;
    }
    if (line > rear + 8.0 && line < front - 8.0) {
        return 1.0;
    }
    const auto cdf = [](double z) { return 0.5 * std::erfc(-z / std::sqrt(2.0)); };
    double on = 0.0, all = 0.0;
    for (double d = -8.0; d <= 8.0; d += 0.001) {
        const double density = cdf((d + 0.5 * travel) / sigma) - cdf((d - 0.5 * travel) / sigma);
        all += density;
        on += line - d >= rear && line - d <= front ? density : 0.0;
    }
    return on / all;
}

// A flat box 200 mm high under a sheet of 1 mm FWHM and an exposure of 40 % of the frame period
// at `spacing` mm between profiles; profile k lies at -spacing * k along the belt. Each column's
// line strength is the share of the window on the top times 180 grey, with a speckle of 15 %;
// the belt's bins across the box hold its line dimmed by the same share.
// The camera looks from 1000 mm upstream: beyond the front the box hides the belt, so a weak top
// line shows down to the threshold (20 grey); beyond the rear the belt's line (100 grey) shows
// and outshines a top line weaker than it.
struct WindowBoxScan {
    static constexpr double kFullPeak = 180.0, kBeltPeak = 100.0, kThreshold = 20.0;
    static constexpr uint64_t kFrames = 120;
    CFrameStore store;
    TrackedObject object;
    FitSettings settings;
    double spacing;

    WindowBoxScan(double step, double rear, double front, double sheetFwhm = 1.0, double exposureShare = 0.4,
                  double fullPeak = kFullPeak)
        : spacing(step) {
        EXPECT_TRUE(store.configure(kFrames + 8, 512, 8));
        settings.frontFromOcclusion = true;
        settings.cameraCentre = {0.0, -1000.0, 1700.0};
        settings.sheetFwhm = sheetFwhm;
        settings.exposureShare = exposureShare;
        settings.lineThreshold = static_cast<int32_t>(kThreshold);
        settings.pointsPerFrame = 512;
        const double sigma = std::max(sheetFwhm, 1e-3) / 2.3548;
        uint32_t speckle = 12345;
        object.id = kObject;
        bool seen = false;
        for (uint64_t seq = 0; seq < kFrames; ++seq) {
            FrameSlot& slot = store.begin(seq);
            slot.info.travel[0] = {0.0, spacing * static_cast<double>(seq)};
            slot.info.step = {0.0, seq == 0 ? 0.0 : spacing};
            slot.info.beltPeak = static_cast<float>(kBeltPeak);
            const double line = -spacing * static_cast<double>(seq);
            const double share = windowShare(line, rear, front, sigma, exposureShare * spacing);
            const bool nearFront = line > 0.5 * (rear + front);
            const bool shows =
                nearFront ? share * fullPeak >= kThreshold : share * fullPeak > (1.0 - share) * kBeltPeak;
            // Across the box the belt shows dimmed by the share of the light on the top, where the
            // top's line doesn't outshine it and the box doesn't hide it from the camera.
            const bool beltHidden = shows || (nearFront && share > 0.0);
            for (int32_t b = 0; b < kBeltPeakBins; ++b) {
                const float x = kBeltPeakFirstX + (static_cast<float>(b) + 0.5f) * kBeltPeakBinWidth;
                const bool behindBox = x > -104.0f && x < 104.0f;
                slot.info.beltBins[b] = static_cast<uint8_t>(
                    !behindBox ? kBeltPeak : (beltHidden ? 0.0 : std::round((1.0 - share) * kBeltPeak)));
            }
            if (!shows) {
                continue;
            }
            const uint32_t first = slot.pointCount;
            FlatBoxScan::addRun(slot, -100.0f, 201, 200.0f);
            for (uint32_t i = first; i < slot.pointCount; ++i) {
                speckle = speckle * 1664525u + 1013904223u;
                const double noise =
                    1.0 + 0.15 * (static_cast<double>(speckle >> 8) / 16777216.0 - 0.5) * 3.46;
                slot.strengths[i] = static_cast<uint8_t>(std::clamp(share * fullPeak * noise, 1.0, 255.0));
            }
            object.firstSeq = seen ? object.firstSeq : seq;
            object.lastSeq = seq;
            seen = true;
        }
        object.framesSeen = static_cast<uint32_t>(object.lastSeq - object.firstSeq + 1);
    }

    FittedBox fit() {
        CBoxFitter fitter;
        EXPECT_TRUE(fitter.configure(settings));
        FittedBox out;
        fitter.fit(object, store, out);
        return out;
    }
};

TEST(LpmcBoxFitTest, ProfilesThatStraddleTheEndsPlaceThemFromTheirShareOfTheLight) {
    // 4 mm between profiles, a window of about 2.6 mm: wherever both boundary profiles show the
    // top at part strength, the length is within 0.3 mm (a tenth of the window).
    int straddled = 0;
    for (double phase = 0.0; phase < 4.0; phase += 0.125) {
        const double front = -30.0 - phase, rear = front - 203.7;
        WindowBoxScan scan(4.0, rear, front);
        const double sigma = 1.0 / 2.3548;
        const auto share = [&](uint64_t seq) {
            return windowShare(-4.0 * static_cast<double>(seq), rear, front, sigma, 1.6);
        };
        const FittedBox f = scan.fit();
        const double error = f.box.length - (front - rear);
        if (share(scan.object.firstSeq) < 0.9 && share(scan.object.lastSeq) < 0.9) {
            ++straddled;
            EXPECT_NEAR(error, 0.0, 0.3) << "phase " << phase;
            EXPECT_FALSE(f.lengthUnsure) << "phase " << phase;
        }
        // Wherever the ends fall, a length reported as sure is within half the spacing plus 1 mm.
        if (!f.lengthUnsure) {
            EXPECT_LE(std::fabs(error), 3.0) << "phase " << phase;
        }
        EXPECT_NEAR(f.box.width, 201.0, 0.01);
    }
    EXPECT_GE(straddled, 4);
}

TEST(LpmcBoxFitTest, AnUnknownWindowLeavesTheEndsHalfAStepBeyondTheEndProfiles) {
    WindowBoxScan scan(2.0, -280.3, -30.7);
    scan.settings.sheetFwhm = 0.0;
    scan.settings.exposureShare = 0.0;
    const FittedBox f = scan.fit();
    const double samples = 2.0 * static_cast<double>(scan.object.lastSeq - scan.object.firstSeq);
    EXPECT_NEAR(f.box.length, samples + 2.0, 0.01);
    EXPECT_FALSE(f.lengthUnsure);
}

TEST(LpmcBoxFitTest, TheBeltDimmedBehindTheRearNarrowsWhereTheRearIs) {
    // The rear 4.3 mm behind a profile at 5 mm between profiles: that profile lies wholly on the
    // top, the next one shows the belt behind it dimmed by the fifth of its window still on the
    // top. Without the belt's bins the rear lies anywhere in the gap between the two windows.
    const double front = -29.5, rear = -5.0 * 60.0 - 4.3; // the front straddled by a profile
    WindowBoxScan scan(5.0, rear, front);
    const FittedBox withBelt = scan.fit();
    EXPECT_NEAR(withBelt.box.length, front - rear, 0.3);
    for (uint64_t seq = 0; seq < WindowBoxScan::kFrames; ++seq) {
        std::fill(std::begin(scan.store.find(seq)->info.beltBins),
                  std::end(scan.store.find(seq)->info.beltBins), uint8_t{0});
    }
    const FittedBox without = scan.fit();
    EXPECT_GT(std::fabs(without.box.length - (front - rear)),
              std::fabs(withBelt.box.length - (front - rear)));
}

TEST(LpmcBoxFitTest, EndsThatNoProfileStraddlesStayUnsureWhereTheGapBetweenWindowsIsTooWide) {
    // A thin sheet and a short exposure at 5 mm between profiles: each end lies somewhere in the
    // unlit 4 mm between two windows, more than the 3.5 mm a length may be off.
    WindowBoxScan thin(5.0, -182.6, -31.1, 0.2, 0.05);
    EXPECT_TRUE(thin.fit().lengthUnsure);
    // A saturated top tells no share: the ends stay where the samples put them, unsure by the
    // window's bulk on top of the half step.
    WindowBoxScan saturated(4.0, -182.6, -31.1, 1.0, 0.4, 400.0);
    EXPECT_TRUE(saturated.fit().lengthUnsure);
}

} // namespace
