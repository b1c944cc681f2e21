#include "CalibrationArea.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include <unistd.h>

#include "Orvia/ConfigFormat/CalibFiles.h"
#include "Orvia/ConfigFormat/KeyValueWriter.h"
#include "ScanSim/ScanWriter.h"

namespace quboid3d::virtualcamera {

namespace fs = std::filesystem;
namespace Format = Orvia::VisionSystem::ConfigFormat;

namespace {

std::string jsonString(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                char escaped[8];
                std::snprintf(escaped, sizeof(escaped), "\\u%04x", static_cast<unsigned>(c));
                out += escaped;
            } else {
                out += c;
            }
        }
    }
    return out + "\"";
}

bool readWhole(const fs::path& path, std::string& text) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    text = buffer.str();
    return static_cast<bool>(in);
}

// A scratch directory that goes with its object.
class CScratchDir {
public:
    CScratchDir() {
        std::error_code ec;
        path_ = fs::temp_directory_path(ec) / ("quboid3d-virtual-camera-" + std::to_string(::getpid()));
        fs::create_directories(path_, ec);
    }
    ~CScratchDir() {
        std::error_code ec;
        fs::remove_all(path_, ec);
    }
    CScratchDir(const CScratchDir&) = delete;
    CScratchDir& operator=(const CScratchDir&) = delete;
    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

} // namespace

bool makeCalibrationText(const ScanSim::Scene& scene, std::string& text, std::string& error) {
    CScratchDir scratch;
    if (!ScanSim::writeCalibrationFiles(scene, scratch.path(), error)) {
        return false;
    }
    // Frames from a camera carry its time, so the belt moves per millisecond of it.
    const auto movePose = scratch.path() / Format::kMovePoseFile;
    if (Format::writeKeyValueFile(
            movePose.string().c_str(), ScanSim::movePoseKeys(scene, ScanSim::TimeBase::CameraMs),
            "belt travel in mm per millisecond of camera time") != Format::KeyValueWrite::Written) {
        error = "cannot write " + movePose.string();
        return false;
    }
    const std::string names[] = {Format::kScanFile,         Format::kCameraParamsFile,
                                 Format::intrinsicsFile(0), Format::extrinsicsFile(0),
                                 Format::kLightPlaneFile,   Format::kMovePoseFile};
    std::map<std::string, std::string> files; // in name order, as the camera keeps them
    for (const auto& name : names) {
        if (!readWhole(scratch.path() / name, files[name])) {
            error = "cannot read " + name;
            return false;
        }
    }
    text = "{";
    for (const auto& [name, content] : files) {
        text += (text.size() > 1 ? "," : "") + jsonString(name) + ":" + jsonString(content);
    }
    text += "}";
    return true;
}

} // namespace quboid3d::virtualcamera
