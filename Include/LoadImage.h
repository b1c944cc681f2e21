// Stored images in place of camera frames: one directory listed once, then served one image
// per call, round and round, as 8-bit grey.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Orvia/Memory/SharedPtr.h"

namespace Orvia::VisionSystem {

// Frees an image's pixels the way they were allocated: array delete unless a release function
// is named (a decoder's buffer).
struct VsImagePixelsDeleter {
    void (*release)(std::uint8_t*) = nullptr;
    void operator()(std::uint8_t* pixels) const {
        if (release != nullptr)
            release(pixels);
        else
            delete[] pixels;
    }
};

// An owned 8-bit image. `data` is null for a frame that couldn't be converted.
struct VsImage {
    std::unique_ptr<std::uint8_t[], VsImagePixelsDeleter> data;
    std::int32_t size = 0; // bytes in data
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::uint32_t pixelFormat = 0; // pixel type of the source frame; 0 for a stored image
};

class CLoadImage {
public:
    // `pattern` is a directory prefix and a file pattern, such as "./LocalImages/*".
    explicit CLoadImage(std::string pattern) : pattern(std::move(pattern)) {}

    // Lists the files with the extensions bmp, jpg or png (any case), skipping directories and
    // hidden entries. False only when the pattern finds nothing at all.
    bool openDir();
    // Decodes the next file of the list into a new image; after the last file the first comes
    // again. The image owns the decoder's buffer itself, which goes back to the decoder's pool
    // when the image goes, for the next frames to reuse. False, with `image` untouched, when the list is
    // empty or the file can't be opened or decoded; the next call moves on to the next file.
    bool loadNextImage(Memory::TSharedPtr<VsImage>& image);
    // Forgets the listed files.
    void clearFiles() { files.clear(); }

    const std::vector<std::string>& fileList() const { return files; }

private:
    std::string pattern;
    std::vector<std::string> files;
    std::int32_t nextIndex = 0;
};

} // namespace Orvia::VisionSystem
