#include "ImageFiles.h"

#include <array>
#include <fstream>
#include <string>

#include <stb_image_write.h>

namespace quboid3d::test {
namespace {

std::uint32_t crc32(const std::uint8_t* data, std::size_t size, std::uint32_t crc = 0) {
    crc = ~crc;
    for (std::size_t i = 0; i < size; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

void appendBigEndian32(std::vector<std::uint8_t>& out, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<std::uint8_t>(value >> shift));
}

void appendChunk(std::vector<std::uint8_t>& png, const char type[4], const std::vector<std::uint8_t>& body) {
    appendBigEndian32(png, static_cast<std::uint32_t>(body.size()));
    std::vector<std::uint8_t> typed(type, type + 4);
    typed.insert(typed.end(), body.begin(), body.end());
    png.insert(png.end(), typed.begin(), typed.end());
    appendBigEndian32(png, crc32(typed.data(), typed.size()));
}

// A zlib stream of stored (uncompressed) deflate blocks.
std::vector<std::uint8_t> zlibStored(const std::vector<std::uint8_t>& raw) {
    std::vector<std::uint8_t> out{0x78, 0x01};
    std::size_t offset = 0;
    do {
        const std::size_t length = std::min<std::size_t>(raw.size() - offset, 65535);
        const bool last = offset + length == raw.size();
        out.push_back(last ? 1 : 0);
        out.push_back(static_cast<std::uint8_t>(length));
        out.push_back(static_cast<std::uint8_t>(length >> 8));
        out.push_back(static_cast<std::uint8_t>(~length));
        out.push_back(static_cast<std::uint8_t>((~length) >> 8));
        out.insert(out.end(), raw.begin() + static_cast<std::ptrdiff_t>(offset),
                   raw.begin() + static_cast<std::ptrdiff_t>(offset + length));
        offset += length;
    } while (offset < raw.size());
    std::uint32_t a = 1, b = 0;
    for (std::uint8_t byte : raw) {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    appendBigEndian32(out, (b << 16) | a);
    return out;
}

} // namespace

std::vector<std::uint8_t> flatGrey(int width, int height, std::uint8_t value) {
    return std::vector<std::uint8_t>(static_cast<std::size_t>(width * height), value);
}

bool writeGreyPng(const std::filesystem::path& path, int width, int height,
                  const std::vector<std::uint8_t>& grey) {
    return stbi_write_png(path.string().c_str(), width, height, 1, grey.data(), width) != 0;
}

bool writeRgbPng(const std::filesystem::path& path, int width, int height,
                 const std::vector<std::uint8_t>& rgb) {
    return stbi_write_png(path.string().c_str(), width, height, 3, rgb.data(), width * 3) != 0;
}

bool writeGreyBmp(const std::filesystem::path& path, int width, int height,
                  const std::vector<std::uint8_t>& grey) {
    return stbi_write_bmp(path.string().c_str(), width, height, 1, grey.data()) != 0;
}

bool writeGreyJpg(const std::filesystem::path& path, int width, int height,
                  const std::vector<std::uint8_t>& grey) {
    return stbi_write_jpg(path.string().c_str(), width, height, 1, grey.data(), 95) != 0;
}

bool writeGrey16Png(const std::filesystem::path& path, int width, int height,
                    const std::vector<std::uint16_t>& samples) {
    std::vector<std::uint8_t> png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::vector<std::uint8_t> header;
    appendBigEndian32(header, static_cast<std::uint32_t>(width));
    appendBigEndian32(header, static_cast<std::uint32_t>(height));
    header.insert(header.end(), {16, 0, 0, 0, 0}); // depth 16, grey, deflate, no filter, no interlace
    appendChunk(png, "IHDR", header);
    std::vector<std::uint8_t> raw;
    for (int y = 0; y < height; ++y) {
        raw.push_back(0); // filter type none
        for (int x = 0; x < width; ++x) {
            const std::uint16_t sample = samples[static_cast<std::size_t>(y * width + x)];
            raw.push_back(static_cast<std::uint8_t>(sample >> 8));
            raw.push_back(static_cast<std::uint8_t>(sample));
        }
    }
    appendChunk(png, "IDAT", zlibStored(raw));
    appendChunk(png, "IEND", {});
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(png.data()), static_cast<std::streamsize>(png.size()));
    return static_cast<bool>(out);
}

} // namespace quboid3d::test
