#include "EndShare.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace lpmc {
namespace {

// The same column on a flat top gives the same board X in both profiles; neighbouring columns
// lie about half a millimetre apart.
constexpr float kSameColumn = 0.2f;
constexpr uint8_t kSaturated = 250;

float median(float* values, uint32_t n) {
    std::nth_element(values, values + n / 2, values + n);
    return values[n / 2];
}

// The median of `values` (reordered, then overwritten) and its standard error, from the median
// absolute deviation of a normal spread.
float medianWithError(float* values, uint32_t n, double& standardError) {
    const float middle = median(values, n);
    for (uint32_t i = 0; i < n; ++i) {
        values[i] = std::fabs(values[i] - middle);
    }
    const double deviation = 1.4826 * median(values, n);
    standardError = 1.2533 * deviation / std::sqrt(static_cast<double>(n));
    return middle;
}

// The bins of beltPeakBin wholly inside [x0, x1]; first > last when there are none.
void binsInside(float x0, float x1, int32_t& first, int32_t& last) {
    first = beltPeakBin(x0 + kBeltPeakBinWidth);
    last = beltPeakBin(x1 - kBeltPeakBinWidth);
    if (first < 0 || last < 0) {
        first = 0;
        last = -1;
    }
}

} // namespace

bool CEndShare::configure(uint32_t pointsPerFrame) {
    capacity_ = 0;
    boundary_.reset(new (std::nothrow) Sample[pointsPerFrame]);
    ratios_.reset(new (std::nothrow) float[pointsPerFrame]);
    peaks_.reset(new (std::nothrow) float[pointsPerFrame]);
    if (!boundary_ || !ratios_ || !peaks_) {
        return false;
    }
    capacity_ = pointsPerFrame;
    return true;
}

bool CEndShare::measure(int32_t object, const FrameSlot& boundary, const FrameSlot& inner, double topHeight,
                        double band, EndShare& out) {
    const auto onTop = [&](const ProfilePoint& p) { return std::fabs(p.h - topHeight) <= band; };
    uint32_t nb = 0;
    for (uint32_t r = 0; r < boundary.runCount; ++r) {
        const ProfileRun& run = boundary.runs[r];
        for (uint32_t i = 0; run.object == object && i < run.count && nb < capacity_; ++i) {
            if (onTop(boundary.points[run.first + i])) {
                boundary_[nb++] = Sample{boundary.points[run.first + i].x, boundary.strengths[run.first + i]};
            }
        }
    }
    std::sort(boundary_.get(), boundary_.get() + nb,
              [](const Sample& a, const Sample& b) { return a.x < b.x; });
    uint32_t n = 0, saturated = 0;
    for (uint32_t r = 0; r < inner.runCount; ++r) {
        const ProfileRun& run = inner.runs[r];
        for (uint32_t i = 0; run.object == object && i < run.count && n < capacity_; ++i) {
            const ProfilePoint& p = inner.points[run.first + i];
            const uint8_t strength = inner.strengths[run.first + i];
            if (!onTop(p) || strength == 0) {
                continue;
            }
            if (strength >= kSaturated) {
                ++saturated;
                continue;
            }
            const Sample* at = std::lower_bound(boundary_.get(), boundary_.get() + nb, p.x,
                                                [](const Sample& s, float x) { return s.x < x; });
            float ratio = 0.0f;
            for (const Sample* s : {at - 1, at}) {
                if (s >= boundary_.get() && s < boundary_.get() + nb &&
                    std::fabs(s->x - p.x) <= kSameColumn) {
                    ratio = static_cast<float>(s->strength) / static_cast<float>(strength);
                }
            }
            ratios_[n] = ratio;
            peaks_[n] = strength;
            ++n;
        }
    }
    if (n < kLeastColumns || 4 * saturated > n + saturated) {
        return false;
    }
    const float share = medianWithError(ratios_.get(), n, out.spread);
    out.share = std::clamp(static_cast<double>(share), 0.0, 1.0);
    out.innerPeak = median(peaks_.get(), n);
    out.columns = n;
    return true;
}

int32_t CEndShare::beltBinsShown(const FrameSlot& slot, float x0, float x1) {
    int32_t first = 0, last = 0;
    binsInside(x0, x1, first, last);
    int32_t n = 0;
    for (int32_t b = first; b <= last; ++b) {
        n += slot.info.beltBins[b] > 0 ? 1 : 0;
    }
    return n;
}

bool CEndShare::measureBeyond(const FrameSlot& outer, const FrameSlot& clear, float x0, float x1,
                              EndShare& out) {
    float ratios[kBeltPeakBins];
    int32_t n = 0, first = 0, last = 0;
    binsInside(x0, x1, first, last);
    for (int32_t b = first; b <= last; ++b) {
        if (outer.info.beltBins[b] > 0 && clear.info.beltBins[b] > 0) {
            ratios[n++] =
                static_cast<float>(outer.info.beltBins[b]) / static_cast<float>(clear.info.beltBins[b]);
        }
    }
    if (n < kLeastBins) {
        return false;
    }
    const float belt = medianWithError(ratios, static_cast<uint32_t>(n), out.spread);
    out.share = std::clamp(1.0 - static_cast<double>(belt), 0.0, 1.0);
    out.columns = static_cast<uint32_t>(n);
    return true;
}

} // namespace lpmc
