// The scan calculator: reads the calibration and scan files of a configuration directory, brings
// the sheet-of-light library up with them, and feeds it frames until a box is complete.
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "BoxDims.h"
#include "Lpmc.h"
#include "Orvia/Memory/SharedPtr.h"

namespace Orvia::VisionSystem {

class CLoadImage;
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
    // Set by the last step of initialize, cleared by release.
    bool initialized = false;
    bool notInitializedReported = false;

    void allocateCalibration();
    // Frees the calibration sets and image descriptors; leaves the library alone.
    void freeRecords();
    void clearResult();
    // One pass over the sources; false when a fetch failed.
    bool fetchPass(const std::vector<Memory::TSharedPtr<CLoadImage>>& loaders,
                   Memory::TSharedPtr<VsImage> (&images)[LPMC_MAX_CAMERAS]);
};

} // namespace Orvia::VisionSystem
