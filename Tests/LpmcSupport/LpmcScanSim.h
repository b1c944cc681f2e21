// Runs ScanSim scans through the sheet-of-light library the way the measuring library's
// calculator does: calibration and scan keys from the texts of the 3DCfg files, one camera in
// slot 0, stored-image timestamps 1, 3, 5, ..., frames until a result, then its boxes. Then
// matches the boxes with the scan's truth.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Lpmc.h"
#include "ScanSim/Renderer.h"
#include "ScanSim/Truth.h"

namespace lpmctest {

struct SimRunOptions {
    bool lineForm = false;                 // imageType 2 instead of Mono8
    std::function<void(LpmcConfig&)> edit; // changes after the scan keys were applied
};

struct SimResult {
    bool ok = false;
    std::string error;
    std::vector<LpmcBox> boxes;      // of every result with state 1
    std::vector<LpmcBox> unmeasured; // of results with state 2
    ScanSim::ScanTruth truth;
    ScanSim::Vec3 speed; // SpeedVx, SpeedVy
};

SimResult runScene(const ScanSim::Scene& scene, const SimRunOptions& options);

// One truth object and what was found of it.
struct SimMatch {
    const ScanSim::ObjectTruth* truth = nullptr;
    int found = 0; // boxes matched to it: 1 is right, 2+ is split
    LpmcBox box{}; // the first match
    double dLength = 0, dWidth = 0, dHeight = 0, dSlant = 0, dCentreX = 0, dCentreY = 0;
};

struct SimComparison {
    std::vector<SimMatch> objects; // one per truth object that was seen
    int phantoms = 0;              // boxes matching no object
};

// A box belongs to the object whose centre it holds, both moved to the object's enter time.
// Slants of footprints whose sides differ by 2.5 mm or less are compared modulo 90 degrees.
SimComparison compare(const SimResult& result);

// Loads one of ScanSim/scenes/*.json.
ScanSim::Scene loadScene(const std::string& path);

} // namespace lpmctest
