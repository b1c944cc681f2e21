// Writes the calibration and scan files of a configuration directory for tests, each file as
// lines of "key = value" that a test may change or drop before writing.
#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace quboid3d::test {

struct CalibFiles {
    using Lines = std::map<std::string, std::string>; // key -> value
    Lines plane{
        {"PlaneA", "0.001"}, {"PlaneB", "-0.002"}, {"PlaneC", "0.0015"}, {"PlaneHeightFactor", "1.0"}};
    Lines motion{{"SpeedVx", "0.0"}, {"SpeedVy", "0.5"}};
    Lines intrinsics{{"InstriCamParams", "[2000,0,1024,0,2000,256,0,0,1]"},
                     {"InstriCamDistorTion", "[0.01,-0.02,0.001,0.002,0.0]"}};
    Lines extrinsics{{"ExtriCamParams", "[0.1,0.2,0.3,10,20,1500]"}};
    Lines scan{{"scan_frame_num", "4000"}, {"image_width", "64"}, {"image_height", "32"}, {"thresh", "40"}};

    // Writes LightPlaneParam.data, LaserMovePose.data, CamInstrinsic0.data, CamExtrinsic0.data
    // and CalibScanCfg.cfg with `prefix` glued in front of each name, as the system forms them.
    void write(const std::string& prefix) const;
};

// Writes one key-value file from lines.
void writeKeyValueFile(const std::filesystem::path& path, const CalibFiles::Lines& lines);

} // namespace quboid3d::test
