// Per-column maxima of an 8-bit image region, read row by row in memory order: for each column
// the largest value and the first row holding it. Vector kernels for x86-64 (SSE2, and AVX2
// where the processor has it) and a portable one give the same results.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lpmc {

struct ColumnMaximaArgs {
    const uint8_t* pixels = nullptr; // row 0, column 0 of the image
    size_t stride = 0;               // bytes per row
    int32_t colBegin = 0, colEnd = 0;
    int32_t rowBegin = 0, rowEnd = 0;
    uint8_t* best = nullptr;    // colEnd - colBegin entries
    int32_t* bestRow = nullptr; // the same count
};

enum class MaximaKernel { Auto, Portable, Sse2, Avx2 };

// Fills best[] and bestRow[] (rowBegin where a column is all zeros).
void columnMaxima(const ColumnMaximaArgs& args, MaximaKernel kernel = MaximaKernel::Auto);

// The kernel that Auto picks on this processor.
MaximaKernel fastestMaximaKernel();

} // namespace lpmc
