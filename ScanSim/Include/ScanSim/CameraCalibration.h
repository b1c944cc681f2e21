// The calibration a laser camera of the station carries: the six 3DCfg files as one JSON text,
// and the compact record that AI cameras keep beside it. A simulated camera serves them, so that
// camera mode starts from an empty configuration directory. The belt speed is on the camera
// clock (milliseconds) unless told otherwise.
#pragma once

#include "ScanSim/ScanWriter.h"

#include "Orvia/ConfigFormat/CameraCalibration.h"

#include <filesystem>
#include <string>

namespace ScanSim {

using DspCalibConfig = Orvia::VisionSystem::ConfigFormat::DspCalibConfig;

// A JSON object with one string member per file, named by the file and holding its whole text,
// members in key order, written as {"key": "value", ...}.
std::string cameraCalibrationText(const Scene& scene, TimeBase base = TimeBase::CameraMs);

// The record of the same files: every number as its text reads, narrowed to float.
DspCalibConfig dspCalibConfig(const Scene& scene, TimeBase base = TimeBase::CameraMs);

// Writes DIR/CalibrationText.json (the text, no terminator) and DIR/DspCalibConfig.bin (the
// 176-byte record), on the camera clock; DIR is created if needed.
bool writeCameraCalibration(const Scene& scene, const std::filesystem::path& dir, std::string& error);

// The text as a JSON string, quotes included, as the library writes it (ConfigFormat/JsonString.h).
std::string jsonString(const std::string& text);

} // namespace ScanSim
