#include "CameraModel.h"

#include <cmath>

namespace lpmc {
namespace {

bool allFinite(const double* v, int n) {
    for (int i = 0; i < n; ++i) {
        if (!std::isfinite(v[i])) {
            return false;
        }
    }
    return true;
}

void distort(const CameraModel& m, double x, double y, double& xd, double& yd) {
    const auto& d = m.distortion;
    const double r2 = x * x + y * y;
    const double radial = 1.0 + r2 * (d[0] + r2 * (d[1] + r2 * d[4]));
    xd = x * radial + 2.0 * d[2] * x * y + d[3] * (r2 + 2.0 * x * x);
    yd = y * radial + d[2] * (r2 + 2.0 * y * y) + 2.0 * d[3] * x * y;
}

} // namespace

std::array<double, 9> rotationFromVector(double rx, double ry, double rz) {
    const double theta = std::sqrt(rx * rx + ry * ry + rz * rz);
    if (theta < 1e-15) {
        return {1, 0, 0, 0, 1, 0, 0, 0, 1};
    }
    const double kx = rx / theta, ky = ry / theta, kz = rz / theta;
    const double c = std::cos(theta), s = std::sin(theta), t = 1.0 - c;
    return {c + kx * kx * t,      kx * ky * t - kz * s, kx * kz * t + ky * s,
            ky * kx * t + kz * s, c + ky * ky * t,      ky * kz * t - kx * s,
            kz * kx * t - ky * s, kz * ky * t + kx * s, c + kz * kz * t};
}

int32_t loadCameraModel(const LpmcCameraCalib* calib, CameraModel& out) {
    if (calib == nullptr || calib->lens == nullptr || calib->plane == nullptr || calib->motion == nullptr ||
        calib->lens->intrinsics == nullptr || calib->lens->distortion == nullptr ||
        calib->lens->extrinsics == nullptr) {
        return LPMC_ERR_NULL_ARGUMENT;
    }
    CameraModel m;
    for (size_t i = 0; i < 9; ++i) {
        m.intrinsics[i] = calib->lens->intrinsics[i];
    }
    for (size_t i = 0; i < 5; ++i) {
        m.distortion[i] = calib->lens->distortion[i];
    }
    const double* e = calib->lens->extrinsics;
    const LpmcLightPlane& p = *calib->plane;
    m.plane = {p.PlaneA, p.PlaneB, p.PlaneC};
    // An absent factor (0) means no correction.
    m.heightFactor = p.PlaneHeightFactor == 0.0 ? 1.0 : p.PlaneHeightFactor;
    m.speedVx = calib->motion->SpeedVx;
    m.speedVy = calib->motion->SpeedVy;
    const double planeValues[4] = {p.PlaneA, p.PlaneB, p.PlaneC, p.PlaneHeightFactor};
    const double motionValues[2] = {m.speedVx, m.speedVy};
    if (!allFinite(m.intrinsics.data(), 9) || !allFinite(m.distortion.data(), 5) || !allFinite(e, 6) ||
        !allFinite(planeValues, 4) || !allFinite(motionValues, 2)) {
        return LPMC_ERR_CALIBRATION;
    }
    const auto& k = m.intrinsics;
    if (!(k[0] > 0.0) || !(k[4] > 0.0) || k[3] != 0.0 || k[6] != 0.0 || k[7] != 0.0 || k[8] <= 0.0) {
        return LPMC_ERR_CALIBRATION;
    }
    if (m.plane[0] == 0.0 && m.plane[1] == 0.0 && m.plane[2] == 0.0) {
        return LPMC_ERR_CALIBRATION;
    }
    // A camera matrix scaled by k[8] is the same camera.
    if (k[8] != 1.0) {
        for (double& v : m.intrinsics) {
            v /= k[8];
        }
    }
    m.rotation = rotationFromVector(e[0], e[1], e[2]);
    m.translation = {e[3], e[4], e[5]};
    out = m;
    return LPMC_OK;
}

Vec3 boardToCamera(const CameraModel& m, const Vec3& b) {
    const auto& r = m.rotation;
    return {r[0] * b.x + r[1] * b.y + r[2] * b.z + m.translation.x,
            r[3] * b.x + r[4] * b.y + r[5] * b.z + m.translation.y,
            r[6] * b.x + r[7] * b.y + r[8] * b.z + m.translation.z};
}

bool projectToPixel(const CameraModel& m, const Vec3& p, double& u, double& v) {
    if (!(p.z > 0.0)) {
        return false;
    }
    double xd, yd;
    distort(m, p.x / p.z, p.y / p.z, xd, yd);
    const auto& k = m.intrinsics;
    u = k[0] * xd + k[1] * yd + k[2];
    v = k[4] * yd + k[5];
    return std::isfinite(u) && std::isfinite(v);
}

bool pixelToNormalised(const CameraModel& m, double u, double v, double& xn, double& yn) {
    const auto& k = m.intrinsics;
    const double yd = (v - k[5]) / k[4];
    const double xd = (u - k[2] - k[1] * yd) / k[0];
    double x = xd, y = yd;
    const auto& d = m.distortion;
    // Fixed-point inversion of the distortion, then a check that it reprojects onto the pixel.
    for (int it = 0; it < 100; ++it) {
        const double r2 = x * x + y * y;
        const double radial = 1.0 + r2 * (d[0] + r2 * (d[1] + r2 * d[4]));
        const double dx = 2.0 * d[2] * x * y + d[3] * (r2 + 2.0 * x * x);
        const double dy = d[2] * (r2 + 2.0 * y * y) + 2.0 * d[3] * x * y;
        if (!(radial > 0.0)) {
            return false;
        }
        const double nx = (xd - dx) / radial, ny = (yd - dy) / radial;
        const double change = std::fabs(nx - x) + std::fabs(ny - y);
        x = nx;
        y = ny;
        if (change < 1e-14) {
            break;
        }
    }
    double cx, cy;
    distort(m, x, y, cx, cy);
    const double errU = (cx - xd) * k[0], errV = (cy - yd) * k[4];
    if (!(std::fabs(errU) < 1e-4 && std::fabs(errV) < 1e-4)) {
        return false;
    }
    xn = x;
    yn = y;
    return true;
}

bool pixelToBoard(const CameraModel& m, double u, double v, Vec3& board) {
    double xn, yn;
    if (!pixelToNormalised(m, u, v, xn, yn)) {
        return false;
    }
    const double denom = m.plane[0] * xn + m.plane[1] * yn + m.plane[2];
    if (!(denom > 0.0)) {
        return false; // the ray meets the plane behind the camera, or never
    }
    const double s = 1.0 / denom;
    const Vec3 c{xn * s - m.translation.x, yn * s - m.translation.y, s - m.translation.z};
    const auto& r = m.rotation; // board = R^T (cam - t)
    board = {r[0] * c.x + r[3] * c.y + r[6] * c.z, r[1] * c.x + r[4] * c.y + r[7] * c.z,
             r[2] * c.x + r[5] * c.y + r[8] * c.z};
    return std::isfinite(board.x) && std::isfinite(board.y) && std::isfinite(board.z);
}

} // namespace lpmc
