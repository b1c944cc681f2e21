// The station's calibration as the camera carries it in its private data area: one JSON object
// with a string member per calibration file (the file's whole text), members in name order,
// then NUL bytes.
#pragma once

#include <string>

#include "ScanSim/Scene.h"

namespace quboid3d::virtualcamera {

// The calibration text of `scene`, with belt travel per millisecond of camera time, as frames
// from a camera are stamped. False with a message when the files can't be made.
bool makeCalibrationText(const ScanSim::Scene& scene, std::string& text, std::string& error);

} // namespace quboid3d::virtualcamera
