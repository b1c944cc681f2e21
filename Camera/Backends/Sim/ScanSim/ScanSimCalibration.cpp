#include "Orvia/Sim/ScanSimCalibration.h"

#include <vector>

#include "ScanSim/CameraCalibration.h"

namespace Orvia::Sim {

bool holdStationCalibration(CSimCamera& camera, const ScanSim::Scene& scene, CalibrationArea area) {
    namespace Format = VisionSystem::ConfigFormat;
    const std::string text = ScanSim::cameraCalibrationText(scene);
    std::vector<uint8_t> bytes(text.begin(), text.end());
    if (area == CalibrationArea::PrivateArea) {
        bytes.resize(bytes.size() + 2, 0);
        return camera.pokePrivateArea(bytes.data(), bytes.size());
    }
    bytes.push_back(0);
    if (bytes.size() > Format::kCalibAreaSize) {
        return false;
    }
    const ScanSim::DspCalibConfig record = ScanSim::dspCalibConfig(scene);
    return camera.pokeMemory(Format::kCalibStringAddress, bytes.data(), bytes.size()) &&
           camera.pokeMemory(Format::kCalibBinaryAddress, &record, sizeof record);
}

} // namespace Orvia::Sim
