// Writes the calibration and scan files of a configuration directory for tests, each file as
// lines of "key = value" that a test may change or drop before writing.
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "Orvia/ConfigFormat/CalibFiles.h"

namespace quboid3d::test {

namespace Format = Orvia::VisionSystem::ConfigFormat;

struct CalibFiles {
    using Lines = std::map<std::string, std::string>; // key -> value
    Lines plane{{Format::LightPlaneKey::kA, "0.001"},
                {Format::LightPlaneKey::kB, "-0.002"},
                {Format::LightPlaneKey::kC, "0.0015"},
                {Format::LightPlaneKey::kHeightFactor, "1.0"}};
    Lines motion{{Format::MovePoseKey::kSpeedVx, "0.0"}, {Format::MovePoseKey::kSpeedVy, "0.5"}};
    Lines intrinsics{{Format::IntrinsicsKey::kCameraMatrix, "[2000,0,1024,0,2000,256,0,0,1]"},
                     {Format::IntrinsicsKey::kDistortion, "[0.01,-0.02,0.001,0.002,0.0]"}};
    Lines extrinsics{{Format::ExtrinsicsKey::kPose, "[0.1,0.2,0.3,10,20,1500]"}};
    Lines scan{{Format::ScanKey::kFrameNum, "4000"},
               {Format::ScanKey::kImageWidth, "64"},
               {Format::ScanKey::kImageHeight, "32"},
               {Format::ScanKey::kThresh, "40"}};

    // Writes LightPlaneParam.data, LaserMovePose.data, CamInstrinsic0.data, CamExtrinsic0.data
    // and CalibScanCfg.cfg with `prefix` glued in front of each name, as the system forms them.
    void write(const std::string& prefix) const;
};

// Writes one key-value file from lines.
void writeKeyValueFile(const std::filesystem::path& path, const CalibFiles::Lines& lines);

} // namespace quboid3d::test
