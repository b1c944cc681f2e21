#include "ScanSim/ScanWriter.h"

#include <stb_image_write.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <mutex>

namespace ScanSim {
namespace {

void putLe(std::vector<uint8_t>& out, uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
    }
}

// 8-bit BMP with a grey palette: a third of the size of a 24-bit one, and read back as grey.
bool writeGreyBmp(const std::filesystem::path& path, int width, int height, const uint8_t* pixels) {
    const uint32_t rowBytes = (static_cast<uint32_t>(width) + 3u) & ~3u;
    const uint32_t headerBytes = 14 + 40 + 256 * 4;
    const uint32_t imageBytes = rowBytes * static_cast<uint32_t>(height);
    std::vector<uint8_t> head;
    head.reserve(headerBytes);
    head.push_back('B');
    head.push_back('M');
    putLe(head, headerBytes + imageBytes, 4);
    putLe(head, 0, 4);
    putLe(head, headerBytes, 4);
    putLe(head, 40, 4); // BITMAPINFOHEADER
    putLe(head, static_cast<uint32_t>(width), 4);
    putLe(head, static_cast<uint32_t>(height), 4); // positive: rows stored bottom-up
    putLe(head, 1, 2);
    putLe(head, 8, 2);
    putLe(head, 0, 4); // no compression
    putLe(head, imageBytes, 4);
    putLe(head, 2835, 4); // 72 dpi
    putLe(head, 2835, 4);
    putLe(head, 256, 4);
    putLe(head, 0, 4);
    for (uint32_t g = 0; g < 256; ++g) {
        putLe(head, g | (g << 8) | (g << 16), 4);
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(head.data()), static_cast<std::streamsize>(head.size()));
    const std::array<char, 4> pad{};
    for (int r = height - 1; r >= 0; --r) {
        out.write(reinterpret_cast<const char*>(pixels + static_cast<size_t>(r) * static_cast<size_t>(width)),
                  width);
        out.write(pad.data(), static_cast<std::streamsize>(rowBytes - static_cast<uint32_t>(width)));
    }
    out.close();
    return static_cast<bool>(out);
}

} // namespace

std::string imageFileName(int frame, ImageFileFormat format) {
    char name[32];
    std::snprintf(name, sizeof name, "%06d.%s", frame, format == ImageFileFormat::Png ? "png" : "bmp");
    return name;
}

bool writeGreyImage(const std::filesystem::path& path, ImageFileFormat format, int width, int height,
                    const uint8_t* pixels) {
    if (format == ImageFileFormat::Bmp) {
        return writeGreyBmp(path, width, height, pixels);
    }
    // Laser frames are mostly dark: the fastest settings compress them about as well as the
    // slowest. Set once, before any writer runs, since they are process-wide.
    static std::once_flag settings;
    std::call_once(settings, [] {
        stbi_write_png_compression_level = 1;
        stbi_write_force_png_filter = 0;
    });
    return stbi_write_png(path.string().c_str(), width, height, 1, pixels, width) != 0;
}

} // namespace ScanSim
