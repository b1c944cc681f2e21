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
    uint8_t* scratch = nullptr; // 2 x (colEnd - colBegin) bytes for the row kernels
};

// Sse2 and Avx2 read the image row after row over its full width (memory order); the strip
// kernels keep 64 or 128 columns in registers and walk down the rows, which is quicker only
// while the image sits in the cache. Without scratch the row kernels fall back to strips.
enum class MaximaKernel { Auto, Portable, Sse2, Avx2, Sse2Strips, Avx2Strips };

// Fills best[] and bestRow[] (rowBegin where a column is all zeros).
void columnMaxima(const ColumnMaximaArgs& args, MaximaKernel kernel = MaximaKernel::Auto);

// The kernel that Auto picks on this processor.
MaximaKernel fastestMaximaKernel();

} // namespace lpmc
