// The station: camera (pinhole with radial-tangential distortion, pose in the board frame),
// laser fan (plane and source point), belt. Conventions in Docs/geometry.md.
#pragma once

#include "ScanSim/Vec.h"

#include <array>
#include <cstdint>
#include <optional>

namespace ScanSim {

// Camera pixel formats, by their GenICam codes.
enum class PixelFormat : uint32_t { Mono8 = 0x1080001, Mono4p = 0x1040039 };

struct LensModel {
    double fx = 1000.0;
    double fy = 1000.0;
    double cx = 0.0;
    double cy = 0.0;
    // k1, k2, p1, p2, k3
    std::array<double, 5> distortion{0.0, 0.0, 0.0, 0.0, 0.0};
};

struct ImagePoint {
    double u = 0.0; // column, pixel centres at integers
    double v = 0.0; // row, 0 at the top
};

struct Camera {
    LensModel lens;
    Mat3 rotation; // board -> camera: p_cam = rotation * p_board + translation
    Vec3 translation;
    int width = 2048;
    int height = 512;
    PixelFormat pixelFormat = PixelFormat::Mono8;

    Vec3 toCamera(const Vec3& board) const { return rotation * board + translation; }
    Vec3 toBoard(const Vec3& cam) const { return rotation.transposed() * (cam - translation); }
    Vec3 centreInBoard() const { return toBoard({0.0, 0.0, 0.0}); }

    // Board point to image; nothing for a point at or behind the camera.
    std::optional<ImagePoint> project(const Vec3& board) const;
    // Normalised, undistorted camera coordinates (x/z, y/z) of an image point.
    std::array<double, 2> undistort(const ImagePoint& p) const;
    // Unit direction, in the board frame, of the ray from the camera centre through p.
    Vec3 rayDirection(const ImagePoint& p) const;
    // The nine values of InstriCamParams and the six of ExtriCamParams.
    std::array<double, 9> intrinsicsArray() const;
    std::array<double, 6> extrinsicsArray() const;
};

// Laser fan in the board frame: the plane normal . p = offset, and the fan's apex (a point of
// the plane) from which only directly seen surfaces are lit.
struct Laser {
    Vec3 normal{0.0, 1.0, 0.0};
    double offset = 0.0;
    Vec3 source{0.0, 0.0, 1900.0};
};

struct Station {
    Camera camera;
    Laser laser;
    double beltWidth = 1000.0;      // belt centred on X = 0
    double chessboardHeight = 5.0;  // board origin this far above the belt
    double planeHeightFactor = 1.0; // written as PlaneHeightFactor; the geometry itself is exact
    double maxHeight = 800.0;       // tallest object the station is built for
    // Thickness of the laser sheet along the belt at the belt, full width at half maximum, mm. A
    // real sheet is a Gaussian about 0.5 to 1.5 mm wide there; 0 is an ideal plane.
    double laserSheetFwhm = 0.0;

    double beltZ() const { return -chessboardHeight; } // belt surface in board Z
    double heightAboveBelt(const Vec3& board) const { return board.z + chessboardHeight; }
    // PlaneA, PlaneB, PlaneC: the laser plane in camera coordinates, A x + B y + C z = 1.
    std::array<double, 3> laserPlaneInCamera() const;
    // Image point to the board point of the laser plane that it shows; nothing if the ray
    // misses the plane in front of the camera.
    std::optional<Vec3> backProject(const ImagePoint& p) const;
};

// High-level description of a station from which the camera is derived.
struct StationDesign {
    double beltWidth = 1000.0;
    double maxHeight = 800.0;
    double chessboardHeight = 5.0;
    double triangulationDeg = 30.0; // angle between the optical axis and the laser plane
    double cameraDistance = 2000.0; // from the camera to the aim point
    double aimHeight = 400.0;       // height above the belt of the aim point on the laser line
    bool cameraUpstream = true;     // camera at negative Y, looking towards +Y
    double laserSourceHeight = 1900.0;
    double laserTiltDeg = 0.0; // plane turned about X; 0 = vertical plane Y = 0
    int imageWidth = 2048;
    int imageHeight = 512;
    double acrossMargin = 1.10; // fraction of the belt width that fills the image columns
    // Height above the belt at which acrossMargin x beltWidth fills the columns; none: maxHeight.
    std::optional<double> columnsFillHeight;
    double heightFill = 0.90; // fraction of the rows that heights 0..maxHeight fill
    std::array<double, 5> distortion{-0.03, 0.005, 0.0002, -0.0001, 0.0};
    PixelFormat pixelFormat = PixelFormat::Mono8;
};

Station designStation(const StationDesign& design);

// The laser fan's in-plane unit vectors: `across` along board X, `down` pointing down.
struct FanFrame {
    Vec3 across;
    Vec3 down;
};
FanFrame laserFanFrame(const Station& station);
// Half the fan's opening as a tangent about `down`: it covers the belt and a margin beyond it.
double laserFanHalfTangent(const Station& station);
// 1000 mm belt, heights 0..800 mm, 2048 x 512 camera at 30 degrees (Docs/geometry.md).
Station defaultStation();

} // namespace ScanSim
