// stb_image's decoder compiled here with its allocations routed to the image buffer pool, so
// that the buffers of one frame serve the next. Its functions stay local to this file.
#include "ImageDecoder.h"

#include "ImageBufferPool.h"

#define STBI_MALLOC(bytes) Orvia::VisionSystem::ImageBufferPool::allocate(bytes)
#define STBI_REALLOC(block, bytes) Orvia::VisionSystem::ImageBufferPool::resize(block, bytes)
#define STBI_FREE(block) Orvia::VisionSystem::ImageBufferPool::release(block)
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#include <stb_image.h>

namespace Orvia::VisionSystem {

std::uint8_t* decodeGreyImage(std::FILE* file, int& width, int& height) {
    int components = 0;
    return stbi_load_from_file(file, &width, &height, &components, 1);
}

void releaseDecodedImage(std::uint8_t* pixels) {
    stbi_image_free(pixels);
}

} // namespace Orvia::VisionSystem
