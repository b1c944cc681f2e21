#include "AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace quboid3d::test {
namespace {

std::atomic<bool> counting{false};
std::atomic<long> allocations{0};
std::atomic<long> largeAllocations{0};
std::atomic<std::size_t> largeFrom{SIZE_MAX};

void* allocate(std::size_t n) {
    if (counting.load(std::memory_order_relaxed)) {
        allocations.fetch_add(1, std::memory_order_relaxed);
        if (n >= largeFrom.load(std::memory_order_relaxed))
            largeAllocations.fetch_add(1, std::memory_order_relaxed);
    }
    void* p = std::malloc(n == 0 ? 1 : n);
    if (p == nullptr)
        throw std::bad_alloc();
    return p;
}

void* allocateOrNull(std::size_t n) noexcept {
    try {
        return allocate(n);
    } catch (...) {
        return nullptr;
    }
}

} // namespace

void resetAllocationCount(std::size_t largeBytes) {
    largeFrom = largeBytes;
    allocations = 0;
    largeAllocations = 0;
}

void countAllocations(bool on) {
    counting = on;
}

AllocationCount allocationCount() {
    return {allocations.load(), largeAllocations.load()};
}

} // namespace quboid3d::test

void* operator new(std::size_t n) {
    return quboid3d::test::allocate(n);
}
void* operator new[](std::size_t n) {
    return quboid3d::test::allocate(n);
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    return quboid3d::test::allocateOrNull(n);
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
    return quboid3d::test::allocateOrNull(n);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}
