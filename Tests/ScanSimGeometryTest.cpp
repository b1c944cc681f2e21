// The station's camera model: rotation vectors, projection and back-projection on the laser
// plane, and the default station's field of view.
#include "ScanSim/Station.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace ScanSim;

void expectSameRotation(const Mat3& a, const Mat3& b) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            EXPECT_NEAR(a.m[i][j], b.m[i][j], 1e-12) << i << "," << j;
        }
    }
}

TEST(ScanSimGeometry, RotationVectorRoundTripsAtSmallMediumAndHalfTurnAngles) {
    const Vec3 vectors[] = {{0.0, 0.0, 0.0},     {1e-7, -2e-7, 3e-7}, {0.3, -0.2, 0.1},
                            {2.61799, 0.0, 0.0}, {0.0, 3.14159, 0.0}, {1.0, 1.0, 1.0}};
    for (const Vec3& r : vectors) {
        const Mat3 m = rotationFromVector(r);
        expectSameRotation(rotationFromVector(vectorFromRotation(m)), m);
    }
}

TEST(ScanSimGeometry, RotationVectorTurnsAboutItsAxisByItsLength) {
    // A quarter turn about Z takes X to Y.
    const Mat3 m = rotationFromVector({0.0, 0.0, kPi / 2.0});
    const Vec3 y = m * Vec3{1.0, 0.0, 0.0};
    EXPECT_NEAR(y.x, 0.0, 1e-12);
    EXPECT_NEAR(y.y, 1.0, 1e-12);
    EXPECT_NEAR(y.z, 0.0, 1e-12);
}

TEST(ScanSimGeometry, ProjectionAndBackProjectionAgreeOnTheLaserPlane) {
    const Station st = defaultStation();
    for (double x = -500.0; x <= 500.0; x += 125.0) {
        for (double h = 0.0; h <= 800.0; h += 100.0) {
            const Vec3 p{x, 0.0, h - st.chessboardHeight}; // the laser plane is board Y = 0
            const auto img = st.camera.project(p);
            ASSERT_TRUE(img.has_value());
            const auto back = st.backProject(*img);
            ASSERT_TRUE(back.has_value());
            EXPECT_NEAR(back->x, p.x, 1e-6);
            EXPECT_NEAR(back->y, p.y, 1e-6);
            EXPECT_NEAR(back->z, p.z, 1e-6);
        }
    }
}

TEST(ScanSimGeometry, BackProjectedPixelsLieOnTheLaserPlaneAndProjectToThemselves) {
    const Station st = defaultStation();
    for (double u = 0.0; u < st.camera.width; u += 255.5) {
        for (double v = 0.0; v < st.camera.height; v += 63.5) {
            const auto p = st.backProject({u, v});
            ASSERT_TRUE(p.has_value());
            EXPECT_NEAR(dot(st.laser.normal, *p), st.laser.offset, 1e-9);
            const auto img = st.camera.project(*p);
            ASSERT_TRUE(img.has_value());
            EXPECT_NEAR(img->u, u, 1e-6);
            EXPECT_NEAR(img->v, v, 1e-6);
        }
    }
}

TEST(ScanSimGeometry, LaserPlaneInCameraCoordinatesHoldsForPointsOfThePlane) {
    StationDesign d;
    d.laserTiltDeg = 8.0;
    const Station st = designStation(d);
    const auto abc = st.laserPlaneInCamera();
    const Vec3 along = normalized(cross(st.laser.normal, Vec3{1.0, 0.0, 0.0}));
    for (const double s : {-300.0, 0.0, 450.0}) {
        const Vec3 p = Vec3{s, 0.0, 0.0} + 0.7 * s * along;
        const Vec3 q = st.camera.toCamera(p);
        EXPECT_NEAR(abc[0] * q.x + abc[1] * q.y + abc[2] * q.z, 1.0, 1e-9);
    }
}

TEST(ScanSimGeometry, DefaultStationSeesTheWholeBeltAtEveryHeightAndTallerIsHigherInTheImage) {
    const Station st = defaultStation();
    EXPECT_EQ(st.camera.width, 2048);
    EXPECT_EQ(st.camera.height, 512);
    EXPECT_DOUBLE_EQ(st.beltWidth, 1000.0);
    double lastRow = 1e9;
    for (double h = 0.0; h <= 800.0; h += 200.0) {
        for (const double x : {-500.0, 0.0, 500.0}) {
            const auto img = st.camera.project({x, 0.0, h - st.chessboardHeight});
            ASSERT_TRUE(img.has_value());
            EXPECT_GE(img->u, 0.0);
            EXPECT_LE(img->u, st.camera.width - 1.0);
            EXPECT_GE(img->v, 0.0);
            EXPECT_LE(img->v, st.camera.height - 1.0);
        }
        const double row = st.camera.project({0.0, 0.0, h - st.chessboardHeight})->v;
        EXPECT_LT(row, lastRow);
        lastRow = row;
    }
}

TEST(ScanSimGeometry, DefaultStationLooksAtTheLaserPlaneAtThirtyDegrees) {
    const Station st = defaultStation();
    const Vec3 axis = st.camera.rotation.transposed() * Vec3{0.0, 0.0, 1.0};
    const double toPlane = radToDeg(std::asin(std::abs(dot(axis, normalized(st.laser.normal)))));
    EXPECT_NEAR(toPlane, 30.0, 1e-9);
    EXPECT_LT(st.camera.centreInBoard().y, 0.0); // upstream of the line
}

} // namespace
