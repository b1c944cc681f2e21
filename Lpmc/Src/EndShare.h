// The share of a boundary profile's light that fell on an object's top: the first or last
// profile of an object whose light window straddled the front or the rear shows the top's line
// at part strength. Column by column it is compared with the next profile inward, which lies
// wholly on the top.
#pragma once

#include <cstdint>
#include <memory>

#include "FrameStore.h"

namespace lpmc {

struct EndShare {
    double share = 0.0;     // median over the top's columns of boundary / inner strength, in [0, 1]
    double spread = 0.0;    // standard error of that median
    double innerPeak = 0.0; // median peak grey of the inner profile's top
    uint32_t columns = 0;
};

class CEndShare {
public:
    // Room for one frame's points; false on allocation failure.
    bool configure(uint32_t pointsPerFrame);

    // Points of `object` within `band` mm of `topHeight` count as its top. A column of the inner
    // profile's top that the boundary profile doesn't show counts as share 0 (its line was too
    // weak to show, or lost to the belt's). False when fewer than kLeastColumns columns carry a
    // strength, or a quarter of them saturate.
    bool measure(int32_t object, const FrameSlot& boundary, const FrameSlot& inner, double topHeight,
                 double band, EndShare& out);

    static constexpr uint32_t kLeastColumns = 20;

    // The share of the `outer` profile's light that fell on the object beyond the belt it shows
    // across [x0, x1]: one less the belt's strength there over its strength in the `clear`
    // profile, one step further out, median over the bins of beltPeakBin wholly inside. False
    // when fewer than kLeastBins bins show the belt in both.
    static bool measureBeyond(const FrameSlot& outer, const FrameSlot& clear, float x0, float x1,
                              EndShare& out);
    static constexpr int32_t kLeastBins = 3;
    // How many bins wholly inside [x0, x1] show the belt in `slot`.
    static int32_t beltBinsShown(const FrameSlot& slot, float x0, float x1);

private:
    struct Sample {
        float x;
        uint8_t strength;
    };
    uint32_t capacity_ = 0;
    std::unique_ptr<Sample[]> boundary_;
    std::unique_ptr<float[]> ratios_, peaks_;
};

} // namespace lpmc
