#include "Config.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace lpmc {
namespace {

template <typename T>
void putAt(uint8_t* block, size_t at, T value) {
    std::memcpy(block + at, &value, sizeof(T));
}

template <typename T>
T getAt(const uint8_t* block, size_t at) {
    T value;
    std::memcpy(&value, block + at, sizeof(T));
    return value;
}

void writeOwn(const OwnSettings& own, uint8_t* block) {
    std::memset(block, 0, sizeof(LpmcConfig::libraryOwn));
    putAt(block, kOwnMagicAt, kOwnMagic);
    putAt(block, kOwnVersionAt, kOwnVersion);
    putAt(block, kOwnFloorAt, own.objectFloor);
    putAt(block, kOwnQuantileAt, own.heightQuantile);
    putAt(block, kOwnBandAt, own.heightBand);
    putAt(block, kOwnEdgeAt, own.edgeCompensation);
    putAt(block, kOwnMinPointsAt, own.minObjectPoints);
    putAt(block, kOwnHeightStepAt, own.heightStep);
    putAt(block, kOwnMinRunLengthAt, own.minRunLength);
    putAt(block, kOwnFanApexXAt, own.fanApexX);
    putAt(block, kOwnFanApexHeightAt, own.fanApexHeight);
    putAt(block, kOwnFanAngleAt, own.fanAngleDeg);
    putAt(block, kOwnSheetFwhmAt, own.sheetFwhm);
    putAt(block, kOwnExposureShareAt, own.exposureShare);
}

// No fan (all zero), or a fan whose apex is above the belt and which opens less than a half turn.
bool fanValid(const OwnSettings& own) {
    if (!std::isfinite(own.fanApexX) || !std::isfinite(own.fanApexHeight) ||
        !std::isfinite(own.fanAngleDeg)) {
        return false;
    }
    return own.fanAngleDeg == 0.0 ||
           (own.fanAngleDeg > 0.0 && own.fanAngleDeg < 180.0 && own.fanApexHeight > 0.0);
}

// A sheet up to 20 mm thick and an exposure up to the whole frame period, or 0: unknown.
bool windowValid(const OwnSettings& own) {
    return std::isfinite(own.sheetFwhm) && own.sheetFwhm >= 0.0 && own.sheetFwhm <= 20.0 &&
           std::isfinite(own.exposureShare) && own.exposureShare >= 0.0 && own.exposureShare <= 1.0;
}

// A block without our magic (a caller that cleared it) means the defaults.
bool readOwn(const uint8_t* block, OwnSettings& own) {
    if (getAt<uint32_t>(block, kOwnMagicAt) != kOwnMagic ||
        getAt<uint32_t>(block, kOwnVersionAt) != kOwnVersion) {
        own = OwnSettings{};
        return true;
    }
    own.objectFloor = getAt<double>(block, kOwnFloorAt);
    own.heightQuantile = getAt<double>(block, kOwnQuantileAt);
    own.heightBand = getAt<double>(block, kOwnBandAt);
    own.edgeCompensation = getAt<int32_t>(block, kOwnEdgeAt);
    own.minObjectPoints = getAt<int32_t>(block, kOwnMinPointsAt);
    own.heightStep = getAt<double>(block, kOwnHeightStepAt);
    own.minRunLength = getAt<double>(block, kOwnMinRunLengthAt);
    own.fanApexX = getAt<double>(block, kOwnFanApexXAt);
    own.fanApexHeight = getAt<double>(block, kOwnFanApexHeightAt);
    own.fanAngleDeg = getAt<double>(block, kOwnFanAngleAt);
    own.sheetFwhm = getAt<double>(block, kOwnSheetFwhmAt);
    own.exposureShare = getAt<double>(block, kOwnExposureShareAt);
    return fanValid(own) && windowValid(own) && std::isfinite(own.objectFloor) && own.objectFloor > 0.0 &&
           std::isfinite(own.heightQuantile) && own.heightQuantile > 0.0 && own.heightQuantile <= 1.0 &&
           std::isfinite(own.heightBand) && own.heightBand >= 0.0 && own.minObjectPoints >= 0 &&
           std::isfinite(own.heightStep) && own.heightStep > 0.0 && std::isfinite(own.minRunLength) &&
           own.minRunLength >= 0.0;
}

bool finiteNonNegative(double v) {
    return std::isfinite(v) && v >= 0.0;
}

LpmcImageRegion clipRegion(const LpmcImageRegion& r, const LpmcImageSize& size) {
    if (r.width <= 0 || r.height <= 0) {
        return LpmcImageRegion{0, 0, size.width, size.height};
    }
    const int32_t x0 = std::clamp(r.x, 0, size.width);
    const int32_t y0 = std::clamp(r.y, 0, size.height);
    const int32_t x1 = static_cast<int32_t>(std::clamp<int64_t>(int64_t{r.x} + r.width, x0, size.width));
    const int32_t y1 = static_cast<int32_t>(std::clamp<int64_t>(int64_t{r.y} + r.height, y0, size.height));
    return LpmcImageRegion{x0, y0, x1 - x0, y1 - y0};
}

} // namespace

ScanSettings defaultSettings(int32_t cameraCount, const LpmcImageSize* imageSizes) {
    ScanSettings s;
    s.cameraCount = cameraCount;
    for (int32_t i = 0; i < LPMC_MAX_CAMERAS; ++i) {
        CameraSettings& c = s.camera[static_cast<size_t>(i)];
        c.region = i < cameraCount ? LpmcImageRegion{0, 0, imageSizes[i].width, imageSizes[i].height}
                                   : LpmcImageRegion{0, 0, 0, 0};
        c.thresh = 16;
        c.gaussRadius = 0;
        c.encoder = false;
        c.encoderStep = 1.0;
    }
    return s;
}

void writeConfig(const ScanSettings& s, LpmcConfig& out) {
    out.cameraCount = s.cameraCount;
    out.gap0 = 0;
    for (size_t i = 0; i < LPMC_MAX_CAMERAS; ++i) {
        const CameraSettings& c = s.camera[i];
        if (out.region[i] != nullptr) {
            *out.region[i] = c.region;
        }
        out.thresh[i] = c.thresh;
        out.scan_encode_step[i] = c.encoderStep;
        out.scan_encode_flag[i] = c.encoder ? 1 : 0;
        out.scan_gauss_radius[i] = c.gaussRadius;
    }
    out.laserline_type = s.lineType;
    out.laserline_extract_method = static_cast<int32_t>(s.method);
    out.gap1 = 0;
    out.scan_chessboard_height = s.chessboardHeight;
    out.scan_mult_package_flag = s.multiPackage ? 1 : 0;
    out.scan_end_frame_num = s.endFrameNum;
    out.scan_noise_factor = s.noiseFactor;
    out.scan_deep_img_w = s.deepImageWidth;
    out.scan_deep_img_h = s.deepImageHeight;
    out.gap2 = 0;
    out.scan_min_l = s.minLength;
    out.scan_min_w = s.minWidth;
    out.scan_min_h = s.minHeight;
    out.scan_max_l = s.maxLength;
    out.scan_max_w = s.maxWidth;
    out.scan_max_h = s.maxHeight;
    writeOwn(s.own, out.libraryOwn);
    out.scan_volume_finite_flag = s.finiteVolume ? 1 : 0;
    out.scan_package_intime_flag = s.inTime ? 1 : 0;
    out.scan_package_distance = s.packageDistance;
}

int32_t readConfig(const LpmcConfig& in, int32_t cameraCount, const LpmcImageSize* imageSizes,
                   ScanSettings& out) {
    ScanSettings s;
    // The camera count is the one the instance was created with; the field only reports it.
    s.cameraCount = cameraCount;
    for (int32_t i = 0; i < LPMC_MAX_CAMERAS; ++i) {
        const size_t k = static_cast<size_t>(i);
        CameraSettings& c = s.camera[k];
        if (i < cameraCount) {
            if (in.region[k] == nullptr) {
                return LPMC_ERR_NULL_ARGUMENT;
            }
            c.region = clipRegion(*in.region[k], imageSizes[i]);
            if (c.region.width <= 0 || c.region.height <= 0) {
                return LPMC_ERR_CONFIG;
            }
        }
        c.thresh = in.thresh[k];
        c.gaussRadius = in.scan_gauss_radius[k];
        c.encoder = in.scan_encode_flag[k] != 0;
        c.encoderStep = in.scan_encode_step[k];
        if (i < cameraCount && (c.thresh < 1 || c.thresh > 255 || c.gaussRadius < 0 || c.gaussRadius > 3 ||
                                !std::isfinite(c.encoderStep) || (c.encoder && c.encoderStep <= 0.0))) {
            return LPMC_ERR_CONFIG;
        }
    }
    s.lineType = in.laserline_type;
    if (in.laserline_extract_method < 0 || in.laserline_extract_method >= kExtractMethodCount) {
        return LPMC_ERR_CONFIG;
    }
    s.method = static_cast<ExtractMethod>(in.laserline_extract_method);
    s.chessboardHeight = in.scan_chessboard_height;
    s.multiPackage = in.scan_mult_package_flag != 0;
    s.endFrameNum = in.scan_end_frame_num;
    s.noiseFactor = in.scan_noise_factor;
    s.deepImageWidth = in.scan_deep_img_w;
    s.deepImageHeight = in.scan_deep_img_h;
    s.minLength = in.scan_min_l;
    s.minWidth = in.scan_min_w;
    s.minHeight = in.scan_min_h;
    s.maxLength = in.scan_max_l;
    s.maxWidth = in.scan_max_w;
    s.maxHeight = in.scan_max_h;
    s.finiteVolume = in.scan_volume_finite_flag != 0;
    s.inTime = in.scan_package_intime_flag != 0;
    s.packageDistance = in.scan_package_distance;
    if (!std::isfinite(s.chessboardHeight) || s.endFrameNum < 1 || s.noiseFactor < 0 ||
        s.deepImageWidth < 1 || s.deepImageWidth > 4096 || s.deepImageHeight < 1 ||
        s.deepImageHeight > 4096 || !finiteNonNegative(s.packageDistance)) {
        return LPMC_ERR_CONFIG;
    }
    for (double limit : {s.minLength, s.minWidth, s.minHeight, s.maxLength, s.maxWidth, s.maxHeight}) {
        if (!finiteNonNegative(limit)) {
            return LPMC_ERR_CONFIG;
        }
    }
    if (!readOwn(in.libraryOwn, s.own)) {
        return LPMC_ERR_CONFIG;
    }
    out = s;
    return LPMC_OK;
}

} // namespace lpmc
