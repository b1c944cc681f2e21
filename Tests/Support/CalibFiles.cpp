#include "CalibFiles.h"

#include <fstream>

namespace quboid3d::test {

void writeKeyValueFile(const std::filesystem::path& path, const CalibFiles::Lines& lines) {
    if (path.has_parent_path())
        std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path);
    out << "# written by a test\n";
    for (const auto& [key, value] : lines)
        out << key << " = " << value << "\n";
}

void CalibFiles::write(const std::string& prefix) const {
    writeKeyValueFile(prefix + "LightPlaneParam.data", plane);
    writeKeyValueFile(prefix + "LaserMovePose.data", motion);
    writeKeyValueFile(prefix + "CamInstrinsic0.data", intrinsics);
    writeKeyValueFile(prefix + "CamExtrinsic0.data", extrinsics);
    writeKeyValueFile(prefix + "CalibScanCfg.cfg", scan);
}

} // namespace quboid3d::test
