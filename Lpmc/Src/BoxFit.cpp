#include "BoxFit.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <new>

#include "LightWindow.h"

namespace lpmc {
namespace {

// Runs of at most this many points may be a flash of noise or speckle rather than surface.
constexpr uint32_t kShortRun = 8;
// mm across the belt by which a neighbouring profile's run may miss a short run and still hold it.
constexpr float kNeighbourReach = 3.0f;
// A first profile this far below the top (a fraction of it, or three height bands, whichever is
// more) lies on a rounded or sloping front rather than on the top behind a vertical face.
constexpr double kFrontDropFraction = 0.1;
// The front is placed from the occlusion only where it runs straight across the belt: its two
// ends lie within this many mm of each other along the belt.
constexpr double kFrontSquareness = 0.25;
// mm: the least bound on the length's error that counts as a measurement, whatever the spacing.
constexpr double kLeastLengthLimit = 2.5;
// Two profiles on one vertical face lie this close along the belt (as a fraction of the step,
// and at most this many mm), and the outer one at least this much lower.
constexpr double kFaceAlongFraction = 0.2;
constexpr double kFaceAlongMax = 0.5;
constexpr double kFaceDrop = 1.0; // mm
// A line shows where its peak passes the threshold, and beside the belt's line where it outshines
// it; by this margin, since speckle moves single peaks.
constexpr double kShowMargin = 1.3;
constexpr double kMostShowingShare = 0.97;
// Added to twice the measured share's standard error: what the model of the window leaves out
// (ambient light in the peaks, the sheet's shape).
constexpr double kShareFloor = 0.03;
// mm added to the spread of an end placed from the window.
constexpr double kWindowPlacementFloor = 0.1;
// The share of the window that holds most of the light: an end left unplaced may lie this far
// inside its boundary profile.
constexpr double kWindowBulk = 0.9;

double dot(const Point2& a, const Point2& b) {
    return a.x * b.x + a.y * b.y;
}

float meanEndHeight(const ProfileRun& run) {
    return 0.5f * (run.leftH + run.rightH);
}

// Board X extent of an object's runs in one profile; false when it has none there.
bool objectSpan(int32_t object, const FrameSlot& slot, float& x0, float& x1) {
    x0 = 1e30f;
    x1 = -1e30f;
    for (uint32_t r = 0; r < slot.runCount; ++r) {
        if (slot.runs[r].object == object) {
            x0 = std::fmin(x0, slot.runs[r].x0);
            x1 = std::fmax(x1, slot.runs[r].x1);
        }
    }
    return x0 <= x1;
}

} // namespace

bool CBoxFitter::configure(const FitSettings& settings) {
    s_ = settings;
    s_.hullCapacity = std::max<uint32_t>(s_.hullCapacity, 64);
    candidates_.reset(new (std::nothrow) Point2[s_.hullCapacity]);
    hull_.reset(new (std::nothrow) Point2[s_.hullCapacity + 1]);
    edges_.reset(new (std::nothrow) EdgeSample[s_.edgeCapacity]);
    const size_t cells = static_cast<size_t>(s_.gridWidth) * static_cast<size_t>(s_.gridHeight);
    // Zeroed now, so that the first package's fit finds its pages mapped.
    gridSum_.reset(new (std::nothrow) float[cells]());
    gridCount_.reset(new (std::nothrow) uint32_t[cells]());
    return candidates_ && hull_ && edges_ && gridSum_ && gridCount_ && heights_.configure(s_.maxHeight) &&
           endShare_.configure(s_.pointsPerFrame);
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

bool CBoxFitter::profileMean(const TrackedObject& object, const CFrameStore& store, const FrameSlot& first,
                             uint64_t seq, const Point2& travel, double& along, double& height) const {
    const FrameSlot* slot = store.find(seq);
    double sumAlong = 0.0, sumHeight = 0.0;
    uint32_t n = 0;
    for (uint32_t r = 0; slot != nullptr && r < slot->runCount; ++r) {
        const ProfileRun& run = slot->runs[r];
        if (run.object != object.id || isStray(store, *slot, run)) {
            continue;
        }
        for (uint32_t i = 0; i < run.count; ++i) {
            const ProfilePoint& p = slot->points[run.first + i];
            sumAlong += dot(reported(p, *slot, first, run.camera), travel);
            sumHeight += p.h;
            ++n;
        }
    }
    if (n == 0) {
        return false;
    }
    along = sumAlong / n;
    height = sumHeight / n;
    return true;
}

// The end profile lies on a vertical face that the tilted laser plane lit: it stands where the
// profile next to it stood along the belt, only lower. Then that face is the side itself, and no
// sample beyond it is needed.
bool CBoxFitter::endsOnFace(const TrackedObject& object, const CFrameStore& store, const FrameSlot& first,
                            uint64_t end, uint64_t inner, const Point2& step) const {
    const double stepLength = std::hypot(step.x, step.y);
    if (!s_.facesFromTilt || object.lastSeq == object.firstSeq || stepLength <= 0.0) {
        return false;
    }
    const Point2 travel{step.x / stepLength, step.y / stepLength};
    double endAlong = 0.0, endHeight = 0.0, innerAlong = 0.0, innerHeight = 0.0;
    if (!profileMean(object, store, first, end, travel, endAlong, endHeight) ||
        !profileMean(object, store, first, inner, travel, innerAlong, innerHeight)) {
        return false;
    }
    const double tolerance = std::min(kFaceAlongMax, kFaceAlongFraction * stepLength);
    return std::fabs(endAlong - innerAlong) <= tolerance && endHeight < innerHeight - kFaceDrop;
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
Rect2 CBoxFitter::refineEdges(const Rect2& rect) {
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
            if (pin < support[k] - spacing - 1.0 || pout < pin || pout < support[k] - 0.5) {
                continue; // not at this side, or pointing into the object, or off it inside the side
            }
            const double along = sign * (e.in.x * t.x + e.in.y * t.y);
            if (along < tLo + margin || along > tHi - margin) {
                continue; // near a corner the next sample may leave through the other side
            }
            upper = std::fmin(upper, pout);
        }
        edge[k] = upper < 1e299 ? 0.5 * (support[k] + std::fmax(upper, support[k])) : support[k];
        // How far the side may lie from where it is placed, either way.
        sideSpread_[k] = upper < 1e299 ? 0.5 * std::fmax(upper - support[k], 0.0) : 0.0;
    }
    Rect2 r = rect;
    r.extentU = edge[0] + edge[1];
    r.extentV = edge[2] + edge[3];
    const double cu = 0.5 * (edge[0] - edge[1]), cv = 0.5 * (edge[2] - edge[3]);
    r.centre = {cu * rect.axisU.x + cv * rect.axisV.x, cu * rect.axisU.y + cv * rect.axisV.y};
    return r;
}

// How far the front lies ahead of the first profile. Between the first profile and the one
// before, the front crossed the line: somewhere in [0, step) ahead of it. And the camera lost the
// line where the object begins in the frame after the belt last showed there: then the front's
// top edge (at the first profile's height) had just passed the camera's ray to the line, a known
// distance before the line. Both bounds together are often much narrower than one step; where
// they don't meet (the line was lost for another reason) nothing is placed.
bool CBoxFitter::frontAhead(const TrackedObject& o, const CFrameStore& store, const FirstProfile& front,
                            double& offset, double& spread) const {
    if (o.beltSeenBefore == 0 || o.beltSeenBefore > o.firstSeq || o.firstSeq == 0) {
        return false;
    }
    const uint64_t lastBelt = o.beltSeenBefore - 1;
    const FrameSlot* m = store.find(o.firstSeq);
    const FrameSlot* before = store.find(o.firstSeq - 1);
    const FrameSlot* k0 = store.find(lastBelt);
    const FrameSlot* k1 = store.find(lastBelt + 1);
    if (m == nullptr || before == nullptr || k0 == nullptr || k1 == nullptr) {
        return false;
    }
    const Point2& u = front.travel;
    auto along = [&](const FrameSlot* f) { return dot({f->info.travel[0].x, f->info.travel[0].y}, u); };
    const double toFirst = along(m) - along(k1), toFirstBefore = along(m) - along(k0);
    const double step = along(m) - along(before);
    // The camera's ray to the line on the belt, where it passes the front's top edge.
    const Vec3& c = s_.cameraCentre;
    const double topZ = front.height / s_.heightFactor + s_.beltZ;
    const double cameraAlong = dot({c.x - front.board.x, c.y - front.board.y}, u);
    if (c.z <= topZ || cameraAlong >= 0.0) {
        return false; // the camera doesn't look at the front from above
    }
    const double hideDistance = -cameraAlong * (topZ - s_.beltZ) / (c.z - s_.beltZ);
    const double lo = std::max(0.0, toFirst - hideDistance);
    const double hi = std::min(step, toFirstBefore - hideDistance);
    if (hi - lo <= 0.0) {
        return false;
    }
    offset = 0.5 * (lo + hi);
    spread = 0.5 * (hi - lo);
    return true;
}

// Moves the side facing the travel to `offset` ahead of the first profile, where the side runs
// straight across the belt; the rear side stays.
Rect2 CBoxFitter::placeFront(const Rect2& rect, const FirstProfile& front, double offset,
                             bool& placed) const {
    placed = false;
    const Point2& u = front.travel;
    const bool alongU = std::fabs(dot(rect.axisU, u)) >= std::fabs(dot(rect.axisV, u));
    const Point2 axis = alongU ? rect.axisU : rect.axisV;
    const double extent = alongU ? rect.extentU : rect.extentV, across = alongU ? rect.extentV : rect.extentU;
    const double cosine = dot(axis, u), sine = std::sqrt(std::max(0.0, 1.0 - cosine * cosine));
    if (across * sine > kFrontSquareness) {
        return rect;
    }
    const double sign = cosine >= 0.0 ? 1.0 : -1.0;
    const double centreAlong = sign * dot(rect.centre, axis);
    const double rear = centreAlong - 0.5 * extent;
    const double newFront = dot(front.reported, {sign * axis.x, sign * axis.y}) + offset;
    if (newFront <= rear) {
        return rect;
    }
    Rect2 r = rect;
    const double shift = 0.5 * (newFront + rear) - centreAlong;
    r.centre = {rect.centre.x + sign * axis.x * shift, rect.centre.y + sign * axis.y * shift};
    (alongU ? r.extentU : r.extentV) = newFront - rear;
    placed = true;
    return r;
}

// The boundary profile shows the top's line at `share` of its full strength: the end lies where
// that share of the window still fell on the top, t = offsetOfShare(share) outward of the
// profile. The profile beyond it showed nothing of the top, so there the share was below what
// shows: t < step + offsetOfShare(shows). Both together bound t; its middle places the end.
bool CBoxFitter::endFromWindow(const TrackedObject& object, const CFrameStore& store, uint64_t boundary,
                               uint64_t inner, uint64_t outer, bool beltCanShow, double stepLength,
                               double height, double& offset, double& spread) {
    const FrameSlot* b = store.find(boundary);
    const FrameSlot* in = store.find(inner);
    const FrameSlot* beyond = store.find(outer);
    EndShare e;
    if (b == nullptr || in == nullptr ||
        !endShare_.measure(object.id, *b, *in, height, 2.0 * s_.heightBand, e) || e.innerPeak <= 0.0) {
        return false;
    }
    const CLightWindow window(s_.sheetFwhm, s_.exposureShare * stepLength);
    // Beyond the end the belt shows unless something hides it from the camera there (the object
    // itself on the side the camera looks from, or a tall neighbour).
    float x0 = 0.0f, x1 = 0.0f;
    const bool spanned = objectSpan(object.id, *in, x0, x1);
    if (beltCanShow && beyond != nullptr && spanned && CEndShare::beltBinsShown(*beyond, x0, x1) == 0) {
        beltCanShow = false;
    }
    double shows = kShowMargin * s_.lineThreshold / e.innerPeak;
    if (beltCanShow) {
        const double belt =
            beyond != nullptr && beyond->info.beltPeak > 0.0f ? kShowMargin * beyond->info.beltPeak : 1e9;
        shows = std::max(shows, belt / (belt + e.innerPeak));
    }
    shows = std::min(shows, kMostShowingShare);
    const double margin = 2.0 * e.spread + kShareFloor;
    double lo = e.share - margin <= 0.0 ? -window.reach() : window.offsetOfShare(e.share - margin);
    double hi = std::min(e.share + margin >= 1.0 ? 1e300 : window.offsetOfShare(e.share + margin),
                         stepLength + window.offsetOfShare(shows));
    // Where the belt shows beyond the end, the profile beyond shows it dimmed by the share of its
    // light that still fell on the top: that places the end from the outer profile too.
    const uint64_t further = outer > boundary ? outer + 1 : outer - 1;
    const FrameSlot* clear = store.find(further);
    EndShare o;
    if (beltCanShow && beyond != nullptr && clear != nullptr && spanned &&
        CEndShare::measureBeyond(*beyond, *clear, x0, x1, o)) {
        const double m = 2.0 * o.spread + kShareFloor;
        if (o.share - m > 0.0) {
            lo = std::max(lo, stepLength + window.offsetOfShare(o.share - m));
        }
        if (o.share + m < 1.0) {
            hi = std::min(hi, stepLength + window.offsetOfShare(o.share + m));
        }
    }
    if (!(hi >= lo)) {
        return false;
    }
    offset = 0.5 * (lo + hi);
    spread = 0.5 * (hi - lo) + kWindowPlacementFloor;
    return true;
}

// With the light window known and the front and rear running straight across the belt, each is
// placed from its boundary profile's share of the light. An end that can't be placed so keeps its
// place, and its spread grows by the window's bulk: its boundary profile may lie beyond it.
Rect2 CBoxFitter::placeEndsFromWindow(const Rect2& rect, const TrackedObject& object,
                                      const CFrameStore& store, const Point2& step, double height,
                                      bool frontSeen, double& frontSpread, double& rearSpread) {
    frontSpread = rearSpread = -1.0;
    const double stepLength = std::hypot(step.x, step.y);
    const Point2 u{step.x / stepLength, step.y / stepLength};
    const bool alongU = std::fabs(dot(rect.axisU, u)) >= std::fabs(dot(rect.axisV, u));
    const Point2 axisNear = alongU ? rect.axisU : rect.axisV;
    const double extent = alongU ? rect.extentU : rect.extentV, across = alongU ? rect.extentV : rect.extentU;
    const double cosine = dot(axisNear, u), sine = std::sqrt(std::max(0.0, 1.0 - cosine * cosine));
    const FrameSlot* first = store.find(object.firstSeq);
    if (across * sine > kFrontSquareness || object.lastSeq < object.firstSeq + 2 || first == nullptr) {
        return rect;
    }
    const Point2 axis = cosine >= 0.0 ? axisNear : Point2{-axisNear.x, -axisNear.y}; // along the travel
    const int frontSide = alongU ? (cosine >= 0.0 ? 0 : 1) : (cosine >= 0.0 ? 2 : 3);
    const int rearSide = frontSide ^ 1;
    const double centreAlong = dot(rect.centre, axis);
    double front = centreAlong + 0.5 * extent, rear = centreAlong - 0.5 * extent;
    // The camera looks at the line from upstream or downstream: on the side it looks from, the
    // object hides the belt at the line while its top edge is within hideDistance of it.
    const Vec3& c = s_.cameraCentre;
    const double cameraAlong = dot({c.x, c.y}, u);
    const double hideDistance = std::fabs(cameraAlong) * height / std::max(1.0, c.z - s_.beltZ);
    const CLightWindow window(s_.sheetFwhm, s_.exposureShare * stepLength);
    const bool hidesNear = hideDistance > window.reach() + stepLength;
    const double bulk = window.offsetOfShare(kWindowBulk);
    double along = 0.0, h = 0.0, offset = 0.0, spread = 0.0;
    if (frontSeen && profileMean(object, store, *first, object.firstSeq, axis, along, h) &&
        endFromWindow(object, store, object.firstSeq, object.firstSeq + 1, object.firstSeq - 1,
                      !(hidesNear && cameraAlong < 0.0), stepLength, height, offset, spread)) {
        front = along + offset;
        frontSpread = spread;
    } else {
        frontSpread = sideSpread_[frontSide] + bulk;
    }
    if (profileMean(object, store, *first, object.lastSeq, axis, along, h) &&
        endFromWindow(object, store, object.lastSeq, object.lastSeq - 1, object.lastSeq + 1,
                      !(hidesNear && cameraAlong > 0.0), stepLength, height, offset, spread)) {
        rear = along - offset;
        rearSpread = spread;
    } else {
        rearSpread = sideSpread_[rearSide] + bulk;
    }
    if (front <= rear) {
        frontSpread = sideSpread_[frontSide] + bulk;
        rearSpread = sideSpread_[rearSide] + bulk;
        return rect;
    }
    Rect2 r = rect;
    const double shift = 0.5 * (front + rear) - centreAlong;
    r.centre = {rect.centre.x + axis.x * shift, rect.centre.y + axis.y * shift};
    (alongU ? r.extentU : r.extentV) = front - rear;
    return r;
}

// The most a length along the belt may be off and still be a measurement: half the profile
// spacing plus 1 mm, and never less than 2.5 mm.
double CBoxFitter::lengthLimit(double step) {
    return std::max(kLeastLengthLimit, 0.5 * step + 1.0);
}

// How far the length between the front and the rear side (the pair whose normals lie closest to
// the travel) may be off: the half-widths of the intervals each side was placed in, added. A
// front placed from the camera's view of it or either end from the light window (`frontSpread`,
// `rearSpread` not negative) has its own.
double CBoxFitter::lengthSpread(const Rect2& rect, const Point2& step, double frontSpread,
                                double rearSpread) const {
    const double stepLength = std::hypot(step.x, step.y);
    const Point2 u{step.x / stepLength, step.y / stepLength};
    const bool alongU = std::fabs(dot(rect.axisU, u)) >= std::fabs(dot(rect.axisV, u));
    // Sides 0 and 1 face +axisU and -axisU, 2 and 3 +axisV and -axisV.
    const int plus = alongU ? 0 : 2;
    const bool plusFaces = dot(alongU ? rect.axisU : rect.axisV, u) >= 0.0;
    const double front = frontSpread >= 0.0 ? frontSpread : sideSpread_[plusFaces ? plus : plus + 1];
    const double rear = rearSpread >= 0.0 ? rearSpread : sideSpread_[plusFaces ? plus + 1 : plus];
    return front + rear;
}

void CBoxFitter::fit(const TrackedObject& object, const CFrameStore& store, FittedBox& out) {
    out = FittedBox{};
    out.object = object;
    candidateCount_ = 0;
    edgeCount_ = 0;
    std::fill(std::begin(sideSpread_), std::end(sideSpread_), 0.0);
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
    // The highest point of the first profile: a side face that the fan lights reaches lower.
    double firstTop = 0.0;
    uint32_t firstCount = 0;

    FirstProfile front;
    const bool frontOnFace = endsOnFace(object, store, *first, object.firstSeq, object.firstSeq + 1, step);
    const bool rearOnFace = endsOnFace(object, store, *first, object.lastSeq, object.lastSeq - 1, step);
    const Point2 frontBeyond = frontOnFace ? Point2{0.0, 0.0} : step;
    const Point2 rearBeyond = rearOnFace ? Point2{0.0, 0.0} : step;
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
                if (isFirst) {
                    const Point2 q = reported(pts[i], *slot, *first, run.camera);
                    firstTop = std::max(firstTop, static_cast<double>(pts[i].h));
                    front.board = {front.board.x + pts[i].x, front.board.y + pts[i].y};
                    front.reported = {front.reported.x + q.x, front.reported.y + q.y};
                }
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
                        addEdge(p, {p.x + frontBeyond.x, p.y + frontBeyond.y});
                    }
                    if (isLast) {
                        addEdge(p, {p.x - rearBeyond.x, p.y - rearBeyond.y});
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
    const double height = heights_.topHeight(s_.heightQuantile, s_.heightBand);
    // The camera saw the object's first lit surface only once it stood well above the belt and
    // below the top: the front curved away out of sight (a lying cylinder, a sloping sack).
    const double frontDrop = std::max(3.0 * s_.heightBand, kFrontDropFraction * height);
    out.object.frontUnseen = object.frontHidden && firstCount > 0 && firstTop < height - frontDrop;
    const double stepLength = std::hypot(step.x, step.y);
    double frontSpread = -1.0, rearSpread = -1.0; // where an end was placed from what the frames show
    const bool windowKnown = s_.sheetFwhm > 0.0 || s_.exposureShare > 0.0;
    if (windowKnown && s_.edgeCompensation && s_.frontFromOcclusion && hullCount >= 3 && stepLength > 0.0) {
        rect = placeEndsFromWindow(rect, object, store, step, height,
                                   firstCount > 0 && !out.object.frontUnseen, frontSpread, rearSpread);
    } else if (s_.edgeCompensation && s_.frontFromOcclusion && hullCount >= 3 && firstCount > 0 &&
               !out.object.frontUnseen && stepLength > 0.0) {
        const double n = firstCount;
        front.board = {front.board.x / n, front.board.y / n};
        front.reported = {front.reported.x / n, front.reported.y / n};
        front.height = std::min(firstTop, height); // the robust top where the first profile reaches it
        front.travel = {step.x / stepLength, step.y / stepLength};
        double offset = 0.0, spread = 0.0;
        bool placed = false;
        if (frontAhead(object, store, front, offset, spread)) {
            rect = placeFront(rect, front, offset, placed);
        }
        frontSpread = placed ? spread : -1.0;
    }
    if (s_.edgeCompensation && hullCount >= 3 && stepLength > 0.0) {
        out.lengthUnsure = lengthSpread(rect, step, frontSpread, rearSpread) > lengthLimit(stepLength) + 1e-3;
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
