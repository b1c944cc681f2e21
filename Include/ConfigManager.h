// The calibration a camera carries: six calibration files moved between the camera and a local
// directory through a cache in memory, and on AI cameras the compact record DspCalibConfig
// written beside the text. One object of process lifetime.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>

#include "CalibrationText.h"
#include "MvCamera.h"

namespace Orvia::VisionSystem {

// The binary calibration record of an AI camera: little-endian 32-bit floats after the magic.
// Cleared before it is filled, so a value without a source stays 0.0.
struct DspCalibConfig {
    uint32_t magic;               // the bytes "3DPt"
    float instriCamParams[9];     // InstriCamParams of the intrinsics file
    float instriCamDistortion[5]; // InstriCamDistorTion of the intrinsics file
    float extriCamParams[6];      // ExtriCamParams of the extrinsics file
    uint8_t reserved[36];
    float planeA;
    float planeB;
    float planeC;
    float planeHeightFactor;
    float speedVx;
    float speedVy;
    // Maxima ahead of minima, each as h, l, w.
    float scanMaxH;
    float scanMaxL;
    float scanMaxW;
    float scanMinH;
    float scanMinL;
    float scanMinW;
    float scanNoiseFactor;
    float scanChessboardHeight;
};

inline constexpr uint32_t kDspCalibMagic = 0x74504433; // "3DPt" read as a little-endian word

static_assert(std::endian::native == std::endian::little, "the record is written as it lies in memory");
static_assert(sizeof(float) == 4);
static_assert(sizeof(DspCalibConfig) == 0xB0);
static_assert(offsetof(DspCalibConfig, magic) == 0x00);
static_assert(offsetof(DspCalibConfig, instriCamParams) == 0x04);
static_assert(offsetof(DspCalibConfig, instriCamDistortion) == 0x28);
static_assert(offsetof(DspCalibConfig, extriCamParams) == 0x3C);
static_assert(offsetof(DspCalibConfig, reserved) == 0x54);
static_assert(offsetof(DspCalibConfig, planeA) == 0x78);
static_assert(offsetof(DspCalibConfig, planeB) == 0x7C);
static_assert(offsetof(DspCalibConfig, planeC) == 0x80);
static_assert(offsetof(DspCalibConfig, planeHeightFactor) == 0x84);
static_assert(offsetof(DspCalibConfig, speedVx) == 0x88);
static_assert(offsetof(DspCalibConfig, speedVy) == 0x8C);
static_assert(offsetof(DspCalibConfig, scanMaxH) == 0x90);
static_assert(offsetof(DspCalibConfig, scanMaxL) == 0x94);
static_assert(offsetof(DspCalibConfig, scanMaxW) == 0x98);
static_assert(offsetof(DspCalibConfig, scanMinH) == 0x9C);
static_assert(offsetof(DspCalibConfig, scanMinL) == 0xA0);
static_assert(offsetof(DspCalibConfig, scanMinW) == 0xA4);
static_assert(offsetof(DspCalibConfig, scanNoiseFactor) == 0xA8);
static_assert(offsetof(DspCalibConfig, scanChessboardHeight) == 0xAC);

class CConfigManager {
public:
    // Where an AI camera keeps the text (read 32 KiB at a time) and the record.
    static constexpr uint64_t kCalibStringAddress = 0x4E0615E0;
    static constexpr uint64_t kCalibBinaryAddress = 0x4E05D198;
    static constexpr uint32_t kCalibAreaSize = 0x8000;

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
