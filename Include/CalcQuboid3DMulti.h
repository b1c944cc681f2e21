// The scan calculator: reads the calibration and scan files of a configuration directory, brings
// the sheet-of-light library up with them, and feeds it frames until a box is complete.
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "BoxDims.h"
#include "FrameLossTracker.h"
#include "Lpmc.h"
#include "Orvia/GenICam/Frame.h"
#include "Orvia/Memory/SharedPtr.h"

namespace Orvia::VisionSystem {

class CLoadImage;
class CMvCamera;
struct VsImage;

class CCalcQuboid3DMulti {
public:
    CCalcQuboid3DMulti();
    ~CCalcQuboid3DMulti();
    CCalcQuboid3DMulti(const CCalcQuboid3DMulti&) = delete;
    CCalcQuboid3DMulti& operator=(const CCalcQuboid3DMulti&) = delete;

    // Reads the calibration and CalibScanCfg.cfg from `cfgDir` (a prefix glued to the file
    // names; "./3DCfg/" when empty), creates and configures the library. On failure writes a
    // return code of the C interface to *outError, if given. Meant to run once per object.
    bool initialize(const std::string& cfgDir, int* outError);
    // Releases the library and frees the calibration and image records; safe to repeat.
    bool release();

    bool readCalibData(const std::string& cfgDir);
    bool readConfig(const std::string& cfgDir);
    bool setConfig(const std::string& cfgDir);

    // Feeds stored images until the library reports a result, fails, or a stop is requested.
    // Appends the boxes of a result to `boxes` and points `outResult` at it; `outRet` gets the
    // last code of the library, or -1 when it wasn't called. True but for a calculator whose
    // initialize never finished: that one has no records to fill, says so once in the log and
    // returns false at once.
    bool process(std::vector<Memory::TSharedPtr<CLoadImage>> loaders, std::vector<BoxDims>& boxes,
                 bool& connected, const LpmcResult*& outResult, int& outRet);
    // Loads the next stored image into `image` and describes it in `desc`, stamped with the
    // process-wide counter of stored images (1, 3, 5, ...).
    bool getDirImage(Memory::TSharedPtr<VsImage>& image, Memory::TSharedPtr<CLoadImage> loader,
                     LpmcImageDesc* desc, double& timestamp);

    // The same passes fed from cameras, one frame of each per pass. `connected` turns false when a
    // camera is lost, which ends the call.
    bool process(std::vector<Memory::TSharedPtr<CMvCamera>> cameras, std::vector<BoxDims>& boxes,
                 bool& connected, const LpmcResult*& outResult, int& outRet);
    // Fetches one frame of a plain camera into `frame` and describes it in `desc`: Mono8 in place,
    // Mono4p unpacked into `image`; the time in milliseconds of the camera's clock.
    bool getCameraImage(GenICam::CFrame& frame, Memory::TSharedPtr<CMvCamera> camera, LpmcImageDesc* desc,
                        bool& connected, double& timestamp, Memory::TSharedPtr<VsImage>& image);
    // Fetches one line-form frame into `frame` and points slot `index` of the input at its block.
    bool getPipelineResult(int index, GenICam::CFrame& frame, Memory::TSharedPtr<CMvCamera> camera,
                           bool& connected);

    void* handle = nullptr;
    LpmcCreateParam createParam{};
    LpmcConfig config{};
    LpmcInput input{};
    LpmcResult result{};
    std::uint32_t cameraCount = 1;
    // Cuts process() short; raised by the measuring object from the thread that stops it.
    std::atomic<bool> stopRequested{false};
    std::int32_t frameTimeout = 3000;
    bool forceUnitSpeedVy = false;
    std::list<int> pendingList;

private:
    // The images that converted camera frames are unpacked into, one per slot, kept between passes.
    Memory::TSharedPtr<VsImage> frameImages[LPMC_MAX_CAMERAS];
    // Which frames of each camera were lost on the way, by their numbers.
    CFrameLossTracker frameLosses[LPMC_MAX_CAMERAS];
    // Set by the last step of initialize, cleared by release.
    bool initialized = false;
    bool notInitializedReported = false;

    void allocateCalibration();
    // Frees the calibration sets and image descriptors; leaves the library alone.
    void freeRecords();
    void clearResult();
    // The objects one pass holds until the library has returned: the images and frames whose
    // pixels the input points at.
    struct PassObjects {
        Memory::TSharedPtr<VsImage> images[LPMC_MAX_CAMERAS];
        GenICam::CFrame frames[LPMC_MAX_CAMERAS];
    };
    // The passes both forms of process share; `fetchSlot(i, pass)` fetches slot i and says
    // whether it succeeded, `failedLine` is the warning of a failed fetch.
    template <class FetchSlot>
    bool runPasses(FetchSlot& fetchSlot, const char* failedLine, std::vector<BoxDims>& boxes, bool& connected,
                   const LpmcResult*& outResult, int& outRet);
    // One pass over the sources; false when a fetch failed.
    template <class FetchSlot>
    bool fetchPass(FetchSlot& fetchSlot, const char* failedLine, PassObjects& pass);
    bool fetchCameraSlot(std::uint32_t i, const std::vector<Memory::TSharedPtr<CMvCamera>>& cameras,
                         PassObjects& pass, bool& connected);
    // Tells the library, through input.missingFrames, of frames of camera `slot` lost before `frame`.
    void noteLostFrames(std::uint32_t slot, const GenICam::CFrame& frame);
};

} // namespace Orvia::VisionSystem
