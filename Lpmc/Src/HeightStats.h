// The height of an object's top from the heights of all its points: a histogram in 0.02 mm bins,
// a high quantile as the anchor, and the median of the points at most `band` below it, so that
// neither a few spikes above nor the sides below move the answer.
#pragma once

#include <cstdint>
#include <memory>

namespace lpmc {

class CHeightStats {
public:
    static constexpr double kBin = 0.02; // mm
    // Heights from 0 to maxHeight mm; false on allocation failure.
    bool configure(double maxHeight);
    void clear();
    void add(float h);
    uint64_t count() const { return count_; }
    // The height at `quantile` (0..1] of the points added.
    double quantile(double q) const;
    // Median of the points between quantile(q) - band and the top.
    double topHeight(double q, double band) const;

private:
    double binToHeight(uint32_t bin) const { return (bin + 0.5) * kBin; }
    uint32_t bins_ = 0;
    std::unique_ptr<uint32_t[]> counts_;
    uint32_t lowest_ = 0, highest_ = 0; // bins that hold points
    uint64_t count_ = 0;
};

} // namespace lpmc
