#include "BoxFit.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "MinAreaRect.h"

namespace lpmc {

bool CBoxFitter::configure(const FitSettings& settings) {
    s_ = settings;
    s_.hullCapacity = std::max<uint32_t>(s_.hullCapacity, 64);
    candidates_.reset(new (std::nothrow) Point2[s_.hullCapacity]);
    hull_.reset(new (std::nothrow) Point2[s_.hullCapacity + 1]);
    const size_t cells = static_cast<size_t>(s_.gridWidth) * static_cast<size_t>(s_.gridHeight);
    gridSum_.reset(new (std::nothrow) float[cells]);
    gridCount_.reset(new (std::nothrow) uint32_t[cells]);
    return candidates_ && hull_ && gridSum_ && gridCount_ && heights_.configure(s_.maxHeight);
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

void CBoxFitter::fit(const TrackedObject& object, const CFrameStore& store, FittedBox& out) {
    out = FittedBox{};
    out.object = object;
    candidateCount_ = 0;
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
    const double edge = s_.edgeCompensation ? 0.5 : 0.0;
    for (uint64_t seq = object.firstSeq; seq <= object.lastSeq; ++seq) {
        const FrameSlot* slot = store.find(seq);
        if (slot == nullptr) {
            continue;
        }
        const bool isFirst = seq == object.firstSeq, isLast = seq == object.lastSeq;
        for (uint32_t r = 0; r < slot->runCount; ++r) {
            const ProfileRun& run = slot->runs[r];
            if (run.object != object.id) {
                continue;
            }
            const ProfilePoint* pts = slot->points + run.first;
            for (uint32_t i = 0; i < run.count; ++i) {
                heights_.add(pts[i].h);
            }
            // The ends of a run bound the footprint; a run's inner points lie between them.
            Point2 a = reported(pts[0], *slot, *first, run.camera);
            Point2 b = reported(pts[run.count - 1], *slot, *first, run.camera);
            if (run.count >= 2 && edge > 0.0) {
                const double dx = b.x - a.x, dy = b.y - a.y;
                const double len = std::hypot(dx, dy);
                if (len > 0.0) {
                    const double pitch = len / (run.count - 1);
                    const double k = edge * pitch / len;
                    a = {a.x - k * dx, a.y - k * dy};
                    b = {b.x + k * dx, b.y + k * dy};
                }
            }
            addCandidate(a);
            addCandidate(b);
            if (isFirst && edge > 0.0) {
                addCandidate({a.x + edge * step.x, a.y + edge * step.y});
                addCandidate({b.x + edge * step.x, b.y + edge * step.y});
            }
            if (isLast && edge > 0.0) {
                addCandidate({a.x - edge * step.x, a.y - edge * step.y});
                addCandidate({b.x - edge * step.x, b.y - edge * step.y});
            }
        }
    }
    const size_t hullCount = convexHull(candidates_.get(), candidateCount_, hull_.get());
    const Rect2 rect = minAreaRect(hull_.get(), hullCount);
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
