// Memory for decoded images. Large blocks go back to a small cache when released and are handed
// out again, so that a stream of images of one size reuses the same pages instead of mapping and
// faulting in fresh ones for every frame. Any thread may allocate and release.
#pragma once

#include <cstddef>

namespace Orvia::VisionSystem::ImageBufferPool {

// Null when the system has no memory left.
void* allocate(std::size_t bytes);
// Keeps the block when it is already large enough; otherwise moves its content to a larger one.
void* resize(void* block, std::size_t bytes);
// Null is ignored.
void release(void* block);

} // namespace Orvia::VisionSystem::ImageBufferPool
