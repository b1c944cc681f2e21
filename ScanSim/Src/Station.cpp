#include "ScanSim/Station.h"

#include <algorithm>
#include <cmath>

namespace ScanSim {
namespace {

// Normalised undistorted (a, b) to normalised distorted coordinates.
std::array<double, 2> distort(const std::array<double, 5>& k, double a, double b) {
    const double r2 = a * a + b * b;
    const double radial = 1.0 + r2 * (k[0] + r2 * (k[1] + r2 * k[4]));
    return {a * radial + 2.0 * k[2] * a * b + k[3] * (r2 + 2.0 * a * a),
            b * radial + k[2] * (r2 + 2.0 * b * b) + 2.0 * k[3] * a * b};
}

} // namespace

std::optional<ImagePoint> Camera::project(const Vec3& board) const {
    const Vec3 q = toCamera(board);
    if (q.z <= 1e-9) {
        return std::nullopt;
    }
    const auto d = distort(lens.distortion, q.x / q.z, q.y / q.z);
    return ImagePoint{lens.fx * d[0] + lens.cx, lens.fy * d[1] + lens.cy};
}

std::array<double, 2> Camera::undistort(const ImagePoint& p) const {
    const double ad = (p.u - lens.cx) / lens.fx;
    const double bd = (p.v - lens.cy) / lens.fy;
    double a = ad;
    double b = bd;
    // Fixed-point iteration; it converges fast for the mild distortion of a measuring lens.
    for (int i = 0; i < 50; ++i) {
        const auto d = distort(lens.distortion, a, b);
        const double ea = d[0] - ad;
        const double eb = d[1] - bd;
        a -= ea;
        b -= eb;
        if (std::abs(ea) + std::abs(eb) < 1e-15) {
            break;
        }
    }
    return {a, b};
}

Vec3 Camera::rayDirection(const ImagePoint& p) const {
    const auto n = undistort(p);
    return normalized(rotation.transposed() * Vec3{n[0], n[1], 1.0});
}

std::array<double, 9> Camera::intrinsicsArray() const {
    return {lens.fx, 0.0, lens.cx, 0.0, lens.fy, lens.cy, 0.0, 0.0, 1.0};
}

std::array<double, 6> Camera::extrinsicsArray() const {
    const Vec3 r = vectorFromRotation(rotation);
    return {r.x, r.y, r.z, translation.x, translation.y, translation.z};
}

std::array<double, 3> Station::laserPlaneInCamera() const {
    const Vec3 m = camera.rotation * laser.normal;
    const double denom = laser.offset + dot(m, camera.translation);
    return {m.x / denom, m.y / denom, m.z / denom};
}

std::optional<Vec3> Station::backProject(const ImagePoint& p) const {
    const auto n = camera.undistort(p);
    const auto plane = laserPlaneInCamera();
    const double denom = plane[0] * n[0] + plane[1] * n[1] + plane[2];
    if (denom <= 0.0) {
        return std::nullopt;
    }
    const double s = 1.0 / denom;
    return camera.toBoard(Vec3{s * n[0], s * n[1], s});
}

FanFrame laserFanFrame(const Station& station) {
    const Vec3 n = normalized(station.laser.normal);
    FanFrame f;
    f.across = normalized(Vec3{1, 0, 0} - n.x * n);
    f.down = normalized(cross(n, f.across));
    if (f.down.z > 0.0) {
        f.down = -f.down;
    }
    return f;
}

double laserFanHalfTangent(const Station& station) {
    const FanFrame f = laserFanFrame(station);
    const double drop = (station.laser.source.z - station.beltZ()) / std::max(-f.down.z, 1e-6);
    return (0.6 * station.beltWidth + std::abs(station.laser.source.x)) / drop;
}

Station designStation(const StationDesign& d) {
    Station st;
    st.beltWidth = d.beltWidth;
    st.maxHeight = d.maxHeight;
    st.chessboardHeight = d.chessboardHeight;

    // The laser plane contains the X axis and the board origin; tilted about X by laserTiltDeg.
    const double tilt = degToRad(d.laserTiltDeg);
    const Vec3 normal{0.0, std::cos(tilt), -std::sin(tilt)};
    const Vec3 up{0.0, std::sin(tilt), std::cos(tilt)};
    st.laser.normal = normal;
    st.laser.offset = 0.0;
    const auto onPlaneAtHeight = [&](double heightAboveBelt) {
        return ((heightAboveBelt - d.chessboardHeight) / up.z) * up;
    };
    st.laser.source = onPlaneAtHeight(d.laserSourceHeight);

    // Optical axis at the triangulation angle to the laser plane, in the Y-Z plane.
    const double alpha = degToRad(d.triangulationDeg);
    const double side = d.cameraUpstream ? 1.0 : -1.0;
    const Vec3 zc = normalized(-std::cos(alpha) * up + side * std::sin(alpha) * normal);
    const Vec3 xc{side, 0.0, 0.0};
    const Vec3 yc = cross(zc, xc);
    const Vec3 aim = onPlaneAtHeight(d.aimHeight);
    const Vec3 centre = aim - d.cameraDistance * zc;
    Camera& cam = st.camera;
    cam.rotation = Mat3::fromRows(xc, yc, zc);
    cam.translation = -(cam.rotation * centre);
    cam.width = d.imageWidth;
    cam.height = d.imageHeight;
    cam.pixelFormat = d.pixelFormat;

    // Columns: the belt width plus the margin fills the image at the fill height (by default the
    // top of the height range).
    const double fillHeight = d.columnsFillHeight.value_or(d.maxHeight);
    const Vec3 topCorner = onPlaneAtHeight(fillHeight) + Vec3{d.acrossMargin * d.beltWidth / 2.0, 0, 0};
    const Vec3 qc = cam.toCamera(topCorner);
    cam.lens.fx = (d.imageWidth / 2.0) / std::abs(qc.x / qc.z);
    cam.lens.cx = (d.imageWidth - 1) / 2.0;
    // Rows: heights 0..maxHeight on the line's centre fill heightFill of the image.
    const Vec3 q0 = cam.toCamera(onPlaneAtHeight(0.0));
    const Vec3 q1 = cam.toCamera(onPlaneAtHeight(d.maxHeight));
    const double n0 = q0.y / q0.z;
    const double n1 = q1.y / q1.z;
    cam.lens.fy = d.heightFill * d.imageHeight / std::abs(n0 - n1);
    cam.lens.cy = (d.imageHeight - 1) / 2.0 - cam.lens.fy * (n0 + n1) / 2.0;
    cam.lens.distortion = d.distortion;
    return st;
}

Station defaultStation() {
    return designStation(StationDesign{});
}

} // namespace ScanSim
