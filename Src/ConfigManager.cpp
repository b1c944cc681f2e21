#include "ConfigManager.h"

#include <cfloat>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <vector>

#include "KeyValueCfgParser.h"
#include "LocalDirectory.h"
#include "Orvia/ConfigFormat/CalibFiles.h"
#include "VsLog.h"

namespace Orvia::VisionSystem {
namespace {

constexpr const char* kLogSource = "Src/ConfigManager.cpp";
constexpr const char* kChannel = "Default";
constexpr const char* kLoadFromCameraFn = "CConfigManager::loadFromCamera";
constexpr const char* kSaveToCameraFn = "CConfigManager::saveToCamera";
constexpr const char* kReadDspFn = "CConfigManager::readDspCalibConfig";

// Cache entries by file.
constexpr int kScanEntry = 0;
constexpr int kIntrinsicsEntry = 2;
constexpr int kExtrinsicsEntry = 3;
constexpr int kLightPlaneEntry = 4;
constexpr int kMovePoseEntry = 5;

// A camera write of fewer than 16 bytes at the end sends 16, reading past the text.
constexpr std::size_t kWriteSlack = 16;

// Out-of-range doubles become infinities, as the hardware would narrow them, without the
// undefined conversion.
float narrow(double value) {
    if (value > static_cast<double>(FLT_MAX))
        return std::numeric_limits<float>::infinity();
    if (value < -static_cast<double>(FLT_MAX))
        return -std::numeric_limits<float>::infinity();
    return static_cast<float>(value);
}

void copyList(CKeyValueCfgParser& parser, const char* key, float* target, int capacity) {
    double* values = nullptr;
    const int count = parser.getVal(key, values);
    for (int i = 0; i < count && i < capacity; ++i)
        target[i] = narrow(values[i]);
}

void copyValue(CKeyValueCfgParser& parser, const char* key, float& target) {
    double value = 0.0;
    if (parser.getVal(key, value))
        target = narrow(value);
}

} // namespace

CConfigManager& CConfigManager::instance() {
    static CConfigManager manager;
    return manager;
}

std::string CConfigManager::calibFileName(int index) {
    return calibFileNameAt(index);
}

bool CConfigManager::loadFromCamera(const Memory::TSharedPtr<CMvCamera>& camera) {
    if (!camera || !camera->isConnected())
        return false;
    std::vector<uint8_t> area(kCalibAreaSize, 0);
    if (camera->cameraType == CameraTypeAI) {
        if (!camera->readMemory(kCalibStringAddress, area.data())) {
            VS_LOG_ERROR(kChannel, kLoadFromCameraFn, "read calib string from camera error.");
            return false;
        }
    } else if (camera->getParams()->readUserPrivateData(area.data(), static_cast<int32_t>(area.size())) <=
               0) {
        return false;
    }
    // The area may be full to its last byte with no terminator: the text stops at the area's end.
    const std::string text = calibrationTextOf(area.data(), area.size());
    VS_LOG_INFO(kChannel, kLoadFromCameraFn, "loadFromCamera: %s", text.c_str());
    std::string error;
    if (!parseCalibrationText(text, cache, error)) {
        VS_LOG_ERROR(kChannel, kLoadFromCameraFn, "config parse error. %s", error.c_str());
        return false;
    }
    return true;
}

bool CConfigManager::saveToCamera(const Memory::TSharedPtr<CMvCamera>& camera) {
    if (!camera || !camera->isConnected())
        return false;
    std::string text = makeCalibrationText(cache);
    text.push_back('\0');
    VS_LOG_INFO(kChannel, kSaveToCameraFn, "saveToCamera: %s", text.c_str());
    const uint32_t length = static_cast<uint32_t>(text.size());
    std::vector<uint8_t> bytes(text.begin(), text.end());
    bytes.resize(bytes.size() + kWriteSlack, 0);

    if (camera->cameraType != CameraTypeAI) {
        // One byte more than the text: two NUL bytes end what the camera keeps.
        return camera->getParams()->writeUserPrivateData(bytes.data(), static_cast<int32_t>(length + 1)) > 0;
    }
    DspCalibConfig record{};
    if (!readDspCalibConfig(record)) {
        VS_LOG_ERROR(kChannel, kSaveToCameraFn, "parse dsp calib config from cache error.");
        return false;
    }
    VS_LOG_INFO(kChannel, kSaveToCameraFn, "write memory. addr: %x, len: %d, data: %s",
                static_cast<unsigned>(kCalibStringAddress), static_cast<int>(length), text.c_str());
    if (!camera->writeMemory(kCalibStringAddress, bytes.data(), length)) {
        VS_LOG_ERROR(kChannel, kSaveToCameraFn, "write calib string to camera failed.");
        return false;
    }
    VS_LOG_INFO(kChannel, kSaveToCameraFn, "write memory. addr: %x, len: %d, data: %p",
                static_cast<unsigned>(kCalibBinaryAddress), static_cast<int>(sizeof record),
                static_cast<void*>(&record));
    if (!camera->writeMemory(kCalibBinaryAddress, reinterpret_cast<const uint8_t*>(&record), sizeof record)) {
        VS_LOG_ERROR(kChannel, kSaveToCameraFn, "write calib binary to camera failed.");
        return false;
    }
    return true;
}

bool CConfigManager::readDspCalibConfig(DspCalibConfig& config) {
    namespace Format = ConfigFormat;
    config.magic = kDspCalibMagic;
    // The cached texts go through the string route: no comments, a blank line is a format warning.
    const auto parseEntry = [this](CKeyValueCfgParser& parser, int entry) {
        const std::string& text = cache[static_cast<std::size_t>(entry)];
        if (parser.parse(text))
            return true;
        VS_LOG_ERROR(kChannel, kReadDspFn, "parse cfg failed: %s", text.c_str());
        return false;
    };
    CKeyValueCfgParser lightPlane, movePose, intrinsics, extrinsics, scan;
    if (!parseEntry(lightPlane, kLightPlaneEntry) || !parseEntry(movePose, kMovePoseEntry) ||
        !parseEntry(intrinsics, kIntrinsicsEntry) || !parseEntry(extrinsics, kExtrinsicsEntry))
        return false;
    copyList(intrinsics, Format::IntrinsicsKey::kCameraMatrix, config.instriCamParams, 9);
    copyList(intrinsics, Format::IntrinsicsKey::kDistortion, config.instriCamDistortion, 5);
    copyList(extrinsics, Format::ExtrinsicsKey::kPose, config.extriCamParams, 6);
    if (!parseEntry(scan, kScanEntry))
        return false;

    copyValue(lightPlane, Format::LightPlaneKey::kA, config.planeA);
    copyValue(lightPlane, Format::LightPlaneKey::kB, config.planeB);
    copyValue(lightPlane, Format::LightPlaneKey::kC, config.planeC);
    copyValue(lightPlane, Format::LightPlaneKey::kHeightFactor, config.planeHeightFactor);
    copyValue(movePose, Format::MovePoseKey::kSpeedVx, config.speedVx);
    copyValue(movePose, Format::MovePoseKey::kSpeedVy, config.speedVy);
    copyValue(scan, Format::ScanKey::kMinLength, config.scanMinL);
    copyValue(scan, Format::ScanKey::kMaxLength, config.scanMaxL);
    copyValue(scan, Format::ScanKey::kMinWidth, config.scanMinW);
    copyValue(scan, Format::ScanKey::kMaxWidth, config.scanMaxW);
    copyValue(scan, Format::ScanKey::kMinHeight, config.scanMinH);
    copyValue(scan, Format::ScanKey::kMaxHeight, config.scanMaxH);
    copyValue(scan, Format::ScanKey::kNoiseFactor, config.scanNoiseFactor);
    copyValue(scan, Format::ScanKey::kChessboardHeight, config.scanChessboardHeight);
    return true;
}

bool CConfigManager::loadFromLocal(const std::string& dir) {
    bool complete = true;
    for (int index = 0; index < kCalibFileCount; ++index) {
        const std::string name = calibFileName(index);
        if (name.empty())
            continue;
        std::ifstream in(joinInDirectory(dir, name));
        std::string& entry = cache[static_cast<std::size_t>(index)];
        entry = in ? std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>())
                   : std::string();
        complete = complete && !entry.empty();
    }
    return complete;
}

bool CConfigManager::saveToLocal(const std::string& dir) {
    createDirectoryOneLevel(dir);
    for (int index = 0; index < kCalibFileCount; ++index) {
        const std::string name = calibFileName(index);
        if (name.empty())
            continue;
        // An empty entry gives an empty file: the local copy follows the camera.
        std::ofstream out(joinInDirectory(dir, name), std::ios::binary | std::ios::trunc);
        if (out)
            out << cache[static_cast<std::size_t>(index)];
    }
    return true;
}

} // namespace Orvia::VisionSystem
