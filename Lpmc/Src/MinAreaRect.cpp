#include "MinAreaRect.h"

#include <cmath>
#include <limits>

namespace lpmc {

Rect2 enclosingRect(const Point2* hull, size_t n, Point2 u) {
    const Point2 v{-u.y, u.x};
    double minU = std::numeric_limits<double>::max(), maxU = -minU, minV = minU, maxV = -minU;
    for (size_t i = 0; i < n; ++i) {
        const double pu = hull[i].x * u.x + hull[i].y * u.y;
        const double pv = hull[i].x * v.x + hull[i].y * v.y;
        minU = std::fmin(minU, pu);
        maxU = std::fmax(maxU, pu);
        minV = std::fmin(minV, pv);
        maxV = std::fmax(maxV, pv);
    }
    Rect2 r;
    r.axisU = u;
    r.axisV = v;
    r.extentU = maxU - minU;
    r.extentV = maxV - minV;
    const double cu = 0.5 * (minU + maxU), cv = 0.5 * (minV + maxV);
    r.centre = {cu * u.x + cv * v.x, cu * u.y + cv * v.y};
    return r;
}

Rect2 minAreaRect(const Point2* hull, size_t n) {
    if (n == 0) {
        return Rect2{{0, 0}, {0, 1}, {-1, 0}, 0, 0};
    }
    if (n == 1) {
        return Rect2{hull[0], {0, 1}, {-1, 0}, 0, 0};
    }
    // Calipers: for each edge direction, the extreme vertices along it and its normal advance
    // monotonically around the hull, so all edges take O(n) together.
    auto dotAt = [&](size_t i, const Point2& d) { return hull[i % n].x * d.x + hull[i % n].y * d.y; };
    Rect2 best;
    double bestArea = std::numeric_limits<double>::max();
    size_t iMaxU = 1, iMaxV = 1, iMinU = 1;
    for (size_t e = 0; e < n; ++e) {
        const Point2& a = hull[e];
        const Point2& b = hull[(e + 1) % n];
        const double len = std::hypot(b.x - a.x, b.y - a.y);
        if (len <= 0.0) {
            continue;
        }
        const Point2 u{(b.x - a.x) / len, (b.y - a.y) / len};
        const Point2 v{-u.y, u.x}; // points into the hull (counter-clockwise order)
        if (e == 0) {
            iMaxU = iMaxV = iMinU = e + 1;
        }
        iMaxU = std::max(iMaxU, e + 1);
        while (dotAt(iMaxU + 1, u) >= dotAt(iMaxU, u) && iMaxU < e + n) {
            ++iMaxU;
        }
        iMaxV = std::max(iMaxV, iMaxU);
        while (dotAt(iMaxV + 1, v) >= dotAt(iMaxV, v) && iMaxV < e + n) {
            ++iMaxV;
        }
        iMinU = std::max(iMinU, iMaxV);
        while (dotAt(iMinU + 1, u) <= dotAt(iMinU, u) && iMinU < e + n) {
            ++iMinU;
        }
        const double base = a.x * u.x + a.y * u.y;
        const double minU = std::fmin(base, dotAt(iMinU, u));
        const double maxU = dotAt(iMaxU, u);
        const double minV = a.x * v.x + a.y * v.y;
        const double maxV = dotAt(iMaxV, v);
        const double area = (maxU - minU) * (maxV - minV);
        if (area < bestArea) {
            bestArea = area;
            best.axisU = u;
            best.axisV = v;
            best.extentU = maxU - minU;
            best.extentV = maxV - minV;
            const double cu = 0.5 * (minU + maxU), cv = 0.5 * (minV + maxV);
            best.centre = {cu * u.x + cv * v.x, cu * u.y + cv * v.y};
        }
    }
    return best;
}

} // namespace lpmc
