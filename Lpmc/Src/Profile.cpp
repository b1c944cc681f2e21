#include "Profile.h"

#include <cmath>

namespace lpmc {
namespace {

class RunBuilder {
public:
    RunBuilder(const ProfileSettings& s, uint8_t camera, ProfileOutput& out)
        : s_(s), camera_(camera), out_(out) {}

    void add(int32_t col, const ProfilePoint& p) {
        // A surface is continuous from column to column; noise (a column without a line shows its
        // brightest noise pixel, at any row) is not.
        if (open_ && (std::fabs(p.x - lastX_) > s_.maxGap || std::fabs(p.h - lastH_) > s_.maxHeightStep)) {
            close(false);
        }
        if (!open_) {
            open_ = true;
            run_ = ProfileRun{};
            run_.first = out_.pointCount;
            run_.x0 = run_.x1 = p.x;
            run_.camera = camera_;
            run_.touchesEdge = col == s_.region.x;
        }
        out_.points[out_.pointCount++] = p;
        ++run_.count;
        run_.x0 = std::fmin(run_.x0, p.x);
        run_.x1 = std::fmax(run_.x1, p.x);
        lastX_ = p.x;
        lastH_ = p.h;
    }

    void close(bool atEdge) {
        if (!open_) {
            return;
        }
        open_ = false;
        run_.touchesEdge = run_.touchesEdge || atEdge;
        if (static_cast<int32_t>(run_.count) < s_.minRunPoints || run_.x1 - run_.x0 < s_.minRunLength ||
            out_.runCount >= out_.runCapacity) {
            out_.pointCount = run_.first; // noise, or no room: its points go too
            return;
        }
        out_.runs[out_.runCount++] = run_;
    }

private:
    const ProfileSettings& s_;
    uint8_t camera_;
    ProfileOutput& out_;
    ProfileRun run_{};
    bool open_ = false;
    float lastX_ = 0.0f, lastH_ = 0.0f;
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
            builder.close(false); // the belt shows between objects
        }
    }
    // A run still open at the last column of the region reaches the edge of the view only if
    // that column itself belongs to it.
    const bool lastIsObject = [&] {
        TablePoint t;
        const float row = rows[c1 - 1];
        return row >= 0.0f && table.lookup(c1 - 1, row, t) && (t.z + offset) * factor >= floorLevel;
    }();
    builder.close(lastIsObject);
}

} // namespace lpmc
