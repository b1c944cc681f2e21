// Writes a scan directory that a local-mode run measures:
//   DIR/LocalMode.dat, DIR/LocalImages/NNNNNN.png|bmp, DIR/3DCfg/*, DIR/truth.json
// and beside it what the station's camera carries: DIR/Camera/CalibrationText.json and
// DIR/Camera/DspCalibConfig.bin.
#pragma once

#include "ScanSim/Truth.h"

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace ScanSim {

enum class ImageFileFormat { Png, Bmp };

using KeyValues = std::vector<std::pair<std::string, std::string>>;

// The keys of each 3DCfg file, in the order they are written.
KeyValues calibScanKeys(const Scene& scene);
KeyValues cameraParamsKeys(const Scene& scene);
KeyValues intrinsicsKeys(const Scene& scene);
KeyValues extrinsicsKeys(const Scene& scene);
KeyValues lightPlaneKeys(const Scene& scene);
KeyValues movePoseKeys(const Scene& scene, TimeBase base);

// One file of the configuration directory: its name, its comment line and its keys.
struct CalibrationFile {
    std::string name;
    std::string comment;
    KeyValues keys;
};

// The six 3DCfg files, in the order a camera's calibration lists them: CalibScanCfg.cfg,
// CameraParams.cfg, CamInstrinsic0.data, CamExtrinsic0.data, LightPlaneParam.data,
// LaserMovePose.data. The belt speed is given on `base`.
std::vector<CalibrationFile> calibrationFiles(const Scene& scene, TimeBase base);

// Writes the six 3DCfg files into cfgDir (created if needed).
bool writeCalibrationFiles(const Scene& scene, const std::filesystem::path& cfgDir, std::string& error,
                           TimeBase base = TimeBase::StoredImages);

// Name of stored image k: zero-padded so that name order is playback order.
std::string imageFileName(int frame, ImageFileFormat format);
bool writeGreyImage(const std::filesystem::path& path, ImageFileFormat format, int width, int height,
                    const uint8_t* pixels);

struct ScanWriteOptions {
    ImageFileFormat format = ImageFileFormat::Png;
    std::function<void(int done, int total)> progress; // may be empty
};

struct ScanWriteResult {
    bool ok = false;
    std::string error;
    int frames = 0;
    ScanTruth truth;
};

// Renders every frame of the scene and writes the whole directory (stored-image time base:
// SpeedVy = mmPerFrame / 2, or encoder mode if the scene says so).
ScanWriteResult writeScanDirectory(const Scene& scene, const std::filesystem::path& dir,
                                   const ScanWriteOptions& options);

} // namespace ScanSim
