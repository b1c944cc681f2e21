// Lists the entries of one directory that match a pattern such as "./LocalImages/*".
// Entries come in name order on every platform, so that a stored scan replays in the order it
// was recorded.
#pragma once

#include <memory>
#include <string>

#include "Orvia/CameraApi.h"

namespace Orvia::Infra {

class ORVIA_CAMERA_API CFileFind {
public:
    CFileFind();
    ~CFileFind();
    CFileFind(const CFileFind&) = delete;
    CFileFind& operator=(const CFileFind&) = delete;

    // Starts a listing. The pattern is a directory prefix followed by a file name that may hold
    // the wildcards * and ?. Returns false if nothing matches (or the directory doesn't exist),
    // else stands on the first entry.
    bool findFile(const std::string& pattern);
    // Moves to the next entry; false at the end.
    bool findNextFile();
    // The current entry as the directory prefix of the pattern followed by its name, so that it
    // opens from the same working directory.
    std::string getFilePath() const;
    std::string getFileName() const;
    bool isDirectory() const;
    // A name starting with '.' on POSIX; the hidden attribute on Windows.
    bool isHidden() const;

private:
    struct Listing;
    std::unique_ptr<Listing> listing_;
};

} // namespace Orvia::Infra
