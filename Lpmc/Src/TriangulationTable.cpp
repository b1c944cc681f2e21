#include "TriangulationTable.h"

#include <limits>
#include <new>

namespace lpmc {

int64_t CTriangulationTable::build(const CameraModel& model, int32_t width, int32_t height) {
    width_ = 0;
    height_ = 0;
    stride_ = static_cast<size_t>(height);
    entries_.reset(new (std::nothrow) TablePoint[static_cast<size_t>(width) * stride_]);
    if (!entries_) {
        return 0;
    }
    width_ = width;
    height_ = height;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    int64_t valid = 0;
    for (int32_t c = 0; c < width; ++c) {
        TablePoint* column = entries_.get() + static_cast<size_t>(c) * stride_;
        for (int32_t r = 0; r < height; ++r) {
            Vec3 b;
            if (pixelToBoard(model, c, r, b)) {
                column[r] = {static_cast<float>(b.x), static_cast<float>(b.y), static_cast<float>(b.z)};
                ++valid;
            } else {
                column[r] = {nan, nan, nan};
            }
        }
    }
    return valid;
}

} // namespace lpmc
