// The height of an object's top from the heights of all its points: a histogram in 0.02 mm bins,
// a high quantile as the anchor, and the median of the points at most `band` below it, so that
// neither a few spikes above nor the sides below move the answer.
//
// A few per cent of the columns may put their line high together (a coarse pixel format on a dark
// box), enough to lift the quantile off the surface. A flat top is a dense layer of the
// histogram and what lies above it is sparse: so when the top of the highest 1 mm layer that
// holds at least 5 % of the points lies below the quantile, that layer's top is the anchor and
// the points above it are left out. A top with no such layer (small beside tall sides, steeply
// tilted, a curved bag) keeps the quantile.
#pragma once

#include <cstdint>
#include <memory>

namespace lpmc {

class CHeightStats {
public:
    static constexpr double kBin = 0.02;           // mm
    static constexpr double kTopLayer = 1.0;       // mm, thickness of the layer sought
    static constexpr double kTopLayerShare = 0.05; // of all points, for a layer to be a surface
    // Heights from 0 to maxHeight mm; false on allocation failure.
    bool configure(double maxHeight);
    void clear();
    void add(float h);
    uint64_t count() const { return count_; }
    // The height at `quantile` (0..1] of the points added.
    double quantile(double q) const;
    // Median of the points between quantile(q) - band and the top, or, when the highest dense
    // layer ends below quantile(q), of those at most `band` below that layer's top.
    double topHeight(double q, double band) const;

private:
    double binToHeight(uint32_t bin) const { return (bin + 0.5) * kBin; }
    // The bin above the highest dense layer, or 0 when there is none.
    uint32_t binAboveDenseLayer() const;
    // Median of the points in bins [from, to), interpolated inside its bin; `fallback` when none.
    double medianOfBins(uint32_t from, uint32_t to, double fallback) const;
    uint32_t bins_ = 0;
    std::unique_ptr<uint32_t[]> counts_;
    uint32_t lowest_ = 0, highest_ = 0; // bins that hold points
    uint64_t count_ = 0;
};

} // namespace lpmc
