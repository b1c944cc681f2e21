// Whether a directory entry is hidden, the way the platform sees it.
#pragma once

#include <filesystem>
#include <string>

namespace Orvia::Infra {

bool isHiddenEntry(const std::filesystem::path& path, const std::string& name);

} // namespace Orvia::Infra
