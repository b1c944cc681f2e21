// Boxes of known size and pose passing the virtual station, for the sheet-of-light library's
// tests and benchmarks: ScanSim renders the frames (line form or Mono8) and states the truth;
// this layer places the boxes, fills the library's calibration records and feeds the frames.
// Geometry of Docs/geometry.md.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "Lpmc.h"
#include "ScanSim/Renderer.h"
#include "ScanSim/Truth.h"

namespace lpmctest {

// The station of the library's tests: a 512 x 128 camera whose columns take 1.1 x the belt width
// at the aim height, otherwise ScanSim's default design.
ScanSim::StationDesign testStationDesign();
ScanSim::Station testStation();

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

std::unique_ptr<Calibration> calibrationOf(const ScanSim::Station& station, double speedVx, double speedVy);

struct Box {
    double length = 300, width = 200, height = 150;
    double x = 0.0;      // footprint centre across the belt at travel 0
    double y = -400.0;   // footprint centre along the belt at travel 0
    double yawDeg = 0.0; // long side from +Y, positive towards +X
    double reflectance = 0.8;

    // Largest footprint y at travel 0 (the leading corner or edge).
    double leadingY() const;
    double trailingY() const;
};

using LineFrame = ScanSim::LineForm;

// Clean frames: no speckle, line jitter, shot noise or ambient; every lit column has a line.
ScanSim::Optics cleanOptics(double gain = 200.0);
// Mono8 frames with a little ambient light and read noise.
ScanSim::Optics stripeOptics(double gain = 200.0);

// Boxes on the belt moving mmPerFrame along +Y per frame; frame k shows them after
// k x mmPerFrame of travel. Remembers which frames showed which box for the truth.
class CBoxScan {
public:
    CBoxScan(const ScanSim::Station& station, const std::vector<Box>& boxes, double mmPerFrame = 1.0,
             const ScanSim::Optics& optics = cleanOptics(), uint64_t seed = 1);

    void line(int frame, LineFrame& out);
    void mono8(int frame, std::vector<uint8_t>& out);
    // Per box, in the order given: what the library should report, from the frames rendered so
    // far, stamped as the calculator stamps stored images (1 + 2k).
    ScanSim::ScanTruth truth() const;
    // Frames until the last box has left the line.
    int frameCount() const { return renderer_.frameCount(); }
    int width() const { return renderer_.width(); }
    int height() const { return renderer_.height(); }

private:
    ScanSim::CFrameRenderer renderer_;
    ScanSim::CTruthTracker tracker_;
    ScanSim::ProfileTrace trace_;
};

// Grey level of one row of a pixel-integrated Gaussian stripe of peak `amplitude`.
double stripeValue(double row, double centre, double sigma, double amplitude);

// The default configuration of a fresh instance with the given changes applied by `edit`.
struct Instance {
    void* handle = nullptr;
    LpmcImageRegion region{};
    LpmcConfig config{};
    ~Instance();
};

// Creates and configures an instance for the station's camera; `frameNum` frames per object.
// Returns the code of the first call that failed, or 0.
int32_t openInstance(const ScanSim::Station& station, const Calibration& cal, int32_t frameNum,
                     Instance& inst, const std::function<void(LpmcConfig&)>& edit);

struct Result {
    int32_t state = 0;
    std::vector<LpmcBox> boxes;
    int32_t pointCount = 0;
    uint64_t frame = 0; // frame index whose call returned it
};

// Frame k in the camera's line form, stamped as the calculator stamps stored images (1 + 2k).
LpmcInput lineInput(const LineFrame& line, int32_t frame);

// Feeds frames 0..count-1 of the scan, timestamps 1, 3, 5, ...; collects every result with
// resultState != 0.
std::vector<Result> runLineScan(void* handle, CBoxScan& scan, int32_t count);
std::vector<Result> runMono8Scan(void* handle, CBoxScan& scan, int32_t count);
// The same for clean line frames of `boxes` at 1 mm per frame.
std::vector<Result> runLineScan(void* handle, const ScanSim::Station& station, const std::vector<Box>& boxes,
                                int32_t count);

// Angle of a box's long side as the slant convention gives it.
double slantOf(const LpmcBox& box);
// Difference of two slant angles modulo 180 (or 90 for a square footprint).
double slantDifference(double a, double b, bool square);

} // namespace lpmctest
