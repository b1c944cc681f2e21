#include "HeightStats.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace lpmc {

bool CHeightStats::configure(double maxHeight) {
    bins_ = static_cast<uint32_t>(std::ceil(std::max(maxHeight, 1.0) / kBin)) + 1;
    counts_.reset(new (std::nothrow) uint32_t[bins_]());
    if (!counts_) {
        bins_ = 0;
        return false;
    }
    lowest_ = bins_;
    highest_ = 0;
    count_ = 0;
    return true;
}

void CHeightStats::clear() {
    if (count_ > 0) {
        std::fill(counts_.get() + lowest_, counts_.get() + highest_ + 1, 0U);
    }
    lowest_ = bins_;
    highest_ = 0;
    count_ = 0;
}

void CHeightStats::add(float h) {
    if (bins_ == 0 || !(h >= 0.0f)) {
        return;
    }
    const uint32_t b = std::min(bins_ - 1, static_cast<uint32_t>(h / kBin));
    ++counts_[b];
    lowest_ = std::min(lowest_, b);
    highest_ = std::max(highest_, b);
    ++count_;
}

double CHeightStats::quantile(double q) const {
    if (count_ == 0) {
        return 0.0;
    }
    const uint64_t rank =
        std::min<uint64_t>(count_, std::max<uint64_t>(1, static_cast<uint64_t>(std::ceil(q * count_))));
    uint64_t seen = 0;
    for (uint32_t b = lowest_; b <= highest_; ++b) {
        seen += counts_[b];
        if (seen >= rank) {
            return binToHeight(b);
        }
    }
    return binToHeight(highest_);
}

uint32_t CHeightStats::binAboveDenseLayer() const {
    const uint32_t layerBins = static_cast<uint32_t>(std::lround(kTopLayer / kBin));
    const double needed = kTopLayerShare * static_cast<double>(count_);
    // Slide a layer down from the highest point; its sum holds bins [b, b + layerBins).
    uint64_t inLayer = 0;
    for (uint32_t b = highest_ + 1; b-- > lowest_;) {
        inLayer += counts_[b];
        if (b + layerBins <= highest_) {
            inLayer -= counts_[b + layerBins];
        }
        if (static_cast<double>(inLayer) >= needed) {
            return std::min(b + layerBins, highest_ + 1);
        }
    }
    return 0;
}

double CHeightStats::medianOfBins(uint32_t from, uint32_t to, double fallback) const {
    uint64_t total = 0;
    for (uint32_t b = from; b < to; ++b) {
        total += counts_[b];
    }
    const double half = 0.5 * static_cast<double>(total);
    uint64_t seen = 0;
    for (uint32_t b = from; b < to; ++b) {
        if (counts_[b] == 0) {
            continue;
        }
        if (static_cast<double>(seen + counts_[b]) >= half) {
            const double inside = (half - static_cast<double>(seen)) / counts_[b];
            return (b + inside) * kBin;
        }
        seen += counts_[b];
    }
    return fallback;
}

double CHeightStats::topHeight(double q, double band) const {
    if (count_ == 0) {
        return 0.0;
    }
    const double anchor = quantile(q);
    const uint32_t denseEnd = binAboveDenseLayer();
    if (denseEnd > 0 && denseEnd * kBin < anchor) {
        // The quantile lies among sparse points above the surface: they are not the top.
        const uint32_t bandBins = static_cast<uint32_t>(std::max(0.0, band / kBin));
        const uint32_t from = denseEnd > lowest_ + bandBins ? denseEnd - bandBins : lowest_;
        return medianOfBins(from, denseEnd, denseEnd * kBin);
    }
    const uint32_t from = static_cast<uint32_t>(std::max(0.0, (anchor - band) / kBin));
    return medianOfBins(std::max(from, lowest_), highest_ + 1, anchor);
}

} // namespace lpmc
