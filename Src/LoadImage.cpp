#include "LoadImage.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "ImageDecoder.h"
#include "Orvia/Infra/FileFind.h"

namespace Orvia::VisionSystem {
namespace {

// The text after the last '.', lowered; empty when there is no '.'.
std::string lowerExtension(const std::string& path) {
    const auto dot = path.rfind('.');
    if (path.empty() || dot == std::string::npos)
        return {};
    std::string extension = path.substr(dot + 1);
    for (char& c : extension)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return extension;
}

bool isImageExtension(const std::string& extension) {
    return extension == "bmp" || extension == "jpg" || extension == "png";
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

} // namespace

bool CLoadImage::openDir() {
    files.clear();
    Infra::CFileFind finder;
    if (!finder.findFile(pattern))
        return false;
    do {
        const std::string path = finder.getFilePath();
        if (finder.isDirectory() || finder.isHidden())
            continue;
        if (isImageExtension(lowerExtension(path)))
            files.push_back(path);
    } while (finder.findNextFile());
    return true;
}

bool CLoadImage::loadNextImage(Memory::TSharedPtr<VsImage>& image) {
    if (files.empty())
        return false;
    const auto index = static_cast<std::size_t>(nextIndex) % files.size();
    nextIndex = static_cast<std::int32_t>(index + 1);

    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(files[index].c_str(), "rb"));
    if (!file)
        return false;
    int width = 0, height = 0;
    std::uint8_t* decoded = decodeGreyImage(file.get(), width, height);
    file.reset();
    if (decoded == nullptr)
        return false;

    auto loaded = std::make_shared<VsImage>();
    loaded->width = width;
    loaded->height = height;
    loaded->size = width * height;
    loaded->data = std::unique_ptr<std::uint8_t[], VsImagePixelsDeleter>(
        decoded, VsImagePixelsDeleter{&releaseDecodedImage});
    image = std::move(loaded);
    return true;
}

} // namespace Orvia::VisionSystem
