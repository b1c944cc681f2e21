// The camera model and the per-pixel triangulation table: projection and back-projection agree,
// the table matches the exact intersection between its rows, and calibrations the library can't
// work with are refused.
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "CameraModel.h"
#include "LpmcBoxScan.h"
#include "TriangulationTable.h"

namespace {

using namespace lpmc;

struct Fixture {
    ScanSim::Station station = lpmctest::testStation();
    std::unique_ptr<lpmctest::Calibration> cal = lpmctest::calibrationOf(station, 0.0, 0.5);
    CameraModel model;
    Fixture() { EXPECT_EQ(loadCameraModel(&cal->calib, model), LPMC_OK); }
};

TEST(LpmcTriangulationTest, RotationVectorGivesTheRotationMatrix) {
    const double half = 3.14159265358979323846 / 2.0;
    const auto r = rotationFromVector(0.0, 0.0, half); // 90 degrees about z: x -> y
    EXPECT_NEAR(r[0], 0.0, 1e-12);
    EXPECT_NEAR(r[3], 1.0, 1e-12);
    EXPECT_NEAR(r[1], -1.0, 1e-12);
    EXPECT_NEAR(r[8], 1.0, 1e-12);
    const auto id = rotationFromVector(0.0, 0.0, 0.0);
    EXPECT_EQ(id[0], 1.0);
    EXPECT_EQ(id[4], 1.0);
    EXPECT_EQ(id[8], 1.0);
}

TEST(LpmcTriangulationTest, BackProjectionInvertsTheStationsProjection) {
    Fixture f;
    for (double x : {-450.0, -100.0, 0.0, 230.0, 480.0}) {
        for (double h : {0.0, 55.5, 400.0, 780.0}) {
            const double z = h - f.station.chessboardHeight;
            const auto pixel = f.station.camera.project(ScanSim::Vec3{x, 0.0, z});
            ASSERT_TRUE(pixel.has_value());
            const double u = pixel->u, v = pixel->v;
            Vec3 b;
            ASSERT_TRUE(pixelToBoard(f.model, u, v, b));
            EXPECT_NEAR(b.x, x, 1e-6);
            EXPECT_NEAR(b.y, 0.0, 1e-6);
            EXPECT_NEAR(b.z, z, 1e-6);
            double u2, v2;
            ASSERT_TRUE(projectToPixel(f.model, boardToCamera(f.model, b), u2, v2));
            EXPECT_NEAR(u2, u, 1e-6);
            EXPECT_NEAR(v2, v, 1e-6);
        }
    }
}

TEST(LpmcTriangulationTest, TheTableMatchesTheExactIntersectionBetweenRows) {
    Fixture f;
    CTriangulationTable table;
    const int w = f.station.camera.width, h = f.station.camera.height;
    ASSERT_EQ(table.build(f.model, w, h), int64_t{w} * h);
    double worst = 0.0;
    for (int c = 0; c < w; c += 37) {
        for (double row = 0.0; row <= h - 1; row += 0.37) {
            TablePoint t;
            Vec3 b;
            ASSERT_TRUE(table.lookup(c, static_cast<float>(row), t));
            ASSERT_TRUE(pixelToBoard(f.model, c, static_cast<float>(row), b));
            worst = std::max({worst, std::fabs(t.x - b.x), std::fabs(t.y - b.y), std::fabs(t.z - b.z)});
        }
    }
    EXPECT_LT(worst, 0.01); // mm, over the whole image
    TablePoint t;
    EXPECT_FALSE(table.lookup(5, -0.5f, t));
    EXPECT_FALSE(table.lookup(5, static_cast<float>(h) - 0.5f, t));
    EXPECT_TRUE(table.lookup(5, static_cast<float>(h - 1), t));
}

TEST(LpmcTriangulationTest, PixelsWhoseRayMissesThePlaneHaveNoPoint) {
    Fixture f;
    // A plane through the board origin tilted so that it passes the camera: the rays of the upper
    // rows meet it behind the camera.
    f.cal->plane = {0.0, -1.0 / 1500.0, 0.0, 1.0};
    CameraModel m;
    ASSERT_EQ(loadCameraModel(&f.cal->calib, m), LPMC_OK);
    CTriangulationTable table;
    const int64_t valid = table.build(m, f.station.camera.width, f.station.camera.height);
    EXPECT_GT(valid, 0);
    EXPECT_LT(valid, int64_t{f.station.camera.width} * f.station.camera.height);
    TablePoint t;
    int missing = 0;
    for (int r = 0; r < f.station.camera.height; ++r) {
        missing += table.lookup(100, static_cast<float>(r), t) ? 0 : 1;
    }
    EXPECT_GT(missing, 0);
}

TEST(LpmcTriangulationTest, RefusesCalibrationsItCantWorkWith) {
    Fixture f;
    CameraModel m;
    auto intr = f.cal->intrinsics;
    f.cal->intrinsics.fill(0.0);
    EXPECT_EQ(loadCameraModel(&f.cal->calib, m), LPMC_ERR_CALIBRATION);
    f.cal->intrinsics = intr;
    f.cal->intrinsics[4] = -5.0;
    EXPECT_EQ(loadCameraModel(&f.cal->calib, m), LPMC_ERR_CALIBRATION);
    f.cal->intrinsics = intr;
    f.cal->intrinsics[8] = 0.0;
    EXPECT_EQ(loadCameraModel(&f.cal->calib, m), LPMC_ERR_CALIBRATION);
    f.cal->intrinsics = intr;
    const LpmcLightPlane plane = f.cal->plane;
    f.cal->plane = {0.0, 0.0, 0.0, 1.0};
    EXPECT_EQ(loadCameraModel(&f.cal->calib, m), LPMC_ERR_CALIBRATION);
    f.cal->plane = plane;
    f.cal->extrinsics[3] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(loadCameraModel(&f.cal->calib, m), LPMC_ERR_CALIBRATION);
}

TEST(LpmcTriangulationTest, MissingBlocksAreNullArguments) {
    Fixture f;
    CameraModel m;
    EXPECT_EQ(loadCameraModel(nullptr, m), LPMC_ERR_NULL_ARGUMENT);
    f.cal->lens.distortion = nullptr;
    EXPECT_EQ(loadCameraModel(&f.cal->calib, m), LPMC_ERR_NULL_ARGUMENT);
    f.cal->lens.distortion = f.cal->distortion.data();
    f.cal->calib.motion = nullptr;
    EXPECT_EQ(loadCameraModel(&f.cal->calib, m), LPMC_ERR_NULL_ARGUMENT);
}

TEST(LpmcTriangulationTest, AnAbsentHeightFactorMeansNoCorrectionAndAScaledMatrixIsTheSameCamera) {
    Fixture f;
    f.cal->plane.PlaneHeightFactor = 0.0;
    CameraModel m;
    ASSERT_EQ(loadCameraModel(&f.cal->calib, m), LPMC_OK);
    EXPECT_EQ(m.heightFactor, 1.0);
    for (double& v : f.cal->intrinsics) {
        v *= 2.0;
    }
    ASSERT_EQ(loadCameraModel(&f.cal->calib, m), LPMC_OK);
    EXPECT_NEAR(m.intrinsics[0], f.model.intrinsics[0], 1e-9);
    EXPECT_NEAR(m.intrinsics[8], 1.0, 1e-12);
}

} // namespace
