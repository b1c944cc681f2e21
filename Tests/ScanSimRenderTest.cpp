// Rendering of the virtual station: where the line falls, which points the laser shadow and the
// camera's view remove, when an object is first and last seen, and the image forms.
#include "ScanSim/Renderer.h"
#include "ScanSim/SceneJson.h"
#include "ScanSim/Truth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

using namespace ScanSim;

// A small camera keeps the tests quick; the geometry is that of the default station.
Scene quietScene() {
    StationDesign d;
    d.imageWidth = 320;
    d.imageHeight = 96;
    Scene s;
    s.station = designStation(d);
    s.optics.ambient = 0.0;
    s.optics.sensorNoise = 0.0;
    s.optics.shotNoise = 0.0;
    s.optics.speckle = 0.0;
    s.optics.lineJitterPx = 0.0;
    s.trailingGap = 5.0;
    return s;
}

SceneObject box(double l, double w, double h, double x, double gap) {
    SceneObject o;
    o.name = "box";
    o.length = l;
    o.width = w;
    o.height = h;
    o.x = x;
    o.gap = gap;
    o.reflectance = 0.8;
    return o;
}

// Board X on the belt under the laser line that the camera shows in column c.
double beltXAtColumn(const Station& st, double c) {
    double lo = -900.0;
    double hi = 900.0;
    for (int i = 0; i < 100; ++i) {
        const double mid = 0.5 * (lo + hi);
        (st.camera.project({mid, 0.0, st.beltZ()})->u < c ? lo : hi) = mid;
    }
    return 0.5 * (lo + hi);
}

double predictedBeltRow(const Station& st, int c) {
    return st.camera.project({beltXAtColumn(st, c), 0.0, st.beltZ()})->v;
}

const ColumnSample* findSample(const ProfileTrace& tr, int c, int object) {
    for (int i = 0; i < tr.counts[static_cast<size_t>(c)]; ++i) {
        if (tr.column(c)[i].object == object) {
            return &tr.column(c)[i];
        }
    }
    return nullptr;
}

bool hasObjectSample(const ProfileTrace& tr, int object) {
    for (int c = 0; c < tr.width; ++c) {
        const ColumnSample* s = findSample(tr, c, object);
        if (s != nullptr && s->visible) {
            return true;
        }
    }
    return false;
}

TEST(ScanSimRender, FlatBeltLineLiesOnThePredictedRowsOfEveryColumn) {
    const Scene scene = quietScene();
    const CFrameRenderer r(scene);
    RenderedFrame f;
    r.render(0, f);
    const Station& st = scene.station;
    int checked = 0;
    for (int c = 0; c < r.width(); ++c) {
        const double x = beltXAtColumn(st, c);
        if (std::abs(x) > 501.0) {
            EXPECT_EQ(f.trace.counts[static_cast<size_t>(c)], 0) << "beyond the belt edge, column " << c;
            EXPECT_LT(f.line.rows[static_cast<size_t>(c)], 0.0f);
            continue;
        }
        if (std::abs(x) > 499.0) {
            continue;
        }
        ASSERT_EQ(f.trace.counts[static_cast<size_t>(c)], 1) << c;
        const ColumnSample& s = f.trace.column(c)[0];
        const double row = predictedBeltRow(st, c);
        EXPECT_EQ(s.object, kBeltObject);
        EXPECT_TRUE(s.visible);
        EXPECT_NEAR(s.row, row, 1e-3) << c;
        EXPECT_NEAR(f.line.rows[static_cast<size_t>(c)], row, 1e-3) << c;
        EXPECT_EQ(f.line.peaks[static_cast<size_t>(c)], std::lround(s.intensity));
        // Centre of gravity of the rendered Gaussian.
        double sum = 0.0;
        double moment = 0.0;
        for (int y = 0; y < r.height(); ++y) {
            const double v = f.mono8[static_cast<size_t>(y) * r.width() + static_cast<size_t>(c)];
            sum += v;
            moment += v * y;
        }
        ASSERT_GT(sum, 0.0);
        EXPECT_NEAR(moment / sum, row, 0.05) << c;
        ++checked;
    }
    EXPECT_GT(checked, r.width() / 2);
}

TEST(ScanSimRender, BoxIsFirstSeenWhenItsFrontReachesTheLineAndLastSeenWhenItsRearLeaves) {
    Scene scene = quietScene();
    // Front 100.5 mm before the line: at frame 101 it is 0.5 mm past it.
    scene.objects = {box(300.0, 200.0, 150.0, 0.0, 100.5)};
    const CFrameRenderer r(scene);
    ProfileTrace tr;
    r.trace(100, tr);
    EXPECT_FALSE(hasObjectSample(tr, 0));
    r.trace(101, tr);
    EXPECT_TRUE(hasObjectSample(tr, 0));
    r.trace(400, tr);
    EXPECT_TRUE(hasObjectSample(tr, 0));
    r.trace(401, tr);
    EXPECT_FALSE(hasObjectSample(tr, 0));

    const ScanTruth truth = computeTruth(r, TimeBase::StoredImages);
    ASSERT_EQ(truth.objects.size(), 1u);
    const ObjectTruth& t = truth.objects[0];
    EXPECT_TRUE(t.seen);
    EXPECT_EQ(t.firstFrame, 101);
    EXPECT_EQ(t.lastFrame, 400);
    EXPECT_DOUBLE_EQ(t.enterTime, 203.0);
    EXPECT_DOUBLE_EQ(t.leaveTime, 801.0);
    // Reported frame: the board frame at the first profile; the front is then 0.5 mm past Y = 0.
    EXPECT_NEAR(t.centre.x, 0.0, 1e-9);
    EXPECT_NEAR(t.centre.y, 0.5 - 150.0, 1e-9);
    EXPECT_NEAR(t.centre.z, 75.0, 1e-9);
}

TEST(ScanSimRender, BoxTopIsSeenAtItsHeight) {
    Scene scene = quietScene();
    scene.objects = {box(300.0, 200.0, 150.0, 0.0, 100.5)};
    const CFrameRenderer r(scene);
    ProfileTrace tr;
    r.trace(250, tr);
    const Station& st = scene.station;
    const int centre = static_cast<int>(std::lround(st.camera.project({0.0, 0.0, st.beltZ() + 150.0})->u));
    const ColumnSample* s = findSample(tr, centre, 0);
    ASSERT_NE(s, nullptr);
    EXPECT_TRUE(s->visible);
    EXPECT_NEAR(st.heightAboveBelt(s->point), 150.0, 1e-6);
    EXPECT_NEAR(s->point.y, 0.0, 1e-6);
}

TEST(ScanSimRender, ACartonWithRoundedEdgesCurvesDownByItsRadiusTowardsItsSides) {
    Scene scene = quietScene();
    SceneObject carton = box(300.0, 200.0, 150.0, 0.0, 100.5);
    carton.edgeRadius = 8.0;
    scene.objects = {carton};
    const CFrameRenderer r(scene);
    ProfileTrace tr;
    r.trace(250, tr); // the line lies across the middle of its top
    int onCurve = 0, onTop = 0;
    for (int c = 0; c < tr.width; ++c) {
        const ColumnSample* s = findSample(tr, c, 0);
        if (s == nullptr) {
            continue;
        }
        const double h = scene.station.heightAboveBelt(s->point);
        if (h < 150.0 - 8.0) {
            continue; // a side face
        }
        const double u = std::abs(s->point.x) - (100.0 - 8.0); // how far into the rounded edge
        const double expected = u > 0.0 ? 150.0 - 8.0 + std::sqrt(64.0 - u * u) : 150.0;
        EXPECT_NEAR(h, expected, 1e-3) << "x " << s->point.x;
        (u > 0.0 ? onCurve : onTop) += 1;
    }
    EXPECT_GE(onCurve, 4); // both rounded edges, at this small camera's column spacing
    EXPECT_GT(onTop, 20);
    const ScanTruth truth = computeTruth(r, TimeBase::CameraMs);
    ASSERT_EQ(truth.objects.size(), 1u);
    EXPECT_DOUBLE_EQ(truth.objects[0].length, 300.0); // its bounding box, as for a sharp one
    EXPECT_DOUBLE_EQ(truth.objects[0].width, 200.0);
    EXPECT_DOUBLE_EQ(truth.objects[0].height, 150.0);
}

TEST(ScanSimRender, EdgeRadiusIsReadFromTheSceneAndMustFitTheBox) {
    Scene scene;
    std::string error;
    ASSERT_TRUE(parseScene(R"({"objects": [{"kind": "box", "length": 300, "width": 200, "height": 100,
                                             "edgeRadius": 5}]})",
                           scene, error))
        << error;
    ASSERT_EQ(scene.objects.size(), 1u);
    EXPECT_DOUBLE_EQ(scene.objects[0].edgeRadius, 5.0);
    EXPECT_FALSE(
        parseScene(R"({"objects": [{"kind": "box", "height": 100, "edgeRadius": 51}]})", scene, error));
    EXPECT_NE(error.find("edgeRadius"), std::string::npos);
    EXPECT_FALSE(parseScene(R"({"objects": [{"kind": "box", "edgeRadius": -1}]})", scene, error));
}

TEST(ScanSimRender, LaserShadowBesideABoxLeavesTheBeltUnlit) {
    Scene scene = quietScene();
    // X from 150 to 250, 300 mm tall, straddling the line at frame 150.
    scene.objects = {box(300.0, 100.0, 300.0, 200.0, 0.5)};
    const CFrameRenderer r(scene);
    ProfileTrace tr;
    r.trace(150, tr);
    const Station& st = scene.station;
    const double sourceHeight = st.heightAboveBelt(st.laser.source);
    const double shadowEnd = 250.0 * sourceHeight / (sourceHeight - 300.0);
    int shadowed = 0;
    int lit = 0;
    for (int c = 0; c < r.width(); ++c) {
        const double x = beltXAtColumn(st, c);
        if (x > 252.0 && x < shadowEnd - 2.0) {
            EXPECT_EQ(findSample(tr, c, kBeltObject), nullptr) << "x " << x;
            ++shadowed;
        } else if (x > shadowEnd + 4.0 && x < 490.0) {
            const ColumnSample* s = findSample(tr, c, kBeltObject);
            ASSERT_NE(s, nullptr) << "x " << x;
            EXPECT_TRUE(s->visible) << "x " << x;
            ++lit;
        }
    }
    EXPECT_GT(shadowed, 5);
    EXPECT_GT(lit, 20);
}

TEST(ScanSimRender, BoxBetweenCameraAndLineHidesTheLitBelt) {
    Scene scene = quietScene();
    // Wholly upstream of the line (front 20.5 mm before it), between the line and the camera.
    scene.objects = {box(300.0, 200.0, 300.0, 0.0, 20.5)};
    const CFrameRenderer r(scene);
    RenderedFrame f;
    r.render(0, f);
    const Station& st = scene.station;
    int hidden = 0;
    int seen = 0;
    for (int c = 0; c < r.width(); ++c) {
        const double x = beltXAtColumn(st, c);
        const ColumnSample* s = findSample(f.trace, c, kBeltObject);
        EXPECT_FALSE(hasObjectSample(f.trace, 0));
        if (std::abs(x) < 90.0) {
            ASSERT_NE(s, nullptr) << "the laser still lights the belt at x " << x;
            EXPECT_FALSE(s->visible) << "x " << x;
            EXPECT_LT(f.line.rows[static_cast<size_t>(c)], 0.0f);
            uint8_t brightest = 0;
            for (int y = 0; y < r.height(); ++y) {
                brightest =
                    std::max(brightest, f.mono8[static_cast<size_t>(y) * r.width() + static_cast<size_t>(c)]);
            }
            EXPECT_EQ(brightest, 0) << "x " << x;
            ++hidden;
        } else if (std::abs(x) > 160.0 && std::abs(x) < 450.0) {
            ASSERT_NE(s, nullptr);
            EXPECT_TRUE(s->visible) << "x " << x;
            ++seen;
        }
    }
    EXPECT_GT(hidden, 10);
    EXPECT_GT(seen, 20);
}

TEST(ScanSimRender, BrightSurfacesSaturateAndDarkOnesStayDim) {
    Scene scene = quietScene();
    scene.optics.laserGain = 400.0;
    SceneObject white = box(200.0, 200.0, 100.0, -200.0, 10.5);
    white.reflectance = 1.0;
    SceneObject dark = box(200.0, 200.0, 100.0, 200.0, -200.0); // side by side with the white one
    dark.reflectance = 0.1;
    scene.objects = {white, dark};
    const CFrameRenderer r(scene);
    RenderedFrame f;
    r.render(110, f);
    const Station& st = scene.station;
    const auto columnOf = [&](double x) {
        return static_cast<int>(std::lround(st.camera.project({x, 0.0, st.beltZ() + 100.0})->u));
    };
    const int cw = columnOf(-200.0);
    const int cd = columnOf(200.0);
    EXPECT_EQ(f.line.peaks[static_cast<size_t>(cw)], 255);
    EXPECT_NEAR(f.line.peaks[static_cast<size_t>(cd)], 40.0 * std::cos(std::atan(200.0 / 1800.0)), 1.0);
    uint8_t whitePeak = 0;
    for (int y = 0; y < r.height(); ++y) {
        whitePeak =
            std::max(whitePeak, f.mono8[static_cast<size_t>(y) * r.width() + static_cast<size_t>(cw)]);
    }
    EXPECT_EQ(whitePeak, 255);
}

TEST(ScanSimRender, GhostReflectionAddsAWeakerLineBesideObjectsOnly) {
    Scene scene = quietScene();
    scene.optics.ghostFraction = 0.5;
    scene.optics.ghostOffsetRows = -12.0;
    scene.objects = {box(200.0, 200.0, 300.0, 0.0, 10.5)};
    const CFrameRenderer r(scene);
    RenderedFrame f;
    r.render(100, f);
    const Station& st = scene.station;
    const int c = static_cast<int>(std::lround(st.camera.project({0.0, 0.0, st.beltZ() + 300.0})->u));
    const ColumnSample* s = findSample(f.trace, c, 0);
    ASSERT_NE(s, nullptr);
    const auto at = [&](double row) {
        return f.mono8[static_cast<size_t>(std::lround(row)) * r.width() + static_cast<size_t>(c)];
    };
    EXPECT_NEAR(at(s->row - 12.0), 0.5 * at(s->row), 0.1 * at(s->row));
    // The belt far from the box has no ghost.
    const int cb = static_cast<int>(std::lround(st.camera.project({-400.0, 0.0, st.beltZ()})->u));
    const ColumnSample* b = findSample(f.trace, cb, kBeltObject);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(f.mono8[static_cast<size_t>(std::lround(b->row - 12.0)) * r.width() + static_cast<size_t>(cb)],
              0);
}

TEST(ScanSimRender, CylindersAndBagShowTheirHeights) {
    Scene scene = quietScene();
    SceneObject lying = box(400.0, 0.0, 0.0, -250.0, 10.5);
    lying.kind = ShapeKind::CylinderLying;
    lying.width = lying.height = 1.0;
    lying.diameter = 160.0;
    SceneObject standing = box(0.0, 0.0, 350.0, 0.0, -300.0); // centred beside the first
    standing.kind = ShapeKind::CylinderStanding;
    standing.length = standing.width = 1.0;
    standing.diameter = 200.0;
    SceneObject bag = box(400.0, 300.0, 180.0, 260.0, -332.0); // and this one too
    bag.kind = ShapeKind::Bag;
    bag.yawDeg = 15.0;
    scene.objects = {lying, standing, bag};
    const CFrameRenderer r(scene);
    ProfileTrace tr;
    r.trace(211, tr); // each object's centre is 0.5 mm past the line
    double top[3] = {0.0, 0.0, 0.0};
    for (int c = 0; c < tr.width; ++c) {
        for (int i = 0; i < tr.counts[static_cast<size_t>(c)]; ++i) {
            const ColumnSample& s = tr.column(c)[i];
            if (s.visible && s.object >= 0) {
                top[s.object] = std::max(top[s.object], scene.station.heightAboveBelt(s.point));
            }
        }
    }
    EXPECT_NEAR(top[0], 160.0, 1.0);
    EXPECT_NEAR(top[1], 350.0, 1e-6);
    EXPECT_GT(top[2], 0.8 * 180.0);
    EXPECT_LE(top[2], 180.0 + 1e-6);

    const ScanTruth truth = computeTruth(r, TimeBase::CameraMs);
    ASSERT_EQ(truth.objects.size(), 3u);
    EXPECT_DOUBLE_EQ(truth.objects[0].length, 400.0);
    EXPECT_DOUBLE_EQ(truth.objects[0].width, 160.0);
    EXPECT_DOUBLE_EQ(truth.objects[0].height, 160.0);
    EXPECT_NEAR(truth.objects[0].solidVolume, kPi * 80.0 * 80.0 * 400.0, 1e-3);
    EXPECT_DOUBLE_EQ(truth.objects[1].length, 200.0);
    EXPECT_DOUBLE_EQ(truth.objects[1].height, 350.0);
    EXPECT_NEAR(truth.objects[2].slantAngleDeg, 15.0, 1e-12);
    EXPECT_LT(truth.objects[2].solidVolume, truth.objects[2].volume);
    EXPECT_GT(truth.objects[2].solidVolume, 0.3 * truth.objects[2].volume);
    for (const ObjectTruth& t : truth.objects) {
        EXPECT_TRUE(t.seen) << t.name;
    }
}

TEST(ScanSimRender, SlantAngleFollowsTheLongSideWhateverWayTheObjectIsGiven) {
    Scene scene = quietScene();
    SceneObject a = box(400.0, 200.0, 100.0, 0.0, 10.5);
    a.yawDeg = 120.0; // same slant as -60
    SceneObject b = box(200.0, 400.0, 100.0, 0.0, 50.0);
    b.yawDeg = 10.0; // long side across: slant 100, i.e. -80
    scene.objects = {a, b};
    const CFrameRenderer r(scene);
    const ScanTruth truth = computeTruth(r, TimeBase::StoredImages);
    ASSERT_EQ(truth.objects.size(), 2u);
    EXPECT_NEAR(truth.objects[0].slantAngleDeg, -60.0, 1e-9);
    EXPECT_NEAR(truth.objects[1].slantAngleDeg, -80.0, 1e-9);
    EXPECT_DOUBLE_EQ(truth.objects[1].length, 400.0);
    EXPECT_DOUBLE_EQ(truth.objects[1].width, 200.0);
}

TEST(ScanSimRender, SameSeedGivesTheSameBytesAndAnotherSeedOtherBytes) {
    Scene scene = quietScene();
    scene.optics = Optics{};
    scene.optics.sensorNoise = 1.5;
    scene.objects = {box(300.0, 200.0, 150.0, 0.0, 10.5)};
    scene.seed = 42;
    const CFrameRenderer a(scene);
    const CFrameRenderer b(scene);
    RenderedFrame fa;
    RenderedFrame fb;
    a.render(20, fa);
    a.render(7, fb); // rendering another frame in between changes nothing
    a.render(20, fb);
    EXPECT_EQ(fa.mono8, fb.mono8);
    b.render(20, fb);
    EXPECT_EQ(fa.mono8, fb.mono8);
    EXPECT_EQ(fa.line.rows, fb.line.rows);
    EXPECT_EQ(fa.line.peaks, fb.line.peaks);

    scene.seed = 43;
    const CFrameRenderer c(scene);
    c.render(20, fb);
    EXPECT_NE(fa.mono8, fb.mono8);
    EXPECT_NE(fa.line.rows, fb.line.rows);
}

TEST(ScanSimRender, Mono4pPacksTheTopNibbleOfTwoPixelsPerByteFirstPixelLow) {
    const uint8_t mono8[] = {0x12, 0xA5, 0xFF, 0x07, 0x80};
    const std::vector<uint8_t> packed = packMono4p(mono8, 5);
    ASSERT_EQ(packed.size(), 3u);
    EXPECT_EQ(packed[0], 0xA1);
    EXPECT_EQ(packed[1], 0x0F);
    EXPECT_EQ(packed[2], 0x08); // odd last pixel: high nibble 0
    // The camera route unpacks byte b to (b << 4) & 0xFF, then b & 0xF0.
    EXPECT_EQ(static_cast<uint8_t>(packed[0] << 4), mono8[0] & 0xF0);
    EXPECT_EQ(static_cast<uint8_t>(packed[0] & 0xF0), mono8[1] & 0xF0);
}

TEST(ScanSimRender, PipelineImageHoldsCountRowsAndPeaksAtTheirOffsets) {
    LineForm form;
    form.rows = {10.25f, -1.0f, 300.5f};
    form.peaks = {200, 0, 37};
    std::vector<uint8_t> block;
    ASSERT_TRUE(buildPipelineImage(form, block));
    ASSERT_EQ(block.size(), 19248u);
    int32_t count = 0;
    std::memcpy(&count, &block[36], sizeof count);
    EXPECT_EQ(count, 3);
    float rows[3];
    std::memcpy(rows, &block[48], sizeof rows);
    EXPECT_EQ(rows[0], 10.25f);
    EXPECT_EQ(rows[1], -1.0f);
    EXPECT_EQ(rows[2], 300.5f);
    EXPECT_EQ(block[15408], 200);
    EXPECT_EQ(block[15409], 0);
    EXPECT_EQ(block[15410], 37);

    form.rows.assign(3841, 0.0f);
    form.peaks.assign(3841, 0);
    EXPECT_FALSE(buildPipelineImage(form, block));
}

TEST(ScanSimRender, LineFormDropsColumnsBelowTheThreshold) {
    Scene scene = quietScene();
    scene.optics.lineThreshold = 200; // above the belt's peak
    const CFrameRenderer r(scene);
    RenderedFrame f;
    r.render(0, f);
    for (size_t c = 0; c < f.line.rows.size(); ++c) {
        EXPECT_LT(f.line.rows[c], 0.0f);
        EXPECT_EQ(f.line.peaks[c], 0);
    }
}

} // namespace

namespace {

TEST(ScanSimTime, StampsAndBeltSpeedFollowTheTimeBase) {
    Scene scene = quietScene();
    scene.motion.mmPerFrame = 1.5;
    scene.motion.driftXPerFrame = 0.1;
    scene.motion.framePeriodMs = 2.0;
    EXPECT_DOUBLE_EQ(timestampOfFrame(scene, 0, TimeBase::StoredImages), 1.0);
    EXPECT_DOUBLE_EQ(timestampOfFrame(scene, 10, TimeBase::StoredImages), 21.0);
    EXPECT_DOUBLE_EQ(timestampOfFrame(scene, 10, TimeBase::CameraMs), 20.0);
    const Vec3 stored = beltSpeed(scene, TimeBase::StoredImages);
    EXPECT_DOUBLE_EQ(stored.x, 0.05);
    EXPECT_DOUBLE_EQ(stored.y, 0.75);
    const Vec3 camera = beltSpeed(scene, TimeBase::CameraMs);
    EXPECT_DOUBLE_EQ(camera.x, 0.05);
    EXPECT_DOUBLE_EQ(camera.y, 0.75);
}

TEST(ScanSimTime, DriftingObjectsMoveAcrossAndTheTruthCentreIsWhereTheyWereFirstSeen) {
    Scene scene = quietScene();
    scene.motion.driftXPerFrame = 0.2;
    scene.objects = {box(300.0, 200.0, 150.0, -100.0, 100.5)};
    const CFrameRenderer r(scene);
    EXPECT_NEAR(r.objectCentreAt(0, 50).x, -100.0 + 10.0, 1e-12);
    const ScanTruth truth = computeTruth(r, TimeBase::StoredImages);
    ASSERT_TRUE(truth.objects[0].seen);
    EXPECT_EQ(truth.objects[0].firstFrame, 101);
    EXPECT_NEAR(truth.objects[0].centre.x, -100.0 + 0.2 * 101, 1e-9);
}

} // namespace

namespace {

// Summed grey of the rows within 4 of `row` in column c (the quiet scene's ambient is 0).
double lineStrength(const RenderedFrame& f, int width, int c, double row) {
    double sum = 0.0;
    const int height = static_cast<int>(f.mono8.size()) / width;
    for (int r = std::max(0, static_cast<int>(row) - 4); r <= std::min(height - 1, static_cast<int>(row) + 5);
         ++r) {
        sum += f.mono8[static_cast<size_t>(r) * width + static_cast<size_t>(c)];
    }
    return sum;
}

} // namespace

TEST(ScanSimWindow, NoThicknessAndNoTravelIsOneInstant) {
    const ExposureWindow w = exposureWindow(0.0, 0.0);
    ASSERT_EQ(w.offsets.size(), 1u);
    EXPECT_EQ(w.offsets[0], 0.0);
    EXPECT_EQ(w.weights[0], 1.0);
}

TEST(ScanSimWindow, TheSheetSeenThroughTheExposureSpreadsTheLightAsTheirConvolution) {
    const double fwhm = 1.0;
    const double travel = 1.6;
    const ExposureWindow w = exposureWindow(fwhm, travel);
    ASSERT_GT(w.offsets.size(), 5u);
    EXPECT_EQ(w.offsets[0], 0.0); // the frame's own position comes first
    double total = 0.0;
    double mean = 0.0;
    double variance = 0.0;
    for (size_t i = 0; i < w.offsets.size(); ++i) {
        total += w.weights[i];
        mean += w.weights[i] * w.offsets[i];
        variance += w.weights[i] * w.offsets[i] * w.offsets[i];
    }
    EXPECT_NEAR(total, 1.0, 1e-9);
    EXPECT_NEAR(mean, 0.0, 1e-9);
    const double sigma = fwhm / 2.3548;
    // Variances add under convolution: the Gaussian's and the box's (travel^2 / 12).
    EXPECT_NEAR(variance, sigma * sigma + travel * travel / 12.0, 0.05 * variance);
    std::vector<double> sorted = w.offsets;
    std::sort(sorted.begin(), sorted.end());
    for (size_t i = 1; i < sorted.size(); ++i) {
        EXPECT_LE(sorted[i] - sorted[i - 1], 0.25 + 1e-9);
    }
}

TEST(ScanSimWindow, AFrameWhoseWindowHoldsNoEdgeRendersExactlyAsAnInstant) {
    Scene instant = quietScene();
    instant.optics = Optics{};
    instant.optics.sensorNoise = 1.5;
    instant.objects = {box(300.0, 200.0, 150.0, 0.0, 20.5)};
    Scene window = instant;
    window.station.laserSheetFwhm = 1.0;
    window.motion.exposureShare = 0.4;
    const CFrameRenderer a(instant);
    const CFrameRenderer b(window);
    RenderedFrame fa;
    RenderedFrame fb;
    for (const int frame : {5, 150}) { // empty belt; the middle of the box's top
        a.render(frame, fa);
        b.render(frame, fb);
        EXPECT_EQ(fb.trace.parts(), 1) << frame;
        EXPECT_EQ(fa.mono8, fb.mono8) << frame;
        EXPECT_EQ(fa.line.rows, fb.line.rows) << frame;
        EXPECT_EQ(fa.line.peaks, fb.line.peaks) << frame;
    }
}

TEST(ScanSimWindow, AFrameStraddlingTheRearEdgeShowsTheTopAndTheBeltAtTheirSharesOfTheLight) {
    Scene scene = quietScene();
    scene.motion.mmPerFrame = 2.0;
    scene.motion.exposureShare = 1.0; // the belt travels 2 mm while the frame is exposed
    const double length = 300.0;
    scene.objects = {box(length, 200.0, 150.0, 0.0, 40.0)};
    scene.objects[0].reflectance = 0.5; // below saturation
    const CFrameRenderer r(scene);
    // The frame whose window, 1 mm either side of its position, holds the rear edge.
    int straddling = -1;
    double rearY = 0.0;
    for (int k = 0; k < r.frameCount() && straddling < 0; ++k) {
        rearY = r.objectCentreAt(0, k).y - length / 2.0;
        if (std::abs(rearY) < 0.8) {
            straddling = k;
        }
    }
    ASSERT_GE(straddling, 0);
    RenderedFrame onTop;
    RenderedFrame edge;
    RenderedFrame past;
    r.render(straddling - 3, onTop);
    r.render(straddling, edge);
    r.render(straddling + 3, past);
    EXPECT_GT(edge.trace.parts(), 1);

    const Station& st = scene.station;
    const int width = st.camera.width;
    const int c = static_cast<int>(std::lround(st.camera.project({0.0, 0.0, st.beltZ() + 150.0})->u));
    const ColumnSample* top = findSample(onTop.trace, c, 0);
    const ColumnSample* belt = findSample(past.trace, c, kBeltObject);
    ASSERT_NE(top, nullptr);
    ASSERT_NE(belt, nullptr);
    const double topShare = lineStrength(edge, width, c, top->row) / lineStrength(onTop, width, c, top->row);
    const double beltShare =
        lineStrength(edge, width, c, belt->row) / lineStrength(past, width, c, belt->row);
    // Parts still on the box: belt offsets up to -rearY of the window [-1, 1]; within half a
    // part's cell (0.25 mm of 2 mm).
    EXPECT_NEAR(topShare, (1.0 - rearY) / 2.0, 0.07);
    EXPECT_NEAR(topShare + beltShare, 1.0, 0.05);
    EXPECT_GT(topShare, 0.1);
    EXPECT_GT(beltShare, 0.1);

    // The line form carries the stronger of the two at its share of the light.
    const float edgeRow = edge.line.rows[static_cast<size_t>(c)];
    ASSERT_GE(edgeRow, 0.0f);
    const bool topWins = topShare * top->intensity > beltShare * belt->intensity;
    EXPECT_NEAR(edgeRow, topWins ? top->row : belt->row, 0.5);
    const double expectedPeak = topWins ? topShare * top->intensity : beltShare * belt->intensity;
    EXPECT_NEAR(edge.line.peaks[static_cast<size_t>(c)], expectedPeak, 0.1 * expectedPeak + 2.0);
}
