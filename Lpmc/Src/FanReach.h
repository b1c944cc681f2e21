// Where the laser fan reaches across the belt at each height. An object end that shows nothing
// beyond it may be cut by the fan's edge, or its own laser shadow may fall past the belt where
// nothing is lit; knowing the fan's apex and opening tells the two apart.
#pragma once

#include "CameraModel.h"
#include "Config.h"

namespace lpmc {

class CFanReach {
public:
    // The fan of `own` in the laser plane of `model`; unknown (nothing is cleared) when `own`
    // states no fan or the plane runs along the belt.
    void configure(const CameraModel& model, const OwnSettings& own, double chessboardHeight);
    bool known() const { return known_; }

    // An object end at board X `x` and height `h` above the belt, on the side of larger X
    // (`rightSide`) or smaller X, with nothing seen beyond it: true when the fan reaches well
    // beyond it at that height and its shadow lands past `beltEdge` (the outermost belt seen on
    // that side), so that nothing could have shown there. Then the end is the object's own.
    bool shadowFallsPast(double x, double h, bool rightSide, double beltEdge) const;

    // A stretch without line across the belt from an object point at board X `xNear`, height
    // `hNear`, to one at `xFar`, `hFar`, the near one closer to the apex: true when the fan's ray
    // past the near point stays above the belt's level all the way to the far point and passes
    // below the far point there. The near surface's laser shadow then covers the stretch, and the
    // far surface is lit above it: the belt of a narrow gap between two packages lies unlit there.
    bool shadowCovers(double xNear, double hNear, double xFar, double hFar) const;

private:
    Vec3 boardPoint(double x, double h) const;

    bool known_ = false;
    Vec3 normal_{}; // laser plane in board coordinates: normal . p = offset
    double offset_ = 0.0;
    Vec3 across_{}, down_{}; // unit vectors in the plane: along board X, and downwards
    Vec3 apex_{};
    double halfTangent_ = 0.0;
    double heightFactor_ = 1.0, chessboardHeight_ = 0.0;
};

} // namespace lpmc
