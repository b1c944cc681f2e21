#include "CalcQuboid3DMgr.h"

#include <chrono>
#include <cwctype>
#include <sstream>
#include <utility>

#include "AdvancedConfig.h"
#include "CalcQuboid3DMulti.h"
#include "ConfigManager.h"
#include "DynamicLibrary.h"
#include "FactoryData.h"
#include "ICalcVolumeSink.h"
#include "KeyValueCfgParser.h"
#include "LoadImage.h"
#include "LocalTime.h"
#include "MvCamera.h"
#include "OutputPlugin.h"
#include "VsLog.h"

namespace Orvia::VisionSystem {
namespace {

constexpr const char* kLogSource = "Src/CalcQuboid3DMgr.cpp";
constexpr const char* kChannel = "Volume";
constexpr const char* kRecordChannel = "VolumeRecord";
constexpr const char* kInitializeFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::initialize";
constexpr const char* kFinalizeFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::finalize";
constexpr const char* kRunFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::run";
constexpr const char* kFrameStatusFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::setFrameStatusCallback";
constexpr const char* kThreadFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::threadCalcQuboid3D";
constexpr const char* kPluginFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::initOutputPlugin";
constexpr const char* kDefaultCfgDir = "./3DCfg/";
constexpr const char* kLocalImagesDir = "./LocalImages/";
// Where the calibration application leaves its result files.
constexpr const char* kCalibResultDir = "CalibApp/CalibResult";
constexpr int kCamerasNeeded = 1;
constexpr std::int64_t kTicksPerMs = 10000;
constexpr auto kReconnectPause = std::chrono::milliseconds(50);

// The wall clock in 100 ns ticks: an outage is timed on it, so a change of the clock shifts the
// deadline.
std::int64_t systemClockTicks() {
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10000000>>;
    return std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// Strips every character that iswspace counts as space from both ends.
std::string trimmedWide(const std::string& text) {
    auto isSpace = [](char c) {
        return std::iswspace(static_cast<wint_t>(static_cast<unsigned char>(c))) != 0;
    };
    std::size_t begin = 0, end = text.size();
    while (begin < end && isSpace(text[begin]))
        ++begin;
    while (end > begin && isSpace(text[end - 1]))
        --end;
    return text.substr(begin, end - begin);
}

void setError(int* error, int code) {
    if (error != nullptr)
        *error = code;
}

} // namespace

// Members go in reverse order of declaration, and std::thread ends the process if the
// measurement thread was never joined: an object must be stopped before it is destroyed.
CCalcQuboid3DMgr::~CCalcQuboid3DMgr() = default;

bool CCalcQuboid3DMgr::initialize(bool localModeOn, const std::string& dirArg, int* error) {
    localMode = localModeOn;
    if (!initOutputPlugin()) {
        setError(error, VSLB_ERR_OUTPUT_PLUGIN);
        return false;
    }
    const std::string dir = dirArg.empty() ? kDefaultCfgDir : dirArg;
    if (!localMode) {
        if (!initCameras(dir, error) || !downloadCalibration(dir, error) || !applyFactoryData(dir, error))
            return false;
    } else if (!initLocalSource(error)) {
        return false;
    }
    if (!initCalculator(dir, error))
        return false;
    cfgDir = dir;
    VS_LOG_INFO(kChannel, kInitializeFn, "Initialize 3D volume success!\n");
    return true;
}

bool CCalcQuboid3DMgr::finalize() {
    if (calculator) {
        calculator->release();
        calculator.reset();
    }
    if (factoryDataActive)
        writeBackFactoryData();
    closeCameras();
    clearLocalFileLists();
    cameras.clear();
    localDirs.clear();
    finishOutputPlugin();
    VS_LOG_INFO(kChannel, kFinalizeFn, "Finalize 3D volume success!\n");
    return true;
}

bool CCalcQuboid3DMgr::run(ICalcVolumeSink* newSink) {
    if (!localMode && !startCameras())
        return false;
    if (calculator)
        calculator->stopRequested.store(false);
    running = true;
    sink = newSink;
    // Moving into a thread object that is still joinable ends the process: a second run
    // without a stop is a caller error that must not go unnoticed. The new thread waits at the
    // gate until it has been handed to `thread`, so that even a stop from its first result
    // callback finds it there.
    prepareLocalTime();
    std::lock_guard gate(threadStartGate);
    std::thread started(&CCalcQuboid3DMgr::threadCalcQuboid3D, this);
    thread = std::move(started);
    return true;
}

bool CCalcQuboid3DMgr::stop() {
    running = false;
    if (calculator)
        calculator->stopRequested.store(true);
    // join() raises resource_deadlock_would_occur when called from the thread itself.
    if (thread.joinable())
        thread.join();
    stopCameras();
    return true;
}

bool CCalcQuboid3DMgr::setFrameStatusCallback(VslbFrameStatusCallback callback) {
    if (cameras.empty()) {
        VS_LOG_ERROR(kChannel, kFrameStatusFn, "setFrameStatusCallback error, no camera is valid.");
        return false;
    }
    setCamerasFrameStatusCallback(callback);
    return true;
}

void CCalcQuboid3DMgr::setCameraStatusCallback(VslbCameraStatusCallback callback) {
    std::lock_guard lock(statusMutex);
    cameraStatusCallback = callback;
}

VslbCameraStatusCallback CCalcQuboid3DMgr::cameraStatusCallbackInForce() const {
    std::lock_guard lock(statusMutex);
    return cameraStatusCallback;
}

void CCalcQuboid3DMgr::threadCalcQuboid3D() {
    { std::lock_guard gate(threadStartGate); }
    if (!calculator) {
        VS_LOG_ERROR(kChannel, kThreadFn, "Can't start calc3DProc thread, calc3DVolume obj is null!\n");
        return;
    }
    VS_LOG_INFO(kChannel, kThreadFn, "Start 3D volume proc thread success.\n");
    std::vector<BoxDims> boxes;
    bool online = true;
    ReconnectState reconnect;
    reconnect.start = systemClockTicks();
    reconnect.enabled = AdvancedConfig::instance().EnableCameraReconnect;
    reconnect.timeoutMs = AdvancedConfig::instance().CameraReconnectTimeout;
    while (running) {
        PassStep step = PassStep::Measure;
        if (!localMode && !online && reconnect.enabled)
            step = reconnectCameras(boxes, online, reconnect);
        if (step == PassStep::Measure)
            step = measureOnce(boxes, online, reconnect);
        if (step == PassStep::EndThread)
            break;
    }
    VS_LOG_INFO(kChannel, kThreadFn, "Exit 3D volume proc thread success.\n");
}

// One pass: the calculator runs until it has an outcome, each box is logged and handed to the
// output plug-in, and the sink gets the whole pass once, whatever its outcome.
CCalcQuboid3DMgr::PassStep CCalcQuboid3DMgr::measureOnce(std::vector<BoxDims>& boxes, bool& online,
                                                         ReconnectState& reconnect) {
    boxes.clear();
    const LpmcResult* result = nullptr;
    int status = 0;
    const bool processed = localMode ? calculator->process(localDirs, boxes, online, result, status)
                                     : processCameraFrames(boxes, online, result, status);
    if (!localMode && !online)
        return reportOffline(reconnect);
    if (!processed) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return PassStep::EndPass;
    }
    if (result != nullptr && result->resultState == LPMC_STATE_BOXES) {
        for (const BoxDims& box : boxes) {
            VS_LOG_INFO(
                kRecordChannel, kThreadFn,
                "Calc a new volume, length[%0.1f cm]-width[%0.1f cm]-height[%0.1f cm]-volume[%0.1f cm3]\n",
                box.length / 10, box.width / 10, box.height / 10, box.volume / 1000);
            handOverToOutputPlugin(box);
        }
    }
    if (sink != nullptr)
        sink->onVolumeResult(boxes, result, status);
    return PassStep::EndPass;
}

// The camera was lost in this pass: either the thread ends, or the outage clock starts.
CCalcQuboid3DMgr::PassStep CCalcQuboid3DMgr::reportOffline(ReconnectState& reconnect) {
    if (!reconnect.enabled) {
        VS_LOG_ERROR(kChannel, kThreadFn, "Camera is offline and reconnect is off, exit 3D proc thread.");
        reportCameraStatus(VSLB_CAMERA_OFFLINE);
        return PassStep::EndThread;
    }
    VS_LOG_ERROR(kChannel, kThreadFn, "Camera is offline, start reconnect.");
    reportCameraStatus(VSLB_CAMERA_RECONNECTING);
    reconnect.start = systemClockTicks();
    return PassStep::EndPass;
}

// One attempt to rebuild the cameras from what discovery finds now. On success the same pass
// goes on to measure.
CCalcQuboid3DMgr::PassStep CCalcQuboid3DMgr::reconnectCameras(std::vector<BoxDims>& boxes, bool& online,
                                                              const ReconnectState& reconnect) {
    if ((systemClockTicks() - reconnect.start) / kTicksPerMs >= reconnect.timeoutMs) {
        VS_LOG_INFO(kChannel, kThreadFn, "Reconnect timeout.");
        if (sink != nullptr)
            sink->onVolumeResult(boxes, nullptr, VSLB_ERR_RECONNECT_TIMEOUT);
        reportCameraStatus(VSLB_CAMERA_RECONNECT_TIMEOUT);
        return PassStep::EndThread;
    }
    for (const auto& camera : cameras)
        camera->close();
    std::vector<Memory::TSharedPtr<CMvCamera>> found;
    const int count = CCameraManager::getInstance().getAll3DCameras(found);
    const int needed = static_cast<int>(cameras.size());
    if (count < needed) {
        VS_LOG_ERROR(kChannel, kThreadFn, "Reconnect failed, camera num < %d. now is %d", needed, count);
        std::this_thread::sleep_for(kReconnectPause);
        return PassStep::EndPass;
    }
    online = true;
    for (int i = 0; i < needed && online; ++i)
        online = found[i]->open(nullptr) == 0 && found[i]->startGrabbing() == 0;
    if (!online) {
        for (int i = 0; i < needed; ++i)
            found[i]->close();
        std::this_thread::sleep_for(kReconnectPause);
        return PassStep::EndPass;
    }
    for (int i = 0; i < needed; ++i)
        std::swap(cameras[i], found[i]);
    VS_LOG_INFO(kChannel, kThreadFn, "Reconnect ok.");
    reportCameraStatus(VSLB_CAMERA_RECONNECTED);
    return PassStep::Measure;
}

// The callback runs under the status lock, so that it is never called after it was replaced.
void CCalcQuboid3DMgr::reportCameraStatus(int status) {
    std::lock_guard lock(statusMutex);
    if (cameraStatusCallback == nullptr)
        return;
    VslbCameraStatus record{};
    record.status = status;
    cameraStatusCallback(&record);
}

// The site setting is "Library&arguments": the library name gets the platform's suffix unless
// it ends with it already (case counts), and only the first '&' separates.
bool CCalcQuboid3DMgr::initOutputPlugin() {
    const std::string setting = AdvancedConfig::instance().OutputPlugin;
    if (setting.empty())
        return true;
    const auto ampersand = setting.find('&');
    if (ampersand == std::string::npos) {
        VS_LOG_ERROR(kChannel, kPluginFn, "output plugin config error: %s", setting.c_str());
        return false;
    }
    std::string library = trimmedWide(setting.substr(0, ampersand));
    const std::string arguments = trimmedWide(setting.substr(ampersand + 1));
    if (!library.ends_with(dynamicLibrarySuffix()))
        library += dynamicLibrarySuffix();
    outputPlugin = std::make_shared<OutputPlugin>(library.c_str());
    if (!outputPlugin->complete()) {
        VS_LOG_ERROR(kChannel, kPluginFn, "load output plugin error: %s", library.c_str());
        return false;
    }
    if (outputPlugin->context == nullptr &&
        outputPlugin->init(arguments.c_str(), &outputPlugin->context) == 0)
        return true;
    VS_LOG_ERROR(kChannel, kPluginFn, "output plugin init error: %s", arguments.c_str());
    return false;
}

void CCalcQuboid3DMgr::handOverToOutputPlugin(const BoxDims& box) {
    if (outputPlugin)
        outputPlugin->deliver(box);
}

void CCalcQuboid3DMgr::finishOutputPlugin() {
    if (outputPlugin)
        outputPlugin->finish();
    outputPlugin.reset();
}

// Local mode has one stored-image source and no camera at all.
bool CCalcQuboid3DMgr::initLocalSource(int* error) {
    VS_LOG_INFO(kChannel, kInitializeFn, "run in local mode.");
    localDirs.clear();
    auto source = std::make_shared<CLoadImage>(std::string(kLocalImagesDir) + "*");
    if (!source->openDir()) {
        setError(error, VSLB_ERR_OPEN_LOCAL_DIR);
        VS_LOG_ERROR(kChannel, kInitializeFn, "Initialize 3D volume failed, open local dir failed.\n");
        return false;
    }
    localDirs.push_back(std::move(source));
    return true;
}

// A calculator from an earlier initialize is dropped here without release().
bool CCalcQuboid3DMgr::initCalculator(const std::string& dir, int* error) {
    calculator = std::make_shared<CCalcQuboid3DMulti>();
    if (forceUnitSpeedVy)
        calculator->forceUnitSpeedVy = true;
    if (!calculator->initialize(dir, error)) {
        VS_LOG_ERROR(kChannel, kInitializeFn, "Initialize 3D volume failed, init volume 3D failed.\n");
        return false;
    }
    return true;
}

void CCalcQuboid3DMgr::clearLocalFileLists() {
    for (const auto& source : localDirs)
        source->clearFiles();
}

// The calibration the camera carries replaces the files of the configuration directory, unless
// the site keeps its local files. A camera that holds none is no failure: the directory's own
// files are measured with.
bool CCalcQuboid3DMgr::downloadCalibration(const std::string& dir, int* error) {
    if (AdvancedConfig::instance().UseLocalCalibData)
        return true;
    CConfigManager& store = CConfigManager::instance();
    // The camera the camera steps have just appended: the first one discovery reported.
    if (!store.loadFromCamera(cameras.back())) {
        VS_LOG_INFO(kChannel, kInitializeFn,
                    "Failed to download calib data from camera. Try to use local data.");
        return true;
    }
    if (!store.saveToLocal(dir)) {
        setError(error, VSLB_ERR_WRITE_CALIB);
        VS_LOG_ERROR(kChannel, kInitializeFn,
                     "Initialize 3D volume failed, failed to write camera calib data to local file.");
        return false;
    }
    return true;
}

// Factory values for a scan are laid over the calibration application's result files; what they
// change there is not measured with here.
bool CCalcQuboid3DMgr::applyFactoryData(const std::string&, int*) {
    if (factoryDataActive)
        FactoryData::instance().write(FactoryData::ScanIn, kCalibResultDir);
    return true;
}

// Factory values for the finished scan go into the configuration directory and from there back
// into the first camera. USB3 cameras are left as they are.
void CCalcQuboid3DMgr::writeBackFactoryData() {
    if (cameras.empty())
        return;
    const auto& camera = cameras[0];
    if (camera->cameraType == CameraTypeU3)
        return;
    if (FactoryData::instance().write(FactoryData::ScanOut, cfgDir.c_str()) <= 0)
        return;
    CConfigManager& store = CConfigManager::instance();
    if (!store.loadFromLocal(cfgDir) || !store.saveToCamera(camera))
        VS_LOG_ERROR(kChannel, kFinalizeFn, "Save calib data to camera error.");
}

// Camera mode measures from one camera: the first that discovery reports.
bool CCalcQuboid3DMgr::initCameras(const std::string&, int* error) {
    std::vector<Memory::TSharedPtr<CMvCamera>> found;
    const int count = CCameraManager::getInstance().getAll3DCameras(found);
    if (count < kCamerasNeeded) {
        setError(error, VSLB_ERR_NO_CAMERA);
        // The count found has no conversion of its own in this line.
        VS_LOG_ERROR(kChannel, kInitializeFn, "Initialize 3D volume failed, U3 camera num < %d. now is\n",
                     kCamerasNeeded, count);
        return false;
    }
    if (found[0]->open(nullptr) != 0) {
        setError(error, VSLB_ERR_OPEN_CAMERA);
        VS_LOG_ERROR(kChannel, kInitializeFn, "Initialize 3D volume failed, open camera failed.\n");
        return false;
    }
    cameras.push_back(found[0]);
    return true;
}

// Free-running unless the scan file asks for the encoder line; a missing file, key or number
// all mean free-running.
bool CCalcQuboid3DMgr::startCameras() {
    CKeyValueCfgParser parser;
    parser.parseKeyValueCfg((cfgDir + "CalibScanCfg.cfg").c_str(), false);
    int encoderFlag = 0;
    const std::string text = parser.getVal("scan_encode_flag");
    if (!text.empty())
        std::istringstream(text) >> encoderFlag;
    for (const auto& camera : cameras) {
        int code = 0;
        if (encoderFlag != 0) {
            code = camera->openTrigger(true);
        } else {
            camera->closeTrigger();
            code = camera->startGrabbing();
        }
        if (code != 0) {
            VS_LOG_ERROR(kChannel, kRunFn,
                         "Run 3D volume failed, start grabbing failed or open hard trigger failed.\n");
            return false;
        }
    }
    return true;
}

void CCalcQuboid3DMgr::stopCameras() {
    for (const auto& camera : cameras)
        camera->stopGrabbing();
}

void CCalcQuboid3DMgr::closeCameras() {
    for (const auto& camera : cameras)
        camera->close();
}

void CCalcQuboid3DMgr::setCamerasFrameStatusCallback(VslbFrameStatusCallback callback) {
    for (const auto& camera : cameras) {
        std::lock_guard lock(camera->frameStatusMutex);
        camera->frameStatusCallback = callback;
    }
}

// A fresh copy of the cameras each pass: reconnection may swap them between passes.
bool CCalcQuboid3DMgr::processCameraFrames(std::vector<BoxDims>& boxes, bool& online,
                                           const LpmcResult*& result, int& status) {
    return calculator->process(cameras, boxes, online, result, status);
}

} // namespace Orvia::VisionSystem
