// Convex hull, minimum-area rectangle by rotating calipers (against a brute-force search), and
// the robust height of an object's top.
#include <cmath>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "ConvexHull.h"
#include "HeightStats.h"
#include "MinAreaRect.h"

namespace {

using namespace lpmc;

// `count` heights about `centre`, spread the way a laser line's noise spreads a flat surface.
void addLayer(CHeightStats& h, std::mt19937& rng, double centre, int count, double sigma = 0.3) {
    std::normal_distribution<double> noise(0.0, sigma);
    for (int i = 0; i < count; ++i) {
        h.add(static_cast<float>(centre + noise(rng)));
    }
}

std::vector<Point2> hullOf(std::vector<Point2> pts) {
    std::vector<Point2> hull(pts.size() + 1);
    hull.resize(convexHull(pts.data(), pts.size(), hull.data()));
    return hull;
}

TEST(LpmcGeometryTest, HullOfASquareWithInnerAndEdgePointsIsItsCorners) {
    const auto hull = hullOf({{0, 0}, {1, 1}, {2, 0}, {2, 2}, {0, 2}, {1, 0}, {2, 1}, {0.5, 1.5}, {0, 0}});
    ASSERT_EQ(hull.size(), 4u);
    double area = 0.0;
    for (size_t i = 0; i < hull.size(); ++i) {
        const Point2& a = hull[i];
        const Point2& b = hull[(i + 1) % hull.size()];
        area += a.x * b.y - b.x * a.y;
    }
    EXPECT_NEAR(area / 2, 4.0, 1e-12); // counter-clockwise: positive
}

TEST(LpmcGeometryTest, DegenerateSetsGiveShortHulls) {
    EXPECT_EQ(hullOf({}).size(), 0u);
    EXPECT_EQ(hullOf({{3, 3}, {3, 3}}).size(), 1u);
    EXPECT_EQ(hullOf({{0, 0}, {1, 1}, {2, 2}, {3, 3}}).size(), 2u);
    const auto line = hullOf({{0, 0}, {1, 1}, {3, 3}});
    const Rect2 r = minAreaRect(line.data(), line.size());
    EXPECT_NEAR(std::max(r.extentU, r.extentV), std::sqrt(18.0), 1e-12);
    EXPECT_NEAR(std::min(r.extentU, r.extentV), 0.0, 1e-12);
}

TEST(LpmcGeometryTest, CalipersFindTheSmallestRectangleThatBruteForceFinds) {
    std::mt19937 rng(17);
    std::uniform_real_distribution<double> d(-50.0, 50.0);
    for (int trial = 0; trial < 200; ++trial) {
        std::vector<Point2> pts(3 + rng() % 60);
        for (auto& p : pts) {
            p = {d(rng), 0.3 * d(rng)};
        }
        const auto hull = hullOf(pts);
        const Rect2 fast = minAreaRect(hull.data(), hull.size());
        double best = 1e300;
        for (size_t e = 0; e < hull.size(); ++e) {
            const Point2& a = hull[e];
            const Point2& b = hull[(e + 1) % hull.size()];
            const double len = std::hypot(b.x - a.x, b.y - a.y);
            const Rect2 r = enclosingRect(hull.data(), hull.size(), {(b.x - a.x) / len, (b.y - a.y) / len});
            best = std::min(best, r.extentU * r.extentV);
        }
        ASSERT_NEAR(fast.extentU * fast.extentV, best, 1e-9 * best) << "trial " << trial;
        // Every point lies inside the rectangle.
        for (const Point2& p : pts) {
            const double pu = (p.x - fast.centre.x) * fast.axisU.x + (p.y - fast.centre.y) * fast.axisU.y;
            const double pv = (p.x - fast.centre.x) * fast.axisV.x + (p.y - fast.centre.y) * fast.axisV.y;
            ASSERT_LE(std::fabs(pu), 0.5 * fast.extentU + 1e-9);
            ASSERT_LE(std::fabs(pv), 0.5 * fast.extentV + 1e-9);
        }
    }
}

TEST(LpmcGeometryTest, ARotatedRectangleIsRecovered) {
    const double yaw = 0.4, L = 300, W = 120;
    const Point2 u{std::sin(yaw), std::cos(yaw)}, v{std::cos(yaw), -std::sin(yaw)};
    std::vector<Point2> pts;
    for (double a = -0.5; a <= 0.5; a += 0.05) {
        for (double b = -0.5; b <= 0.5; b += 0.1) {
            pts.push_back({20 + a * L * u.x + b * W * v.x, -7 + a * L * u.y + b * W * v.y});
        }
    }
    const auto hull = hullOf(pts);
    const Rect2 r = minAreaRect(hull.data(), hull.size());
    const double len = std::max(r.extentU, r.extentV), wid = std::min(r.extentU, r.extentV);
    EXPECT_NEAR(len, L, 1e-9);
    EXPECT_NEAR(wid, W, 1e-9);
    EXPECT_NEAR(r.centre.x, 20, 1e-9);
    EXPECT_NEAR(r.centre.y, -7, 1e-9);
    const Point2 along = r.extentU > r.extentV ? r.axisU : r.axisV;
    EXPECT_NEAR(std::fabs(along.x * u.x + along.y * u.y), 1.0, 1e-12);
}

TEST(LpmcGeometryTest, TopHeightIgnoresSpikesAndSides) {
    CHeightStats h;
    ASSERT_TRUE(h.configure(1500.0));
    std::mt19937 rng(1);
    addLayer(h, rng, 250.0, 20000); // top surface
    for (int i = 0; i < 3000; ++i) {
        h.add(static_cast<float>(5.0 + 0.08 * i)); // a side face from 5 to 245 mm
    }
    for (int i = 0; i < 100; ++i) {
        h.add(900.0f); // spikes: 0.4 %
    }
    EXPECT_NEAR(h.topHeight(0.99, 3.0), 250.0, 0.05);
    EXPECT_NEAR(h.quantile(0.5), 250.0, 1.0);
    h.clear();
    EXPECT_EQ(h.count(), 0u);
    EXPECT_EQ(h.topHeight(0.99, 3.0), 0.0);
    h.add(5000.0f); // beyond the range: counted in the last bin
    h.add(-1.0f);   // below the belt: not counted
    EXPECT_EQ(h.count(), 1u);
}

TEST(LpmcGeometryTest, TopHeightLeavesOutAFewPerCentOfColumnsThatSitHighTogether) {
    CHeightStats h;
    ASSERT_TRUE(h.configure(1500.0));
    std::mt19937 rng(2);
    addLayer(h, rng, 220.0, 20000);     // top surface
    addLayer(h, rng, 225.0, 560);       // 2.7 % of columns 5 mm high
    ASSERT_GT(h.quantile(0.99), 224.0); // a high quantile lands among them
    EXPECT_NEAR(h.topHeight(0.99, 3.0), 220.0, 0.05);
}

TEST(LpmcGeometryTest, TopHeightKeepsTheQuantileWhenTheLayerAboveTheTopIsItselfDense) {
    // A small box's edges put 6 % of its points 2 mm high: a dense layer reaching above the
    // quantile, which stays the anchor, so that the band still holds the whole top.
    CHeightStats h;
    ASSERT_TRUE(h.configure(1500.0));
    std::mt19937 rng(3);
    addLayer(h, rng, 60.0, 9400);
    addLayer(h, rng, 62.2, 600, 0.03);
    EXPECT_NEAR(h.topHeight(0.99, 3.0), 60.0, 0.1);
}

TEST(LpmcGeometryTest, TopHeightOfATopWithFewPointsBesideTallSides) {
    CHeightStats h;
    ASSERT_TRUE(h.configure(1500.0));
    for (int i = 0; i < 600; ++i) {
        h.add(static_cast<float>(300.0 + 0.0005 * i)); // a small top: 3 % of the points
    }
    for (int i = 0; i < 19400; ++i) {
        h.add(static_cast<float>(5.0 + 0.015 * i)); // sides from 5 to 296 mm, no layer dense
    }
    EXPECT_NEAR(h.topHeight(0.99, 3.0), 300.15, 0.05);
}

TEST(LpmcGeometryTest, TopHeightOfAHandfulOfPoints) {
    CHeightStats h;
    ASSERT_TRUE(h.configure(1500.0));
    for (const float v : {120.1f, 120.2f, 120.3f, 120.2f, 120.1f}) {
        h.add(v);
    }
    EXPECT_NEAR(h.topHeight(0.99, 3.0), 120.2, 0.05);
}

TEST(LpmcGeometryTest, TopHeightOfAnEmptyHistogramIsZero) {
    CHeightStats h;
    EXPECT_EQ(h.topHeight(0.99, 3.0), 0.0); // never configured
    ASSERT_TRUE(h.configure(1500.0));
    EXPECT_EQ(h.count(), 0u);
    EXPECT_EQ(h.topHeight(0.99, 3.0), 0.0);
    EXPECT_EQ(h.quantile(0.5), 0.0);
}

} // namespace
