// Convex hull of points in the plane (monotone chain).
#pragma once

#include <cstddef>

namespace lpmc {

struct Point2 {
    double x = 0.0, y = 0.0;
};

// Sorts `points` in place (dropping repeats) and writes the hull, counter-clockwise without repeating the
// first vertex and without collinear vertices, to `hull` (room for count + 1 points). Returns the number of
// hull vertices: 0 for no points, 1 or 2 for degenerate sets.
size_t convexHull(Point2* points, size_t count, Point2* hull);

} // namespace lpmc
