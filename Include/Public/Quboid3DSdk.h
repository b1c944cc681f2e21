/* Quboid3D: measures packages on a conveyor from the profiles of a laser line camera, or
 * from a directory of stored images, and hands each measured box to the application.
 *
 * Usage, for one measuring object:
 *   vslbQuboid3DCreate; vslbSetCameraStatusCallback at any time from here on;
 *   vslbQuboid3DInit; vslbSetFrameStatusCallback (needs the cameras that init opened);
 *   vslbQuboid3DRun or vslbQuboid3DRunEx; vslbQuboid3DStop, after which a run may follow;
 *   vslbQuboid3DFini; vslbQuboid3DDestroy.
 * Stop an object before finalising or destroying it: nothing here enforces the order.
 *
 * All result and status callbacks come on the object's measurement thread, one at a time.
 * Lengths are millimetres and volumes cubic millimetres. Usable from C99 and C++. */
#ifndef QUBOID3D_SDK_H
#define QUBOID3D_SDK_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#if defined(QUBOID3D_SDK_BUILD)
#define QUBOID3D_API __declspec(dllexport)
#else
#define QUBOID3D_API __declspec(dllimport)
#endif
#else
#define QUBOID3D_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Names a measuring object; its value is the object's address. 0 is never valid. */
typedef uintptr_t VslbHandle;

/* Return codes of every function. */
enum {
    VSLB_OK = 0,
    VSLB_ERR_FAILED = -1000,           /* general failure */
    VSLB_ERR_NO_CAMERA = -999,         /* no usable camera found */
    VSLB_ERR_OPEN_CAMERA = -998,       /* a camera could not be opened */
    VSLB_ERR_OPEN_LOCAL_DIR = -997,    /* the local image directory could not be opened */
    VSLB_ERR_LPMC_REFUSED = -996,      /* the algorithm library refused its calibration (-1110) */
    VSLB_ERR_READ_CFG = -995,          /* calibration data or scan configuration unreadable */
    VSLB_ERR_LPMC_CREATE = -994,       /* the algorithm library refused its creation */
    VSLB_ERR_SET_CONFIG = -993,        /* the scan configuration could not be set */
    VSLB_ERR_WRITE_CALIB = -991,       /* calibration from the camera could not be written */
    VSLB_ERR_OUTPUT_PLUGIN = -990,     /* the output plug-in could not be loaded or started */
    VSLB_ERR_RECONNECT_TIMEOUT = -989, /* reconnection gave up; never returned by a function */
    VSLB_ERR_NULL_ARGUMENT = -988,     /* cfgDir is null */
    VSLB_ERR_BAD_HANDLE = -987,        /* the handle names no live object */
    VSLB_ERR_NOT_IMPLEMENTED = -986    /* the function has no implementation */
};

/* Values of VslbCameraStatus.status. */
enum {
    VSLB_CAMERA_OFFLINE = 0,          /* the camera is lost and reconnection is switched off */
    VSLB_CAMERA_RECONNECTING = 1,     /* the camera is lost and reconnection begins */
    VSLB_CAMERA_RECONNECTED = 2,      /* reconnection succeeded */
    VSLB_CAMERA_RECONNECT_TIMEOUT = 3 /* reconnection gave up; no more results will come */
};

/* One measured box, handed to VslbVolumeCallbackEx; 552 bytes, little-endian. Bytes not
 * named here are zero. In a short record (detailed 0) only length, width and height are set. */
typedef struct VslbVolumeResult {
    int32_t detailed; /* 1: full record; 0: short record */
    uint8_t reserved0[4];
    double length;         /* mm */
    double width;          /* mm */
    double height;         /* mm */
    double volume;         /* mm^3; 0 in a short record */
    float corners[4][3];   /* the four top corners (x, y, z); the one with the smallest y first */
    uint64_t objEnterTime; /* when the box entered the scan, on the frames' time scale */
    uint64_t objLeaveTime; /* when it left */
    uint8_t reserved1[8];
    const float* points; /* pointCount points of 3 floats; valid during the callback only */
    int32_t pointCount;
    float slantAngle;   /* radians, of the long side, measured from the y axis */
    float topCenter[3]; /* x, y, z of the centre of the top face */
    uint8_t reserved2[4];
    uint64_t enter_sys_time;  /* wall clock, ms since the epoch */
    uint64_t leave_sys_time;  /* wall clock, ms since the epoch */
    uint64_t output_sys_time; /* wall clock, ms since the epoch */
    float axes[3][3];         /* unit directions along width, length and height */
    uint8_t reserved3[348];
} VslbVolumeResult;

/* Handed to VslbFrameStatusCallback after each frame attempt of a camera. */
typedef struct FrameStatusInfo {
    const char* key; /* the camera's key; valid during the call only */
    int32_t ok;      /* 1 if this fetch gave a frame, 0 if not */
} FrameStatusInfo;

/* Handed to VslbCameraStatusCallback; 272 bytes. Only `status` is set: read nothing else. */
typedef struct VslbCameraStatus {
    int32_t status; /* one of VSLB_CAMERA_* */
    uint8_t reserved[268];
} VslbCameraStatus;

/* Each box of a measurement: length, width, height in mm, volume in mm^3. */
typedef void (*VslbVolumeCallback)(double length, double width, double height, double volume);
/* Each box of a measurement in full, or a short record for an object that could not be
 * measured as a box. The record is valid during the call only. */
typedef void (*VslbVolumeCallbackEx)(const VslbVolumeResult* result);
/* After each frame attempt; comes with the camera's frame lock held. */
typedef void (*VslbFrameStatusCallback)(const FrameStatusInfo* info);
/* On loss and reconnection of the camera; comes with the object's status lock held, so it must
 * not call vslbSetCameraStatusCallback of the same object. */
typedef void (*VslbCameraStatusCallback)(const VslbCameraStatus* info);

/* Makes a measuring object and returns its handle. */
QUBOID3D_API VslbHandle vslbQuboid3DCreate(void);

/* Finalises the object and forgets its handle. An unknown handle, or 0, is ignored. The object
 * must have been stopped: destroying one whose measurement thread is alive ends the process. */
QUBOID3D_API void vslbQuboid3DDestroy(VslbHandle handle);

/* Prepares the object from the configuration directory `cfgDir` ("C:\cfg" and "C:/cfg/" are
 * the same; it must not be empty). The file ./LocalMode.dat in the working directory selects
 * local mode (stored images from ./LocalImages/); otherwise the first camera is used.
 * Returns VSLB_OK, VSLB_ERR_NULL_ARGUMENT (checked before the handle), VSLB_ERR_BAD_HANDLE, or
 * the code of the step that failed (-1000 to -990). May be called again after a failure or
 * after vslbQuboid3DFini. */
QUBOID3D_API int32_t vslbQuboid3DInit(VslbHandle handle, const char* cfgDir);

/* Releases the calculator, closes the cameras and finishes the output plug-in. The handle stays
 * valid and may be initialised again. Returns VSLB_OK or VSLB_ERR_BAD_HANDLE. */
QUBOID3D_API int32_t vslbQuboid3DFini(VslbHandle handle);

/* Starts measuring. `callback` is called on the measurement thread for each box, with no lock
 * held; NULL drops the results. Must not be called on an object that is already running.
 * Returns VSLB_OK, VSLB_ERR_BAD_HANDLE or VSLB_ERR_FAILED (the camera could not start). */
QUBOID3D_API int32_t vslbQuboid3DRun(VslbHandle handle, VslbVolumeCallback callback);

/* As vslbQuboid3DRun, with the full record of each box. */
QUBOID3D_API int32_t vslbQuboid3DRunEx(VslbHandle handle, VslbVolumeCallbackEx callback);

/* Stops measuring: waits for the measurement thread to end and stops the cameras. Must not be
 * called from a result callback. Returns VSLB_OK or VSLB_ERR_BAD_HANDLE. */
QUBOID3D_API int32_t vslbQuboid3DStop(VslbHandle handle);

/* Stores the library's version text in *version (which must not be NULL); returns VSLB_OK. */
QUBOID3D_API int32_t vslbQuboid3DGetVersion(const char** version);

/* Sets the callback told of each frame attempt of every camera of the object. Call it after
 * vslbQuboid3DInit. Returns VSLB_OK, VSLB_ERR_BAD_HANDLE, or VSLB_ERR_FAILED when the object
 * has no camera (before init, or in local mode). */
QUBOID3D_API int32_t vslbSetFrameStatusCallback(VslbHandle handle, VslbFrameStatusCallback callback);

/* Sets the callback told of camera loss and reconnection; NULL clears it. Allowed at any time
 * after creation, and kept through later runs. Returns VSLB_OK or VSLB_ERR_BAD_HANDLE. */
QUBOID3D_API int32_t vslbSetCameraStatusCallback(VslbHandle handle, VslbCameraStatusCallback callback);

/* Not implemented: further arguments are accepted and never read. Returns VSLB_ERR_BAD_HANDLE
 * or VSLB_ERR_NOT_IMPLEMENTED. */
QUBOID3D_API int32_t vslbEnableImageOutput(VslbHandle handle, ...);

/* Not implemented: further arguments are accepted and never read. Returns VSLB_ERR_BAD_HANDLE
 * or VSLB_ERR_NOT_IMPLEMENTED. */
QUBOID3D_API int32_t vslbSetImageOutputOption(VslbHandle handle, ...);

#ifdef __cplusplus
}
#endif

/* The records are binary contracts of a 64-bit target. */
#if defined(__cplusplus)
#define QUBOID3D_STATIC_ASSERT(cond, name) static_assert(cond, #name)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define QUBOID3D_STATIC_ASSERT(cond, name) _Static_assert(cond, #name)
#else
#define QUBOID3D_STATIC_ASSERT(cond, name) typedef char quboid3d_assert_##name[(cond) ? 1 : -1]
#endif

QUBOID3D_STATIC_ASSERT(sizeof(void*) == 8, pointer_is_64_bit);
QUBOID3D_STATIC_ASSERT(sizeof(VslbHandle) == sizeof(void*), handle_is_pointer_wide);

QUBOID3D_STATIC_ASSERT(sizeof(VslbVolumeResult) == 552, result_size);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, detailed) == 0, result_detailed);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, reserved0) == 4, result_reserved0);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, length) == 8, result_length);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, width) == 16, result_width);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, height) == 24, result_height);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, volume) == 32, result_volume);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, corners) == 40, result_corners);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, objEnterTime) == 88, result_objEnterTime);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, objLeaveTime) == 96, result_objLeaveTime);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, reserved1) == 104, result_reserved1);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, points) == 112, result_points);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, pointCount) == 120, result_pointCount);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, slantAngle) == 124, result_slantAngle);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, topCenter) == 128, result_topCenter);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, reserved2) == 140, result_reserved2);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, enter_sys_time) == 144, result_enter_sys_time);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, leave_sys_time) == 152, result_leave_sys_time);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, output_sys_time) == 160, result_output_sys_time);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, axes) == 168, result_axes);
QUBOID3D_STATIC_ASSERT(offsetof(VslbVolumeResult, reserved3) == 204, result_reserved3);

QUBOID3D_STATIC_ASSERT(sizeof(FrameStatusInfo) == 16, frame_status_size);
QUBOID3D_STATIC_ASSERT(offsetof(FrameStatusInfo, key) == 0, frame_status_key);
QUBOID3D_STATIC_ASSERT(offsetof(FrameStatusInfo, ok) == 8, frame_status_ok);

QUBOID3D_STATIC_ASSERT(sizeof(VslbCameraStatus) == 272, camera_status_size);
QUBOID3D_STATIC_ASSERT(offsetof(VslbCameraStatus, status) == 0, camera_status_status);
QUBOID3D_STATIC_ASSERT(offsetof(VslbCameraStatus, reserved) == 4, camera_status_reserved);

#endif /* QUBOID3D_SDK_H */
