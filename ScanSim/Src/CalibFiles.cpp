// The 3DCfg files of a scan, in the key = value syntax the measuring library reads: one pair a
// line, lists in brackets, lines well under 255 bytes.
#include "ScanSim/ScanWriter.h"

#include "Shapes.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

namespace ScanSim {
namespace {

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
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) {
        error = "cannot create " + path.string();
        return false;
    }
    out << "# " << comment << "\n";
    for (const auto& [k, v] : keys) {
        out << k << " = " << v << "\n";
    }
    out.close();
    if (!out) {
        error = "cannot write " + path.string();
        return false;
    }
    return true;
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
    return {
        {"image_width", num(st.camera.width)},
        {"image_height", num(st.camera.height)},
        {"scan_frame_num", num(framesPerObject)},
        {"scan_frame_timeout", num(3000)},
        {"thresh", num(scene.optics.lineThreshold)},
        {"laserline_type", num(0)},
        {"laserline_extract_method", num(0)},
        {"scan_gauss_radius", num(1)},
        {"scan_chessboard_height", num(st.chessboardHeight)},
        {"scan_encode_flag", num(m.encoder ? 1 : 0)},
        {"scan_encode_step", num(m.mmPerFrame)},
        {"scan_mult_package_flag", num(1)},
        {"scan_end_frame_num", num(endFrames)},
        {"scan_noise_factor", num(3)},
        {"scan_deep_img_w", num(std::min(4096, static_cast<int>(std::ceil(st.beltWidth))))},
        {"scan_deep_img_h", num(std::min(4096, framesPerObject))},
        {"scan_min_l", num(30.0)},
        {"scan_min_w", num(30.0)},
        {"scan_min_h", num(10.0)},
        {"scan_max_l", num(maxLength)},
        {"scan_max_w", num(st.beltWidth)},
        {"scan_max_h", num(st.maxHeight)},
        {"scan_volume_finite_flag", num(0)},
        {"scan_package_intime_flag", num(1)},
        {"scan_package_distance", num(15.0)},
    };
}

KeyValues cameraParamsKeys(const Scene& scene) {
    const Camera& cam = scene.station.camera;
    return {
        {"Width", num(cam.width)},
        {"Height", num(cam.height)},
        {"PixelFormat", cam.pixelFormat == PixelFormat::Mono8 ? "Mono8" : "Mono4p"},
        {"AcquisitionFrameRate", num(1000.0 / std::max(scene.motion.framePeriodMs, 1e-6))},
        {"ExposureTime", num(std::min(200.0, 1000.0 * scene.motion.framePeriodMs * 0.8))},
        {"Gain", num(1.0)},
        {"TriggerMode", scene.motion.encoder ? "On" : "Off"},
    };
}

KeyValues intrinsicsKeys(const Scene& scene) {
    const Camera& cam = scene.station.camera;
    return {{"InstriCamParams", list(cam.intrinsicsArray())},
            {"InstriCamDistorTion", list(cam.lens.distortion)}};
}

KeyValues extrinsicsKeys(const Scene& scene) {
    return {{"ExtriCamParams", list(scene.station.camera.extrinsicsArray())}};
}

KeyValues lightPlaneKeys(const Scene& scene) {
    const auto p = scene.station.laserPlaneInCamera();
    return {{"PlaneA", num(p[0])},
            {"PlaneB", num(p[1])},
            {"PlaneC", num(p[2])},
            {"PlaneHeightFactor", num(scene.station.planeHeightFactor)}};
}

KeyValues movePoseKeys(const Scene& scene, TimeBase base) {
    const Vec3 v = beltSpeed(scene, base);
    return {{"SpeedVx", num(v.x)}, {"SpeedVy", num(v.y)}};
}

bool writeCalibrationFiles(const Scene& scene, const std::filesystem::path& cfgDir, std::string& error) {
    std::error_code ec;
    std::filesystem::create_directories(cfgDir, ec);
    if (ec) {
        error = "cannot create " + cfgDir.string() + ": " + ec.message();
        return false;
    }
    const TimeBase base = TimeBase::StoredImages;
    return writeKeyValueFile(cfgDir / "CalibScanCfg.cfg", "scan settings of the virtual station",
                             calibScanKeys(scene), error) &&
           writeKeyValueFile(cfgDir / "CameraParams.cfg", "camera settings", cameraParamsKeys(scene),
                             error) &&
           writeKeyValueFile(cfgDir / "CamInstrinsic0.data", "camera matrix row by row; k1, k2, p1, p2, k3",
                             intrinsicsKeys(scene), error) &&
           writeKeyValueFile(cfgDir / "CamExtrinsic0.data",
                             "rotation vector (rad) and translation (mm), board to camera",
                             extrinsicsKeys(scene), error) &&
           writeKeyValueFile(cfgDir / "LightPlaneParam.data",
                             "laser plane in camera coordinates: A x + B y + C z = 1", lightPlaneKeys(scene),
                             error) &&
           writeKeyValueFile(cfgDir / "LaserMovePose.data",
                             "belt travel in mm per stored-image timestamp unit", movePoseKeys(scene, base),
                             error);
}

} // namespace ScanSim
