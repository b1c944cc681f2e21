#include <algorithm>
#include <cstdio>

#include <stb_image.h>

#include "Orvia/GenICam/Defs.h"
#include "Orvia/Infra/FileFind.h"
#include "Orvia/Sim/FrameGenerator.h"

namespace Orvia::Sim {

SimFrame SimFrame::fromBytes(std::vector<uint8_t> bytes, uint32_t width, uint32_t height,
                             uint32_t pixelFormat, uint64_t timestamp) {
    auto owned = std::make_shared<const std::vector<uint8_t>>(std::move(bytes));
    SimFrame frame;
    frame.data = owned->data();
    frame.size = owned->size();
    frame.owner = owned;
    frame.width = width;
    frame.height = height;
    frame.pixelFormat = pixelFormat;
    frame.timestamp = timestamp;
    return frame;
}

void CScriptedFrames::push(SimFrame frame) {
    std::lock_guard lock(mutex_);
    frames_.push_back(std::move(frame));
}

void CScriptedFrames::pushMono8(uint32_t width, uint32_t height, uint64_t timestamp, uint8_t fill) {
    push(SimFrame::fromBytes(std::vector<uint8_t>(size_t{width} * height, fill), width, height,
                             GenICam::PixelFormatMono8, timestamp));
}

size_t CScriptedFrames::pending() const {
    std::lock_guard lock(mutex_);
    return frames_.size();
}

bool CScriptedFrames::next(SimFrame& frame) {
    std::lock_guard lock(mutex_);
    if (frames_.empty()) {
        return false;
    }
    frame = std::move(frames_.front());
    frames_.pop_front();
    return true;
}

namespace {

bool isImageName(std::string name) {
    const auto dot = name.rfind('.');
    if (dot == std::string::npos) {
        return false;
    }
    std::string ext = name.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext == "bmp" || ext == "jpg" || ext == "png";
}

} // namespace

CImageDirectoryFrames::CImageDirectoryFrames(const std::filesystem::path& directory, uint64_t ticksPerFrame)
    : ticksPerFrame_(ticksPerFrame) {
    Infra::CFileFind finder;
    std::string prefix = directory.string();
    if (!prefix.empty() && prefix.back() != '/' && prefix.back() != '\\') {
        prefix += '/';
    }
    if (!finder.findFile(prefix + "*")) {
        return;
    }
    do {
        if (finder.isDirectory() || finder.isHidden() || !isImageName(finder.getFileName())) {
            continue;
        }
        int width = 0;
        int height = 0;
        int components = 0;
        unsigned char* pixels = stbi_load(finder.getFilePath().c_str(), &width, &height, &components, 1);
        if (!pixels) {
            continue;
        }
        std::vector<uint8_t> bytes(pixels, pixels + static_cast<size_t>(width) * static_cast<size_t>(height));
        stbi_image_free(pixels);
        images_.push_back(SimFrame::fromBytes(std::move(bytes), static_cast<uint32_t>(width),
                                              static_cast<uint32_t>(height), GenICam::PixelFormatMono8, 0));
    } while (finder.findNextFile());
}

bool CImageDirectoryFrames::next(SimFrame& frame) {
    if (images_.empty()) {
        return false;
    }
    frame = images_[served_ % images_.size()];
    frame.timestamp = served_ * ticksPerFrame_;
    ++served_;
    return true;
}

} // namespace Orvia::Sim
