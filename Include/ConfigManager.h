// The calibration a camera carries: six calibration files moved between the camera and a local
// directory through a cache in memory, and on AI cameras the compact record DspCalibConfig
// written beside the text. One object of process lifetime.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "CalibrationText.h"
#include "MvCamera.h"
#include "Orvia/ConfigFormat/CameraCalibration.h"

namespace Orvia::VisionSystem {

// The binary calibration record of an AI camera (layout in ConfigFormat).
using DspCalibConfig = ConfigFormat::DspCalibConfig;
inline constexpr uint32_t kDspCalibMagic = ConfigFormat::kDspCalibMagic;

class CConfigManager {
public:
    // Where an AI camera keeps the text (read 32 KiB at a time) and the record.
    static constexpr uint64_t kCalibStringAddress = ConfigFormat::kCalibStringAddress;
    static constexpr uint64_t kCalibBinaryAddress = ConfigFormat::kCalibBinaryAddress;
    static constexpr uint32_t kCalibAreaSize = ConfigFormat::kCalibAreaSize;

    static CConfigManager& instance();

    // The file of cache entry `index`, or an empty string outside 0 to 5.
    static std::string calibFileName(int index);

    // From the camera into the cache. False with the cache untouched if the camera is missing or
    // offline, can't be read, or holds no JSON text.
    bool loadFromCamera(const Memory::TSharedPtr<CMvCamera>& camera);
    // From the cache into the camera: the text, then on AI cameras the record.
    bool saveToCamera(const Memory::TSharedPtr<CMvCamera>& camera);
    // The record from the cached texts; the caller clears it first.
    bool readDspCalibConfig(DspCalibConfig& config);
    // Every file of `dir` into the cache; true only if none of the six is empty afterwards.
    bool loadFromLocal(const std::string& dir);
    // Every cache entry into a file of `dir`, made if missing; files that can't be opened are
    // skipped. Always true.
    bool saveToLocal(const std::string& dir);

    // The cached text of entry `index` (0 to 5).
    const std::string& cached(int index) const { return cache[static_cast<std::size_t>(index)]; }

    CConfigManager(const CConfigManager&) = delete;
    CConfigManager& operator=(const CConfigManager&) = delete;

private:
    CConfigManager() = default;

    CalibFileTexts cache;
};

} // namespace Orvia::VisionSystem
