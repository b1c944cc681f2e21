// One measuring object: the thing a handle of the C interface names. It owns the cameras or the
// stored-image source, the calculator, the output plug-in and the measurement thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "BoxDims.h"
#include "Orvia/Memory/SharedPtr.h"
#include "Quboid3DSdk.h"

struct LpmcResult;

namespace Orvia::VisionSystem {

class CMvCamera;
class CCalcQuboid3DMulti;
class CLoadImage;
class OutputPlugin;
class ICalcVolumeSink;

class CCalcQuboid3DMgr {
public:
    CCalcQuboid3DMgr() = default;
    ~CCalcQuboid3DMgr();
    CCalcQuboid3DMgr(const CCalcQuboid3DMgr&) = delete;
    CCalcQuboid3DMgr& operator=(const CCalcQuboid3DMgr&) = delete;

    // Prepares the object; `cfgDir` is the configuration directory with a trailing slash
    // ("./3DCfg/" when empty). Writes a return code of the C interface to *error on failure.
    bool initialize(bool localMode, const std::string& cfgDir, int* error);
    // Drops the calculator, cameras, image sources and plug-in; does not stop the thread.
    bool finalize();
    // Starts the measurement thread, which hands each pass to `sink`.
    bool run(ICalcVolumeSink* sink);
    // Ends and joins the measurement thread, then stops grabbing.
    bool stop();
    bool setFrameStatusCallback(VslbFrameStatusCallback callback);
    void setCameraStatusCallback(VslbCameraStatusCallback callback);
    // The camera status callback that a report would call now.
    VslbCameraStatusCallback cameraStatusCallbackInForce() const;

    bool localModeEnabled() const { return localMode; }
    const std::string& configDir() const { return cfgDir; }
    const Memory::TSharedPtr<CCalcQuboid3DMulti>& calculatorObject() const { return calculator; }
    const std::vector<Memory::TSharedPtr<CLoadImage>>& localSources() const { return localDirs; }
    // The cameras in use; the measurement thread swaps them during a reconnection.
    const std::vector<Memory::TSharedPtr<CMvCamera>>& cameraList() const { return cameras; }

private:
    // What the thread does after a step of a pass.
    enum class PassStep { Measure, EndPass, EndThread };
    // The thread's view of a lost camera: when the outage began (100 ns ticks of the system
    // clock) and the site settings read when the thread started.
    struct ReconnectState {
        std::int64_t start = 0;
        bool enabled = true;
        std::int64_t timeoutMs = 30000;
    };

    void threadCalcQuboid3D();
    PassStep measureOnce(std::vector<BoxDims>& boxes, bool& online, ReconnectState& reconnect);
    PassStep reconnectCameras(std::vector<BoxDims>& boxes, bool& online, const ReconnectState& reconnect);
    PassStep reportOffline(ReconnectState& reconnect);
    void reportCameraStatus(int status);
    void handOverToOutputPlugin(const BoxDims& box);
    bool processCameraFrames(std::vector<BoxDims>& boxes, bool& online, const LpmcResult*& result,
                             int& status);
    bool initOutputPlugin();

    bool initCameras(const std::string& dir, int* error);
    bool downloadCalibration(const std::string& dir, int* error);
    bool applyFactoryData(const std::string& dir, int* error);
    bool initLocalSource(int* error);
    bool initCalculator(const std::string& dir, int* error);
    bool startCameras();
    void stopCameras();
    void closeCameras();
    void setCamerasFrameStatusCallback(VslbFrameStatusCallback callback);
    void writeBackFactoryData();
    void clearLocalFileLists();
    void finishOutputPlugin();

    std::vector<Memory::TSharedPtr<CMvCamera>> cameras;
    Memory::TSharedPtr<CCalcQuboid3DMulti> calculator;
    // Read by the measurement thread at the end of each pass and written by stop(), with no lock.
    std::atomic<bool> running{false};
    std::thread thread;
    // Held by run() until the new thread is stored in `thread`; the thread passes it first.
    std::mutex threadStartGate;
    ICalcVolumeSink* sink = nullptr;
    std::vector<Memory::TSharedPtr<CLoadImage>> localDirs;
    bool localMode = false;
    std::string cfgDir;
    // Never set by the library; the steps that test them stay in place for stations that do.
    bool forceUnitSpeedVy = false;
    Memory::TSharedPtr<OutputPlugin> outputPlugin;
    bool factoryDataActive = false;
    mutable std::mutex statusMutex;
    VslbCameraStatusCallback cameraStatusCallback = nullptr;
};

} // namespace Orvia::VisionSystem
