// One camera's calibration: pinhole with radial-tangential distortion, its pose over the
// calibration board and the laser plane, all in the forms the calibration files carry.
#pragma once

#include <array>
#include <cstdint>

#include "Lpmc.h"

namespace lpmc {

struct Vec3 {
    double x = 0.0, y = 0.0, z = 0.0;
};

struct CameraModel {
    std::array<double, 9> intrinsics{}; // camera matrix row by row
    std::array<double, 5> distortion{}; // k1, k2, p1, p2, k3
    std::array<double, 9> rotation{};   // board to camera, row major
    Vec3 translation{};                 // board to camera, mm
    std::array<double, 3> plane{};      // a x + b y + c z = 1 in camera coordinates
    double heightFactor = 1.0;
    double speedVx = 0.0, speedVy = 0.0; // mm per timestamp unit
};

// Copies and checks one camera's calibration. Returns LPMC_OK, LPMC_ERR_NULL_ARGUMENT for a
// missing block, or LPMC_ERR_CALIBRATION for values the library can't work with (a camera
// matrix without positive focal lengths, a zero laser plane, anything not finite).
int32_t loadCameraModel(const LpmcCameraCalib* calib, CameraModel& out);

// Rotation matrix (row major) of a rotation vector: axis times angle in radians.
std::array<double, 9> rotationFromVector(double rx, double ry, double rz);

// Pixel of a point in camera coordinates (z > 0), distortion included.
bool projectToPixel(const CameraModel& m, const Vec3& pCam, double& u, double& v);

// Normalised undistorted image coordinates of pixel (u, v); false when the inversion of the
// distortion doesn't converge to the pixel.
bool pixelToNormalised(const CameraModel& m, double u, double v, double& xn, double& yn);

// Board coordinates of the laser-plane point seen at pixel (u, v); false when the ray misses
// the plane in front of the camera.
bool pixelToBoard(const CameraModel& m, double u, double v, Vec3& board);

// Camera coordinates of a board point.
Vec3 boardToCamera(const CameraModel& m, const Vec3& board);

} // namespace lpmc
