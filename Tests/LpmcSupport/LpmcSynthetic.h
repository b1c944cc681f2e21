// A small synthetic laser station for the sheet-of-light library's tests and benchmarks: a camera
// upstream of a vertical laser plane, boxes with flat tops moving along +Y, rendered as line
// rows per column (the camera's line form) or as Mono8 stripes. Geometry of Docs/geometry.md.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "Lpmc.h"

namespace lpmctest {

struct StationDesign {
    int32_t width = 512;
    int32_t height = 128;
    double beltWidth = 1000.0;
    double maxHeight = 800.0;
    double triangulationDeg = 30.0;
    double distance = 2000.0; // camera to the aim point
    double aimHeight = 400.0; // above the belt
    double chessboardHeight = 5.0;
    std::array<double, 5> distortion{-0.03, 0.005, 0.0002, -0.0001, 0.0};
};

// Calibration records with the arrays they point at; the pointers stay valid while it lives.
struct Calibration {
    std::array<double, 9> intrinsics{};
    std::array<double, 5> distortion{};
    std::array<double, 6> extrinsics{};
    LpmcLensModel lens{};
    LpmcLightPlane plane{};
    LpmcMotion motion{};
    LpmcCameraCalib calib{};
};

struct Station {
    StationDesign design;
    double fx = 0, fy = 0, cx = 0, cy = 0;
    std::array<double, 9> rotation{}; // board to camera, row major
    std::array<double, 3> translation{};
    std::array<double, 3> plane{}; // camera coordinates

    // Pixel of a board point; false behind the camera.
    bool project(double x, double y, double z, double& u, double& v) const;
    std::unique_ptr<Calibration> calibration(double speedVx, double speedVy) const;
};

Station makeStation(const StationDesign& design);

struct Box {
    double length = 300, width = 200, height = 150;
    double x = 0.0;      // footprint centre across the belt at travel 0
    double y = -400.0;   // footprint centre along the belt at travel 0
    double yawDeg = 0.0; // long side from +Y, positive towards +X
    double reflectance = 0.8;

    // Whether board point (X, Y) lies on the footprint after `travel` mm of belt.
    bool covers(double X, double Y, double travel) const;
    // Largest footprint y at travel 0 (the leading corner or edge).
    double leadingY() const;
    double trailingY() const;
};

struct LineFrame {
    std::vector<float> rows;    // per column; -1 where no line
    std::vector<uint8_t> peaks; // per column
};

// The laser line at belt travel `travel`: the heights along the plane Y = 0 projected into the
// image. Intensity = gain x reflectance (clipped at 255).
void renderLine(const Station& st, const std::vector<Box>& boxes, double travel, double gain, LineFrame& out);

struct StripeOptics {
    double sigma = 1.2;
    double ambient = 4.0;
    double noise = 1.5;
};

// Mono8 frame of a line: a pixel-integrated Gaussian stripe per column plus ambient and noise.
void renderMono8(const LineFrame& line, int32_t width, int32_t height, const StripeOptics& optics,
                 std::mt19937& rng, std::vector<uint8_t>& pixels);

// Grey level of one row of a pixel-integrated Gaussian stripe of peak `amplitude`.
double stripeValue(double row, double centre, double sigma, double amplitude);

// The default configuration of a fresh instance with the given changes applied by `edit`.
struct Instance {
    void* handle = nullptr;
    LpmcImageRegion region{};
    LpmcConfig config{};
    ~Instance();
};

// Creates and configures an instance for one camera of `st`; `frameNum` frames per object.
// Returns the code of the first call that failed, or 0.
template <typename Edit>
int32_t openInstance(const Station& st, const Calibration& cal, int32_t frameNum, Instance& inst, Edit edit);

struct Result {
    int32_t state = 0;
    std::vector<LpmcBox> boxes;
    int32_t pointCount = 0;
    uint64_t frame = 0; // frame index whose call returned it
};

// Frame k in the camera's line form, stamped as the calculator stamps stored images (1 + 2k).
LpmcInput lineInput(const LineFrame& line, int32_t frame);

// Feeds frames 0..count-1 rendered at travel = frame * mmPerFrame, timestamps 1, 3, 5, ...;
// collects every result with resultState != 0.
std::vector<Result> runLineScan(void* handle, const Station& st, const std::vector<Box>& boxes, int32_t count,
                                double mmPerFrame, double gain = 200.0);
std::vector<Result> runMono8Scan(void* handle, const Station& st, const std::vector<Box>& boxes,
                                 int32_t count, double mmPerFrame, const StripeOptics& optics, uint32_t seed,
                                 double gain = 200.0);

// The box as the library should report it: reported frame of the first profile.
struct Truth {
    double length, width, height, slantDeg;
    double cx, cy;
    int64_t firstFrame;
};
Truth truthOf(const Box& box, double mmPerFrame);

// Angle of a box's long side as the slant convention gives it.
double slantOf(const LpmcBox& box);
// Difference of two slant angles modulo 180 (or 90 for a square footprint).
double slantDifference(double a, double b, bool square);

} // namespace lpmctest

#include "LpmcSynthetic.inl"
