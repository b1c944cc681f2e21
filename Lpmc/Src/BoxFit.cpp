#include "BoxFit.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace lpmc {
namespace {

// Runs of at most this many points may be a flash of noise or speckle rather than surface.
constexpr uint32_t kShortRun = 8;
// mm across the belt by which a neighbouring profile's run may miss a short run and still hold it.
constexpr float kNeighbourReach = 3.0f;
// A first profile this far below the top (a fraction of it, or three height bands, whichever is
// more) lies on a rounded or sloping front rather than on the top behind a vertical face.
constexpr double kFrontDropFraction = 0.1;

float meanEndHeight(const ProfileRun& run) {
    return 0.5f * (run.leftH + run.rightH);
}

} // namespace

bool CBoxFitter::configure(const FitSettings& settings) {
    s_ = settings;
    s_.hullCapacity = std::max<uint32_t>(s_.hullCapacity, 64);
    candidates_.reset(new (std::nothrow) Point2[s_.hullCapacity]);
    hull_.reset(new (std::nothrow) Point2[s_.hullCapacity + 1]);
    edges_.reset(new (std::nothrow) EdgeSample[s_.edgeCapacity]);
    const size_t cells = static_cast<size_t>(s_.gridWidth) * static_cast<size_t>(s_.gridHeight);
    gridSum_.reset(new (std::nothrow) float[cells]);
    gridCount_.reset(new (std::nothrow) uint32_t[cells]);
    return candidates_ && hull_ && edges_ && gridSum_ && gridCount_ && heights_.configure(s_.maxHeight);
}

// A short run of the object that neither the profile before nor the one after continues, at its
// place across the belt and its height: a surface is seen in several profiles, a flash of speckle
// or noise beside a bright line in one. It would widen the footprint, so it is left out.
bool CBoxFitter::isStray(const CFrameStore& store, const FrameSlot& slot, const ProfileRun& run) const {
    if (run.count > kShortRun) {
        return false;
    }
    const float h = meanEndHeight(run), step = static_cast<float>(s_.heightStep);
    for (const uint64_t seq : {slot.info.seq - 1, slot.info.seq + 1}) {
        const FrameSlot* near = store.find(seq);
        for (uint32_t r = 0; near != nullptr && r < near->runCount; ++r) {
            const ProfileRun& other = near->runs[r];
            if (other.object == run.object && other.x0 <= run.x1 + kNeighbourReach &&
                other.x1 + kNeighbourReach >= run.x0 && std::fabs(meanEndHeight(other) - h) <= step) {
                return false;
            }
        }
    }
    return true;
}

Point2 CBoxFitter::reported(const ProfilePoint& p, const FrameSlot& slot, const FrameSlot& first,
                            uint8_t camera) {
    const Travel& t = slot.info.travel[camera];
    const Travel& ref = first.info.travel[0];
    return {p.x - (t.x - ref.x), p.y - (t.y - ref.y)};
}

// The hull of what was gathered replaces it when the buffer is full: memory stays bounded and
// the final hull is the same.
void CBoxFitter::compact() {
    candidateCount_ = convexHull(candidates_.get(), candidateCount_, hull_.get());
    std::copy(hull_.get(), hull_.get() + candidateCount_, candidates_.get());
}

void CBoxFitter::addCandidate(const Point2& p) {
    if (candidateCount_ == s_.hullCapacity) {
        compact();
    }
    candidates_[candidateCount_++] = p;
}

void CBoxFitter::addEdge(const Point2& in, const Point2& out) {
    if (edgeCount_ < s_.edgeCapacity) {
        edges_[edgeCount_++] = EdgeSample{in, out};
    }
}

// Each side of the rectangle moves to the middle between its outermost sample (the hull's
// support) and the nearest position known to be off the object. Where a side is crossed by
// many profiles the two nearly meet; where all samples of a side share one phase (a side along
// the columns or along the profiles) the edge lands half a spacing beyond the samples.
Rect2 CBoxFitter::refineEdges(const Rect2& rect) const {
    const Point2 normals[4] = {
        rect.axisU, {-rect.axisU.x, -rect.axisU.y}, rect.axisV, {-rect.axisV.x, -rect.axisV.y}};
    double support[4], edge[4];
    for (int k = 0; k < 4; ++k) {
        const Point2& n = normals[k];
        support[k] = -1e300;
        for (size_t i = 0; i < candidateCount_; ++i) { // the hull, after fit() reduced it
            support[k] = std::fmax(support[k], hull_[i].x * n.x + hull_[i].y * n.y);
        }
    }
    double spacing = 0.0;
    for (size_t i = 0; i < edgeCount_; ++i) {
        spacing = std::fmax(spacing,
                            std::hypot(edges_[i].out.x - edges_[i].in.x, edges_[i].out.y - edges_[i].in.y));
    }
    spacing = std::fmin(spacing, 20.0);
    for (int k = 0; k < 4; ++k) {
        const Point2& n = normals[k];
        const Point2 t{-n.y, n.x};
        // The side's extent along itself, from the opposite pair of supports.
        const int side = k < 2 ? 2 : 0;
        const Point2& ts = normals[side];
        const double tHi = support[side], tLo = -support[side + 1];
        const double sign = (t.x * ts.x + t.y * ts.y) >= 0.0 ? 1.0 : -1.0;
        const double margin = 2.0 * spacing + 0.5;
        double upper = 1e300;
        for (size_t i = 0; i < edgeCount_; ++i) {
            const EdgeSample& e = edges_[i];
            const double pin = e.in.x * n.x + e.in.y * n.y, pout = e.out.x * n.x + e.out.y * n.y;
            const double len = std::hypot(e.out.x - e.in.x, e.out.y - e.in.y);
            if (pin < support[k] - spacing - 1.0 || pout - pin < 0.05 * len || pout < support[k] - 0.5) {
                continue; // not at this side, or pointing along it, or off the object inside it
            }
            const double along = sign * (e.in.x * t.x + e.in.y * t.y);
            if (along < tLo + margin || along > tHi - margin) {
                continue; // near a corner the next sample may leave through the other side
            }
            upper = std::fmin(upper, pout);
        }
        edge[k] = upper < 1e299 ? 0.5 * (support[k] + std::fmax(upper, support[k])) : support[k];
    }
    Rect2 r = rect;
    r.extentU = edge[0] + edge[1];
    r.extentV = edge[2] + edge[3];
    const double cu = 0.5 * (edge[0] - edge[1]), cv = 0.5 * (edge[2] - edge[3]);
    r.centre = {cu * rect.axisU.x + cv * rect.axisV.x, cu * rect.axisU.y + cv * rect.axisV.y};
    return r;
}

void CBoxFitter::fit(const TrackedObject& object, const CFrameStore& store, FittedBox& out) {
    out = FittedBox{};
    out.object = object;
    candidateCount_ = 0;
    edgeCount_ = 0;
    heights_.clear();
    const FrameSlot* first = store.find(object.firstSeq);
    const FrameSlot* last = store.find(object.lastSeq);
    if (first == nullptr || last == nullptr) {
        return;
    }
    // Mean belt step between the object's frames: the gap before its first profile and after
    // its last is half of it on average.
    Point2 step{first->info.step.x, first->info.step.y};
    if (object.lastSeq > object.firstSeq) {
        const double frames = static_cast<double>(object.lastSeq - object.firstSeq);
        step = {(last->info.travel[0].x - first->info.travel[0].x) / frames,
                (last->info.travel[0].y - first->info.travel[0].y) / frames};
    }
    double firstSum = 0.0;
    uint32_t firstCount = 0;
    for (uint64_t seq = object.firstSeq; seq <= object.lastSeq; ++seq) {
        const FrameSlot* slot = store.find(seq);
        if (slot == nullptr) {
            continue;
        }
        const bool isFirst = seq == object.firstSeq, isLast = seq == object.lastSeq;
        for (uint32_t r = 0; r < slot->runCount; ++r) {
            const ProfileRun& run = slot->runs[r];
            if (run.object != object.id || isStray(store, *slot, run)) {
                continue;
            }
            const ProfilePoint* pts = slot->points + run.first;
            for (uint32_t i = 0; i < run.count; ++i) {
                heights_.add(pts[i].h);
                firstSum += isFirst ? pts[i].h : 0.0;
            }
            firstCount += isFirst ? run.count : 0;
            // The ends of a run bound the footprint; a run's inner points lie between them. The
            // next column beyond each end, and the profiles before the first and after the
            // last, are off the object.
            const Point2 a = reported(pts[0], *slot, *first, run.camera);
            const Point2 b = reported(pts[run.count - 1], *slot, *first, run.camera);
            addCandidate(a);
            addCandidate(b);
            if (run.count >= 2) {
                const double k = 1.0 / (run.count - 1);
                const Point2 pitch{(b.x - a.x) * k, (b.y - a.y) * k};
                addEdge(a, {a.x - pitch.x, a.y - pitch.y});
                addEdge(b, {b.x + pitch.x, b.y + pitch.y});
            }
            // Every point of the first and the last profile: where the front or the rear side
            // runs along the profiles, its middle (away from the corners) places it.
            if (isFirst || isLast) {
                for (uint32_t i = 0; i < run.count; ++i) {
                    const Point2 p = reported(pts[i], *slot, *first, run.camera);
                    if (isFirst) {
                        addEdge(p, {p.x + step.x, p.y + step.y});
                    }
                    if (isLast) {
                        addEdge(p, {p.x - step.x, p.y - step.y});
                    }
                }
            }
        }
    }
    const size_t hullCount = convexHull(candidates_.get(), candidateCount_, hull_.get());
    candidateCount_ = hullCount;
    Rect2 rect = minAreaRect(hull_.get(), hullCount);
    if (s_.edgeCompensation && hullCount >= 3) {
        rect = refineEdges(rect);
    }
    // The long side becomes axis1, pointing towards +y (or +x when it runs across the belt).
    Point2 long1 = rect.axisU;
    double length = rect.extentU, width = rect.extentV;
    if (rect.extentV > rect.extentU) {
        long1 = rect.axisV;
        std::swap(length, width);
    }
    if (long1.y < 0.0 || (long1.y == 0.0 && long1.x < 0.0)) {
        long1 = {-long1.x, -long1.y};
    }
    const double height = heights_.topHeight(s_.heightQuantile, s_.heightBand);
    // The camera saw the object's first lit surface only once it stood well above the belt and
    // below the top: the front curved away out of sight (a lying cylinder, a sloping sack).
    const double frontDrop = std::max(3.0 * s_.heightBand, kFrontDropFraction * height);
    out.object.frontUnseen =
        object.frontHidden && firstCount > 0 && firstSum / firstCount < height - frontDrop;
    LpmcBox& box = out.box;
    box.center[0] = static_cast<float>(rect.centre.x);
    box.center[1] = static_cast<float>(rect.centre.y);
    box.center[2] = static_cast<float>(0.5 * height);
    box.axis1[0] = static_cast<float>(long1.x);
    box.axis1[1] = static_cast<float>(long1.y);
    box.axis0[0] = static_cast<float>(long1.y);
    box.axis0[1] = static_cast<float>(-long1.x);
    box.axis2[2] = 1.0f;
    box.length = static_cast<float>(length);
    box.width = static_cast<float>(width);
    box.height = static_cast<float>(height);
    box.objEnterTime = first->info.timestamp;
    box.objLeaveTime = last->info.timestamp;
    out.footprintArea = length * width;
    double volume = length * width * height;
    if (s_.finiteVolume && length > 0.0 && width > 0.0) {
        volume =
            integratedVolume(object, store, *first, rect.centre, long1, {long1.y, -long1.x}, length, width);
    }
    box.volume = static_cast<float>(volume);
}

// The footprint rectangle divided into at most gridWidth x gridHeight cells; each cell holds
// the mean height of its points, an empty cell the value of the last filled cell before it
// along the length.
double CBoxFitter::integratedVolume(const TrackedObject& object, const CFrameStore& store,
                                    const FrameSlot& first, const Point2& centre, const Point2& u,
                                    const Point2& v, double lengthU, double lengthV) {
    const double cell = std::max({lengthU / s_.gridHeight, lengthV / s_.gridWidth, 0.5});
    const int32_t nu = std::clamp(static_cast<int32_t>(std::ceil(lengthU / cell)), 1, s_.gridHeight);
    const int32_t nv = std::clamp(static_cast<int32_t>(std::ceil(lengthV / cell)), 1, s_.gridWidth);
    const size_t cells = static_cast<size_t>(nu) * static_cast<size_t>(nv);
    std::fill(gridSum_.get(), gridSum_.get() + cells, 0.0f);
    std::fill(gridCount_.get(), gridCount_.get() + cells, 0U);
    const double cu = lengthU / nu, cv = lengthV / nv;
    for (uint64_t seq = object.firstSeq; seq <= object.lastSeq; ++seq) {
        const FrameSlot* slot = store.find(seq);
        if (slot == nullptr) {
            continue;
        }
        for (uint32_t r = 0; r < slot->runCount; ++r) {
            const ProfileRun& run = slot->runs[r];
            if (run.object != object.id) {
                continue;
            }
            for (uint32_t i = 0; i < run.count; ++i) {
                const ProfilePoint& p = slot->points[run.first + i];
                const Point2 q = reported(p, *slot, first, run.camera);
                const double du = (q.x - centre.x) * u.x + (q.y - centre.y) * u.y + 0.5 * lengthU;
                const double dv = (q.x - centre.x) * v.x + (q.y - centre.y) * v.y + 0.5 * lengthV;
                const int32_t iu = std::clamp(static_cast<int32_t>(du / cu), 0, nu - 1);
                const int32_t iv = std::clamp(static_cast<int32_t>(dv / cv), 0, nv - 1);
                const size_t k = static_cast<size_t>(iv) * static_cast<size_t>(nu) + static_cast<size_t>(iu);
                gridSum_[k] += p.h;
                ++gridCount_[k];
            }
        }
    }
    double sum = 0.0;
    for (int32_t iv = 0; iv < nv; ++iv) {
        float fill = 0.0f;
        for (int32_t iu = 0; iu < nu; ++iu) {
            const size_t k = static_cast<size_t>(iv) * static_cast<size_t>(nu) + static_cast<size_t>(iu);
            if (gridCount_[k] > 0) {
                fill = gridSum_[k] / static_cast<float>(gridCount_[k]);
            }
            sum += fill;
        }
    }
    return sum * cu * cv;
}

} // namespace lpmc
