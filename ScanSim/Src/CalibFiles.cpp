// The 3DCfg files of a scan, in the key = value syntax the measuring library reads: one pair a
// line, lists in brackets, lines well under 255 bytes.
#include "ScanSim/ScanWriter.h"

#include "Shapes.h"

#include "Orvia/ConfigFormat/CalibFiles.h"
#include "Orvia/ConfigFormat/KeyValueWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace ScanSim {
namespace {

namespace Format = Orvia::VisionSystem::ConfigFormat;
namespace ScanKey = Format::ScanKey;
namespace CameraKey = Format::CameraParamsKey;

std::string num(double v) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.12g", v + 0.0); // + 0.0 turns -0 into 0
    return buf;
}

std::string num(int v) {
    return std::to_string(v);
}

template <size_t N>
std::string list(const std::array<double, N>& values) {
    std::string s = "[";
    for (size_t i = 0; i < N; ++i) {
        if (i > 0) {
            s.push_back(',');
        }
        s.append(num(values[i]));
    }
    s.push_back(']');
    return s;
}

bool writeKeyValueFile(const std::filesystem::path& path, const char* comment, const KeyValues& keys,
                       std::string& error) {
    switch (Format::writeKeyValueFile(path.string().c_str(), keys, comment)) {
    case Format::KeyValueWrite::Written:
        return true;
    case Format::KeyValueWrite::NotCreated:
        error = "cannot create " + path.string();
        return false;
    case Format::KeyValueWrite::NotWritten:
        break;
    }
    error = "cannot write " + path.string();
    return false;
}

} // namespace

KeyValues calibScanKeys(const Scene& scene) {
    const Station& st = scene.station;
    const Motion& m = scene.motion;
    // Limits: the belt and the station's height range; the longest object a scan may hold.
    const double maxLength = 2000.0;
    const double step = std::max(m.mmPerFrame, 1e-6);
    const int framesPerObject = static_cast<int>(std::ceil(1.25 * maxLength / step));
    // An object ends after this many profiles of empty belt; kept well below the default gap.
    const int endFrames = std::max(5, static_cast<int>(std::ceil(30.0 / step)));
    KeyValues keys{
        {ScanKey::kImageWidth, num(st.camera.width)},
        {ScanKey::kImageHeight, num(st.camera.height)},
        {ScanKey::kFrameNum, num(framesPerObject)},
        {ScanKey::kFrameTimeout, num(3000)},
        {ScanKey::kThresh, num(scene.optics.lineThreshold)},
        {ScanKey::kLaserlineType, num(0)},
        {ScanKey::kExtractMethod, num(0)},
        {ScanKey::kGaussRadius, num(1)},
        {ScanKey::kChessboardHeight, num(st.chessboardHeight)},
        {ScanKey::kEncodeFlag, num(m.encoder ? 1 : 0)},
        {ScanKey::kEncodeStep, num(m.mmPerFrame)},
        {ScanKey::kMultPackageFlag, num(1)},
        {ScanKey::kEndFrameNum, num(endFrames)},
        {ScanKey::kNoiseFactor, num(3)},
        {ScanKey::kDeepImageWidth, num(std::min(4096, static_cast<int>(std::ceil(st.beltWidth))))},
        {ScanKey::kDeepImageHeight, num(std::min(4096, framesPerObject))},
        {ScanKey::kMinLength, num(30.0)},
        {ScanKey::kMinWidth, num(30.0)},
        {ScanKey::kMinHeight, num(10.0)},
        {ScanKey::kMaxLength, num(maxLength)},
        {ScanKey::kMaxWidth, num(st.beltWidth)},
        {ScanKey::kMaxHeight, num(st.maxHeight)},
        {ScanKey::kVolumeFiniteFlag, num(0)},
        {ScanKey::kPackageIntimeFlag, num(1)},
        {ScanKey::kPackageDistance, num(15.0)},
        {ScanKey::kLaserFan,
         list(std::array<double, 3>{st.laser.source.x, st.heightAboveBelt(st.laser.source),
                                    radToDeg(2.0 * std::atan(laserFanHalfTangent(st)))})},
    };
    // The light window along the belt, for stations that state it.
    if (st.laserSheetFwhm > 0.0 || m.exposureShare > 0.0) {
        keys.emplace_back(ScanKey::kLaserSheet, num(st.laserSheetFwhm));
        keys.emplace_back(ScanKey::kExposureShare, num(m.exposureShare));
    }
    return keys;
}

KeyValues cameraParamsKeys(const Scene& scene) {
    const Camera& cam = scene.station.camera;
    return {
        {CameraKey::kWidth, num(cam.width)},
        {CameraKey::kHeight, num(cam.height)},
        {CameraKey::kPixelFormat, cam.pixelFormat == PixelFormat::Mono8 ? "Mono8" : "Mono4p"},
        {CameraKey::kFrameRate, num(1000.0 / std::max(scene.motion.framePeriodMs, 1e-6))},
        {CameraKey::kExposureTime, num(std::min(200.0, 1000.0 * scene.motion.framePeriodMs * 0.8))},
        {CameraKey::kGain, num(1.0)},
        {CameraKey::kTriggerMode, scene.motion.encoder ? "On" : "Off"},
    };
}

KeyValues intrinsicsKeys(const Scene& scene) {
    const Camera& cam = scene.station.camera;
    return {{Format::IntrinsicsKey::kCameraMatrix, list(cam.intrinsicsArray())},
            {Format::IntrinsicsKey::kDistortion, list(cam.lens.distortion)}};
}

KeyValues extrinsicsKeys(const Scene& scene) {
    return {{Format::ExtrinsicsKey::kPose, list(scene.station.camera.extrinsicsArray())}};
}

KeyValues lightPlaneKeys(const Scene& scene) {
    const auto p = scene.station.laserPlaneInCamera();
    return {{Format::LightPlaneKey::kA, num(p[0])},
            {Format::LightPlaneKey::kB, num(p[1])},
            {Format::LightPlaneKey::kC, num(p[2])},
            {Format::LightPlaneKey::kHeightFactor, num(scene.station.planeHeightFactor)}};
}

KeyValues movePoseKeys(const Scene& scene, TimeBase base) {
    const Vec3 v = beltSpeed(scene, base);
    return {{Format::MovePoseKey::kSpeedVx, num(v.x)}, {Format::MovePoseKey::kSpeedVy, num(v.y)}};
}

std::vector<CalibrationFile> calibrationFiles(const Scene& scene, TimeBase base) {
    const char* motionComment = base == TimeBase::StoredImages
                                    ? "belt travel in mm per stored-image timestamp unit"
                                    : "belt travel in mm per millisecond of the camera clock";
    return {
        {Format::kScanFile, "scan settings of the virtual station", calibScanKeys(scene)},
        {Format::kCameraParamsFile, "camera settings", cameraParamsKeys(scene)},
        {Format::intrinsicsFile(0), "camera matrix row by row; k1, k2, p1, p2, k3", intrinsicsKeys(scene)},
        {Format::extrinsicsFile(0), "rotation vector (rad) and translation (mm), board to camera",
         extrinsicsKeys(scene)},
        {Format::kLightPlaneFile, "laser plane in camera coordinates: A x + B y + C z = 1",
         lightPlaneKeys(scene)},
        {Format::kMovePoseFile, motionComment, movePoseKeys(scene, base)},
    };
}

bool writeCalibrationFiles(const Scene& scene, const std::filesystem::path& cfgDir, std::string& error,
                           TimeBase base) {
    std::error_code ec;
    std::filesystem::create_directories(cfgDir, ec);
    if (ec) {
        error = "cannot create " + cfgDir.string() + ": " + ec.message();
        return false;
    }
    for (const CalibrationFile& file : calibrationFiles(scene, base)) {
        if (!writeKeyValueFile(cfgDir / file.name, file.comment.c_str(), file.keys, error)) {
            return false;
        }
    }
    return true;
}

} // namespace ScanSim
