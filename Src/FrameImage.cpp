#include "FrameImage.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "Orvia/Infra/String.h"
#include "Orvia/Infra/Vector.h"

namespace Orvia::VisionSystem {
namespace {

constexpr const char* kTsHighKey = "PipelineResultTsHigh";
constexpr const char* kTsLowKey = "PipelineResultTsLow";
constexpr std::size_t kTsHighKeyLength = 20;
constexpr std::size_t kTsLowKeyLength = 19;

// What follows the first ':' as a 32-bit unsigned decimal; `value` stays when nothing follows.
void readChunkValue(const char* text, std::uint32_t& value) {
    const char* colon = std::strchr(text, ':');
    if (colon != nullptr && colon[1] != '\0')
        value = static_cast<std::uint32_t>(std::strtoul(colon + 1, nullptr, 10));
}

void unpackMono4p(const std::uint8_t* source, std::uint64_t sourceSize, VsImage& image) {
    std::uint8_t* out = image.data.get();
    const auto capacity = static_cast<std::uint64_t>(image.size);
    // A block longer than width x height would write past the image: the image's size bounds it.
    for (std::uint64_t i = 0; i < sourceSize && 2 * i < capacity; ++i) {
        const std::uint8_t b = source[i];
        out[2 * i] = static_cast<std::uint8_t>(b << 4);
        if (2 * i + 1 < capacity)
            out[2 * i + 1] = static_cast<std::uint8_t>(b & 0xF0);
    }
}

} // namespace

void fillImageFromFrame(const GenICam::CFrame& frame, VsImage& image) {
    const std::uint32_t format = frame.valid() ? frame.getImagePixelFormat() : 0;
    if (format != kPixelFormatMono4p && format != kPixelFormatMono8) {
        image = VsImage{};
        return;
    }
    const auto width = static_cast<std::int32_t>(frame.getImageWidth());
    const auto height = static_cast<std::int32_t>(frame.getImageHeight());
    const std::int32_t size =
        format == kPixelFormatMono4p ? width * height : static_cast<std::int32_t>(frame.getImageSize());
    // A camera's frames keep their size: the buffer of the last one is written over.
    const bool reuse = image.data && image.size == size && image.data.get_deleter().release == nullptr;
    image.pixelFormat = format;
    image.width = width;
    image.height = height;
    image.size = size;
    if (size <= 0) {
        image.data.reset();
        return;
    }
    if (!reuse)
        image.data.reset(new std::uint8_t[static_cast<std::size_t>(size)]());
    if (format == kPixelFormatMono4p)
        unpackMono4p(frame.getImage(), frame.getImageSize(), image);
    else
        std::memcpy(image.data.get(), frame.getImage(), static_cast<std::size_t>(size));
}

Memory::TSharedPtr<VsImage> imageFromFrame(const GenICam::CFrame& frame) {
    auto image = std::make_shared<VsImage>();
    fillImageFromFrame(frame, *image);
    return image;
}

double pipelineTimestamp(const GenICam::CFrame& frame) {
    std::uint32_t high = 0;
    std::uint32_t low = 0;
    int found = 0;
    for (std::uint32_t chunk = 0; chunk < frame.getChunkCount(); ++chunk) {
        std::uint32_t chunkId = 0;
        Infra::TVector<Infra::CString> texts;
        frame.getChunkDataByIndex(chunk, chunkId, texts);
        for (std::size_t i = 0; i < texts.size() && found != 2; ++i) {
            const char* text = texts[i].c_str();
            if (std::strncmp(text, kTsHighKey, kTsHighKeyLength) == 0) {
                ++found;
                readChunkValue(text, high);
            } else if (std::strncmp(text, kTsLowKey, kTsLowKeyLength) == 0) {
                ++found;
                readChunkValue(text, low);
            }
        }
    }
    const std::uint64_t ticks = (static_cast<std::uint64_t>(high) << 32) + low;
    return static_cast<double>(ticks / 1000);
}

} // namespace Orvia::VisionSystem
