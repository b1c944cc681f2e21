// The calibration a simulated laser camera carries for a virtual station scene: the text of the
// station's six calibration files, and on AI cameras the binary record beside it, put where a
// real camera keeps them, so that the measuring library downloads them as from a real camera.
#pragma once

#include "Orvia/Sim/SimCamera.h"
#include "ScanSim/Scene.h"

namespace Orvia::Sim {

enum class CalibrationArea {
    Memory,      // AI cameras: the text, NUL-terminated, in the calibration area, and the record
    PrivateArea, // the others: the text and two NUL bytes from the start of the private area
};

// Puts the station's calibration (belt speed on the camera clock) into `camera`'s `area`, with
// no transfer recorded. False if it doesn't fit.
bool holdStationCalibration(CSimCamera& camera, const ScanSim::Scene& scene, CalibrationArea area);

} // namespace Orvia::Sim
