#include "LpmcBoxScan.h"

#include <algorithm>
#include <cmath>

#include "ScanSim/Scene.h"

namespace lpmctest {
namespace {

constexpr double kPi = 3.14159265358979323846;

ScanSim::SceneLayout placeBoxes(const ScanSim::Station& station, const std::vector<Box>& boxes,
                                double mmPerFrame) {
    ScanSim::SceneLayout layout;
    double travel = 0.0;
    for (size_t i = 0; i < boxes.size(); ++i) {
        const Box& b = boxes[i];
        const ScanSim::SceneObject desc = ScanSim::makeBox("box" + std::to_string(i), b.length, b.width,
                                                           b.height, b.x, b.yawDeg, 0.0, b.reflectance);
        layout.objects.push_back(ScanSim::placeObject(station, desc, ScanSim::Vec3{b.x, b.y, 0.0}));
        travel = std::max(travel, -b.trailingY());
    }
    layout.frameCount = static_cast<int>(std::ceil(travel / mmPerFrame)) + 1;
    return layout;
}

ScanSim::Scene sceneOf(const ScanSim::Station& station, double mmPerFrame, const ScanSim::Optics& optics,
                       uint64_t seed) {
    ScanSim::Scene scene;
    scene.station = station;
    scene.motion.mmPerFrame = mmPerFrame;
    scene.optics = optics;
    scene.seed = seed;
    return scene;
}

} // namespace

ScanSim::StationDesign testStationDesign() {
    ScanSim::StationDesign d;
    d.imageWidth = 512;
    d.imageHeight = 128;
    d.columnsFillHeight = d.aimHeight;
    return d;
}

ScanSim::Station testStation() {
    return ScanSim::designStation(testStationDesign());
}

std::unique_ptr<Calibration> calibrationOf(const ScanSim::Station& station, double speedVx, double speedVy) {
    auto c = std::make_unique<Calibration>();
    c->intrinsics = station.camera.intrinsicsArray();
    c->distortion = station.camera.lens.distortion;
    c->extrinsics = station.camera.extrinsicsArray();
    c->lens = {c->intrinsics.data(), c->distortion.data(), c->extrinsics.data(), nullptr};
    const auto plane = station.laserPlaneInCamera();
    c->plane = {plane[0], plane[1], plane[2], station.planeHeightFactor};
    c->motion = {speedVx, speedVy};
    c->calib = {&c->lens, &c->plane, &c->motion};
    return c;
}

double Box::leadingY() const {
    const double yaw = yawDeg * kPi / 180.0;
    return y + 0.5 * length * std::fabs(std::cos(yaw)) + 0.5 * width * std::fabs(std::sin(yaw));
}

double Box::trailingY() const {
    return 2.0 * y - leadingY();
}

ScanSim::Optics cleanOptics(double gain) {
    ScanSim::Optics o;
    o.laserGain = gain;
    o.ambient = 0.0;
    o.sensorNoise = 0.0;
    o.shotNoise = 0.0;
    o.speckle = 0.0;
    o.lineJitterPx = 0.0;
    o.lineThreshold = 1;
    return o;
}

ScanSim::Optics stripeOptics(double gain) {
    ScanSim::Optics o = cleanOptics(gain);
    o.ambient = 4.0;
    o.sensorNoise = 1.5;
    return o;
}

CBoxScan::CBoxScan(const ScanSim::Station& station, const std::vector<Box>& boxes, double mmPerFrame,
                   const ScanSim::Optics& optics, uint64_t seed)
    : renderer_(sceneOf(station, mmPerFrame, optics, seed), placeBoxes(station, boxes, mmPerFrame)),
      tracker_(renderer_) {}

void CBoxScan::line(int frame, LineFrame& out) {
    renderer_.trace(frame, trace_);
    tracker_.add(trace_);
    renderer_.renderLineForm(trace_, out);
}

void CBoxScan::mono8(int frame, std::vector<uint8_t>& out) {
    renderer_.trace(frame, trace_);
    tracker_.add(trace_);
    renderer_.renderMono8(trace_, out);
}

ScanSim::ScanTruth CBoxScan::truth() const {
    return tracker_.finish(ScanSim::TimeBase::StoredImages);
}

double stripeValue(double row, double centre, double sigma, double amplitude) {
    // Mean of the Gaussian over the pixel [row - 0.5, row + 0.5], scaled to `amplitude` at its
    // peak for a narrow pixel.
    const double s = sigma * std::sqrt(2.0);
    return amplitude * sigma * std::sqrt(kPi / 2.0) *
           (std::erf((row + 0.5 - centre) / s) - std::erf((row - 0.5 - centre) / s));
}

Instance::~Instance() {
    lpmcRelease(handle);
}

int32_t openInstance(const ScanSim::Station& station, const Calibration& cal, int32_t frameNum,
                     Instance& inst, const std::function<void(LpmcConfig&)>& edit) {
    LpmcCreateParam p{};
    p.frameNum = frameNum;
    p.cameraCount = 1;
    p.imageSize[0] = {station.camera.width, station.camera.height};
    p.calib[0] = const_cast<LpmcCameraCalib*>(&cal.calib);
    p.reserved0 = 0;
    p.reserved1 = 2;
    int32_t rc = lpmcCreate(&inst.handle, &p);
    if (rc != 0) {
        return rc;
    }
    inst.config = LpmcConfig{};
    inst.config.region[0] = &inst.region;
    rc = lpmcGetConfig(inst.handle, &inst.config);
    if (rc != 0) {
        return rc;
    }
    inst.config.scan_chessboard_height = station.chessboardHeight;
    edit(inst.config);
    return lpmcSetConfig(inst.handle, &inst.config);
}

namespace {

Result collect(const LpmcResult& r, uint64_t frame) {
    Result out;
    out.state = r.resultState;
    out.pointCount = r.pointCount;
    out.frame = frame;
    for (int32_t i = 0; i < r.volumeNum; ++i) {
        out.boxes.push_back(*r.boxes[i]);
    }
    return out;
}

// One call of the library; a result with resultState != 0 is kept. False when the call failed.
bool feed(void* handle, LpmcInput& in, int32_t frame, std::vector<Result>& results) {
    LpmcResult r{};
    if (lpmcProcess(handle, &in, &r) != 0) {
        return false;
    }
    if (r.resultState != 0) {
        results.push_back(collect(r, static_cast<uint64_t>(frame)));
    }
    return true;
}

} // namespace

LpmcInput lineInput(const LineFrame& line, int32_t frame) {
    LpmcInput in{};
    in.imageType[0] = LPMC_IMAGE_LINE;
    in.timestamp[0] = 1.0 + 2.0 * frame;
    in.pipelineCount[0] = static_cast<int32_t>(line.rows.size());
    in.pipelineFirst[0] = line.rows.data();
    in.pipelineSecond[0] = line.peaks.data();
    return in;
}

std::vector<Result> runLineScan(void* handle, CBoxScan& scan, int32_t count) {
    std::vector<Result> results;
    LineFrame line;
    for (int32_t k = 0; k < count; ++k) {
        scan.line(k, line);
        LpmcInput in = lineInput(line, k);
        if (!feed(handle, in, k, results)) {
            break;
        }
    }
    return results;
}

std::vector<Result> runLineScan(void* handle, const ScanSim::Station& station, const std::vector<Box>& boxes,
                                int32_t count) {
    CBoxScan scan(station, boxes);
    return runLineScan(handle, scan, count);
}

std::vector<Result> runMono8Scan(void* handle, CBoxScan& scan, int32_t count) {
    std::vector<Result> results;
    std::vector<uint8_t> pixels;
    LpmcImageDesc desc{};
    for (int32_t k = 0; k < count; ++k) {
        scan.mono8(k, pixels);
        desc.sourceTag = 256;
        desc.width = scan.width();
        desc.height = scan.height();
        desc.pixels = pixels.data();
        LpmcInput in{};
        in.imageType[0] = LPMC_IMAGE_MONO8;
        in.image[0] = &desc;
        in.timestamp[0] = 1.0 + 2.0 * k;
        if (!feed(handle, in, k, results)) {
            break;
        }
    }
    return results;
}

double slantOf(const LpmcBox& box) {
    return std::atan2(box.axis1[0], box.axis1[1]) * 180.0 / kPi;
}

double slantDifference(double a, double b, bool square) {
    const double period = square ? 90.0 : 180.0;
    double d = std::fmod(a - b, period);
    if (d > period / 2) {
        d -= period;
    }
    if (d < -period / 2) {
        d += period;
    }
    return d;
}

} // namespace lpmctest
