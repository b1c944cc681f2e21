#include "ImageBufferPool.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace Orvia::VisionSystem::ImageBufferPool {
namespace {

// Each block starts with its capacity, padded so that the bytes handed out stay aligned for
// any type.
constexpr std::size_t kHeader = alignof(std::max_align_t) > sizeof(std::size_t) ? alignof(std::max_align_t)
                                                                                : sizeof(std::size_t);
// Smaller blocks (decoder state, compressed chunks) are cheap for the heap itself.
constexpr std::size_t kCachedFrom = 64 * 1024;
// A decoded frame needs two or three large blocks at a time; a few more cover images of other sizes.
constexpr std::size_t kCacheSlots = 8;

std::mutex cacheMutex;
std::array<void*, kCacheSlots> cache{};

std::size_t& capacityOf(void* block) {
    return *reinterpret_cast<std::size_t*>(static_cast<unsigned char*>(block) - kHeader);
}

void* fromSystem(std::size_t bytes) {
    auto* raw = static_cast<unsigned char*>(std::malloc(kHeader + bytes));
    if (raw == nullptr)
        return nullptr;
    *reinterpret_cast<std::size_t*>(raw) = bytes;
    return raw + kHeader;
}

// The smallest cached block that holds `bytes`, taken out of the cache; null if none does.
void* fromCache(std::size_t bytes) {
    std::lock_guard<std::mutex> lock(cacheMutex);
    void** best = nullptr;
    for (void*& slot : cache) {
        if (slot != nullptr && capacityOf(slot) >= bytes &&
            (best == nullptr || capacityOf(slot) < capacityOf(*best)))
            best = &slot;
    }
    if (best == nullptr)
        return nullptr;
    void* block = *best;
    *best = nullptr;
    return block;
}

bool intoCache(void* block) {
    std::lock_guard<std::mutex> lock(cacheMutex);
    for (void*& slot : cache) {
        if (slot == nullptr) {
            slot = block;
            return true;
        }
    }
    return false;
}

} // namespace

void* allocate(std::size_t bytes) {
    if (bytes >= kCachedFrom) {
        if (void* block = fromCache(bytes))
            return block;
    }
    return fromSystem(bytes);
}

void* resize(void* block, std::size_t bytes) {
    if (block == nullptr)
        return allocate(bytes);
    const std::size_t capacity = capacityOf(block);
    if (capacity >= bytes)
        return block;
    void* larger = allocate(bytes);
    if (larger == nullptr)
        return nullptr; // the old block stays with its owner, as realloc leaves it
    std::memcpy(larger, block, capacity);
    release(block);
    return larger;
}

void release(void* block) {
    if (block == nullptr)
        return;
    if (capacityOf(block) >= kCachedFrom && intoCache(block))
        return;
    std::free(static_cast<unsigned char*>(block) - kHeader);
}

} // namespace Orvia::VisionSystem::ImageBufferPool
