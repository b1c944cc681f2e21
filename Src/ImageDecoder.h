// Stored image files decoded by stb_image into one grey byte per pixel, in blocks of the image
// buffer pool: the decoder's output is the image handed on, with no copy.
#pragma once

#include <cstdint>
#include <cstdio>

namespace Orvia::VisionSystem {

// Decodes the open file; null when it can't be decoded (stb_image's failure reason says why).
// The pixels are freed with releaseDecodedImage.
std::uint8_t* decodeGreyImage(std::FILE* file, int& width, int& height);
void releaseDecodedImage(std::uint8_t* pixels);

} // namespace Orvia::VisionSystem
