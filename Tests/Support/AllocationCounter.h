// Counts every operator new of a test program while counting is on. Only the programs that list
// AllocationCounter.cpp among their sources have the counting operators; the library's own
// allocations are seen where it is linked into the program (a DLL on Windows keeps its own).
#pragma once

#include <cstddef>
#include <cstdint>

namespace quboid3d::test {

struct AllocationCount {
    long all = 0;
    long large = 0; // of at least the size given to resetAllocationCount
};

// Zeroes the count; allocations of at least `largeBytes` are counted as large too.
void resetAllocationCount(std::size_t largeBytes = SIZE_MAX);
void countAllocations(bool on);
AllocationCount allocationCount();

} // namespace quboid3d::test
