#include "LineExtraction.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>

#include "CpuFeatures.h"

namespace lpmc {
namespace {

constexpr int32_t kHalfWindow = 10; // most rows either side of the peak that a fit looks at
constexpr int32_t kMaxRadius = 3;
constexpr int32_t kWeights[kMaxRadius + 1][2 * kMaxRadius + 1] = {
    {1}, {1, 2, 1}, {1, 4, 6, 4, 1}, {1, 6, 15, 20, 15, 6, 1}}; // binomial, sums 4^r
constexpr int32_t kMaxSum = 255 << (2 * kMaxRadius);

// ln k for every value a smoothed sample can take, so that fits need no logarithm call.
const std::array<float, kMaxSum + 1>& logTable() {
    static const auto table = [] {
        std::array<float, kMaxSum + 1> t{};
        t[0] = 0.0f; // never a sample: weights of zero values are zero
        for (int32_t i = 1; i <= kMaxSum; ++i) {
            t[static_cast<size_t>(i)] = std::log(static_cast<float>(i));
        }
        return t;
    }();
    return table;
}

// The stripe of one column, copied into a contiguous buffer: sample i (a <= i <= b) is row
// `origin` + i; `peak` is the sample of the maximum. Values are smoothed sums, scaled by
// 4^radius.
struct Stripe {
    static constexpr int32_t kSize = 2 * kHalfWindow + 1;
    int32_t value[kSize];
    int32_t origin = 0;
    int32_t a = 0, b = 0, peak = 0;
    int32_t base = 0; // level under which samples don't belong to the stripe
    bool anySaturated = false;
    bool risesBefore = false, risesAfter = false; // another peak's flank stopped the walk
    int32_t at(int32_t i) const { return value[i + kHalfWindow]; }
};

// A stripe ends where samples fall to a quarter of its peak, or where they rise again by more
// than a sixteenth of it: the flank of another peak, such as a reflection.
inline bool continues(int32_t next, int32_t previous, int32_t base, int32_t rise) {
    return next > base && next <= previous + rise;
}

// Unsmoothed: walks outwards from the peak reading only the rows the stripe covers.
void walkRaw(const uint8_t* column, ptrdiff_t step, int32_t rowBegin, int32_t rowEnd, int32_t centre,
             Stripe& s) {
    const uint8_t* c = column + static_cast<ptrdiff_t>(centre) * step;
    const int32_t top = *c;
    s.origin = centre;
    s.peak = 0;
    s.base = top / 4;
    const int32_t rise = std::max(2, top / 16);
    s.value[kHalfWindow] = top;
    const int32_t up = std::min(kHalfWindow, centre - rowBegin);
    int32_t prev = top, i = 0;
    while (i < up) {
        const int32_t v = c[-static_cast<ptrdiff_t>(i + 1) * step];
        if (!continues(v, prev, s.base, rise)) {
            s.risesBefore = v > prev + rise;
            break;
        }
        s.value[kHalfWindow - ++i] = prev = v;
    }
    s.a = -i;
    const int32_t down = std::min(kHalfWindow, rowEnd - 1 - centre);
    prev = top;
    i = 0;
    while (i < down) {
        const int32_t v = c[static_cast<ptrdiff_t>(i + 1) * step];
        if (!continues(v, prev, s.base, rise)) {
            s.risesAfter = v > prev + rise;
            break;
        }
        s.value[kHalfWindow + ++i] = prev = v;
    }
    s.b = i;
    s.anySaturated = top == 255;
}

// Smoothed: loads the window around the peak, smooths it, then finds the stripe in it.
void loadSmoothed(const uint8_t* column, ptrdiff_t step, int32_t rowBegin, int32_t rowEnd, int32_t centre,
                  int32_t radius, Stripe& s, bool saturated[Stripe::kSize]) {
    const int32_t lo = std::max(-kHalfWindow, rowBegin - centre);
    const int32_t hi = std::min(kHalfWindow, rowEnd - 1 - centre);
    int32_t raw[Stripe::kSize + 2 * kMaxRadius];
    for (int32_t i = lo - radius; i <= hi + radius; ++i) {
        const int32_t r = std::clamp(centre + i, rowBegin, rowEnd - 1);
        raw[i - lo + radius] = column[static_cast<ptrdiff_t>(r) * step];
    }
    const int32_t* w = kWeights[radius];
    s.anySaturated = false;
    for (int32_t i = lo; i <= hi; ++i) {
        const int32_t* src = raw + (i - lo);
        int32_t v = 0;
        for (int32_t j = 0; j <= 2 * radius; ++j) {
            v += w[j] * src[j];
        }
        s.value[i + kHalfWindow] = v;
        saturated[i + kHalfWindow] = src[radius] == 255;
        s.anySaturated = s.anySaturated || src[radius] == 255;
    }
    s.origin = centre;
    // The smoothed maximum may sit a row or two away from the raw one.
    int32_t k = 0;
    for (int32_t i = std::max(lo, -radius - 1); i <= std::min(hi, radius + 1); ++i) {
        if (s.at(i) > s.at(k)) {
            k = i;
        }
    }
    s.peak = k;
    const int32_t top = s.at(k);
    s.base = top / 4;
    const int32_t rise = std::max(2, top / 16);
    s.a = k;
    while (s.a > lo && continues(s.at(s.a - 1), s.at(s.a), s.base, rise)) {
        --s.a;
    }
    s.risesBefore = s.a > lo && s.at(s.a - 1) > s.at(s.a) + rise;
    s.b = k;
    while (s.b < hi && continues(s.at(s.b + 1), s.at(s.b), s.base, rise)) {
        ++s.b;
    }
    s.risesAfter = s.b < hi && s.at(s.b + 1) > s.at(s.b) + rise;
}

// Where another peak rose beside the stripe, the valley sample carries its flank: it goes, and
// the stripe is cut to the same length on the other side so that the truncation stays
// symmetric about the peak.
void trimAtNeighbours(Stripe& s) {
    if (!s.risesBefore && !s.risesAfter) {
        return;
    }
    if (s.risesBefore && s.a < s.peak) {
        ++s.a;
    }
    if (s.risesAfter && s.b > s.peak) {
        --s.b;
    }
    const int32_t half = std::min(s.peak - s.a, s.b - s.peak);
    s.a = s.peak - half;
    s.b = s.peak + half;
}

float centreOfGravity(const Stripe& s) {
    int32_t sw = 0, swx = 0;
    for (int32_t i = s.a; i <= s.b; ++i) {
        const int32_t wt = s.at(i) - s.base;
        sw += wt;
        swx += wt * i;
    }
    return sw > 0 ? static_cast<float>(swx) / static_cast<float>(sw) : 0.5f * static_cast<float>(s.a + s.b);
}

float gauss3(const Stripe& s, float fallback) {
    const int32_t k = s.peak;
    if (k <= s.a || k >= s.b || s.anySaturated) {
        return fallback;
    }
    const auto& ln = logTable();
    const float la = ln[static_cast<size_t>(s.at(k - 1))], lb = ln[static_cast<size_t>(s.at(k))];
    const float lc = ln[static_cast<size_t>(s.at(k + 1))];
    const float den = la - 2.0f * lb + lc;
    if (!(den < 0.0f)) {
        return fallback;
    }
    const float d = 0.5f * (la - lc) / den;
    return std::fabs(d) <= 1.0f ? static_cast<float>(k) + d : fallback;
}

float derivativeZero(const Stripe& s, float fallback) {
    const int32_t k = s.peak;
    if (k - 1 <= s.a || k + 1 >= s.b || s.anySaturated) {
        return fallback;
    }
    auto d = [&](int32_t i) { return static_cast<float>(s.at(i + 1) - s.at(i - 1)); };
    const int32_t i = d(k) >= 0.0f ? k : k - 1; // the crossing lies between i and i + 1
    const float d0 = d(i), d1 = d(i + 1);
    if (!(d0 >= 0.0f && d1 <= 0.0f && d0 - d1 > 0.0f)) {
        return fallback;
    }
    return static_cast<float>(i) + d0 / (d0 - d1);
}

// ln v = c0 + c1 x + c2 x^2 by least squares weighted with v^2, over the unsaturated samples
// of the stripe: saturation clips the top, the flanks still carry the centre.
float gaussFit(const Stripe& s, const bool* saturated, float fallback) {
    const auto& ln = logTable();
    const float scale = 1.0f / static_cast<float>(s.at(s.peak));
    float s0 = 0, s1 = 0, s2 = 0, s3 = 0, s4 = 0, t0 = 0, t1 = 0, t2 = 0;
    int32_t used = 0;
    for (int32_t i = s.a; i <= s.b; ++i) {
        if (s.anySaturated && saturated[i + kHalfWindow]) {
            continue;
        }
        const int32_t v = s.at(i);
        const float x = static_cast<float>(i - s.peak), rel = static_cast<float>(v) * scale;
        const float wt = rel * rel, l = ln[static_cast<size_t>(v)];
        const float wx = wt * x, wx2 = wx * x;
        s0 += wt;
        s1 += wx;
        s2 += wx2;
        s3 += wx2 * x;
        s4 += wx2 * x * x;
        t0 += wt * l;
        t1 += wx * l;
        t2 += wx2 * l;
        ++used;
    }
    if (used < 3) {
        return fallback;
    }
    // [s0 s1 s2; s1 s2 s3; s2 s3 s4] c = t, by Cramer's rule for c1 and c2; the ratio needs no
    // division by the determinant.
    const float a12 = s1 * s4 - s3 * s2, a13 = s1 * s3 - s2 * s2;
    const float n1 = s0 * (t1 * s4 - s3 * t2) - t0 * a12 + s2 * (s1 * t2 - t1 * s2);
    const float n2 = s0 * (s2 * t2 - t1 * s3) - s1 * (s1 * t2 - t1 * s2) + t0 * a13;
    const float det = s0 * (s2 * s4 - s3 * s3) - s1 * a12 + s2 * a13;
    // c2 = n2 / det must be negative (a peak, not a valley).
    if (!(n2 * det < 0.0f)) {
        return fallback;
    }
    const float d = -n1 / (2.0f * n2);
    return std::fabs(d) <= 2.0f ? static_cast<float>(s.peak) + d : fallback;
}

} // namespace

namespace {

// The common case, a window of kFast samples either side wholly inside the rows: all samples
// are loaded and smoothed at once, and the walk outwards becomes a running mask, with no branch
// that depends on the pixels.
constexpr int32_t kFast = 6;

template <int R>
void fastWindow(const uint8_t* column, ptrdiff_t step, int32_t centre, Stripe& s, bool* saturated) {
    constexpr int32_t n = 2 * kFast + 1;
    int32_t raw[n + 2 * R];
    const uint8_t* c = column + static_cast<ptrdiff_t>(centre - kFast - R) * step;
    for (int32_t i = 0; i < n + 2 * R; ++i) {
        raw[i] = c[static_cast<ptrdiff_t>(i) * step];
    }
    int32_t v[n];
    for (int32_t i = 0; i < n; ++i) {
        int32_t sum = 0;
        for (int32_t j = 0; j <= 2 * R; ++j) {
            sum += kWeights[R][j] * raw[i + j];
        }
        v[i] = sum;
        saturated[i - kFast + kHalfWindow] = raw[i + R] == 255;
    }
    // The smoothed maximum may sit a row or two away from the raw one.
    int32_t k = kFast;
    if (R > 0) {
        for (int32_t i = kFast - R - 1; i <= kFast + R + 1; ++i) {
            k = v[i] > v[k] ? i : k;
        }
    }
    const int32_t top = v[k], base = top / 4, rise = std::max(2, top / 16);
    int32_t up = 0, down = 0, go = 1;
    for (int32_t i = 1; i <= kFast; ++i) {
        const int32_t at = std::min(k + i, n - 1), prev = std::min(k + i - 1, n - 1);
        go &= static_cast<int32_t>(k + i < n) & static_cast<int32_t>(v[at] > base) &
              static_cast<int32_t>(v[at] <= v[prev] + rise);
        down += go;
    }
    go = 1;
    for (int32_t i = 1; i <= kFast; ++i) {
        const int32_t at = std::max(k - i, 0), prev = std::max(k - i + 1, 0);
        go &= static_cast<int32_t>(k - i >= 0) & static_cast<int32_t>(v[at] > base) &
              static_cast<int32_t>(v[at] <= v[prev] + rise);
        up += go;
    }
    s.origin = centre;
    s.peak = k - kFast;
    s.a = s.peak - up;
    s.b = s.peak + down;
    s.base = base;
    s.risesBefore = k - up - 1 >= 0 && v[k - up - 1] > v[k - up] + rise;
    s.risesAfter = k + down + 1 < n && v[k + down + 1] > v[k + down] + rise;
    bool any = false;
    for (int32_t i = 0; i < n; ++i) {
        s.value[i - kFast + kHalfWindow] = v[i];
        any = any || saturated[i - kFast + kHalfWindow];
    }
    s.anySaturated = any;
}

// The stripe of one column made ready for a fit, or the answer already (no line, whole pixel).
struct Prepared {
    bool done = false;
    float row = kNoLine;
    Stripe stripe;
    bool saturated[Stripe::kSize];
};

// A saturated column may hold a reflection that saturates too (a white surface under a strong
// laser): the first row at 255 may be the ghost's. The line is the widest saturated plateau, as
// it carries by far the most light.
int32_t widestSaturatedRun(const uint8_t* column, ptrdiff_t step, int32_t rowEnd, int32_t firstRow) {
    int32_t best = firstRow, bestLength = 0;
    for (int32_t r = firstRow; r < rowEnd;) {
        if (column[static_cast<ptrdiff_t>(r) * step] != 255) {
            ++r;
            continue;
        }
        const int32_t start = r;
        while (r < rowEnd && column[static_cast<ptrdiff_t>(r) * step] == 255) {
            ++r;
        }
        if (r - start > bestLength) {
            best = start;
            bestLength = r - start;
        }
    }
    return best;
}

void prepare(const uint8_t* column, ptrdiff_t step, int32_t rowBegin, int32_t rowEnd, int32_t peakRow,
             const LineSettings& settings, Prepared& p) {
    const uint8_t peak = column[static_cast<ptrdiff_t>(peakRow) * step];
    if (peak < settings.thresh || peak == 0) {
        p.done = true;
        p.row = kNoLine;
        return;
    }
    if (peak == 255) {
        peakRow = widestSaturatedRun(column, step, rowEnd, peakRow);
    }
    // A plateau of equal maxima (a saturated stripe) is centred on its middle.
    int32_t plateauEnd = peakRow;
    while (plateauEnd + 1 < rowEnd && plateauEnd - peakRow < kHalfWindow &&
           column[static_cast<ptrdiff_t>(plateauEnd + 1) * step] == peak) {
        ++plateauEnd;
    }
    if (settings.method == ExtractMethod::WholePixel) {
        p.done = true;
        p.row = 0.5f * static_cast<float>(peakRow + plateauEnd);
        return;
    }
    p.done = false;
    // The least-squares fit and the centre of gravity average over the whole stripe already;
    // smoothing serves the fits that look at the peak's neighbours only.
    const bool smoothed =
        settings.method == ExtractMethod::Gauss3 || settings.method == ExtractMethod::DerivativeZero;
    const int32_t radius = smoothed ? std::clamp(settings.gaussRadius, 0, kMaxRadius) : 0;
    const int32_t middle = (peakRow + plateauEnd) / 2;
    Stripe& stripe = p.stripe;
    if (radius > 0 && middle - kFast - radius >= rowBegin && middle + kFast + radius < rowEnd) {
        switch (radius) {
        case 0:
            fastWindow<0>(column, step, middle, stripe, p.saturated);
            break;
        case 1:
            fastWindow<1>(column, step, middle, stripe, p.saturated);
            break;
        case 2:
            fastWindow<2>(column, step, middle, stripe, p.saturated);
            break;
        default:
            fastWindow<3>(column, step, middle, stripe, p.saturated);
            break;
        }
    } else if (radius == 0) {
        walkRaw(column, step, rowBegin, rowEnd, middle, stripe);
        if (stripe.anySaturated) {
            for (int32_t i = stripe.a; i <= stripe.b; ++i) {
                p.saturated[i + kHalfWindow] = stripe.at(i) == 255;
            }
        }
    } else {
        loadSmoothed(column, step, rowBegin, rowEnd, middle, radius, stripe, p.saturated);
    }
    trimAtNeighbours(stripe);
}

// A stripe cut by the border of the region still has its centre inside it.
float inside(float row, int32_t rowBegin, int32_t rowEnd) {
    return std::clamp(row, static_cast<float>(rowBegin), static_cast<float>(rowEnd - 1));
}

float finish(const Prepared& p, ExtractMethod method, int32_t rowBegin, int32_t rowEnd) {
    const Stripe& stripe = p.stripe;
    const float cog = centreOfGravity(stripe);
    float c = cog;
    switch (method) {
    case ExtractMethod::Gauss3:
        c = gauss3(stripe, cog);
        break;
    case ExtractMethod::DerivativeZero:
        c = derivativeZero(stripe, cog);
        break;
    case ExtractMethod::GaussFit:
        c = gaussFit(stripe, p.saturated, cog);
        break;
    case ExtractMethod::CentreOfGravity:
    case ExtractMethod::WholePixel:
        break;
    }
    return inside(static_cast<float>(stripe.origin) + c, rowBegin, rowEnd);
}

// The weighted Gaussian fit of up to kLanes columns at once: the same sums as gaussFit, lane by
// lane in arrays, so that the compiler keeps each sum of all lanes in one vector register.
struct FitBatch {
    static constexpr int32_t kLanes = 8;
    static constexpr int32_t kHalf = 4; // samples either side of the peak that take part
    static constexpr int32_t kSlots = 2 * kHalf + 1;
    int32_t value[kSlots][kLanes]; // 0: the sample takes no part
    float scale[kLanes];           // 1 / peak value
    float centre[kLanes];          // row of the peak sample
    int32_t column[kLanes];
    Prepared* prepared[kLanes];
    int32_t count = 0;
};

template <int Dummy>
void fitLanes(const FitBatch& b, const float* ln, float* offset, int32_t* ok) {
    using B = FitBatch;
    float s0[B::kLanes] = {}, s1[B::kLanes] = {}, s2[B::kLanes] = {}, s3[B::kLanes] = {}, s4[B::kLanes] = {};
    float t0[B::kLanes] = {}, t1[B::kLanes] = {}, t2[B::kLanes] = {};
    int32_t used[B::kLanes] = {};
    for (int32_t k = 0; k < B::kSlots; ++k) {
        const float x = static_cast<float>(k - B::kHalf);
        for (int32_t j = 0; j < B::kLanes; ++j) {
            const int32_t v = b.value[k][j];
            const float rel = static_cast<float>(v) * b.scale[j];
            const float wt = rel * rel, l = ln[v]; // ln[0] is 0, and so is its weight
            const float wx = wt * x, wx2 = wx * x;
            s0[j] += wt;
            s1[j] += wx;
            s2[j] += wx2;
            s3[j] += wx2 * x;
            s4[j] += wx2 * x * x;
            t0[j] += wt * l;
            t1[j] += wx * l;
            t2[j] += wx2 * l;
            used[j] += static_cast<int32_t>(v > 0);
        }
    }
    for (int32_t j = 0; j < B::kLanes; ++j) {
        const float a12 = s1[j] * s4[j] - s3[j] * s2[j], a13 = s1[j] * s3[j] - s2[j] * s2[j];
        const float n1 =
            s0[j] * (t1[j] * s4[j] - s3[j] * t2[j]) - t0[j] * a12 + s2[j] * (s1[j] * t2[j] - t1[j] * s2[j]);
        const float n2 =
            s0[j] * (s2[j] * t2[j] - t1[j] * s3[j]) - s1[j] * (s1[j] * t2[j] - t1[j] * s2[j]) + t0[j] * a13;
        const float det = s0[j] * (s2[j] * s4[j] - s3[j] * s3[j]) - s1[j] * a12 + s2[j] * a13;
        const float d = -n1 / (2.0f * n2); // checked below: inf and NaN fail the test
        offset[j] = d;
        ok[j] = static_cast<int32_t>(used[j] >= 3) & static_cast<int32_t>(n2 * det < 0.0f) &
                static_cast<int32_t>(std::fabs(d) <= 2.0f);
    }
}

#if (defined(__GNUC__) || defined(__clang__)) && (defined(__x86_64__) || defined(_M_X64))
#define LPMC_FIT_AVX2 1
__attribute__((target("avx2,fma"))) void fitLanesAvx2(const FitBatch& b, const float* ln, float* offset,
                                                      int32_t* ok) {
    fitLanes<1>(b, ln, offset, ok);
}
#endif

void runBatch(FitBatch& b, int32_t rowBegin, int32_t rowEnd, float* rows) {
    if (b.count == 0) {
        return;
    }
    for (int32_t j = b.count; j < FitBatch::kLanes; ++j) { // unused lanes take no part
        for (int32_t k = 0; k < FitBatch::kSlots; ++k) {
            b.value[k][j] = 0;
        }
        b.scale[j] = 0.0f;
    }
    float offset[FitBatch::kLanes];
    int32_t ok[FitBatch::kLanes];
#if defined(LPMC_FIT_AVX2)
    if (cpuHasAvx2()) {
        fitLanesAvx2(b, logTable().data(), offset, ok);
    } else {
        fitLanes<0>(b, logTable().data(), offset, ok);
    }
#else
    fitLanes<0>(b, logTable().data(), offset, ok);
#endif
    for (int32_t j = 0; j < b.count; ++j) {
        const Prepared& p = *b.prepared[j];
        const float c =
            ok[j] ? b.centre[j] + offset[j] : static_cast<float>(p.stripe.origin) + centreOfGravity(p.stripe);
        rows[b.column[j]] = inside(c, rowBegin, rowEnd);
    }
    b.count = 0;
}

// Puts a prepared stripe into the batch; false if it is wider than the batch's window (then
// the scalar fit takes it).
bool addToBatch(FitBatch& b, Prepared& p, int32_t column) {
    const Stripe& s = p.stripe;
    if (s.a < s.peak - FitBatch::kHalf || s.b > s.peak + FitBatch::kHalf) {
        return false;
    }
    const int32_t j = b.count;
    for (int32_t k = 0; k < FitBatch::kSlots; ++k) {
        b.value[k][j] = 0;
    }
    for (int32_t i = s.a; i <= s.b; ++i) {
        const bool sat = s.anySaturated && p.saturated[i + kHalfWindow];
        b.value[i - s.peak + FitBatch::kHalf][j] = sat ? 0 : s.at(i);
    }
    b.scale[j] = 1.0f / static_cast<float>(s.at(s.peak));
    b.centre[j] = static_cast<float>(s.origin + s.peak);
    b.column[j] = column;
    b.prepared[j] = &p;
    ++b.count;
    return true;
}

} // namespace

float refineCentre(const uint8_t* column, ptrdiff_t step, int32_t rowBegin, int32_t rowEnd, int32_t peakRow,
                   const LineSettings& settings) {
    Prepared p;
    prepare(column, step, rowBegin, rowEnd, peakRow, settings, p);
    return p.done ? p.row : finish(p, settings.method, rowBegin, rowEnd);
}

bool CLineExtractor::configure(int32_t imageWidth, int32_t imageHeight, const LpmcImageRegion& region,
                               const LineSettings& settings) {
    width_ = imageWidth;
    height_ = imageHeight;
    region_ = region;
    settings_ = settings;
    const size_t n = static_cast<size_t>(region.width);
    best_.reset(new (std::nothrow) uint8_t[n]);
    scratch_.reset(new (std::nothrow) uint8_t[2 * n]);
    bestRow_.reset(new (std::nothrow) int32_t[n]);
    (void)logTable();
    return best_ && bestRow_ && scratch_;
}

void CLineExtractor::extract(const uint8_t* pixels, float* rows, uint8_t* peaks) {
    std::fill(rows, rows + width_, kNoLine);
    std::fill(peaks, peaks + width_, uint8_t{0});
    const int32_t c0 = region_.x, r0 = region_.y, r1 = region_.y + region_.height;
    const size_t stride = static_cast<size_t>(width_);
    ColumnMaximaArgs args;
    args.pixels = pixels;
    args.stride = stride;
    args.colBegin = c0;
    args.colEnd = c0 + region_.width;
    args.rowBegin = r0;
    args.rowEnd = r1;
    args.best = best_.get();
    args.bestRow = bestRow_.get();
    args.scratch = scratch_.get();
    columnMaxima(args);
    const uint8_t thresh = static_cast<uint8_t>(std::clamp(settings_.thresh, 1, 255));
    // The Gaussian fits of eight columns run together; their stripes wait in the batch.
    const bool batched = settings_.method == ExtractMethod::GaussFit;
    FitBatch batch;
    Prepared prepared[FitBatch::kLanes + 1];
    for (int32_t i = 0; i < region_.width; ++i) {
        const uint8_t peak = best_[static_cast<size_t>(i)];
        if (peak < thresh) {
            continue;
        }
        const int32_t col = c0 + i;
        Prepared& p = prepared[batch.count];
        prepare(pixels + col, static_cast<ptrdiff_t>(stride), r0, r1, bestRow_[static_cast<size_t>(i)],
                settings_, p);
        if (p.done) {
            rows[col] = p.row;
        } else if (!batched || !addToBatch(batch, p, col)) {
            rows[col] = finish(p, settings_.method, r0, r1);
        } else if (batch.count == FitBatch::kLanes) {
            runBatch(batch, r0, r1, rows);
        }
        // A stripe that reached a fit always ends with a row (the fit's, or its centre of gravity).
        peaks[col] = !p.done || p.row >= 0.0f ? peak : 0;
    }
    runBatch(batch, r0, r1, rows);
}

} // namespace lpmc
