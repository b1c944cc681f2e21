// Scene files: JSON, described in ScanSim/README.md. Every member is optional; what is absent
// keeps the value of the default station and optics.
#pragma once

#include "ScanSim/Scene.h"

#include <filesystem>
#include <string>

namespace ScanSim {

bool parseScene(const std::string& json, Scene& out, std::string& error);
bool loadSceneFile(const std::filesystem::path& path, Scene& out, std::string& error);

} // namespace ScanSim
