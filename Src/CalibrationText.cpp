#include "CalibrationText.h"

#include <cstring>

#include "Json.h"
#include "Orvia/ConfigFormat/CalibFiles.h"

namespace Orvia::VisionSystem {

std::string calibFileNameAt(int index) {
    namespace Format = ConfigFormat;
    switch (index) {
    case 0:
        return Format::kScanFile;
    case 1:
        return Format::kCameraParamsFile;
    case 2:
        return Format::intrinsicsFile(0);
    case 3:
        return Format::extrinsicsFile(0);
    case 4:
        return Format::kLightPlaneFile;
    case 5:
        return Format::kMovePoseFile;
    default:
        return {};
    }
}

std::string calibrationTextOf(const uint8_t* area, std::size_t size) {
    const void* end = std::memchr(area, 0, size);
    const std::size_t length = end ? static_cast<std::size_t>(static_cast<const uint8_t*>(end) - area) : size;
    return std::string(reinterpret_cast<const char*>(area), length);
}

bool parseCalibrationText(const std::string& text, CalibFileTexts& files, std::string& error) {
    const Json root = Json::parse(text, error);
    if (!error.empty())
        return false;
    for (int index = 0; index < kCalibFileCount; ++index)
        files[static_cast<std::size_t>(index)] = root[calibFileNameAt(index)].string_value();
    return true;
}

std::string makeCalibrationText(const CalibFileTexts& files) {
    Json::object members;
    for (int index = 0; index < kCalibFileCount; ++index) {
        const std::string name = calibFileNameAt(index);
        if (!name.empty())
            members[name] = Json(files[static_cast<std::size_t>(index)]);
    }
    return Json(members).dump();
}

} // namespace Orvia::VisionSystem
