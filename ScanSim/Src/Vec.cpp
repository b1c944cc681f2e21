#include "ScanSim/Vec.h"

#include <algorithm>

namespace ScanSim {

Mat3 rotationFromVector(const Vec3& rvec) {
    const double angle = norm(rvec);
    if (angle < 1e-15) {
        return Mat3{};
    }
    const Vec3 k = (1.0 / angle) * rvec;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    const double v = 1.0 - c;
    Mat3 r;
    r.m[0][0] = c + k.x * k.x * v;
    r.m[0][1] = k.x * k.y * v - k.z * s;
    r.m[0][2] = k.x * k.z * v + k.y * s;
    r.m[1][0] = k.y * k.x * v + k.z * s;
    r.m[1][1] = c + k.y * k.y * v;
    r.m[1][2] = k.y * k.z * v - k.x * s;
    r.m[2][0] = k.z * k.x * v - k.y * s;
    r.m[2][1] = k.z * k.y * v + k.x * s;
    r.m[2][2] = c + k.z * k.z * v;
    return r;
}

Vec3 vectorFromRotation(const Mat3& r) {
    const double trace = r.m[0][0] + r.m[1][1] + r.m[2][2];
    const double angle = std::acos(std::clamp((trace - 1.0) / 2.0, -1.0, 1.0));
    const Vec3 skew{r.m[2][1] - r.m[1][2], r.m[0][2] - r.m[2][0], r.m[1][0] - r.m[0][1]};
    if (angle < 1e-9) {
        return 0.5 * skew;
    }
    if (kPi - angle > 1e-4) {
        return (angle / (2.0 * std::sin(angle))) * skew;
    }
    // Near a half turn the skew part vanishes: take the axis from the symmetric part,
    // R = 2 k k^T - I, choosing the largest diagonal for precision and the sign from the skew.
    int i = 0;
    for (int j = 1; j < 3; ++j) {
        if (r.m[j][j] > r.m[i][i]) {
            i = j;
        }
    }
    double k[3];
    k[i] = std::sqrt(std::max(0.0, (r.m[i][i] + 1.0) / 2.0));
    for (int j = 0; j < 3; ++j) {
        if (j != i) {
            k[j] = (r.m[i][j] + r.m[j][i]) / (4.0 * k[i]);
        }
    }
    Vec3 axis = normalized(Vec3{k[0], k[1], k[2]});
    if (dot(axis, skew) < 0.0) {
        axis = -axis;
    }
    return angle * axis;
}

} // namespace ScanSim
