#include "BeltHistory.h"

#include <algorithm>
#include <new>

namespace lpmc {

namespace {
constexpr int32_t kBins = 2 * CBeltBins::kHalfRange;
} // namespace

bool CBeltHistory::configure() {
    seen_.reset(new (std::nothrow) uint64_t[kBins]());
    if (!seen_) {
        return false;
    }
    scratch_.reserve(kBins);
    return true;
}

void CBeltHistory::clear() {
    std::fill(seen_.get(), seen_.get() + kBins, uint64_t{0});
}

void CBeltHistory::update(const CBeltBins& belt, uint64_t seq) {
    for (int32_t b = belt.firstMarked(); b <= belt.lastMarked(); ++b) {
        if (belt.marked(b)) {
            seen_[b] = seq + 1;
        }
    }
}

uint64_t CBeltHistory::lastSeenPlusOne(float x0, float x1) {
    const float quarter = 0.25f * (x1 - x0);
    const int32_t b0 = CBeltBins::binOf(x0 + quarter), b1 = CBeltBins::binOf(x1 - quarter);
    scratch_.assign(seen_.get() + b0, seen_.get() + b1 + 1);
    const auto mid = scratch_.begin() + static_cast<std::ptrdiff_t>(scratch_.size() / 2);
    std::nth_element(scratch_.begin(), mid, scratch_.end());
    return *mid;
}

} // namespace lpmc
