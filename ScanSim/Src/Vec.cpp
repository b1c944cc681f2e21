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
    const Vec3 skew{r.m[2][1] - r.m[1][2], r.m[0][2] - r.m[2][0], r.m[1][0] - r.m[0][1]};
    // skew = 2 sin(angle) axis, trace = 1 + 2 cos(angle): atan2 keeps the angle precise everywhere.
    const double angle = std::atan2(0.5 * norm(skew), 0.5 * (trace - 1.0));
    if (angle < 1e-9) {
        return 0.5 * skew;
    }
    if (kPi - angle > 1e-3) {
        return (angle / (2.0 * std::sin(angle))) * skew;
    }
    // Near a half turn the skew part vanishes: take the axis from the symmetric part,
    // (R + R^T) / 2 - cos(angle) I = (1 - cos(angle)) k k^T, from its largest diagonal element;
    // the skew part still gives the sign.
    const double c = std::cos(angle);
    double b[3][3];
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            b[i][j] = (0.5 * (r.m[i][j] + r.m[j][i]) - (i == j ? c : 0.0)) / (1.0 - c);
        }
    }
    int i = 0;
    for (int j = 1; j < 3; ++j) {
        if (b[j][j] > b[i][i]) {
            i = j;
        }
    }
    double k[3];
    k[i] = std::sqrt(std::max(0.0, b[i][i]));
    for (int j = 0; j < 3; ++j) {
        if (j != i) {
            k[j] = b[i][j] / k[i];
        }
    }
    Vec3 axis = normalized(Vec3{k[0], k[1], k[2]});
    if (dot(axis, skew) < 0.0) {
        axis = -axis;
    }
    return angle * axis;
}

} // namespace ScanSim
