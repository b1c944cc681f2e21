/* LaserPlaneMultCameras64: the sheet-of-light library. Laser line frames of up to three
 * cameras go in, one frame set per call of lpmcProcess; oriented boxes come out when a package
 * has passed the laser line.
 *
 * Call order: lpmcCreate; lpmcGetConfig and lpmcSetConfig (the region pointers of LpmcConfig
 * must point at allocated records before lpmcGetConfig); lpmcProcess any number of times from
 * one thread at a time; lpmcRelease. Separate handles share nothing and may be used from
 * separate threads at once.
 *
 * All records are little-endian with natural alignment on a 64-bit target; every gap is a
 * named field. Lengths are millimetres, volumes cubic millimetres. Lpmc/README.md tells what
 * every calibration value and configuration field means. Usable from C99 and C++. */
#ifndef LPMC_H
#define LPMC_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#if defined(LPMC_BUILD)
#define LPMC_API __declspec(dllexport)
#else
#define LPMC_API __declspec(dllimport)
#endif
#else
#define LPMC_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Every per-camera array has this many slots. */
#define LPMC_MAX_CAMERAS 3
/* LpmcResult.boxes holds at most this many boxes. */
#define LPMC_MAX_BOXES 5

/* Return codes. 0 is success; every failure is negative. */
enum {
    LPMC_OK = 0,
    LPMC_ERR_NULL_HANDLE = -1101,    /* handle, or the place to store it, is null */
    LPMC_ERR_NULL_ARGUMENT = -1102,  /* a record pointer, or a pointer inside one, is null */
    LPMC_ERR_CREATE_PARAM = -1103,   /* frameNum, cameraCount or an image size is out of range */
    LPMC_ERR_CONFIG = -1104,         /* a configuration value is out of range */
    LPMC_ERR_INPUT = -1105,          /* imageType, image size or line form count doesn't fit */
    LPMC_ERR_NO_MEMORY = -1106,      /* an allocation at create or configuration failed */
    LPMC_ERR_NOT_CONFIGURED = -1107, /* lpmcProcess before a successful lpmcSetConfig */
    LPMC_ERR_CALIBRATION = -1110     /* a calibration the library can't work with */
};

/* LpmcInput.imageType */
enum {
    LPMC_IMAGE_LINE = 2, /* the camera's line form: pipelineCount/First/Second */
    LPMC_IMAGE_MONO8 = 3 /* a plain 8-bit image: LpmcImageDesc.pixels */
};

/* LpmcInput.missingFrames: the source started over (a camera reconnected, a stream restarted):
 * an unknown number of frame sets were lost, and the timestamps may start again anywhere. */
#define LPMC_FRAMES_RESTARTED (-1)

/* LpmcResult.resultState */
enum {
    LPMC_STATE_NONE = 0,      /* nothing yet: feed the next frame */
    LPMC_STATE_BOXES = 1,     /* boxes[0 .. volumeNum-1] are final measurements */
    LPMC_STATE_UNMEASURED = 2 /* an object passed but isn't reportable as a measured box */
};

/* Index of each element of the 8 x u16 wall-clock stamps of LpmcBox (local time). */
enum {
    LPMC_TIME_YEAR = 0,
    LPMC_TIME_MONTH = 1,       /* 1 .. 12 */
    LPMC_TIME_DAY_OF_WEEK = 2, /* 0 = Sunday */
    LPMC_TIME_DAY = 3,         /* 1 .. 31 */
    LPMC_TIME_HOUR = 4,
    LPMC_TIME_MINUTE = 5,
    LPMC_TIME_SECOND = 6,
    LPMC_TIME_MILLISECOND = 7
};

typedef struct LpmcImageSize {
    int32_t width;
    int32_t height;
} LpmcImageSize;

/* Nine intrinsics (camera matrix row by row), five distortion values (k1, k2, p1, p2, k3) and
 * six extrinsics (rotation vector rx, ry, rz; translation tx, ty, tz in mm, board to camera). */
typedef struct LpmcLensModel {
    double* intrinsics;
    double* distortion;
    double* extrinsics;
    void* reserved;
} LpmcLensModel;

/* Laser plane in camera coordinates: PlaneA x + PlaneB y + PlaneC z = 1. */
typedef struct LpmcLightPlane {
    double PlaneA;
    double PlaneB;
    double PlaneC;
    double PlaneHeightFactor;
} LpmcLightPlane;

/* Belt travel in mm per timestamp unit, in board coordinates. */
typedef struct LpmcMotion {
    double SpeedVx;
    double SpeedVy;
} LpmcMotion;

typedef struct LpmcCameraCalib {
    LpmcLensModel* lens;
    LpmcLightPlane* plane;
    LpmcMotion* motion;
} LpmcCameraCalib;

typedef struct LpmcCreateParam {
    int32_t frameNum;    /* scan_frame_num: most frames one object may span */
    int32_t cameraCount; /* 1 .. 3 */
    LpmcImageSize imageSize[LPMC_MAX_CAMERAS];
    LpmcCameraCalib* calib[LPMC_MAX_CAMERAS];
    int32_t reserved0; /* 0 */
    int32_t reserved1; /* 2 */
} LpmcCreateParam;

typedef struct LpmcImageRegion {
    int32_t x;
    int32_t y;
    int32_t width;
    int32_t height;
} LpmcImageRegion;

/* Byte offsets inside LpmcConfig.libraryOwn of the laser fan's reach, three doubles: the fan's
 * apex (board X in mm, height above the belt in mm) and its full opening angle in degrees,
 * symmetric about the laser plane's downward direction. All zero (the default): unknown. A
 * caller that knows the fan writes them between lpmcGetConfig and lpmcSetConfig. */
#define LPMC_OWN_FAN_APEX_X 56
#define LPMC_OWN_FAN_APEX_HEIGHT 64
#define LPMC_OWN_FAN_ANGLE 72

/* Byte offsets inside LpmcConfig.libraryOwn of the light window along the belt, two doubles:
 * the laser sheet's thickness along the belt at the belt (full width at half maximum, mm) and
 * the exposure time as a share of the frame period (0..1; the belt travels that share of the
 * profile spacing while a frame is exposed, centred on its stamp). Both zero (the default): the
 * window is unknown. */
#define LPMC_OWN_SHEET_FWHM 80
#define LPMC_OWN_EXPOSURE_SHARE 88

typedef struct LpmcConfig {
    int32_t cameraCount;
    int32_t gap0;
    LpmcImageRegion* region[LPMC_MAX_CAMERAS];
    int32_t thresh[LPMC_MAX_CAMERAS];
    int32_t laserline_type;
    int32_t laserline_extract_method;
    int32_t gap1;
    double scan_chessboard_height;
    double scan_encode_step[LPMC_MAX_CAMERAS];
    int32_t scan_encode_flag[LPMC_MAX_CAMERAS];
    int32_t scan_gauss_radius[LPMC_MAX_CAMERAS];
    int32_t scan_mult_package_flag;
    int32_t scan_end_frame_num;
    int32_t scan_noise_factor;
    int32_t scan_deep_img_w;
    int32_t scan_deep_img_h;
    int32_t gap2;
    double scan_min_l;
    double scan_min_w;
    double scan_min_h;
    double scan_max_l;
    double scan_max_w;
    double scan_max_h;
    uint8_t libraryOwn[120]; /* the library's own settings, carried through unchanged */
    int32_t scan_volume_finite_flag;
    int32_t scan_package_intime_flag;
    double scan_package_distance;
} LpmcConfig;

typedef struct LpmcImageDesc {
    uint64_t sourceTag; /* 256 for a stored image */
    int32_t width;
    int32_t height;
    LpmcImageRegion region;
    const uint8_t* pixels; /* 8-bit grey, row after row, width bytes per row */
    uint8_t unused[184];
} LpmcImageDesc;

typedef struct LpmcInput {
    int32_t imageType[LPMC_MAX_CAMERAS];
    /* Frame sets lost just before this one: 0 none (always 0 for stored images), N > 0 that
     * many with the clock running on, or LPMC_FRAMES_RESTARTED. Every object being scanned
     * across the loss, or starting in this frame set, is reported unmeasurable (resultState 2);
     * objects that start later are measured as usual. Anything below -1 is LPMC_ERR_INPUT. */
    int32_t missingFrames;
    LpmcImageDesc* image[LPMC_MAX_CAMERAS];
    double timestamp[LPMC_MAX_CAMERAS];
    int32_t pipelineCount[LPMC_MAX_CAMERAS];
    int32_t gap1;
    const void* pipelineFirst[LPMC_MAX_CAMERAS];  /* float[count]: line row per column */
    const void* pipelineSecond[LPMC_MAX_CAMERAS]; /* uint8_t[count]: peak per column */
} LpmcInput;

typedef struct LpmcBox {
    float center[3];
    float axis0[3]; /* along the width */
    float axis1[3]; /* along the length */
    float axis2[3]; /* along the height */
    float length;
    float width;
    float height;
    int32_t gap0;
    double objEnterTime;
    double objLeaveTime;
    uint16_t enter_sys_time[8];
    uint16_t leave_sys_time[8];
    uint16_t output_sys_time[8];
    float volume;
    int32_t gap1;
} LpmcBox;

typedef struct LpmcResult {
    uint8_t reserved0[48];
    float* points;    /* pointCount x (x, y, z) */
    float* auxPoints; /* pointCount x 3 floats, see Lpmc/README.md */
    int32_t pointCount;
    int32_t resultState;
    LpmcBox* boxes[LPMC_MAX_BOXES];
    uint8_t boxAux[40];
    int32_t volumeNum;
    uint8_t reserved1[108];
} LpmcResult;

/* Creates an instance; stores it in *handle. 0 or a negative code (-1110: calibration refused). */
LPMC_API int32_t lpmcCreate(void** handle, LpmcCreateParam* param);
/* Fills every field of *config with the instance's current values (defaults after create). */
LPMC_API int32_t lpmcGetConfig(void* handle, LpmcConfig* config);
/* Takes a configuration; builds the per-pixel tables and the buffers the frames need. */
LPMC_API int32_t lpmcSetConfig(void* handle, LpmcConfig* config);
/* Takes one frame per camera; writes *result. The result's lists and boxes stay valid until the
 * next call on the same handle. */
LPMC_API int32_t lpmcProcess(void* handle, LpmcInput* input, LpmcResult* result);
/* Frees the instance. A null handle is ignored. */
LPMC_API int32_t lpmcRelease(void* handle);

#ifdef __cplusplus
}
#endif

/* The layout is a contract in memory: every size and offset is checked. */
#if defined(__cplusplus)
#define LPMC_STATIC_ASSERT(cond, name) static_assert(cond, #name)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define LPMC_STATIC_ASSERT(cond, name) _Static_assert(cond, #name)
#else
#define LPMC_STATIC_ASSERT(cond, name) typedef char lpmc_assert_##name[(cond) ? 1 : -1]
#endif

LPMC_STATIC_ASSERT(sizeof(void*) == 8, lpmc_pointer_is_64_bit);

LPMC_STATIC_ASSERT(sizeof(LpmcImageSize) == 8, size_size);
LPMC_STATIC_ASSERT(offsetof(LpmcImageSize, width) == 0, size_width);
LPMC_STATIC_ASSERT(offsetof(LpmcImageSize, height) == 4, size_height);

LPMC_STATIC_ASSERT(sizeof(LpmcCreateParam) == 64, create_size);
LPMC_STATIC_ASSERT(offsetof(LpmcCreateParam, frameNum) == 0, create_frameNum);
LPMC_STATIC_ASSERT(offsetof(LpmcCreateParam, cameraCount) == 4, create_cameraCount);
LPMC_STATIC_ASSERT(offsetof(LpmcCreateParam, imageSize) == 8, create_imageSize);
LPMC_STATIC_ASSERT(offsetof(LpmcCreateParam, calib) == 32, create_calib);
LPMC_STATIC_ASSERT(offsetof(LpmcCreateParam, reserved0) == 56, create_reserved0);
LPMC_STATIC_ASSERT(offsetof(LpmcCreateParam, reserved1) == 60, create_reserved1);

LPMC_STATIC_ASSERT(sizeof(LpmcCameraCalib) == 24, calib_size);
LPMC_STATIC_ASSERT(offsetof(LpmcCameraCalib, lens) == 0, calib_lens);
LPMC_STATIC_ASSERT(offsetof(LpmcCameraCalib, plane) == 8, calib_plane);
LPMC_STATIC_ASSERT(offsetof(LpmcCameraCalib, motion) == 16, calib_motion);

LPMC_STATIC_ASSERT(sizeof(LpmcLensModel) == 32, lens_size);
LPMC_STATIC_ASSERT(offsetof(LpmcLensModel, intrinsics) == 0, lens_intrinsics);
LPMC_STATIC_ASSERT(offsetof(LpmcLensModel, distortion) == 8, lens_distortion);
LPMC_STATIC_ASSERT(offsetof(LpmcLensModel, extrinsics) == 16, lens_extrinsics);
LPMC_STATIC_ASSERT(offsetof(LpmcLensModel, reserved) == 24, lens_reserved);

LPMC_STATIC_ASSERT(sizeof(LpmcLightPlane) == 32, plane_size);
LPMC_STATIC_ASSERT(offsetof(LpmcLightPlane, PlaneA) == 0, plane_PlaneA);
LPMC_STATIC_ASSERT(offsetof(LpmcLightPlane, PlaneB) == 8, plane_PlaneB);
LPMC_STATIC_ASSERT(offsetof(LpmcLightPlane, PlaneC) == 16, plane_PlaneC);
LPMC_STATIC_ASSERT(offsetof(LpmcLightPlane, PlaneHeightFactor) == 24, plane_PlaneHeightFactor);

LPMC_STATIC_ASSERT(sizeof(LpmcMotion) == 16, motion_size);
LPMC_STATIC_ASSERT(offsetof(LpmcMotion, SpeedVx) == 0, motion_SpeedVx);
LPMC_STATIC_ASSERT(offsetof(LpmcMotion, SpeedVy) == 8, motion_SpeedVy);

LPMC_STATIC_ASSERT(sizeof(LpmcImageRegion) == 16, region_size);
LPMC_STATIC_ASSERT(offsetof(LpmcImageRegion, x) == 0, region_x);
LPMC_STATIC_ASSERT(offsetof(LpmcImageRegion, y) == 4, region_y);
LPMC_STATIC_ASSERT(offsetof(LpmcImageRegion, width) == 8, region_width);
LPMC_STATIC_ASSERT(offsetof(LpmcImageRegion, height) == 12, region_height);

LPMC_STATIC_ASSERT(sizeof(LpmcConfig) == 320, config_size);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, cameraCount) == 0, config_cameraCount);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, gap0) == 4, config_gap0);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, region) == 8, config_region);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, thresh) == 32, config_thresh);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, laserline_type) == 44, config_laserline_type);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, laserline_extract_method) == 48, config_laserline_extract_method);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, gap1) == 52, config_gap1);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_chessboard_height) == 56, config_scan_chessboard_height);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_encode_step) == 64, config_scan_encode_step);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_encode_flag) == 88, config_scan_encode_flag);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_gauss_radius) == 100, config_scan_gauss_radius);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_mult_package_flag) == 112, config_scan_mult_package_flag);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_end_frame_num) == 116, config_scan_end_frame_num);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_noise_factor) == 120, config_scan_noise_factor);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_deep_img_w) == 124, config_scan_deep_img_w);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_deep_img_h) == 128, config_scan_deep_img_h);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, gap2) == 132, config_gap2);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_min_l) == 136, config_scan_min_l);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_min_w) == 144, config_scan_min_w);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_min_h) == 152, config_scan_min_h);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_max_l) == 160, config_scan_max_l);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_max_w) == 168, config_scan_max_w);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_max_h) == 176, config_scan_max_h);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, libraryOwn) == 184, config_libraryOwn);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_volume_finite_flag) == 304, config_scan_volume_finite_flag);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_package_intime_flag) == 308, config_scan_package_intime_flag);
LPMC_STATIC_ASSERT(offsetof(LpmcConfig, scan_package_distance) == 312, config_scan_package_distance);

LPMC_STATIC_ASSERT(sizeof(LpmcImageDesc) == 224, desc_size);
LPMC_STATIC_ASSERT(offsetof(LpmcImageDesc, sourceTag) == 0, desc_sourceTag);
LPMC_STATIC_ASSERT(offsetof(LpmcImageDesc, width) == 8, desc_width);
LPMC_STATIC_ASSERT(offsetof(LpmcImageDesc, height) == 12, desc_height);
LPMC_STATIC_ASSERT(offsetof(LpmcImageDesc, region) == 16, desc_region);
LPMC_STATIC_ASSERT(offsetof(LpmcImageDesc, pixels) == 32, desc_pixels);
LPMC_STATIC_ASSERT(offsetof(LpmcImageDesc, unused) == 40, desc_unused);

LPMC_STATIC_ASSERT(sizeof(LpmcInput) == 128, input_size);
LPMC_STATIC_ASSERT(offsetof(LpmcInput, imageType) == 0, input_imageType);
LPMC_STATIC_ASSERT(offsetof(LpmcInput, missingFrames) == 12, input_missingFrames);
LPMC_STATIC_ASSERT(offsetof(LpmcInput, image) == 16, input_image);
LPMC_STATIC_ASSERT(offsetof(LpmcInput, timestamp) == 40, input_timestamp);
LPMC_STATIC_ASSERT(offsetof(LpmcInput, pipelineCount) == 64, input_pipelineCount);
LPMC_STATIC_ASSERT(offsetof(LpmcInput, gap1) == 76, input_gap1);
LPMC_STATIC_ASSERT(offsetof(LpmcInput, pipelineFirst) == 80, input_pipelineFirst);
LPMC_STATIC_ASSERT(offsetof(LpmcInput, pipelineSecond) == 104, input_pipelineSecond);

LPMC_STATIC_ASSERT(sizeof(LpmcBox) == 136, box_size);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, center) == 0, box_center);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, axis0) == 12, box_axis0);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, axis1) == 24, box_axis1);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, axis2) == 36, box_axis2);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, length) == 48, box_length);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, width) == 52, box_width);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, height) == 56, box_height);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, gap0) == 60, box_gap0);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, objEnterTime) == 64, box_objEnterTime);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, objLeaveTime) == 72, box_objLeaveTime);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, enter_sys_time) == 80, box_enter_sys_time);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, leave_sys_time) == 96, box_leave_sys_time);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, output_sys_time) == 112, box_output_sys_time);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, volume) == 128, box_volume);
LPMC_STATIC_ASSERT(offsetof(LpmcBox, gap1) == 132, box_gap1);

LPMC_STATIC_ASSERT(sizeof(LpmcResult) == 264, result_size);
LPMC_STATIC_ASSERT(offsetof(LpmcResult, reserved0) == 0, result_reserved0);
LPMC_STATIC_ASSERT(offsetof(LpmcResult, points) == 48, result_points);
LPMC_STATIC_ASSERT(offsetof(LpmcResult, auxPoints) == 56, result_auxPoints);
LPMC_STATIC_ASSERT(offsetof(LpmcResult, pointCount) == 64, result_pointCount);
LPMC_STATIC_ASSERT(offsetof(LpmcResult, resultState) == 68, result_resultState);
LPMC_STATIC_ASSERT(offsetof(LpmcResult, boxes) == 72, result_boxes);
LPMC_STATIC_ASSERT(offsetof(LpmcResult, boxAux) == 112, result_boxAux);
LPMC_STATIC_ASSERT(offsetof(LpmcResult, volumeNum) == 152, result_volumeNum);
LPMC_STATIC_ASSERT(offsetof(LpmcResult, reserved1) == 156, result_reserved1);

#endif /* LPMC_H */
