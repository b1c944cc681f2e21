// Laser line extraction: for every column of a Mono8 image, the sub-pixel row of the laser
// line's centre and its peak grey level.
//
// The search for the peak runs row by row over the region, keeping per column the running
// maximum and the first row where it occurred, so the image is read once in memory order. The
// sub-pixel centre is then fitted per column on a short window around that row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "ColumnMaxima.h"
#include "Config.h"

namespace lpmc {

struct LineSettings {
    int32_t thresh = 16;     // least peak grey level of a line
    int32_t gaussRadius = 0; // smoothing along the column before the three-point and derivative fits
    ExtractMethod method = ExtractMethod::GaussFit;
};

constexpr float kNoLine = -1.0f;

// Sub-pixel centre of the stripe around `peakRow` in one column: `column` points at row 0,
// `step` bytes separate rows, rows [rowBegin, rowEnd) may be read. `peakRow` is the first row
// holding the column's maximum. Returns the centre in rows, or kNoLine when the peak is below
// the threshold.
float refineCentre(const uint8_t* column, ptrdiff_t step, int32_t rowBegin, int32_t rowEnd, int32_t peakRow,
                   const LineSettings& settings);

class CLineExtractor {
public:
    // Allocates the per-column buffers; nothing is allocated afterwards. False on failure.
    bool configure(int32_t imageWidth, int32_t imageHeight, const LpmcImageRegion& region,
                   const LineSettings& settings);

    // `pixels` holds imageWidth x imageHeight bytes. Fills rows[] (kNoLine where a column has
    // no line, and outside the region) and peaks[] (0 there), imageWidth entries each.
    void extract(const uint8_t* pixels, float* rows, uint8_t* peaks);

    const LineSettings& settings() const { return settings_; }

private:
    int32_t width_ = 0, height_ = 0;
    LpmcImageRegion region_{};
    LineSettings settings_{};
    std::unique_ptr<uint8_t[]> best_, scratch_;
    std::unique_ptr<int32_t[]> bestRow_;
};

} // namespace lpmc
