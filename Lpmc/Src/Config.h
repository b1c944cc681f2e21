// The scan settings of one instance: what lpmcGetConfig reports, what lpmcSetConfig accepts,
// and the library's own block at bytes 184..303 of LpmcConfig.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Lpmc.h"

namespace lpmc {

// Numbered so that 0, what a configuration file most often holds, is the most accurate.
enum class ExtractMethod : int32_t {
    GaussFit = 0,        // weighted least-squares Gaussian over the stripe
    CentreOfGravity = 1, // intensity-weighted mean over the stripe
    Gauss3 = 2,          // Gaussian through the peak and its two neighbours
    DerivativeZero = 3,  // zero crossing of the first derivative
    WholePixel = 4       // row of the brightest pixel (centre of a saturated plateau)
};
constexpr int32_t kExtractMethodCount = 5;

struct CameraSettings {
    LpmcImageRegion region{}; // clipped to the image at configuration
    int32_t thresh = 0;       // least peak grey level of a line
    int32_t gaussRadius = 0;  // 0: no smoothing; r: binomial kernel of 2r+1 taps
    bool encoder = false;     // belt travel from the encoder step instead of timestamps
    double encoderStep = 0.0; // mm per frame
};

// The library's own block (LpmcConfig bytes 184..303), version 1.
struct OwnSettings {
    double objectFloor = 5.0;     // mm above the belt from which a point belongs to an object
    double heightQuantile = 0.99; // quantile of point heights that anchors the top surface
    double heightBand = 3.0;      // mm below that quantile still counted as top surface
    int32_t edgeCompensation = 1; // 1: widen footprints by half a sample spacing
    int32_t minObjectPoints = 50; // fewer points than this make an object noise
    double heightStep = 10.0;     // mm of height between neighbouring points that breaks a run
    double minRunLength = 3.0;    // mm across the belt; shorter runs are noise
    // The laser fan in its plane: apex (board X, mm above the belt) and full opening angle in
    // degrees, symmetric about the plane's downward direction. Angle 0: where the fan reaches
    // is unknown.
    double fanApexX = 0.0;
    double fanApexHeight = 0.0;
    double fanAngleDeg = 0.0;
    bool fanKnown() const { return fanAngleDeg > 0.0; }
    // The light window along the belt: the sheet's thickness (FWHM, mm) and the exposure's share
    // of the frame period. Both 0: unknown.
    double sheetFwhm = 0.0;
    double exposureShare = 0.0;
    bool windowKnown() const { return sheetFwhm > 0.0 || exposureShare > 0.0; }
};

struct ScanSettings {
    int32_t cameraCount = 1;
    std::array<CameraSettings, LPMC_MAX_CAMERAS> camera{};
    int32_t lineType = 0;
    ExtractMethod method = ExtractMethod::GaussFit;
    double chessboardHeight = 0.0;
    bool multiPackage = true;
    int32_t endFrameNum = 10;
    int32_t noiseFactor = 3;
    int32_t deepImageWidth = 256;
    int32_t deepImageHeight = 256;
    double minLength = 20.0, minWidth = 20.0, minHeight = 10.0;
    double maxLength = 5000.0, maxWidth = 3000.0, maxHeight = 3000.0;
    bool finiteVolume = false;
    bool inTime = true;
    double packageDistance = 10.0;
    OwnSettings own{};
};

constexpr uint32_t kOwnMagic = 0x434D504CU; // "LPMC"
constexpr uint32_t kOwnVersion = 1;
// Offsets inside LpmcConfig.libraryOwn.
constexpr size_t kOwnMagicAt = 0;
constexpr size_t kOwnVersionAt = 4;
constexpr size_t kOwnFloorAt = 8;
constexpr size_t kOwnQuantileAt = 16;
constexpr size_t kOwnBandAt = 24;
constexpr size_t kOwnEdgeAt = 32;
constexpr size_t kOwnMinPointsAt = 36;
constexpr size_t kOwnHeightStepAt = 40;
constexpr size_t kOwnMinRunLengthAt = 48;
constexpr size_t kOwnFanApexXAt = LPMC_OWN_FAN_APEX_X;
constexpr size_t kOwnFanApexHeightAt = LPMC_OWN_FAN_APEX_HEIGHT;
constexpr size_t kOwnFanAngleAt = LPMC_OWN_FAN_ANGLE;
constexpr size_t kOwnSheetFwhmAt = LPMC_OWN_SHEET_FWHM;
constexpr size_t kOwnExposureShareAt = LPMC_OWN_EXPOSURE_SHARE;
// The light window's doubles sit at bytes 264 and 272 of LpmcConfig, after the fan's.
static_assert(offsetof(LpmcConfig, libraryOwn) + kOwnSheetFwhmAt == 264);
static_assert(offsetof(LpmcConfig, libraryOwn) + kOwnExposureShareAt == 272);
static_assert(kOwnExposureShareAt + sizeof(double) <= sizeof(LpmcConfig::libraryOwn));

// Settings of a fresh instance for `cameraCount` cameras of the given image sizes.
ScanSettings defaultSettings(int32_t cameraCount, const LpmcImageSize* imageSizes);

// Writes every field of `out` from `settings`; regions only where `out.region[i]` isn't null.
void writeConfig(const ScanSettings& settings, LpmcConfig& out);

// Reads and checks `in`. Returns LPMC_OK or a negative code; `out` is written only on success.
// Regions are clipped to the image; a region of zero width or height means the whole image.
int32_t readConfig(const LpmcConfig& in, int32_t cameraCount, const LpmcImageSize* imageSizes,
                   ScanSettings& out);

} // namespace lpmc
