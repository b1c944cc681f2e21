#include "LocalDirectory.h"

#include <filesystem>
#include <system_error>

namespace Orvia::VisionSystem {

std::string joinInDirectory(const std::string& dir, const std::string& name) {
#ifdef _WIN32
    constexpr char kSeparator = '\\';
#else
    constexpr char kSeparator = '/';
#endif
    return dir + kSeparator + name;
}

void createDirectoryOneLevel(const std::string& dir) {
    std::error_code ignored;
    std::filesystem::create_directory(dir, ignored);
}

} // namespace Orvia::VisionSystem
