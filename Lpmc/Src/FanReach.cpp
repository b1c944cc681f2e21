#include "FanReach.h"

#include <cmath>

namespace lpmc {
namespace {

// How far the fan must reach beyond an end, at its height, to rule out its edge.
constexpr double kFanMargin = 10.0; // mm
// Belt bins and the end's sub-column place: a shadow landing this close inside the outermost
// belt seen still counts as past it.
constexpr double kBeltTolerance = 3.0; // mm

double dot(const Vec3& a, const Vec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

Vec3 scaled(const Vec3& a, double s) {
    return {a.x * s, a.y * s, a.z * s};
}

Vec3 minus(const Vec3& a, const Vec3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

Vec3 cross(const Vec3& a, const Vec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

Vec3 unit(const Vec3& a) {
    const double n = std::sqrt(dot(a, a));
    return n > 0.0 ? scaled(a, 1.0 / n) : a;
}

} // namespace

void CFanReach::configure(const CameraModel& m, const OwnSettings& own, double chessboardHeight) {
    known_ = false;
    if (!own.fanKnown()) {
        return;
    }
    // p_cam = R p_board + t, so plane . (R p + t) = 1 gives (R^T plane) . p = 1 - plane . t.
    const auto& r = m.rotation;
    const auto& p = m.plane;
    const Vec3 n{r[0] * p[0] + r[3] * p[1] + r[6] * p[2], r[1] * p[0] + r[4] * p[1] + r[7] * p[2],
                 r[2] * p[0] + r[5] * p[1] + r[8] * p[2]};
    const double length = std::sqrt(dot(n, n));
    if (!(length > 0.0)) {
        return;
    }
    normal_ = scaled(n, 1.0 / length);
    offset_ = (1.0 - (p[0] * m.translation.x + p[1] * m.translation.y + p[2] * m.translation.z)) / length;
    // A plane nearly along the belt has no across direction to speak of.
    if (std::fabs(normal_.y) < 0.5) {
        return;
    }
    across_ = unit(minus(Vec3{1.0, 0.0, 0.0}, scaled(normal_, normal_.x)));
    down_ = unit(cross(normal_, across_));
    if (down_.z > 0.0) {
        down_ = scaled(down_, -1.0);
    }
    heightFactor_ = m.heightFactor;
    chessboardHeight_ = chessboardHeight;
    apex_ = boardPoint(own.fanApexX, own.fanApexHeight);
    halfTangent_ = std::tan(0.5 * own.fanAngleDeg * 3.14159265358979323846 / 180.0);
    known_ = true;
}

Vec3 CFanReach::boardPoint(double x, double h) const {
    const double z = h / heightFactor_ - chessboardHeight_;
    return {x, (offset_ - normal_.x * x - normal_.z * z) / normal_.y, z};
}

bool CFanReach::shadowFallsPast(double x, double h, bool rightSide, double beltEdge) const {
    if (!known_) {
        return false;
    }
    const Vec3 end = boardPoint(x, h);
    const Vec3 v = minus(end, apex_);
    const double depth = dot(v, down_), side = dot(v, across_);
    if (depth <= 0.0) {
        return false; // at or above the apex: not lit by this fan
    }
    const double reach = depth * halfTangent_;
    const double beyond = rightSide ? reach - side : reach + side;
    if (beyond < kFanMargin) {
        return false; // the fan's own edge may have cut the object here
    }
    // The ray from the apex past the end goes on down to the belt's level.
    const double beltZ = -chessboardHeight_;
    if (v.z >= 0.0) {
        return false;
    }
    const double landX = apex_.x + (beltZ - apex_.z) / v.z * v.x;
    return rightSide ? landX >= beltEdge - kBeltTolerance : landX <= beltEdge + kBeltTolerance;
}

bool CFanReach::shadowCovers(double xNear, double hNear, double xFar, double hFar) const {
    // mm: the far surface may lie this far below the ray, where its edge meets it
    constexpr double kRayTolerance = 2.0;
    if (!known_ || (xFar - xNear) * (xNear - apex_.x) <= 0.0) {
        return false; // the apex isn't on the near side: nothing there casts a shadow over it
    }
    const Vec3 nearPoint = boardPoint(xNear, hNear), farPoint = boardPoint(xFar, hFar);
    const Vec3 v = minus(nearPoint, apex_);
    if (v.z >= 0.0 || std::fabs(v.x) < 1e-9) {
        return false;
    }
    const double t = (xFar - apex_.x) / v.x;
    const double rayZ = apex_.z + t * v.z;
    const double beltZ = -chessboardHeight_;
    const double tolerance = kRayTolerance / heightFactor_;
    return rayZ >= beltZ - tolerance && farPoint.z >= rayZ - tolerance;
}

} // namespace lpmc
