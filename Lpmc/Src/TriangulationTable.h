// Board coordinates of the laser plane for every pixel of a camera, built once, so that a line
// centre becomes a 3-D point by one interpolation: per column a table over the rows, read at
// the sub-pixel row.
#pragma once

#include <cmath>
#include <cstdint>
#include <memory>

#include "CameraModel.h"

namespace lpmc {

struct TablePoint {
    float x, y, z; // board coordinates, mm; NaN where the pixel's ray misses the plane
};

class CTriangulationTable {
public:
    // Builds the table for an image of width x height pixels. Returns the number of valid
    // entries (0 on allocation failure).
    int64_t build(const CameraModel& model, int32_t width, int32_t height);

    int32_t width() const { return width_; }
    int32_t height() const { return height_; }

    // Board point at column `col` and sub-pixel row `row` (pixel centres at whole numbers).
    // False where the row is outside the image or either neighbouring entry is invalid.
    bool lookup(int32_t col, float row, TablePoint& out) const {
        if (!(row >= 0.0f) || row > static_cast<float>(height_ - 1)) {
            return false;
        }
        int32_t r = static_cast<int32_t>(row);
        if (r >= height_ - 1) {
            r = height_ - 2 < 0 ? 0 : height_ - 2;
        }
        const float f = row - static_cast<float>(r);
        const TablePoint* e = entries_.get() + static_cast<size_t>(col) * stride_ + static_cast<size_t>(r);
        const TablePoint& a = e[0];
        const TablePoint& b = height_ > 1 ? e[1] : e[0];
        out.x = a.x + f * (b.x - a.x);
        out.y = a.y + f * (b.y - a.y);
        out.z = a.z + f * (b.z - a.z);
        return !std::isnan(out.x) && !std::isnan(out.y) && !std::isnan(out.z);
    }

private:
    int32_t width_ = 0;
    int32_t height_ = 0;
    size_t stride_ = 0;
    std::unique_ptr<TablePoint[]> entries_;
};

} // namespace lpmc
