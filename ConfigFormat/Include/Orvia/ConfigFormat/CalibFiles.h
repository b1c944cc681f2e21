// The files of a configuration directory (by default ./3DCfg/) and the keys each one holds.
// Every reader and writer of these files takes the names and keys from here, so that a new file
// or key is added in one place. The spellings are the system's own and stay as they are.
#pragma once

#include <string>

namespace Orvia::VisionSystem::ConfigFormat {

// Scan settings: image size, line extraction, limits, encoder.
inline constexpr const char* kScanFile = "CalibScanCfg.cfg";
// The laser plane in camera coordinates.
inline constexpr const char* kLightPlaneFile = "LightPlaneParam.data";
// Belt travel per timestamp unit.
inline constexpr const char* kMovePoseFile = "LaserMovePose.data";
// Camera settings that travel with the calibration.
inline constexpr const char* kCameraParamsFile = "CameraParams.cfg";

// Lens and pose of camera `camera` (0 for the first).
inline std::string intrinsicsFile(unsigned camera) {
    return "CamInstrinsic" + std::to_string(camera) + ".data";
}
inline std::string extrinsicsFile(unsigned camera) {
    return "CamExtrinsic" + std::to_string(camera) + ".data";
}

namespace ScanKey {
inline constexpr const char* kImageWidth = "image_width";
inline constexpr const char* kImageHeight = "image_height";
inline constexpr const char* kFrameNum = "scan_frame_num";
inline constexpr const char* kFrameTimeout = "scan_frame_timeout";
inline constexpr const char* kThresh = "thresh";
inline constexpr const char* kLaserlineType = "laserline_type";
inline constexpr const char* kExtractMethod = "laserline_extract_method";
inline constexpr const char* kGaussRadius = "scan_gauss_radius";
inline constexpr const char* kChessboardHeight = "scan_chessboard_height";
inline constexpr const char* kEncodeFlag = "scan_encode_flag";
inline constexpr const char* kEncodeStep = "scan_encode_step";
inline constexpr const char* kMultPackageFlag = "scan_mult_package_flag";
inline constexpr const char* kEndFrameNum = "scan_end_frame_num";
inline constexpr const char* kNoiseFactor = "scan_noise_factor";
inline constexpr const char* kDeepImageWidth = "scan_deep_img_w";
inline constexpr const char* kDeepImageHeight = "scan_deep_img_h";
inline constexpr const char* kMinLength = "scan_min_l";
inline constexpr const char* kMinWidth = "scan_min_w";
inline constexpr const char* kMinHeight = "scan_min_h";
inline constexpr const char* kMaxLength = "scan_max_l";
inline constexpr const char* kMaxWidth = "scan_max_w";
inline constexpr const char* kMaxHeight = "scan_max_h";
inline constexpr const char* kVolumeFiniteFlag = "scan_volume_finite_flag";
inline constexpr const char* kPackageIntimeFlag = "scan_package_intime_flag";
inline constexpr const char* kPackageDistance = "scan_package_distance";
// Optional: the laser fan's apex (board X, mm above the belt) and full opening angle (degrees).
inline constexpr const char* kLaserFan = "scan_laser_fan";
// Optional: the laser sheet's thickness along the belt at the belt, FWHM in mm.
inline constexpr const char* kLaserSheet = "scan_laser_sheet";
// Optional: the exposure time as a share of the frame period (0..1).
inline constexpr const char* kExposureShare = "scan_exposure_share";
} // namespace ScanKey

namespace LightPlaneKey {
inline constexpr const char* kA = "PlaneA";
inline constexpr const char* kB = "PlaneB";
inline constexpr const char* kC = "PlaneC";
inline constexpr const char* kHeightFactor = "PlaneHeightFactor";
} // namespace LightPlaneKey

namespace MovePoseKey {
inline constexpr const char* kSpeedVx = "SpeedVx";
inline constexpr const char* kSpeedVy = "SpeedVy";
} // namespace MovePoseKey

namespace IntrinsicsKey {
inline constexpr const char* kCameraMatrix = "InstriCamParams";   // nine values, row by row
inline constexpr const char* kDistortion = "InstriCamDistorTion"; // k1, k2, p1, p2, k3
} // namespace IntrinsicsKey

namespace ExtrinsicsKey {
inline constexpr const char* kPose = "ExtriCamParams"; // rotation vector (rad), translation (mm)
} // namespace ExtrinsicsKey

namespace CameraParamsKey {
inline constexpr const char* kWidth = "Width";
inline constexpr const char* kHeight = "Height";
inline constexpr const char* kPixelFormat = "PixelFormat";
inline constexpr const char* kFrameRate = "AcquisitionFrameRate";
inline constexpr const char* kExposureTime = "ExposureTime";
inline constexpr const char* kGain = "Gain";
inline constexpr const char* kTriggerMode = "TriggerMode";
} // namespace CameraParamsKey

} // namespace Orvia::VisionSystem::ConfigFormat
