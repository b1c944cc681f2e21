// Paths inside a local directory, joined with the platform's own separator.
#pragma once

#include <string>

namespace Orvia::VisionSystem {

// `dir`, the platform's separator and `name`, with nothing dropped or added besides.
std::string joinInDirectory(const std::string& dir, const std::string& name);
// Creates `dir` if it is missing, one level only; whether that worked is not reported.
void createDirectoryOneLevel(const std::string& dir);

} // namespace Orvia::VisionSystem
