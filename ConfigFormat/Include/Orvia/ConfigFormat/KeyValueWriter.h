// The one writer of key-value files: configuration directories, site files and the parser's
// own save all come out of it, so they share one syntax.
#pragma once

#include <cstdio>
#include <string>

namespace Orvia::VisionSystem::ConfigFormat {

enum class KeyValueWrite {
    Written,
    NotCreated, // the file could not be opened for writing
    NotWritten  // opened, but a write or the close failed
};

// Replaces the file at `path` by one line "key = value" per pair, in the order of `pairs` (any
// range of pairs of std::string), after a line "# comment" when a comment is given. A value is
// written up to its first NUL byte. Text mode: lines end as the platform ends them.
template <typename Pairs>
KeyValueWrite writeKeyValueFile(const char* path, const Pairs& pairs, const char* comment = nullptr) {
    std::FILE* file = std::fopen(path, "w");
    if (file == nullptr) {
        return KeyValueWrite::NotCreated;
    }
    bool ok = comment == nullptr || std::fprintf(file, "# %s\n", comment) >= 0;
    for (const auto& [key, value] : pairs) {
        ok = std::fprintf(file, "%s = %s\n", key.c_str(), value.c_str()) >= 0 && ok;
    }
    ok = std::fclose(file) == 0 && ok;
    return ok ? KeyValueWrite::Written : KeyValueWrite::NotWritten;
}

// The same lines as one text, each ending in a bare line feed, as a file's text travels inside a
// camera whatever the platform.
template <typename Pairs>
std::string keyValueText(const Pairs& pairs, const char* comment = nullptr) {
    std::string text;
    if (comment != nullptr) {
        text.append("# ").append(comment).push_back('\n');
    }
    for (const auto& [key, value] : pairs) {
        text.append(key.c_str()).append(" = ").append(value.c_str()).push_back('\n');
    }
    return text;
}

} // namespace Orvia::VisionSystem::ConfigFormat
