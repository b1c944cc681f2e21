#include "HiddenEntry.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace Orvia::Infra {

#if defined(_WIN32)
bool isHiddenEntry(const std::filesystem::path& path, const std::string&) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_HIDDEN) != 0;
}
#else
bool isHiddenEntry(const std::filesystem::path&, const std::string& name) {
    return !name.empty() && name[0] == '.';
}
#endif

} // namespace Orvia::Infra
