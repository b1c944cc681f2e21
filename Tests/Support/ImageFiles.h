// Writes image files for tests: grey and colour PNG, BMP and JPEG through stb_image_write, and
// 16-bit grey PNG, which stb_image_write can't make, by hand.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace quboid3d::test {

// A grey image whose every pixel is `value`.
std::vector<std::uint8_t> flatGrey(int width, int height, std::uint8_t value);

bool writeGreyPng(const std::filesystem::path& path, int width, int height,
                  const std::vector<std::uint8_t>& grey);
bool writeRgbPng(const std::filesystem::path& path, int width, int height,
                 const std::vector<std::uint8_t>& rgb);
bool writeGreyBmp(const std::filesystem::path& path, int width, int height,
                  const std::vector<std::uint8_t>& grey);
bool writeGreyJpg(const std::filesystem::path& path, int width, int height,
                  const std::vector<std::uint8_t>& grey);
// Samples are big-endian 16-bit values in the file, as PNG wants them.
bool writeGrey16Png(const std::filesystem::path& path, int width, int height,
                    const std::vector<std::uint16_t>& samples);

} // namespace quboid3d::test
