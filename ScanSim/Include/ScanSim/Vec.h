// Small vector and rotation helpers for the virtual station. Board frame: X across the belt,
// Y along travel, Z up (Docs/geometry.md).
#pragma once

#include <cmath>

namespace ScanSim {

struct Vec3 {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

inline Vec3 operator+(const Vec3& a, const Vec3& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vec3 operator-(const Vec3& a, const Vec3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec3 operator-(const Vec3& a) {
    return {-a.x, -a.y, -a.z};
}
inline Vec3 operator*(double s, const Vec3& a) {
    return {s * a.x, s * a.y, s * a.z};
}
inline Vec3 operator*(const Vec3& a, double s) {
    return s * a;
}
inline double dot(const Vec3& a, const Vec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vec3 cross(const Vec3& a, const Vec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double norm(const Vec3& a) {
    return std::sqrt(dot(a, a));
}
inline Vec3 normalized(const Vec3& a) {
    const double n = norm(a);
    return n > 0.0 ? (1.0 / n) * a : a;
}

// Row-major 3 x 3 matrix; rows are the images of the target frame's axes.
struct Mat3 {
    double m[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};

    static Mat3 fromRows(const Vec3& r0, const Vec3& r1, const Vec3& r2) {
        Mat3 r;
        const Vec3 rows[3] = {r0, r1, r2};
        for (int i = 0; i < 3; ++i) {
            r.m[i][0] = rows[i].x;
            r.m[i][1] = rows[i].y;
            r.m[i][2] = rows[i].z;
        }
        return r;
    }
    Vec3 row(int i) const { return {m[i][0], m[i][1], m[i][2]}; }
    Vec3 operator*(const Vec3& v) const { return {dot(row(0), v), dot(row(1), v), dot(row(2), v)}; }
    Mat3 transposed() const {
        Mat3 r;
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) {
                r.m[i][j] = m[j][i];
            }
        }
        return r;
    }
};

// Rotation vector (unit axis times angle in radians) to matrix, and back (Rodrigues).
Mat3 rotationFromVector(const Vec3& rvec);
Vec3 vectorFromRotation(const Mat3& r);

constexpr double kPi = 3.14159265358979323846;
inline double degToRad(double deg) {
    return deg * kPi / 180.0;
}
inline double radToDeg(double rad) {
    return rad * 180.0 / kPi;
}

} // namespace ScanSim
