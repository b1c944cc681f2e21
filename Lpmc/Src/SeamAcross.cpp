#include "SeamAcross.h"

#include <algorithm>

namespace lpmc {
namespace {

constexpr float kNear = 5.0f, kFar = 15.0f; // mm along the belt where the tops beside are read
constexpr float kDip = 0.5f;                // mm below both of them
constexpr float kFlat = 0.3f;               // mm: how much a top beside may vary (a bag's does more)

} // namespace

void CSeamAcross::add(float travel, float height) {
    levels_[count_ % kCapacity] = {travel, height};
    ++count_;
    // Profiles far enough behind the newest have both their sides; older ones have left the ring.
    checked_ = std::max(checked_, count_ > kCapacity ? count_ - kCapacity : 0u);
    while (checked_ < count_ && levels_[checked_ % kCapacity].travel + kFar <= travel) {
        check(checked_++);
    }
}

void CSeamAcross::check(uint32_t centre) {
    const float at = levels_[centre % kCapacity].travel;
    float lo[2] = {1e30f, 1e30f}, hi[2] = {-1e30f, -1e30f}, sum[2] = {0.0f, 0.0f};
    uint32_t n[2] = {0, 0};
    const uint32_t first = count_ > kCapacity ? count_ - kCapacity : 0;
    for (uint32_t i = first; i < count_; ++i) {
        const Level& l = levels_[i % kCapacity];
        const float d = l.travel - at;
        const float away = d < 0.0f ? -d : d;
        if (away < kNear || away > kFar) {
            continue;
        }
        const int side = d < 0.0f ? 0 : 1;
        lo[side] = std::min(lo[side], l.height);
        hi[side] = std::max(hi[side], l.height);
        sum[side] += l.height;
        ++n[side];
    }
    if (n[0] < 2 || n[1] < 2 || hi[0] - lo[0] > kFlat || hi[1] - lo[1] > kFlat) {
        return;
    }
    const float beside = std::min(sum[0] / static_cast<float>(n[0]), sum[1] / static_cast<float>(n[1]));
    seen_ = seen_ || beside - levels_[centre % kCapacity].height >= kDip;
}

bool CSeamAcross::flatBefore(uint32_t at, float& mean) const {
    const float travel = levels_[at % kCapacity].travel;
    const uint32_t first = count_ > kCapacity ? count_ - kCapacity : 0;
    float lo = 1e30f, hi = -1e30f, sum = 0.0f;
    uint32_t n = 0;
    for (uint32_t i = first; i < at; ++i) {
        const Level& l = levels_[i % kCapacity];
        if (travel - l.travel < kNear || travel - l.travel > kFar) {
            continue;
        }
        lo = std::min(lo, l.height);
        hi = std::max(hi, l.height);
        sum += l.height;
        ++n;
    }
    mean = n > 0 ? sum / static_cast<float>(n) : 0.0f;
    return n >= 2 && hi - lo <= kFlat;
}

float CSeamAcross::endDrop() const {
    float before = 0.0f;
    if (count_ == 0 || !flatBefore(count_ - 1, before)) {
        return 0.0f;
    }
    return before - levels_[(count_ - 1) % kCapacity].height;
}

} // namespace lpmc
