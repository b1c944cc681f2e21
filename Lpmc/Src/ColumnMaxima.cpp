#include "ColumnMaxima.h"

#include <algorithm>

#include "CpuFeatures.h"

#if defined(__x86_64__) || defined(_M_X64)
#define LPMC_X86_64 1
#include <immintrin.h>
#endif

namespace lpmc {
namespace {

// Rows are taken in groups of 256 so that a row index inside a group fits a byte, the width of
// the pixels, which keeps the compare-and-select on one lane width.
constexpr int32_t kGroupRows = 256;

void mergeGroup(const ColumnMaximaArgs& a, int32_t group, int32_t col, const uint8_t* gMax,
                const uint8_t* gRow, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const int32_t c = col - a.colBegin + i;
        if (gMax[i] > a.best[c]) {
            a.best[c] = gMax[i];
            a.bestRow[c] = group + gRow[i];
        }
    }
}

// Columns [col, col + count) of one row group, one column at a time.
void portableStrip(const ColumnMaximaArgs& a, int32_t group, int32_t groupEnd, int32_t col, int32_t count) {
    uint8_t gMax[64] = {}, gRow[64] = {};
    for (int32_t r = group; r < groupEnd; ++r) {
        const uint8_t* row = a.pixels + static_cast<size_t>(r) * a.stride + col;
        const uint8_t k = static_cast<uint8_t>(r - group);
        for (int32_t i = 0; i < count; ++i) {
            if (row[i] > gMax[i]) {
                gMax[i] = row[i];
                gRow[i] = k;
            }
        }
    }
    mergeGroup(a, group, col, gMax, gRow, count);
}

void portableKernel(const ColumnMaximaArgs& a, int32_t group, int32_t groupEnd) {
    for (int32_t col = a.colBegin; col < a.colEnd; col += 64) {
        portableStrip(a, group, groupEnd, col, std::min(64, a.colEnd - col));
    }
}

#if LPMC_X86_64
// One strip of 64 columns: four 16-byte lanes of running maxima and their row indices stay in
// registers while the rows go by.
void sse2Kernel(const ColumnMaximaArgs& a, int32_t group, int32_t groupEnd) {
    int32_t col = a.colBegin;
    for (; col + 64 <= a.colEnd; col += 64) {
        __m128i m0 = _mm_setzero_si128(), m1 = m0, m2 = m0, m3 = m0;
        __m128i i0 = m0, i1 = m0, i2 = m0, i3 = m0;
        const uint8_t* p = a.pixels + static_cast<size_t>(group) * a.stride + col;
        for (int32_t r = group; r < groupEnd; ++r, p += a.stride) {
            const __m128i k = _mm_set1_epi8(static_cast<char>(r - group));
            const __m128i v0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            const __m128i v1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16));
            const __m128i v2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 32));
            const __m128i v3 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 48));
            const __m128i n0 = _mm_max_epu8(v0, m0), n1 = _mm_max_epu8(v1, m1);
            const __m128i n2 = _mm_max_epu8(v2, m2), n3 = _mm_max_epu8(v3, m3);
            // Lanes whose maximum stayed keep their row; the others take this row.
            const __m128i e0 = _mm_cmpeq_epi8(n0, m0), e1 = _mm_cmpeq_epi8(n1, m1);
            const __m128i e2 = _mm_cmpeq_epi8(n2, m2), e3 = _mm_cmpeq_epi8(n3, m3);
            i0 = _mm_or_si128(_mm_and_si128(e0, i0), _mm_andnot_si128(e0, k));
            i1 = _mm_or_si128(_mm_and_si128(e1, i1), _mm_andnot_si128(e1, k));
            i2 = _mm_or_si128(_mm_and_si128(e2, i2), _mm_andnot_si128(e2, k));
            i3 = _mm_or_si128(_mm_and_si128(e3, i3), _mm_andnot_si128(e3, k));
            m0 = n0;
            m1 = n1;
            m2 = n2;
            m3 = n3;
        }
        alignas(16) uint8_t gMax[64], gRow[64];
        _mm_store_si128(reinterpret_cast<__m128i*>(gMax), m0);
        _mm_store_si128(reinterpret_cast<__m128i*>(gMax + 16), m1);
        _mm_store_si128(reinterpret_cast<__m128i*>(gMax + 32), m2);
        _mm_store_si128(reinterpret_cast<__m128i*>(gMax + 48), m3);
        _mm_store_si128(reinterpret_cast<__m128i*>(gRow), i0);
        _mm_store_si128(reinterpret_cast<__m128i*>(gRow + 16), i1);
        _mm_store_si128(reinterpret_cast<__m128i*>(gRow + 32), i2);
        _mm_store_si128(reinterpret_cast<__m128i*>(gRow + 48), i3);
        mergeGroup(a, group, col, gMax, gRow, 64);
    }
    if (col < a.colEnd) {
        portableStrip(a, group, groupEnd, col, a.colEnd - col);
    }
}

// Row after row over the full width, the running maxima and rows of the group in two arrays
// that stay in the first-level cache: the image is read in memory order, which a fresh frame in
// main memory needs to stream at full speed.
void sse2RowKernel(const ColumnMaximaArgs& a, int32_t group, int32_t groupEnd, uint8_t* gMax, uint8_t* gRow) {
    const int32_t n = a.colEnd - a.colBegin;
    const int32_t vec = n & ~15;
    std::fill(gMax, gMax + n, uint8_t{0});
    std::fill(gRow, gRow + n, uint8_t{0});
    for (int32_t r = group; r < groupEnd; ++r) {
        const uint8_t* row = a.pixels + static_cast<size_t>(r) * a.stride + a.colBegin;
        const uint8_t k8 = static_cast<uint8_t>(r - group);
        const __m128i k = _mm_set1_epi8(static_cast<char>(k8));
        for (int32_t c = 0; c < vec; c += 16) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + c));
            const __m128i m = _mm_loadu_si128(reinterpret_cast<const __m128i*>(gMax + c));
            const __m128i i = _mm_loadu_si128(reinterpret_cast<const __m128i*>(gRow + c));
            const __m128i nm = _mm_max_epu8(v, m);
            const __m128i e = _mm_cmpeq_epi8(nm, m);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(gMax + c), nm);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(gRow + c),
                             _mm_or_si128(_mm_and_si128(e, i), _mm_andnot_si128(e, k)));
        }
        for (int32_t c = vec; c < n; ++c) {
            if (row[c] > gMax[c]) {
                gMax[c] = row[c];
                gRow[c] = k8;
            }
        }
    }
    mergeGroup(a, group, a.colBegin, gMax, gRow, n);
}

#if defined(__GNUC__) || defined(__clang__)
#define LPMC_HAVE_AVX2_KERNEL 1
__attribute__((target("avx2"))) void avx2RowKernel(const ColumnMaximaArgs& a, int32_t group, int32_t groupEnd,
                                                   uint8_t* gMax, uint8_t* gRow) {
    const int32_t n = a.colEnd - a.colBegin;
    const int32_t vec = n & ~31;
    std::fill(gMax, gMax + n, uint8_t{0});
    std::fill(gRow, gRow + n, uint8_t{0});
    for (int32_t r = group; r < groupEnd; ++r) {
        const uint8_t* row = a.pixels + static_cast<size_t>(r) * a.stride + a.colBegin;
        const uint8_t k8 = static_cast<uint8_t>(r - group);
        const __m256i k = _mm256_set1_epi8(static_cast<char>(k8));
        for (int32_t c = 0; c < vec; c += 32) {
            const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + c));
            const __m256i m = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(gMax + c));
            const __m256i i = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(gRow + c));
            const __m256i nm = _mm256_max_epu8(v, m);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(gMax + c), nm);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(gRow + c),
                                _mm256_blendv_epi8(k, i, _mm256_cmpeq_epi8(nm, m)));
        }
        for (int32_t c = vec; c < n; ++c) {
            if (row[c] > gMax[c]) {
                gMax[c] = row[c];
                gRow[c] = k8;
            }
        }
    }
    mergeGroup(a, group, a.colBegin, gMax, gRow, n);
}

// The same with 32-byte lanes: a strip of 128 columns.
__attribute__((target("avx2"))) void avx2Kernel(const ColumnMaximaArgs& a, int32_t group, int32_t groupEnd) {
    int32_t col = a.colBegin;
    for (; col + 128 <= a.colEnd; col += 128) {
        __m256i m0 = _mm256_setzero_si256(), m1 = m0, m2 = m0, m3 = m0;
        __m256i i0 = m0, i1 = m0, i2 = m0, i3 = m0;
        const uint8_t* p = a.pixels + static_cast<size_t>(group) * a.stride + col;
        for (int32_t r = group; r < groupEnd; ++r, p += a.stride) {
            const __m256i k = _mm256_set1_epi8(static_cast<char>(r - group));
            const __m256i v0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
            const __m256i v1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 32));
            const __m256i v2 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 64));
            const __m256i v3 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 96));
            const __m256i n0 = _mm256_max_epu8(v0, m0), n1 = _mm256_max_epu8(v1, m1);
            const __m256i n2 = _mm256_max_epu8(v2, m2), n3 = _mm256_max_epu8(v3, m3);
            i0 = _mm256_blendv_epi8(k, i0, _mm256_cmpeq_epi8(n0, m0));
            i1 = _mm256_blendv_epi8(k, i1, _mm256_cmpeq_epi8(n1, m1));
            i2 = _mm256_blendv_epi8(k, i2, _mm256_cmpeq_epi8(n2, m2));
            i3 = _mm256_blendv_epi8(k, i3, _mm256_cmpeq_epi8(n3, m3));
            m0 = n0;
            m1 = n1;
            m2 = n2;
            m3 = n3;
        }
        alignas(32) uint8_t gMax[128], gRow[128];
        _mm256_store_si256(reinterpret_cast<__m256i*>(gMax), m0);
        _mm256_store_si256(reinterpret_cast<__m256i*>(gMax + 32), m1);
        _mm256_store_si256(reinterpret_cast<__m256i*>(gMax + 64), m2);
        _mm256_store_si256(reinterpret_cast<__m256i*>(gMax + 96), m3);
        _mm256_store_si256(reinterpret_cast<__m256i*>(gRow), i0);
        _mm256_store_si256(reinterpret_cast<__m256i*>(gRow + 32), i1);
        _mm256_store_si256(reinterpret_cast<__m256i*>(gRow + 64), i2);
        _mm256_store_si256(reinterpret_cast<__m256i*>(gRow + 96), i3);
        mergeGroup(a, group, col, gMax, gRow, 128);
    }
    if (col < a.colEnd) {
        ColumnMaximaArgs rest = a;
        rest.colBegin = col;
        rest.best = a.best + (col - a.colBegin);
        rest.bestRow = a.bestRow + (col - a.colBegin);
        sse2Kernel(rest, group, groupEnd);
    }
}
#endif
#endif

} // namespace

MaximaKernel fastestMaximaKernel() {
#if LPMC_X86_64
#if defined(LPMC_HAVE_AVX2_KERNEL)
    if (cpuHasAvx2()) {
        return MaximaKernel::Avx2;
    }
#endif
    return MaximaKernel::Sse2;
#else
    return MaximaKernel::Portable;
#endif
}

void columnMaxima(const ColumnMaximaArgs& a, MaximaKernel kernel) {
    const int32_t n = a.colEnd - a.colBegin;
    std::fill(a.best, a.best + n, uint8_t{0});
    std::fill(a.bestRow, a.bestRow + n, a.rowBegin);
    if (kernel == MaximaKernel::Auto) {
        kernel = fastestMaximaKernel();
    }
#if !LPMC_X86_64
    kernel = MaximaKernel::Portable;
#else
    const bool avx2 =
#if defined(LPMC_HAVE_AVX2_KERNEL)
        cpuHasAvx2();
#else
        false;
#endif
    if (!avx2 && kernel == MaximaKernel::Avx2) {
        kernel = MaximaKernel::Sse2;
    }
    if (!avx2 && kernel == MaximaKernel::Avx2Strips) {
        kernel = MaximaKernel::Sse2Strips;
    }
    if (a.scratch == nullptr && (kernel == MaximaKernel::Avx2 || kernel == MaximaKernel::Sse2)) {
        kernel = kernel == MaximaKernel::Avx2 ? MaximaKernel::Avx2Strips : MaximaKernel::Sse2Strips;
    }
#endif
    for (int32_t g = a.rowBegin; g < a.rowEnd; g += kGroupRows) {
        const int32_t gEnd = std::min(a.rowEnd, g + kGroupRows);
        switch (kernel) {
#if LPMC_X86_64
        case MaximaKernel::Sse2:
            sse2RowKernel(a, g, gEnd, a.scratch, a.scratch + n);
            break;
        case MaximaKernel::Sse2Strips:
            sse2Kernel(a, g, gEnd);
            break;
#if defined(LPMC_HAVE_AVX2_KERNEL)
        case MaximaKernel::Avx2:
            avx2RowKernel(a, g, gEnd, a.scratch, a.scratch + n);
            break;
        case MaximaKernel::Avx2Strips:
            avx2Kernel(a, g, gEnd);
            break;
#endif
#endif
        default:
            portableKernel(a, g, gEnd);
            break;
        }
    }
}

} // namespace lpmc
