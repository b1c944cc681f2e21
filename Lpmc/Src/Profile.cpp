#include "Profile.h"

#include <algorithm>
#include <cmath>

namespace lpmc {

int32_t CBeltBins::binOf(float x) {
    return std::clamp(static_cast<int32_t>(std::floor(x)) + kHalfRange, 0, 2 * kHalfRange - 1);
}

void CBeltBins::clear() {
    if (hi_ >= lo_) {
        std::fill(bins_ + lo_, bins_ + hi_ + 1, uint8_t{0});
    }
    lo_ = 2 * kHalfRange;
    hi_ = -1;
}

void CBeltBins::mark(float x) {
    const int32_t b = binOf(x);
    bins_[b] = 1;
    lo_ = std::min(lo_, b);
    hi_ = std::max(hi_, b);
}

void CBeltBins::count(float x0, float x1, int32_t& belt, int32_t& all) const {
    const int32_t b0 = binOf(x0), b1 = binOf(x1);
    belt = 0;
    all = std::max(0, b1 - b0 + 1);
    for (int32_t b = std::max(b0, lo_); b <= std::min(b1, hi_); ++b) {
        belt += bins_[b];
    }
}

bool CBeltBins::any(float x0, float x1) const {
    int32_t belt = 0, all = 0;
    count(x0, x1, belt, all);
    return belt > 0;
}

namespace {

class RunBuilder {
public:
    RunBuilder(const ProfileSettings& s, uint8_t camera, ProfileOutput& out)
        : s_(s), camera_(camera), out_(out), firstRun_(out.runCount) {}

    void add(int32_t col, const ProfilePoint& p, uint8_t peak) {
        // A surface is continuous from column to column; noise (a column without a line shows its
        // brightest noise pixel, at any row) is not.
        if (open_ && (std::fabs(p.x - lastX_) > s_.maxGap || std::fabs(p.h - lastH_) > s_.maxHeightStep)) {
            close(false);
        }
        objectSinceBelt_ = true;
        out_.objectMinX = std::fmin(out_.objectMinX, p.x);
        out_.objectMaxX = std::fmax(out_.objectMaxX, p.x);
        if (!open_) {
            open_ = true;
            run_ = ProfileRun{};
            run_.first = out_.pointCount;
            run_.x0 = run_.x1 = p.x;
            run_.camera = camera_;
            run_.touchesEdge = col == s_.region.x;
            startsAtEdge_ = run_.touchesEdge;
            peakSum_ = 0;
            run_.leftBound = before_;
            run_.leftNeighbourH = beforeH_;
            run_.leftH = p.h;
        } else if (std::fabs(p.x - lastX_) > kInnerGap) {
            ++run_.innerGaps;
        }
        if (out_.strengths != nullptr) {
            out_.strengths[out_.pointCount] = peak;
        }
        out_.points[out_.pointCount++] = p;
        peakSum_ += peak;
        ++run_.count;
        run_.x0 = std::fmin(run_.x0, p.x);
        run_.x1 = std::fmax(run_.x1, p.x);
        lastX_ = p.x;
        lastH_ = p.h;
    }

    // A belt point: it ends any run, and a long stretch without any line before it is a hole.
    void belt(const ProfilePoint& p, uint8_t peak) {
        close(false);
        if (s_.beltStrength && peak > 0) {
            out_.beltPeakSum += peak;
            ++out_.beltPeakCount;
            const int32_t bin = beltPeakBin(p.x);
            if (bin >= 0) {
                out_.beltBinSum[bin] += peak;
                ++out_.beltBinCount[bin];
            }
        }
        resolvePending(RunBound::Belt, 0.0f);
        if (out_.belt != nullptr) {
            out_.belt->mark(p.x);
        }
        out_.beltMinX = std::fmin(out_.beltMinX, p.x);
        out_.beltMaxX = std::fmax(out_.beltMaxX, p.x);
        out_.beltY = p.y;
        if (haveBelt_ && !objectSinceBelt_ && std::fabs(p.x - lastBeltX_) > out_.minHoleWidth &&
            out_.holes != nullptr && out_.holeCount < out_.holeCapacity) {
            out_.holes[out_.holeCount++] = ProfileHole{std::fmin(lastBeltX_, p.x), std::fmax(lastBeltX_, p.x),
                                                       0.5f * (lastBeltY_ + p.y)};
        }
        haveBelt_ = true;
        objectSinceBelt_ = false;
        lastBeltX_ = p.x;
        lastBeltY_ = p.y;
        before_ = RunBound::Belt;
    }

    void close(bool atEdge) {
        if (!open_) {
            return;
        }
        open_ = false;
        run_.touchesEdge = run_.touchesEdge || atEdge;
        run_.rightH = lastH_;
        if (static_cast<int32_t>(run_.count) < s_.minRunPoints || run_.x1 - run_.x0 < s_.minRunLength ||
            out_.runCount >= out_.runCapacity) {
            out_.pointCount = run_.first; // noise, or no room: its points go too
            return;
        }
        run_.meanPeak = static_cast<uint8_t>(peakSum_ / run_.count);
        uint32_t seams[kMaxSeams];
        const bool steady = run_.meanPeak == 0 || run_.meanPeak >= s_.seamPeak;
        const uint32_t seamCount =
            s_.splitAtSeams && steady ? findSeams(out_.points, run_.first, run_.count, seams, kMaxSeams) : 0;
        if (seamCount == 0) {
            keep(run_);
            return;
        }
        // One surface per side of each seam: each piece is a run of its own.
        uint32_t start = run_.first;
        const uint32_t end = run_.first + run_.count;
        for (uint32_t k = 0; k <= seamCount && out_.runCount < out_.runCapacity; ++k) {
            const uint32_t stop = k < seamCount ? seams[k] + 1 : end;
            ProfileRun piece = pieceOf(start, stop);
            piece.touchesEdge = (k == 0 && startsAtEdge_) || (k == seamCount && atEdge);
            piece.leftBound = k == 0 ? run_.leftBound : RunBound::Seam;
            piece.leftNeighbourH = k == 0 ? run_.leftNeighbourH : out_.points[start - 1].h;
            if (k == 0) {
                keep(piece);
            } else {
                out_.runs[out_.runCount++] = piece;
                pending_ = static_cast<int32_t>(out_.runCount) - 1;
                beforeH_ = piece.rightH;
            }
            if (k < seamCount) {
                out_.runs[pending_].rightBound = RunBound::Seam;
                out_.runs[pending_].rightNeighbourH = out_.points[stop].h;
                pending_ = -1;
            }
            start = stop;
        }
    }

    // Bounds are kept by board X (left is the side of x0) whichever way the columns run.
    void finish(bool lastIsObject) {
        close(lastIsObject); // nothing beyond the last run: its right bound stays open
        for (uint32_t r = firstRun_; r < out_.runCount; ++r) {
            ProfileRun& run = out_.runs[r];
            if (out_.points[run.first].x > out_.points[run.first + run.count - 1].x) {
                std::swap(run.leftBound, run.rightBound);
                std::swap(run.leftH, run.rightH);
                std::swap(run.leftNeighbourH, run.rightNeighbourH);
            }
        }
    }

private:
    static constexpr float kInnerGap = 5.0f; // mm without line inside a run that is worth noting
    static constexpr uint32_t kMaxSeams = 8; // per run; more grooves than that aren't seams

    void keep(const ProfileRun& run) {
        // Only kept runs and the belt tell what lies beyond a run; noise doesn't.
        resolvePending(RunBound::Object, run.leftH);
        pending_ = static_cast<int32_t>(out_.runCount);
        out_.runs[out_.runCount++] = run;
        before_ = RunBound::Object;
        beforeH_ = run.rightH;
    }

    // The points [start, stop) of the run being closed, as a run of their own.
    ProfileRun pieceOf(uint32_t start, uint32_t stop) const {
        ProfileRun piece = run_;
        piece.first = start;
        piece.count = stop - start;
        piece.x0 = piece.x1 = out_.points[start].x;
        piece.innerGaps = 0;
        for (uint32_t i = start; i < stop; ++i) {
            piece.x0 = std::fmin(piece.x0, out_.points[i].x);
            piece.x1 = std::fmax(piece.x1, out_.points[i].x);
            piece.innerGaps +=
                i > start && std::fabs(out_.points[i].x - out_.points[i - 1].x) > kInnerGap ? 1 : 0;
        }
        piece.leftH = out_.points[start].h;
        piece.rightH = out_.points[stop - 1].h;
        return piece;
    }

    void resolvePending(RunBound bound, float neighbourH) {
        if (pending_ >= 0) {
            out_.runs[pending_].rightBound = bound;
            out_.runs[pending_].rightNeighbourH = neighbourH;
            pending_ = -1;
        }
    }

    const ProfileSettings& s_;
    uint8_t camera_;
    ProfileOutput& out_;
    uint32_t firstRun_;
    ProfileRun run_{};
    bool open_ = false;
    bool startsAtEdge_ = false;
    uint32_t peakSum_ = 0;
    float lastX_ = 0.0f, lastH_ = 0.0f;
    int32_t pending_ = -1;             // the last kept run, while what lies beyond it is unknown
    RunBound before_ = RunBound::Open; // what the profile showed last before the current column
    float beforeH_ = 0.0f;
    bool haveBelt_ = false, objectSinceBelt_ = false;
    float lastBeltX_ = 0.0f, lastBeltY_ = 0.0f;
};

} // namespace

void splitRunAt(const ProfilePoint* points, const ProfileRun& run, uint32_t at, ProfileRun& left,
                ProfileRun& right) {
    const auto part = [&](uint32_t start, uint32_t stop) {
        ProfileRun r = run;
        r.first = start;
        r.count = stop - start;
        r.x0 = r.x1 = points[start].x;
        r.innerGaps = 0;
        for (uint32_t i = start; i < stop; ++i) {
            r.x0 = std::fmin(r.x0, points[i].x);
            r.x1 = std::fmax(r.x1, points[i].x);
            r.innerGaps += i > start && std::fabs(points[i].x - points[i - 1].x) > 5.0f ? 1 : 0;
        }
        const bool rising = points[stop - 1].x >= points[start].x;
        r.leftH = rising ? points[start].h : points[stop - 1].h;
        r.rightH = rising ? points[stop - 1].h : points[start].h;
        return r;
    };
    const uint32_t end = run.first + run.count;
    ProfileRun a = part(run.first, at), b = part(at, end);
    if (a.x0 > b.x0) {
        std::swap(a, b);
    }
    a.leftBound = run.leftBound;
    a.leftNeighbourH = run.leftNeighbourH;
    a.rightBound = RunBound::Seam;
    a.rightNeighbourH = b.leftH;
    b.leftBound = RunBound::Seam;
    b.leftNeighbourH = a.rightH;
    b.rightBound = run.rightBound;
    b.rightNeighbourH = run.rightNeighbourH;
    left = a;
    right = b;
}

uint32_t findSeams(const ProfilePoint* p, uint32_t first, uint32_t count, uint32_t* seams,
                   uint32_t capacity) {
    constexpr float kNear = 5.0f, kFar = 15.0f; // mm: where the surface beside a groove is read
    constexpr float kShallow = 0.6f;            // mm below it: inside the groove
    constexpr float kDeep = 1.5f;               // mm: how deep two of its points must lie
    constexpr uint32_t kLeastPoints = 3;        // in the groove: a lone deep point is speckle
    constexpr float kMaxWidth = 10.0f;          // mm: wider is a trough, not a seam
    constexpr uint32_t kMinSide = 3;            // points of surface on either side
    const uint32_t end = first + count;
    if (count < 4 * kMinSide) {
        return 0;
    }
    // The points run along x in one direction; u is x in that direction.
    const float dir = p[end - 1].x >= p[first].x ? 1.0f : -1.0f;
    const auto u = [&](uint32_t j) { return dir * p[j].x; };
    uint32_t la = first, lb = first, ra = first, rb = first; // the windows [la, lb) and [ra, rb)
    double left = 0.0, right = 0.0;
    uint32_t found = 0, start = 0, bottom = 0, deepPoints = 0;
    float bottomDepth = 0.0f;
    bool inside = false;
    for (uint32_t i = first; i < end; ++i) {
        const float ui = u(i);
        for (; lb < end && u(lb) <= ui - kNear; ++lb) {
            left += p[lb].h;
        }
        for (; la < lb && u(la) < ui - kFar; ++la) {
            left -= p[la].h;
        }
        for (; rb < end && u(rb) <= ui + kFar; ++rb) {
            right += p[rb].h;
        }
        for (; ra < rb && u(ra) <= ui + kNear; ++ra) {
            right -= p[ra].h;
        }
        const uint32_t nl = lb - la, nr = rb - ra;
        const float depth = nl >= kMinSide && nr >= kMinSide
                                ? static_cast<float>(std::min(left / nl, right / nr)) - p[i].h
                                : 0.0f;
        if (depth >= kShallow) {
            if (!inside) {
                start = i;
                bottom = i;
                bottomDepth = depth;
                deepPoints = 0;
            } else if (depth > bottomDepth) {
                bottom = i;
                bottomDepth = depth;
            }
            deepPoints += depth >= kDeep ? 1 : 0;
            inside = true;
            continue;
        }
        if (inside && i - start >= kLeastPoints && deepPoints >= 2 &&
            std::fabs(u(i - 1) - u(start)) <= kMaxWidth && found < capacity) {
            seams[found++] = bottom;
        }
        inside = false;
    }
    return found;
}

void buildProfile(const float* rows, const CTriangulationTable& table, const ProfileSettings& s,
                  uint8_t camera, ProfileOutput& out, const uint8_t* peaks) {
    RunBuilder builder(s, camera, out);
    const int32_t c0 = s.region.x, c1 = s.region.x + s.region.width;
    const float offset = static_cast<float>(s.heightOffset), factor = static_cast<float>(s.heightFactor);
    const float floorLevel = static_cast<float>(s.objectFloor);
    for (int32_t col = c0; col < c1; ++col) {
        const float row = rows[col];
        TablePoint t;
        if (row < 0.0f || !table.lookup(col, row, t)) {
            continue; // no line here: neither object nor belt
        }
        const float h = (t.z + offset) * factor;
        if (h >= floorLevel) {
            builder.add(col, ProfilePoint{t.x, t.y, h}, peaks != nullptr ? peaks[col] : uint8_t{0});
        } else {
            builder.belt(ProfilePoint{t.x, t.y, h},
                         peaks != nullptr ? peaks[col] : uint8_t{0}); // the belt shows between objects
        }
    }
    // A run still open at the last column of the region reaches the edge of the view only if
    // that column itself belongs to it.
    const bool lastIsObject = [&] {
        TablePoint t;
        const float row = rows[c1 - 1];
        return row >= 0.0f && table.lookup(c1 - 1, row, t) && (t.z + offset) * factor >= floorLevel;
    }();
    builder.finish(lastIsObject);
}

} // namespace lpmc
