// Minimum-area enclosing rectangle of a convex polygon by rotating calipers: one side of the
// best rectangle lies on an edge of the hull.
#pragma once

#include <cstddef>

#include "ConvexHull.h"

namespace lpmc {

struct Rect2 {
    Point2 centre;
    Point2 axisU;         // unit direction of the first side
    Point2 axisV;         // axisU turned by +90 degrees
    double extentU = 0.0; // side length along axisU
    double extentV = 0.0; // side length along axisV
};

// `hull` counter-clockwise as convexHull gives it. Degenerate hulls (1 or 2 vertices) give a
// rectangle of zero width along their direction.
Rect2 minAreaRect(const Point2* hull, size_t count);

// The rectangle with sides along `axisU` and its normal that encloses the hull.
Rect2 enclosingRect(const Point2* hull, size_t count, Point2 axisU);

} // namespace lpmc
