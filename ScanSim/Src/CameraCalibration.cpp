#include "ScanSim/CameraCalibration.h"

#include "Orvia/ConfigFormat/CalibFiles.h"
#include "Orvia/ConfigFormat/JsonString.h"
#include "Orvia/ConfigFormat/KeyValueWriter.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <vector>

namespace ScanSim {
namespace {

namespace Format = Orvia::VisionSystem::ConfigFormat;

// Values by key over all files of the station.
using ValueTexts = std::map<std::string, std::string>;

ValueTexts valueTexts(const std::vector<CalibrationFile>& files) {
    ValueTexts values;
    for (const CalibrationFile& file : files) {
        for (const auto& [key, value] : file.keys) {
            values[key] = value;
        }
    }
    return values;
}

void copyValue(const ValueTexts& values, const char* key, float& target) {
    const auto found = values.find(key);
    if (found != values.end()) {
        target = static_cast<float>(std::strtod(found->second.c_str(), nullptr));
    }
}

// A list "[a,b,...]": at most `capacity` numbers.
void copyList(const ValueTexts& values, const char* key, float* target, size_t capacity) {
    const auto found = values.find(key);
    if (found == values.end()) {
        return;
    }
    const char* at = found->second.c_str();
    for (size_t i = 0; i < capacity && (*at == '[' || *at == ','); ++i) {
        char* end = nullptr;
        target[i] = static_cast<float>(std::strtod(at + 1, &end));
        at = end;
    }
}

bool writeBytes(const std::filesystem::path& path, const void* data, size_t size, std::string& error) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    out.close();
    if (!out) {
        error = "cannot write " + path.string();
        return false;
    }
    return true;
}

} // namespace

std::string jsonString(const std::string& text) {
    std::string out;
    Format::appendJsonString(out, text);
    return out;
}

std::string cameraCalibrationText(const Scene& scene, TimeBase base) {
    std::map<std::string, std::string> members;
    for (const CalibrationFile& file : calibrationFiles(scene, base)) {
        members[file.name] = Format::keyValueText(file.keys, file.comment.c_str());
    }
    std::string text = "{";
    for (const auto& [name, content] : members) {
        if (text.size() > 1) {
            text += ", ";
        }
        text += jsonString(name) + ": " + jsonString(content);
    }
    return text + "}";
}

DspCalibConfig dspCalibConfig(const Scene& scene, TimeBase base) {
    const ValueTexts values = valueTexts(calibrationFiles(scene, base));
    DspCalibConfig record{};
    record.magic = Format::kDspCalibMagic;
    copyList(values, Format::IntrinsicsKey::kCameraMatrix, record.instriCamParams, 9);
    copyList(values, Format::IntrinsicsKey::kDistortion, record.instriCamDistortion, 5);
    copyList(values, Format::ExtrinsicsKey::kPose, record.extriCamParams, 6);
    copyValue(values, Format::LightPlaneKey::kA, record.planeA);
    copyValue(values, Format::LightPlaneKey::kB, record.planeB);
    copyValue(values, Format::LightPlaneKey::kC, record.planeC);
    copyValue(values, Format::LightPlaneKey::kHeightFactor, record.planeHeightFactor);
    copyValue(values, Format::MovePoseKey::kSpeedVx, record.speedVx);
    copyValue(values, Format::MovePoseKey::kSpeedVy, record.speedVy);
    copyValue(values, Format::ScanKey::kMaxHeight, record.scanMaxH);
    copyValue(values, Format::ScanKey::kMaxLength, record.scanMaxL);
    copyValue(values, Format::ScanKey::kMaxWidth, record.scanMaxW);
    copyValue(values, Format::ScanKey::kMinHeight, record.scanMinH);
    copyValue(values, Format::ScanKey::kMinLength, record.scanMinL);
    copyValue(values, Format::ScanKey::kMinWidth, record.scanMinW);
    copyValue(values, Format::ScanKey::kNoiseFactor, record.scanNoiseFactor);
    copyValue(values, Format::ScanKey::kChessboardHeight, record.scanChessboardHeight);
    return record;
}

bool writeCameraCalibration(const Scene& scene, const std::filesystem::path& dir, std::string& error) {
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (ec) {
        error = "cannot create " + dir.string() + ": " + ec.message();
        return false;
    }
    const std::string text = cameraCalibrationText(scene);
    const DspCalibConfig record = dspCalibConfig(scene);
    return writeBytes(dir / "CalibrationText.json", text.data(), text.size(), error) &&
           writeBytes(dir / "DspCalibConfig.bin", &record, sizeof record, error);
}

} // namespace ScanSim
