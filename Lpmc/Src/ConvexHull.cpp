#include "ConvexHull.h"

#include <algorithm>

namespace lpmc {
namespace {

double cross(const Point2& o, const Point2& a, const Point2& b) {
    return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

} // namespace

size_t convexHull(Point2* p, size_t n, Point2* hull) {
    if (n == 0) {
        return 0;
    }
    std::sort(p, p + n,
              [](const Point2& a, const Point2& b) { return a.x < b.x || (a.x == b.x && a.y < b.y); });
    n = static_cast<size_t>(
        std::unique(p, p + n, [](const Point2& a, const Point2& b) { return a.x == b.x && a.y == b.y; }) - p);
    if (n == 1) {
        hull[0] = p[0];
        return 1;
    }
    size_t k = 0;
    for (size_t i = 0; i < n; ++i) { // lower chain
        while (k >= 2 && cross(hull[k - 2], hull[k - 1], p[i]) <= 0.0) {
            --k;
        }
        hull[k++] = p[i];
    }
    const size_t lower = k + 1;
    for (size_t i = n - 1; i > 0; --i) { // upper chain
        while (k >= lower && cross(hull[k - 2], hull[k - 1], p[i - 1]) <= 0.0) {
            --k;
        }
        hull[k++] = p[i - 1];
    }
    // The last vertex repeats the first; with all points equal only one remains.
    return k > 1 ? k - 1 : k;
}

} // namespace lpmc
