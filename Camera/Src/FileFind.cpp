#include "Orvia/Infra/FileFind.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

#include "HiddenEntry.h"
#include "WildcardMatch.h"

namespace Orvia::Infra {
namespace fs = std::filesystem;

struct CFileFind::Listing {
    struct Entry {
        std::string name;
        fs::path fullPath;
        bool directory = false;
    };
    std::string prefix;
    std::vector<Entry> entries;
    std::size_t current = 0;
};

namespace {

// Splits "dir/part*" into "dir/" and "part*"; a pattern without a separator lists ".".
// A backslash separates too where the platform says so.
std::pair<std::string, std::string> splitPattern(const std::string& pattern) {
    const char* separators = fs::path::preferred_separator == '\\' ? "/\\" : "/";
    const auto slash = pattern.find_last_of(separators);
    if (slash == std::string::npos)
        return {"", pattern};
    return {pattern.substr(0, slash + 1), pattern.substr(slash + 1)};
}

} // namespace

CFileFind::CFileFind() = default;
CFileFind::~CFileFind() = default;

bool CFileFind::findFile(const std::string& pattern) {
    auto listing = std::make_unique<Listing>();
    auto [prefix, namePattern] = splitPattern(pattern);
    listing->prefix = prefix;
    std::error_code error;
    fs::directory_iterator it(prefix.empty() ? fs::path(".") : fs::path(prefix), error);
    for (; !error && it != fs::directory_iterator(); it.increment(error)) {
        std::string name = it->path().filename().string();
        if (!wildcardMatch(namePattern, name))
            continue;
        std::error_code typeError;
        const bool directory = it->is_directory(typeError);
        listing->entries.push_back({std::move(name), it->path(), directory});
    }
    std::sort(listing->entries.begin(), listing->entries.end(),
              [](const auto& a, const auto& b) { return a.name < b.name; });
    listing_ = std::move(listing);
    return !listing_->entries.empty();
}

bool CFileFind::findNextFile() {
    if (!listing_ || listing_->current + 1 >= listing_->entries.size())
        return false;
    ++listing_->current;
    return true;
}

std::string CFileFind::getFilePath() const {
    if (!listing_ || listing_->entries.empty())
        return {};
    return listing_->prefix + listing_->entries[listing_->current].name;
}

std::string CFileFind::getFileName() const {
    if (!listing_ || listing_->entries.empty())
        return {};
    return listing_->entries[listing_->current].name;
}

bool CFileFind::isDirectory() const {
    return listing_ && !listing_->entries.empty() && listing_->entries[listing_->current].directory;
}

bool CFileFind::isHidden() const {
    if (!listing_ || listing_->entries.empty())
        return false;
    const auto& entry = listing_->entries[listing_->current];
    return isHiddenEntry(entry.fullPath, entry.name);
}

} // namespace Orvia::Infra
