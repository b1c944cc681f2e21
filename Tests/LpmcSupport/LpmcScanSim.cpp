#include "LpmcScanSim.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "Orvia/ConfigFormat/CalibFiles.h"
#include "ScanSim/ScanWriter.h"
#include "ScanSim/SceneJson.h"

namespace lpmctest {
namespace {

using ScanSim::KeyValues;
namespace Format = Orvia::VisionSystem::ConfigFormat;
namespace ScanKey = Format::ScanKey;

const std::string* find(const KeyValues& kv, const char* key) {
    for (const auto& [k, v] : kv) {
        if (k == key) {
            return &v;
        }
    }
    return nullptr;
}

// The int and double forms of a key: absent keeps the field, text that isn't a number gives 0.
void readInt(const KeyValues& kv, const char* key, int32_t& field) {
    if (const std::string* v = find(kv, key)) {
        field = static_cast<int32_t>(std::strtol(v->c_str(), nullptr, 10));
    }
}
void readDouble(const KeyValues& kv, const char* key, double& field) {
    if (const std::string* v = find(kv, key)) {
        field = std::strtod(v->c_str(), nullptr);
    }
}
template <size_t N>
void readList(const KeyValues& kv, const char* key, std::array<double, N>& out) {
    out.fill(0.0);
    const std::string* v = find(kv, key);
    if (v == nullptr) {
        return;
    }
    const char* p = v->c_str();
    for (size_t i = 0; i < N && *p != '\0'; ++i) {
        while (*p == '[' || *p == ',' || *p == ' ') {
            ++p;
        }
        char* end = nullptr;
        out[i] = std::strtod(p, &end);
        if (end == p) {
            break;
        }
        p = end;
    }
}

double wrapSlant(double d) {
    d = std::fmod(d, 180.0);
    if (d > 90.0) {
        d -= 180.0;
    }
    if (d <= -90.0) {
        d += 180.0;
    }
    return d;
}

} // namespace

ScanSim::Scene loadScene(const std::string& path) {
    ScanSim::Scene scene;
    std::string error;
    if (!ScanSim::loadSceneFile(path, scene, error)) {
        throw std::runtime_error(path + ": " + error);
    }
    return scene;
}

SimResult runScene(const ScanSim::Scene& scene, const SimRunOptions& options) {
    SimResult out;
    ScanSim::CFrameRenderer renderer(scene);
    const auto base = ScanSim::TimeBase::StoredImages;
    // Calibration records as the calculator fills them from the files.
    std::array<double, 9> intrinsics;
    std::array<double, 5> distortion;
    std::array<double, 6> extrinsics;
    readList(ScanSim::intrinsicsKeys(scene), Format::IntrinsicsKey::kCameraMatrix, intrinsics);
    readList(ScanSim::intrinsicsKeys(scene), Format::IntrinsicsKey::kDistortion, distortion);
    readList(ScanSim::extrinsicsKeys(scene), Format::ExtrinsicsKey::kPose, extrinsics);
    LpmcLensModel lens{intrinsics.data(), distortion.data(), extrinsics.data(), nullptr};
    LpmcLightPlane plane{};
    const KeyValues planeKeys = ScanSim::lightPlaneKeys(scene);
    readDouble(planeKeys, Format::LightPlaneKey::kA, plane.PlaneA);
    readDouble(planeKeys, Format::LightPlaneKey::kB, plane.PlaneB);
    readDouble(planeKeys, Format::LightPlaneKey::kC, plane.PlaneC);
    readDouble(planeKeys, Format::LightPlaneKey::kHeightFactor, plane.PlaneHeightFactor);
    LpmcMotion motion{};
    const KeyValues moveKeys = ScanSim::movePoseKeys(scene, base);
    readDouble(moveKeys, Format::MovePoseKey::kSpeedVx, motion.SpeedVx);
    readDouble(moveKeys, Format::MovePoseKey::kSpeedVy, motion.SpeedVy);
    out.speed = {motion.SpeedVx, motion.SpeedVy, 0.0};
    LpmcCameraCalib calib{&lens, &plane, &motion};

    const KeyValues scan = ScanSim::calibScanKeys(scene);
    LpmcCreateParam create{};
    create.cameraCount = 1;
    readInt(scan, ScanKey::kFrameNum, create.frameNum);
    readInt(scan, ScanKey::kImageWidth, create.imageSize[0].width);
    readInt(scan, ScanKey::kImageHeight, create.imageSize[0].height);
    create.calib[0] = &calib;
    create.reserved0 = 0;
    create.reserved1 = 2;
    void* handle = nullptr;
    int32_t rc = lpmcCreate(&handle, &create);
    if (rc != LPMC_OK) {
        out.error = "lpmcCreate " + std::to_string(rc);
        return out;
    }
    LpmcImageRegion region{};
    LpmcConfig cfg{};
    cfg.region[0] = &region;
    rc = lpmcGetConfig(handle, &cfg);
    cfg.cameraCount = 1;
    readInt(scan, ScanKey::kLaserlineType, cfg.laserline_type);
    readInt(scan, ScanKey::kExtractMethod, cfg.laserline_extract_method);
    readDouble(scan, ScanKey::kChessboardHeight, cfg.scan_chessboard_height);
    readInt(scan, ScanKey::kMultPackageFlag, cfg.scan_mult_package_flag);
    readInt(scan, ScanKey::kEndFrameNum, cfg.scan_end_frame_num);
    readDouble(scan, ScanKey::kMinLength, cfg.scan_min_l);
    readDouble(scan, ScanKey::kMinWidth, cfg.scan_min_w);
    readDouble(scan, ScanKey::kMinHeight, cfg.scan_min_h);
    readDouble(scan, ScanKey::kMaxLength, cfg.scan_max_l);
    readDouble(scan, ScanKey::kMaxWidth, cfg.scan_max_w);
    readDouble(scan, ScanKey::kMaxHeight, cfg.scan_max_h);
    readInt(scan, ScanKey::kDeepImageWidth, cfg.scan_deep_img_w);
    readInt(scan, ScanKey::kDeepImageHeight, cfg.scan_deep_img_h);
    readInt(scan, ScanKey::kNoiseFactor, cfg.scan_noise_factor);
    readInt(scan, ScanKey::kVolumeFiniteFlag, cfg.scan_volume_finite_flag);
    readInt(scan, ScanKey::kPackageIntimeFlag, cfg.scan_package_intime_flag);
    readDouble(scan, ScanKey::kPackageDistance, cfg.scan_package_distance);
    readInt(scan, ScanKey::kThresh, cfg.thresh[0]);
    readInt(scan, ScanKey::kImageWidth, region.width);
    readInt(scan, ScanKey::kImageHeight, region.height);
    readInt(scan, ScanKey::kEncodeFlag, cfg.scan_encode_flag[0]);
    readDouble(scan, ScanKey::kEncodeStep, cfg.scan_encode_step[0]);
    readInt(scan, ScanKey::kGaussRadius, cfg.scan_gauss_radius[0]);
    region.x = 0;
    region.y = 0;
    std::array<double, 3> fan{};
    if (find(scan, ScanKey::kLaserFan) != nullptr) {
        readList(scan, ScanKey::kLaserFan, fan);
        std::memcpy(cfg.libraryOwn + LPMC_OWN_FAN_APEX_X, &fan[0], sizeof(double));
        std::memcpy(cfg.libraryOwn + LPMC_OWN_FAN_APEX_HEIGHT, &fan[1], sizeof(double));
        std::memcpy(cfg.libraryOwn + LPMC_OWN_FAN_ANGLE, &fan[2], sizeof(double));
    }
    double window[2] = {0.0, 0.0};
    readDouble(scan, ScanKey::kLaserSheet, window[0]);
    readDouble(scan, ScanKey::kExposureShare, window[1]);
    std::memcpy(cfg.libraryOwn + LPMC_OWN_SHEET_FWHM, &window[0], sizeof(double));
    std::memcpy(cfg.libraryOwn + LPMC_OWN_EXPOSURE_SHARE, &window[1], sizeof(double));
    if (options.edit) {
        options.edit(cfg);
    }
    if (rc == LPMC_OK) {
        rc = lpmcSetConfig(handle, &cfg);
    }
    if (rc != LPMC_OK) {
        out.error = "configuration " + std::to_string(rc);
        lpmcRelease(handle);
        return out;
    }

    ScanSim::CTruthTracker tracker(renderer);
    ScanSim::RenderedFrame frame;
    LpmcImageDesc desc{};
    LpmcInput input{};
    LpmcResult result{};
    for (int k = 0; k < renderer.frameCount(); ++k) {
        renderer.render(k, frame);
        tracker.add(frame.trace);
        input = LpmcInput{};
        input.timestamp[0] = ScanSim::timestampOfFrame(scene, k, base);
        if (options.lineForm) {
            input.imageType[0] = LPMC_IMAGE_LINE;
            input.pipelineCount[0] = static_cast<int32_t>(frame.line.rows.size());
            input.pipelineFirst[0] = frame.line.rows.data();
            input.pipelineSecond[0] = frame.line.peaks.data();
        } else {
            input.imageType[0] = LPMC_IMAGE_MONO8;
            desc.sourceTag = 256;
            desc.width = renderer.width();
            desc.height = renderer.height();
            desc.region = region;
            desc.pixels = frame.mono8.data();
            input.image[0] = &desc;
        }
        result.pointCount = 0;
        result.resultState = 0;
        result.volumeNum = 0;
        rc = lpmcProcess(handle, &input, &result);
        if (rc != LPMC_OK) {
            out.error = "lpmcProcess " + std::to_string(rc) + " at frame " + std::to_string(k);
            lpmcRelease(handle);
            return out;
        }
        for (int32_t i = 0; i < result.volumeNum; ++i) {
            (result.resultState == LPMC_STATE_BOXES ? out.boxes : out.unmeasured).push_back(*result.boxes[i]);
        }
    }
    lpmcRelease(handle);
    out.truth = tracker.finish(base);
    out.ok = true;
    return out;
}

SimComparison compare(const SimResult& r) {
    SimComparison c;
    std::vector<bool> used(r.boxes.size(), false);
    for (const ScanSim::ObjectTruth& t : r.truth.objects) {
        if (!t.seen) {
            continue;
        }
        SimMatch m;
        m.truth = &t;
        for (size_t i = 0; i < r.boxes.size(); ++i) {
            const LpmcBox& b = r.boxes[i];
            // The box's centre in the frame of the truth's enter time.
            const double dt = b.objEnterTime - t.enterTime;
            const double cx = b.center[0] - r.speed.x * dt, cy = b.center[1] - r.speed.y * dt;
            const double reach = 0.5 * t.width;
            if (std::hypot(cx - t.centre.x, cy - t.centre.y) > reach) {
                continue;
            }
            used[i] = true;
            if (m.found++ == 0) {
                m.box = b;
                m.dLength = b.length - t.length;
                m.dWidth = b.width - t.width;
                m.dHeight = b.height - t.height;
                const double slant = std::atan2(b.axis1[0], b.axis1[1]) * 180.0 / 3.14159265358979323846;
                m.dSlant = wrapSlant(slant - t.slantAngleDeg);
                // A square footprint, or one whose sides differ by less than the length tolerance,
                // has no measurable long side: its slant counts modulo 90 degrees.
                if (std::fabs(t.length - t.width) <= 2.5) {
                    m.dSlant = std::fmod(m.dSlant + 135.0, 90.0) - 45.0;
                }
                m.dCentreX = cx - t.centre.x;
                m.dCentreY = cy - t.centre.y;
            }
        }
        c.objects.push_back(m);
    }
    for (bool u : used) {
        c.phantoms += u ? 0 : 1;
    }
    return c;
}

} // namespace lpmctest
