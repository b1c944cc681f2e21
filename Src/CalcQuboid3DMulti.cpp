#include "CalcQuboid3DMulti.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "FrameImage.h"
#include "KeyValueCfgParser.h"
#include "LoadImage.h"
#include "MvCamera.h"
#include "Orvia/ConfigFormat/CalibFiles.h"
#include "Quboid3DSdk.h"
#include "VsLog.h"

namespace Orvia::VisionSystem {
namespace {

namespace ScanKey = ConfigFormat::ScanKey;

constexpr const char* kLogSource = "Src/CalcQuboid3DMulti.cpp";
constexpr const char* kChannel = "Volume";
constexpr const char* kInitializeFn = "Orvia::VisionSystem::CCalcQuboid3DMulti::initialize";
constexpr const char* kReadCalibFn = "Orvia::VisionSystem::CCalcQuboid3DMulti::readCalibData";
constexpr const char* kReadConfigFn = "Orvia::VisionSystem::CCalcQuboid3DMulti::readConfig";
constexpr const char* kSetConfigFn = "Orvia::VisionSystem::CCalcQuboid3DMulti::setConfig";
constexpr const char* kProcessFn = "Orvia::VisionSystem::CCalcQuboid3DMulti::process";
constexpr const char* kDefaultCfgDir = "./3DCfg/";
constexpr std::uint64_t kStoredImageTag = 0x100;
constexpr int kIntrinsicsCount = 9;
constexpr int kDistortionCount = 5;
constexpr int kExtrinsicsCount = 6;

std::string dirOrDefault(const std::string& cfgDir) {
    return cfgDir.empty() ? kDefaultCfgDir : cfgDir;
}

void setError(int* error, int code) {
    if (error != nullptr)
        *error = code;
}

// The library's creation codes as the C interface reports them; the table lives as long as the
// process.
int translateCreateFailure(int code) {
    static const std::map<int, int> known{{LPMC_ERR_CALIBRATION, VSLB_ERR_LPMC_REFUSED}};
    const auto found = known.find(code);
    return found != known.end() ? found->second : VSLB_ERR_LPMC_CREATE;
}

// The timestamp of each stored image: one single-precision count for the whole process, never
// reset, shared by every measuring object. Relaxed atomics keep two objects from tearing it
// without ordering them: like any unguarded counter, a race may hand out one value twice.
std::atomic<float> storedImageCounter{1.0f};

// Region records handed to the library stay allocated to the end of the process; they are
// kept here so that they stay reachable.
void keepForProcessLifetime(LpmcImageRegion* region) {
    static std::vector<std::unique_ptr<LpmcImageRegion>> regions;
    static std::mutex mutex;
    std::lock_guard lock(mutex);
    regions.emplace_back(region);
}

// Copies at most `capacity` elements of a list value into `target`; missing elements stay.
void copyList(CKeyValueCfgParser& parser, const char* key, double* target, int capacity) {
    double* values = nullptr;
    const int count = parser.getVal(key, values);
    std::copy_n(values, std::min(count, capacity), target);
}

// The per-camera calibration file names, formed in buffers of 512 bytes.
std::string cameraFile(const std::string& dir, const std::string& name) {
    char path[512];
    std::snprintf(path, sizeof path, "%s%s", dir.c_str(), name.c_str());
    return path;
}

template <class T>
T* allocateCleared() {
    return new T{};
}

// The laser fan's reach, when the scan file states it, goes into the sheet-of-light library's
// own block; without the key the block keeps what the library reported.
void readLaserFan(CKeyValueCfgParser& scan, LpmcConfig& config) {
    double* fan = nullptr;
    if (scan.getVal(ConfigFormat::ScanKey::kLaserFan, fan) < 3) {
        return;
    }
    std::memcpy(config.libraryOwn + LPMC_OWN_FAN_APEX_X, &fan[0], sizeof(double));
    std::memcpy(config.libraryOwn + LPMC_OWN_FAN_APEX_HEIGHT, &fan[1], sizeof(double));
    std::memcpy(config.libraryOwn + LPMC_OWN_FAN_ANGLE, &fan[2], sizeof(double));
}

// The light window along the belt (the sheet's thickness and the exposure's share of the frame
// period), each where the scan file states it.
void readLightWindow(CKeyValueCfgParser& scan, LpmcConfig& config) {
    double value = 0.0;
    if (scan.getVal(ConfigFormat::ScanKey::kLaserSheet, value)) {
        std::memcpy(config.libraryOwn + LPMC_OWN_SHEET_FWHM, &value, sizeof(double));
    }
    if (scan.getVal(ConfigFormat::ScanKey::kExposureShare, value)) {
        std::memcpy(config.libraryOwn + LPMC_OWN_EXPOSURE_SHARE, &value, sizeof(double));
    }
}

} // namespace

CCalcQuboid3DMulti::CCalcQuboid3DMulti() {
    for (std::uint32_t i = 0; i < LPMC_MAX_CAMERAS; ++i) {
        createParam.calib[i] = nullptr;
        input.image[i] = nullptr;
    }
}

// Releasing the library is the owner's duty: a calculator dropped without release() abandons
// its library instance. Our own records go with it all the same, since that instance is never
// called again.
CCalcQuboid3DMulti::~CCalcQuboid3DMulti() {
    freeRecords();
}

void CCalcQuboid3DMulti::allocateCalibration() {
    for (std::uint32_t i = 0; i < cameraCount; ++i) {
        auto* calib = allocateCleared<LpmcCameraCalib>();
        calib->lens = allocateCleared<LpmcLensModel>();
        calib->plane = allocateCleared<LpmcLightPlane>();
        calib->motion = allocateCleared<LpmcMotion>();
        calib->lens->intrinsics = new double[kIntrinsicsCount]{};
        calib->lens->distortion = new double[kDistortionCount]{};
        calib->lens->extrinsics = new double[kExtrinsicsCount]{};
        calib->lens->reserved = nullptr;
        createParam.calib[i] = calib;
    }
}

bool CCalcQuboid3DMulti::initialize(const std::string& cfgDir, int* outError) {
    VS_LOG_INFO(kChannel, kInitializeFn, "3DVolume do initialize starting...\n");
    initialized = false;
    std::memset(&config, 0, sizeof config);
    cameraCount = 1;
    createParam.cameraCount = 1;
    allocateCalibration();

    if (!readCalibData(cfgDir)) {
        setError(outError, VSLB_ERR_READ_CFG);
        VS_LOG_ERROR(kChannel, kInitializeFn, "Read calib data failed.\n");
        return false;
    }
    VS_LOG_INFO(kChannel, kInitializeFn, "Read calib data success.\n");

    const std::string scanPath = dirOrDefault(cfgDir) + ConfigFormat::kScanFile;
    CKeyValueCfgParser scan;
    if (!scan.parseKeyValueCfg(scanPath.c_str(), true)) {
        setError(outError, VSLB_ERR_READ_CFG);
        VS_LOG_ERROR(kChannel, kInitializeFn, "Open cfg file[%s] failed.\n", scanPath.c_str());
        return false;
    }
    createParam.cameraCount = static_cast<std::int32_t>(cameraCount);
    scan.getVal(ScanKey::kFrameNum, createParam.frameNum);
    for (std::uint32_t i = 0; i < cameraCount; ++i) {
        scan.getVal(ScanKey::kImageWidth, createParam.imageSize[i].width);
        scan.getVal(ScanKey::kImageHeight, createParam.imageSize[i].height);
    }
    createParam.reserved0 = 0;
    createParam.reserved1 = 2;
    scan.getVal(ScanKey::kFrameTimeout, frameTimeout);

    if (const int code = lpmcCreate(&handle, &createParam); code != 0) {
        setError(outError, translateCreateFailure(code));
        VS_LOG_ERROR(kChannel, kInitializeFn, "lpmcCreate run failed, error code: %d\n", code);
        return false;
    }
    VS_LOG_INFO(kChannel, kInitializeFn, "laserPlaneInit success.\n");

    if (!setConfig(cfgDir)) {
        setError(outError, VSLB_ERR_SET_CONFIG);
        VS_LOG_ERROR(kChannel, kInitializeFn, "Set config failed.\n");
        return false;
    }
    VS_LOG_INFO(kChannel, kInitializeFn, "Set config success.\n");

    // Filled anew in every pass, so not cleared here.
    for (std::uint32_t i = 0; i < cameraCount; ++i)
        input.image[i] = static_cast<LpmcImageDesc*>(::operator new(sizeof(LpmcImageDesc)));
    result.points = nullptr;
    result.auxPoints = nullptr;
    stopRequested.store(false);
    pendingList.clear();
    initialized = true;
    VS_LOG_INFO(kChannel, kInitializeFn, "3DVolume do initialize finish.\n");
    return true;
}

bool CCalcQuboid3DMulti::readCalibData(const std::string& cfgDir) {
    const std::string dir = dirOrDefault(cfgDir);
    const std::string planePath = dir + ConfigFormat::kLightPlaneFile;
    CKeyValueCfgParser plane;
    if (!plane.parseKeyValueCfg(planePath.c_str(), true)) {
        VS_LOG_ERROR(kChannel, kReadCalibFn, "Open cfg file[%s] failed.\n", planePath.c_str());
        return false;
    }
    const std::string motionPath = dir + ConfigFormat::kMovePoseFile;
    CKeyValueCfgParser motion;
    if (!motion.parseKeyValueCfg(motionPath.c_str(), true)) {
        VS_LOG_ERROR(kChannel, kReadCalibFn, "Open cfg file[%s] failed.\n", motionPath.c_str());
        return false;
    }
    for (std::uint32_t i = 0; i < cameraCount; ++i) {
        const std::string intrinsicsPath = cameraFile(dir, ConfigFormat::intrinsicsFile(i));
        const std::string extrinsicsPath = cameraFile(dir, ConfigFormat::extrinsicsFile(i));
        CKeyValueCfgParser intrinsics;
        if (!intrinsics.parseKeyValueCfg(intrinsicsPath.c_str(), true)) {
            VS_LOG_ERROR(kChannel, kReadCalibFn, "Open cfg file[%s] failed.\n", intrinsicsPath.c_str());
            return false;
        }
        CKeyValueCfgParser extrinsics;
        if (!extrinsics.parseKeyValueCfg(extrinsicsPath.c_str(), true)) {
            VS_LOG_ERROR(kChannel, kReadCalibFn, "Open cfg file[%s] failed.\n", extrinsicsPath.c_str());
            return false;
        }
        LpmcCameraCalib& calib = *createParam.calib[i];
        copyList(intrinsics, ConfigFormat::IntrinsicsKey::kCameraMatrix, calib.lens->intrinsics,
                 kIntrinsicsCount);
        copyList(intrinsics, ConfigFormat::IntrinsicsKey::kDistortion, calib.lens->distortion,
                 kDistortionCount);
        copyList(extrinsics, ConfigFormat::ExtrinsicsKey::kPose, calib.lens->extrinsics, kExtrinsicsCount);
        plane.getVal(ConfigFormat::LightPlaneKey::kA, calib.plane->PlaneA);
        plane.getVal(ConfigFormat::LightPlaneKey::kB, calib.plane->PlaneB);
        plane.getVal(ConfigFormat::LightPlaneKey::kC, calib.plane->PlaneC);
        plane.getVal(ConfigFormat::LightPlaneKey::kHeightFactor, calib.plane->PlaneHeightFactor);
        motion.getVal(ConfigFormat::MovePoseKey::kSpeedVx, calib.motion->SpeedVx);
        motion.getVal(ConfigFormat::MovePoseKey::kSpeedVy, calib.motion->SpeedVy);
        if (forceUnitSpeedVy)
            calib.motion->SpeedVy = 1.0;
    }
    return true;
}

bool CCalcQuboid3DMulti::setConfig(const std::string& cfgDir) {
    for (std::uint32_t i = 0; i < cameraCount; ++i) {
        config.region[i] = static_cast<LpmcImageRegion*>(::operator new(sizeof(LpmcImageRegion)));
        keepForProcessLifetime(config.region[i]);
    }
    if (const int flag = lpmcGetConfig(handle, &config); flag < 0) {
        VS_LOG_ERROR(kChannel, kSetConfigFn, "lpmcGetConfig run failed. flag[%d]\n", flag);
        return false;
    }
    if (!readConfig(cfgDir)) {
        VS_LOG_ERROR(kChannel, kSetConfigFn, "Read cfg ScanConfig.yml failed.\n");
        return false;
    }
    if (const int flag = lpmcSetConfig(handle, &config); flag < 0) {
        VS_LOG_ERROR(kChannel, kSetConfigFn, "lpmcSetConfig run failed. flag[%d]\n", flag);
        return false;
    }
    return true;
}

bool CCalcQuboid3DMulti::readConfig(const std::string& cfgDir) {
    const std::string path = dirOrDefault(cfgDir) + ConfigFormat::kScanFile;
    CKeyValueCfgParser scan;
    if (!scan.parseKeyValueCfg(path.c_str(), true)) {
        VS_LOG_ERROR(kChannel, kReadConfigFn, "Open cfg file[%s] failed.\n", path.c_str());
        return false;
    }
    config.cameraCount = static_cast<std::int32_t>(cameraCount);
    scan.getVal(ScanKey::kLaserlineType, config.laserline_type);
    scan.getVal(ScanKey::kExtractMethod, config.laserline_extract_method);
    scan.getVal(ScanKey::kChessboardHeight, config.scan_chessboard_height);
    scan.getVal(ScanKey::kMultPackageFlag, config.scan_mult_package_flag);
    scan.getVal(ScanKey::kEndFrameNum, config.scan_end_frame_num);
    scan.getVal(ScanKey::kMinLength, config.scan_min_l);
    scan.getVal(ScanKey::kMinWidth, config.scan_min_w);
    scan.getVal(ScanKey::kMinHeight, config.scan_min_h);
    scan.getVal(ScanKey::kMaxLength, config.scan_max_l);
    scan.getVal(ScanKey::kMaxWidth, config.scan_max_w);
    scan.getVal(ScanKey::kMaxHeight, config.scan_max_h);
    scan.getVal(ScanKey::kDeepImageWidth, config.scan_deep_img_w);
    scan.getVal(ScanKey::kDeepImageHeight, config.scan_deep_img_h);
    scan.getVal(ScanKey::kNoiseFactor, config.scan_noise_factor);
    scan.getVal(ScanKey::kVolumeFiniteFlag, config.scan_volume_finite_flag);
    scan.getVal(ScanKey::kPackageIntimeFlag, config.scan_package_intime_flag);
    scan.getVal(ScanKey::kPackageDistance, config.scan_package_distance);
    readLaserFan(scan, config);
    readLightWindow(scan, config);
    for (std::uint32_t i = 0; i < cameraCount; ++i) {
        scan.getVal(ScanKey::kThresh, config.thresh[i]);
        scan.getVal(ScanKey::kImageWidth, config.region[i]->width);
        scan.getVal(ScanKey::kImageHeight, config.region[i]->height);
        scan.getVal(ScanKey::kEncodeFlag, config.scan_encode_flag[i]);
        scan.getVal(ScanKey::kEncodeStep, config.scan_encode_step[i]);
        scan.getVal(ScanKey::kGaussRadius, config.scan_gauss_radius[i]);
        config.region[i]->x = 0;
        config.region[i]->y = 0;
    }
    return true;
}

bool CCalcQuboid3DMulti::release() {
    initialized = false;
    if (handle != nullptr) {
        lpmcRelease(handle);
        handle = nullptr;
    }
    freeRecords();
    return true;
}

void CCalcQuboid3DMulti::freeRecords() {
    for (std::uint32_t i = 0; i < LPMC_MAX_CAMERAS; ++i) {
        LpmcCameraCalib*& calib = createParam.calib[i];
        if (calib == nullptr)
            continue;
        if (calib->lens != nullptr) {
            delete[] calib->lens->intrinsics;
            delete[] calib->lens->distortion;
            delete[] calib->lens->extrinsics;
            ::operator delete(calib->lens->reserved);
            delete calib->lens;
            calib->lens = nullptr;
        }
        delete calib->plane;
        calib->plane = nullptr;
        delete calib->motion;
        calib->motion = nullptr;
        delete calib;
        calib = nullptr;
    }
    for (std::uint32_t i = 0; i < LPMC_MAX_CAMERAS; ++i) {
        ::operator delete(input.image[i]);
        input.image[i] = nullptr;
    }
}

// What the previous result left behind is wiped, but its lists belong to the library.
void CCalcQuboid3DMulti::clearResult() {
    constexpr std::size_t kPointBytes = 3 * sizeof(float);
    if (result.points != nullptr)
        std::memset(result.points, 0, static_cast<std::size_t>(result.pointCount) * kPointBytes);
    if (result.auxPoints != nullptr)
        std::memset(result.auxPoints, 0, static_cast<std::size_t>(result.pointCount) * kPointBytes);
    std::memset(result.boxAux, 0, sizeof result.boxAux);
    result.pointCount = 0;
    result.resultState = 0;
    result.volumeNum = 0;
}

template <class FetchSlot>
bool CCalcQuboid3DMulti::fetchPass(FetchSlot& fetchSlot, const char* failedLine, PassObjects& pass) {
    for (std::uint32_t i = 0; i < cameraCount; ++i) {
        const bool fetched = fetchSlot(i, pass);
        input.image[i]->region = *config.region[i];
        if (!fetched) {
            VS_LOG_WARN(kChannel, kProcessFn, failedLine, static_cast<int>(i));
            return false;
        }
    }
    return true;
}

template <class FetchSlot>
bool CCalcQuboid3DMulti::runPasses(FetchSlot& fetchSlot, const char* failedLine, std::vector<BoxDims>& boxes,
                                   bool& connected, const LpmcResult*& outResult, int& outRet) {
    if (!initialized) {
        if (!notInitializedReported)
            VS_LOG_ERROR(kChannel, kProcessFn, "3DVolume is not initialized, no image is processed.\n");
        notInitializedReported = true;
        outRet = -1;
        return false;
    }
    clearResult();
    int ret = -1;
    while (!stopRequested.load()) {
        PassObjects pass;
        const bool fetched = fetchPass(fetchSlot, failedLine, pass);
        if (!connected)
            break;
        if (!fetched) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            continue;
        }
        ret = lpmcProcess(handle, &input, &result);
        input.missingFrames = 0; // a loss is told once
        if (ret != 0) {
            VS_LOG_WARN(kChannel, kProcessFn, "lpmcProcess run result is not 0. ret[%d]\n", ret);
            break;
        }
        if (result.resultState != 0)
            break;
    }
    if (result.resultState != 0) {
        for (std::int32_t i = 0; i < result.volumeNum; ++i) {
            const LpmcBox& box = *result.boxes[i];
            boxes.push_back(BoxDims{box.length, box.width, box.height, box.volume, 0.0});
        }
        outResult = &result;
    }
    outRet = ret;
    return true;
}

bool CCalcQuboid3DMulti::process(std::vector<Memory::TSharedPtr<CLoadImage>> loaders,
                                 std::vector<BoxDims>& boxes, bool& connected, const LpmcResult*& outResult,
                                 int& outRet) {
    auto fetchSlot = [&](std::uint32_t i, PassObjects& pass) {
        const auto loader = i < loaders.size() ? loaders[i] : nullptr;
        const bool fetched =
            loader && getDirImage(pass.images[i], loader, input.image[i], input.timestamp[i]);
        input.imageType[i] = LPMC_IMAGE_MONO8;
        return fetched;
    };
    return runPasses(fetchSlot, "Get dir[%d] image failed.\n", boxes, connected, outResult, outRet);
}

bool CCalcQuboid3DMulti::process(std::vector<Memory::TSharedPtr<CMvCamera>> cameras,
                                 std::vector<BoxDims>& boxes, bool& connected, const LpmcResult*& outResult,
                                 int& outRet) {
    auto fetchSlot = [&](std::uint32_t i, PassObjects& pass) {
        return fetchCameraSlot(i, cameras, pass, connected);
    };
    return runPasses(fetchSlot, "Get camera[%d] image failed.\n", boxes, connected, outResult, outRet);
}

// Cameras of type 3 deliver the line form; every other camera plain images.
bool CCalcQuboid3DMulti::fetchCameraSlot(std::uint32_t i,
                                         const std::vector<Memory::TSharedPtr<CMvCamera>>& cameras,
                                         PassObjects& pass, bool& connected) {
    const auto camera = i < cameras.size() ? cameras[i] : nullptr;
    if (!camera)
        return false;
    bool fetched = false;
    if (camera->cameraType == CameraTypeAI) {
        input.imageType[i] = LPMC_IMAGE_LINE;
        fetched = getPipelineResult(static_cast<int>(i), pass.frames[i], camera, connected);
    } else {
        input.imageType[i] = LPMC_IMAGE_MONO8;
        // The slot's image outlives the pass, so its buffer serves every converted frame.
        if (!frameImages[i])
            frameImages[i] = std::make_shared<VsImage>();
        pass.images[i] = frameImages[i];
        fetched = getCameraImage(pass.frames[i], camera, input.image[i], connected, input.timestamp[i],
                                 pass.images[i]);
    }
    // Every camera is rebuilt after a loss, so each one's next frame follows an outage.
    if (!connected)
        for (auto& losses : frameLosses)
            losses.cameraLost();
    if (fetched)
        noteLostFrames(i, pass.frames[i]);
    return fetched;
}

// A frame refused for its format counts as lost too: the library never saw it.
void CCalcQuboid3DMulti::noteLostFrames(std::uint32_t slot, const GenICam::CFrame& frame) {
    const std::uint64_t frameId = frame.getFrameId();
    const std::int32_t missing = frameLosses[slot].take(frameId);
    if (missing == 0)
        return;
    if (missing == LPMC_FRAMES_RESTARTED) {
        VS_LOG_INFO(kChannel, kProcessFn,
                    "Camera[%d] frames start over at frame id[%llu], the objects in scan are unmeasurable.\n",
                    static_cast<int>(slot), static_cast<unsigned long long>(frameId));
        input.missingFrames = LPMC_FRAMES_RESTARTED;
        return;
    }
    VS_LOG_WARN(kChannel, kProcessFn,
                "Camera[%d] lost %d frames before frame id[%llu], the objects in scan are unmeasurable.\n",
                static_cast<int>(slot), missing, static_cast<unsigned long long>(frameId));
    if (input.missingFrames != LPMC_FRAMES_RESTARTED)
        input.missingFrames = std::max(input.missingFrames, missing);
}

// A frame that didn't come: -3 means the camera is gone, anything else just a missed frame.
static bool fetchFrame(CMvCamera& camera, GenICam::CFrame& frame, std::int32_t timeout, bool& connected) {
    connected = true;
    const std::int32_t code = camera.getFrame(frame, static_cast<std::uint32_t>(timeout));
    if (code == 0)
        return true;
    if (code == -3)
        connected = false;
    return false;
}

bool CCalcQuboid3DMulti::getCameraImage(GenICam::CFrame& frame, Memory::TSharedPtr<CMvCamera> camera,
                                        LpmcImageDesc* desc, bool& connected, double& timestamp,
                                        Memory::TSharedPtr<VsImage>& image) {
    if (!fetchFrame(*camera, frame, frameTimeout, connected))
        return false;
    const std::uint32_t width = frame.getImageWidth();
    const std::uint32_t height = frame.getImageHeight();
    // The rate goes through single precision on its way, and its rounding is kept.
    const double ticksPerMs = static_cast<float>(camera->timestampTicksPerMs);
    timestamp = static_cast<double>(frame.getImageTimeStamp()) / ticksPerMs;
    desc->width = static_cast<std::int32_t>(width);
    desc->height = static_cast<std::int32_t>(height);
    if (frame.getImagePixelFormat() == kPixelFormatMono8) {
        desc->pixels = frame.getImage();
        return true;
    }
    if (!image)
        image = std::make_shared<VsImage>();
    fillImageFromFrame(frame, *image);
    if (!image->data || image->size == 0 || image->width <= 0 || image->height <= 0) {
        VS_LOG_ERROR(kChannel, kProcessFn, "get frame error, unsupported format: %d",
                     static_cast<int>(frame.getImagePixelFormat()));
        return false;
    }
    desc->pixels = image->data.get();
    return true;
}

bool CCalcQuboid3DMulti::getPipelineResult(int index, GenICam::CFrame& frame,
                                           Memory::TSharedPtr<CMvCamera> camera, bool& connected) {
    if (!fetchFrame(*camera, frame, frameTimeout, connected))
        return false;
    const std::uint8_t* block = frame.getImage();
    PipelineImageHead head{};
    // A block too short to hold the count leaves it at 0.
    if (block != nullptr)
        std::memcpy(&head, block, std::min<std::uint64_t>(frame.getImageSize(), sizeof head));
    input.pipelineCount[index] = head.count;
    input.pipelineFirst[index] = block + kPipelineFirstOffset;
    input.pipelineSecond[index] = block + kPipelineSecondOffset;
    input.timestamp[index] = pipelineTimestamp(frame);
    return true;
}

bool CCalcQuboid3DMulti::getDirImage(Memory::TSharedPtr<VsImage>& image,
                                     Memory::TSharedPtr<CLoadImage> loader, LpmcImageDesc* desc,
                                     double& timestamp) {
    if (!loader->loadNextImage(image))
        return false;
    desc->width = image->width;
    desc->height = image->height;
    desc->pixels = image->data.get();
    desc->sourceTag = kStoredImageTag;
    const float stamp = storedImageCounter.load(std::memory_order_relaxed);
    timestamp = stamp;
    storedImageCounter.store(stamp + 2.0f, std::memory_order_relaxed);
    return true;
}

} // namespace Orvia::VisionSystem
