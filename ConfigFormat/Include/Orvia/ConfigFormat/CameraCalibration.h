// Where a laser camera keeps the calibration it carries, and the compact binary record that AI
// cameras keep beside the text. The measuring library reads and writes them; ScanSim fills them
// for a simulated camera of its station. The text itself is a JSON object of the six calibration
// files, each member named by its file and holding the file's whole text.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace Orvia::VisionSystem::ConfigFormat {

// AI cameras keep the text in their memory, NUL-terminated, and read it 32 KiB at a time; the
// record lies 0x4448 bytes below it. Other cameras keep the text in their private area.
inline constexpr uint64_t kCalibStringAddress = 0x4E0615E0;
inline constexpr uint64_t kCalibBinaryAddress = 0x4E05D198;
inline constexpr uint32_t kCalibAreaSize = 0x8000;

inline constexpr uint32_t kDspCalibMagic = 0x74504433; // "3DPt" read as a little-endian word

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
static_assert(kCalibStringAddress - kCalibBinaryAddress == 0x4448);

} // namespace Orvia::VisionSystem::ConfigFormat
