#include "CalibFiles.h"

#include <stdexcept>

#include "Orvia/ConfigFormat/CalibFiles.h"
#include "Orvia/ConfigFormat/KeyValueWriter.h"

namespace quboid3d::test {

namespace Format = Orvia::VisionSystem::ConfigFormat;

void writeKeyValueFile(const std::filesystem::path& path, const CalibFiles::Lines& lines) {
    if (path.has_parent_path())
        std::filesystem::create_directories(path.parent_path());
    if (Format::writeKeyValueFile(path.string().c_str(), lines, "written by a test") !=
        Format::KeyValueWrite::Written)
        throw std::runtime_error("cannot write " + path.string());
}

void CalibFiles::write(const std::string& prefix) const {
    writeKeyValueFile(prefix + Format::kLightPlaneFile, plane);
    writeKeyValueFile(prefix + Format::kMovePoseFile, motion);
    writeKeyValueFile(prefix + Format::intrinsicsFile(0), intrinsics);
    writeKeyValueFile(prefix + Format::extrinsicsFile(0), extrinsics);
    writeKeyValueFile(prefix + Format::kScanFile, scan);
}

} // namespace quboid3d::test
