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

    void add(int32_t col, const ProfilePoint& p) {
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
            run_.leftBound = before_;
            run_.leftNeighbourH = beforeH_;
            run_.leftH = p.h;
        } else if (std::fabs(p.x - lastX_) > kInnerGap) {
            ++run_.innerGaps;
        }
        out_.points[out_.pointCount++] = p;
        ++run_.count;
        run_.x0 = std::fmin(run_.x0, p.x);
        run_.x1 = std::fmax(run_.x1, p.x);
        lastX_ = p.x;
        lastH_ = p.h;
    }

    // A belt point: it ends any run, and a long stretch without any line before it is a hole.
    void belt(const ProfilePoint& p) {
        close(false);
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
        // Only kept runs and the belt tell what lies beyond a run; noise doesn't.
        resolvePending(RunBound::Object, run_.leftH);
        pending_ = static_cast<int32_t>(out_.runCount);
        out_.runs[out_.runCount++] = run_;
        before_ = RunBound::Object;
        beforeH_ = run_.rightH;
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
    float lastX_ = 0.0f, lastH_ = 0.0f;
    int32_t pending_ = -1;             // the last kept run, while what lies beyond it is unknown
    RunBound before_ = RunBound::Open; // what the profile showed last before the current column
    float beforeH_ = 0.0f;
    bool haveBelt_ = false, objectSinceBelt_ = false;
    float lastBeltX_ = 0.0f, lastBeltY_ = 0.0f;
};

} // namespace

void buildProfile(const float* rows, const CTriangulationTable& table, const ProfileSettings& s,
                  uint8_t camera, ProfileOutput& out) {
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
            builder.add(col, ProfilePoint{t.x, t.y, h});
        } else {
            builder.belt(ProfilePoint{t.x, t.y, h}); // the belt shows between objects
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
