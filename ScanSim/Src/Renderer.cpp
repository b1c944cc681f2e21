#include "ScanSim/Renderer.h"

#include "Random.h"
#include "Shapes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <optional>

namespace ScanSim {

using Detail::CRandom;
using Detail::ObjectPose;
using Detail::RayHit;
using Detail::Stream;

namespace {

constexpr double kBackgroundTableSize = 1 << 17;

struct LaserHit {
    bool ok = false;
    int object = kBeltObject;
    int surface = 0;
    Vec3 point;
    Vec3 normal;
    std::optional<ImagePoint> image;
    bool sameSurface(const LaserHit& o) const {
        return ok && o.ok && object == o.object && surface == o.surface;
    }
};

// Share of the light that falls at `offset` mm from the frame's position: the sheet's Gaussian
// (sigma) seen through the exposure's box of `travel` mm. Either may be 0, not both.
double windowDensity(double offset, double sigma, double travel) {
    if (sigma <= 0.0) {
        return std::abs(offset) <= travel / 2.0 ? 1.0 / travel : 0.0;
    }
    if (travel <= 0.0) {
        const double z = offset / sigma;
        return std::exp(-0.5 * z * z) / (sigma * std::sqrt(2.0 * kPi));
    }
    const auto cdf = [](double z) { return 0.5 * std::erfc(-z / std::sqrt(2.0)); };
    return (cdf((offset + travel / 2.0) / sigma) - cdf((offset - travel / 2.0) / sigma)) / travel;
}

// Two frames traced at different belt positions that show the same points in every column.
bool sameProfile(const ProfileTrace& tr, int a, int b) {
    for (int c = 0; c < tr.width; ++c) {
        const int n = tr.count(a, c);
        if (n != tr.count(b, c)) {
            return false;
        }
        const ColumnSample* sa = tr.column(a, c);
        const ColumnSample* sb = tr.column(b, c);
        for (int i = 0; i < n; ++i) {
            if (sa[i].object != sb[i].object || sa[i].visible != sb[i].visible ||
                std::abs(sa[i].row - sb[i].row) > 0.01f) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

ExposureWindow exposureWindow(double sheetFwhm, double exposureTravel) {
    ExposureWindow w;
    const double sigma = std::max(0.0, sheetFwhm) / (2.0 * std::sqrt(2.0 * std::log(2.0)));
    const double travel = std::max(0.0, exposureTravel);
    if (sigma < 1e-3 && travel < 1e-3) {
        w.offsets.push_back(0.0);
        w.weights.push_back(1.0);
        return w;
    }
    // Parts at most 0.25 mm apart over the reach of the light; each weighs the light of its cell.
    constexpr double kMaxPartSpacing = 0.25;
    constexpr int kMaxPartsEachSide = 10;
    constexpr int kCellSteps = 16;
    const double reach = travel / 2.0 + 2.5 * sigma;
    const int side = std::clamp(static_cast<int>(std::ceil(reach / kMaxPartSpacing)), 1, kMaxPartsEachSide);
    const double cell = reach / side;
    double total = 0.0;
    for (int k = 0; k <= 2 * side; ++k) {
        const int i = k == 0 ? 0 : (k % 2 == 1 ? -(k + 1) / 2 : k / 2); // 0, -1, 1, -2, 2, ...
        const double centre = i * cell;
        double weight = 0.0;
        for (int j = 0; j < kCellSteps; ++j) {
            const double at = centre - cell / 2.0 + (j + 0.5) * cell / kCellSteps;
            weight += windowDensity(at, sigma, travel) * cell / kCellSteps;
        }
        w.offsets.push_back(centre);
        w.weights.push_back(weight);
        total += weight;
    }
    for (double& weight : w.weights) {
        weight /= total;
    }
    return w;
}

const ColumnSample* ProfileTrace::brightestVisible(int c) const {
    const ColumnSample* best = nullptr;
    const ColumnSample* s = column(c);
    for (int i = 0; i < counts[static_cast<size_t>(c)]; ++i) {
        if (s[i].visible && (best == nullptr || s[i].intensity > best->intensity)) {
            best = &s[i];
        }
    }
    return best;
}

struct CFrameRenderer::Impl {
    const Scene& scene;
    const SceneLayout& layout;
    std::vector<Detail::BagShape> bags; // one per object (unused for other kinds)
    Vec3 fanAcross;                     // in-plane unit vector along board X
    Vec3 fanDown;                       // in-plane unit vector pointing down
    double fanHalfRange = 0.0;          // fan parameter (tangent) covering the belt and a margin
    int fanSamples = 0;
    Vec3 cameraCentre;
    std::vector<uint8_t> background; // ambient plus sensor noise, read at a random offset per row
    ExposureWindow window;

    Impl(const Scene& s, const SceneLayout& l) : scene(s), layout(l) {
        for (const PlacedObject& p : layout.objects) {
            bags.push_back(p.desc.kind == ShapeKind::Bag ? Detail::makeBagShape(p.desc) : Detail::BagShape{});
        }
        const FanFrame fan = laserFanFrame(scene.station);
        fanAcross = fan.across;
        fanDown = fan.down;
        fanHalfRange = laserFanHalfTangent(scene.station);
        fanSamples = std::max(256, 2 * scene.station.camera.width);
        cameraCentre = scene.station.camera.centreInBoard();
        window = exposureWindow(scene.station.laserSheetFwhm,
                                scene.motion.exposureShare * scene.motion.mmPerFrame);
        makeBackground();
    }

    void makeBackground() {
        const Optics& op = scene.optics;
        background.resize(static_cast<size_t>(kBackgroundTableSize) +
                          static_cast<size_t>(scene.station.camera.width));
        CRandom rng(scene.seed, 0, Stream::Tables);
        for (uint8_t& b : background) {
            const double v = op.ambient + op.sensorNoise * rng.gaussian();
            b = static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L));
        }
    }

    // The objects at a frame, moved on by `offset` mm of belt travel.
    std::vector<ObjectPose> posesAt(int frame, double offset) const {
        std::vector<ObjectPose> poses;
        const Motion& m = scene.motion;
        for (size_t i = 0; i < layout.objects.size(); ++i) {
            const PlacedObject& p = layout.objects[i];
            ObjectPose pose;
            pose.index = static_cast<int>(i);
            pose.desc = &p.desc;
            pose.bag = &bags[i];
            pose.centre = p.centre + Vec3{frame * m.driftXPerFrame, frame * m.mmPerFrame + offset, 0.0};
            pose.alongLong = Vec3{std::sin(p.yawRad), std::cos(p.yawRad), 0.0};
            pose.alongShort = Vec3{std::cos(p.yawRad), -std::sin(p.yawRad), 0.0};
            const double top = p.topZ - scene.station.beltZ();
            pose.sphereCentre = pose.centre + Vec3{0.0, 0.0, top / 2.0};
            pose.sphereRadius =
                std::sqrt(p.halfExtentX * p.halfExtentX + p.halfExtentY * p.halfExtentY + top * top / 4.0);
            poses.push_back(pose);
        }
        return poses;
    }

    // The objects the laser fan can touch at this frame.
    std::vector<ObjectPose> laserCandidates(const std::vector<ObjectPose>& poses) const {
        std::vector<ObjectPose> out;
        const Laser& laser = scene.station.laser;
        const Vec3 n = normalized(laser.normal);
        for (const ObjectPose& p : poses) {
            if (std::abs(dot(n, p.sphereCentre) - laser.offset / norm(laser.normal)) <= p.sphereRadius) {
                out.push_back(p);
            }
        }
        return out;
    }

    // The objects that may stand between the camera and the laser line.
    std::vector<ObjectPose> occluderCandidates(const std::vector<ObjectPose>& poses) const {
        std::vector<ObjectPose> out;
        const Vec3 c = cameraCentre;
        const Vec3 l = scene.station.laser.source;
        const double reach = 0.75 * scene.station.beltWidth;
        for (const ObjectPose& p : poses) {
            const double yLo = std::min(c.y, l.y - reach) - p.sphereRadius;
            const double yHi = std::max(c.y, l.y + reach) + p.sphereRadius;
            if (p.sphereCentre.y >= yLo && p.sphereCentre.y <= yHi) {
                out.push_back(p);
            }
        }
        return out;
    }

    LaserHit castLaser(double sigma, const std::vector<ObjectPose>& candidates) const {
        const Station& st = scene.station;
        const Vec3 o = st.laser.source;
        const Vec3 d = fanDown + sigma * fanAcross;
        LaserHit best;
        double bestT = 1e300;
        if (d.z < 0.0) {
            const double t = (st.beltZ() - o.z) / d.z;
            const Vec3 p = o + t * d;
            if (std::abs(p.x) <= st.beltWidth / 2.0) {
                best.ok = true;
                best.object = kBeltObject;
                best.surface = 0;
                best.point = p;
                best.normal = Vec3{0, 0, 1};
                bestT = t;
            }
        }
        for (const ObjectPose& obj : candidates) {
            RayHit hit;
            if (Detail::castRay(obj, o, d, 1e-9, bestT, hit)) {
                bestT = hit.t;
                best.ok = true;
                best.object = obj.index;
                best.surface = hit.surface;
                best.point = o + hit.t * d;
                best.normal = hit.normal;
            }
        }
        if (best.ok) {
            best.image = st.camera.project(best.point);
            best.ok = best.image.has_value();
        }
        return best;
    }

    bool cameraSees(const LaserHit& h, const std::vector<ObjectPose>& occluders) const {
        const Vec3 toCam = cameraCentre - h.point;
        if (dot(h.normal, toCam) <= 0.0) {
            return false;
        }
        const double dist = norm(toCam);
        const Vec3 d = (1.0 / dist) * toCam;
        const double tMax = dist - 0.01; // the lit surface itself stays out
        for (const ObjectPose& obj : occluders) {
            // Quick rejection by the bounding sphere.
            const Vec3 rel = obj.sphereCentre - h.point;
            const double along = std::clamp(dot(rel, d), 0.0, dist);
            if (norm(rel - along * d) > obj.sphereRadius) {
                continue;
            }
            RayHit hit;
            if (Detail::castRay(obj, h.point, d, 0.01, tMax, hit)) {
                return false;
            }
        }
        return true;
    }

    float intensityOf(const LaserHit& h) const {
        const Vec3 toSource = normalized(scene.station.laser.source - h.point);
        const double cosInc = std::max(0.0, dot(h.normal, toSource));
        const double refl = h.object == kBeltObject
                                ? scene.optics.beltReflectance
                                : layout.objects[static_cast<size_t>(h.object)].desc.reflectance;
        return static_cast<float>(scene.optics.laserGain * refl * cosInc);
    }

    struct FrameContext {
        std::vector<ObjectPose> laser;
        std::vector<ObjectPose> occluders;
        ProfileTrace* out = nullptr;
        size_t firstColumn = 0; // of the part being traced, in out->counts
    };

    void addSample(FrameContext& ctx, int column, const LaserHit& h) const {
        ProfileTrace& tr = *ctx.out;
        const size_t at = ctx.firstColumn + static_cast<size_t>(column);
        uint8_t& count = tr.counts[at];
        ColumnSample* col = &tr.samples[at * ProfileTrace::kMaxSamplesPerColumn];
        const float row = static_cast<float>(h.image->v);
        for (int i = 0; i < count; ++i) {
            if (col[i].object == h.object && std::abs(col[i].row - row) < 0.05f) {
                return; // the same point reached from two neighbouring pieces
            }
        }
        if (count >= ProfileTrace::kMaxSamplesPerColumn) {
            return;
        }
        ColumnSample& s = col[count++];
        s.row = row;
        s.intensity = intensityOf(h);
        s.object = h.object;
        s.point = h.point;
        s.visible = cameraSees(h, ctx.occluders);
    }

    // Columns crossed while the fan moves from a to b over one surface: find for each the fan
    // parameter that lands exactly on the column centre (regula falsi, Illinois variant).
    void emitColumns(FrameContext& ctx, double sa, const LaserHit& a, double sb, const LaserHit& b) const {
        const double ua = a.image->u;
        const double ub = b.image->u;
        const int width = scene.station.camera.width;
        const int first = std::max(0, static_cast<int>(std::floor(std::min(ua, ub))) + 1);
        const int last = std::min(width - 1, static_cast<int>(std::floor(std::max(ua, ub))));
        for (int c = first; c <= last; ++c) {
            double s0 = sa;
            double f0 = ua - c;
            double s1 = sb;
            double f1 = ub - c;
            LaserHit best = std::abs(f0) < std::abs(f1) ? a : b;
            for (int it = 0; it < 12; ++it) {
                const double sm = (f1 == f0) ? 0.5 * (s0 + s1) : s0 - f0 * (s1 - s0) / (f1 - f0);
                const LaserHit h = castLaser(sm, ctx.laser);
                if (!h.sameSurface(a)) {
                    break;
                }
                const double fm = h.image->u - c;
                best = h;
                if (std::abs(fm) < 1e-5) {
                    break;
                }
                if ((fm < 0) == (f0 < 0)) {
                    s0 = sm;
                    f0 = fm;
                    f1 *= 0.5;
                } else {
                    s1 = sm;
                    f1 = fm;
                    f0 *= 0.5;
                }
            }
            addSample(ctx, c, best);
        }
    }

    // Between two fan samples: one surface gives columns; a change of surface is narrowed down
    // by bisection so that each side keeps its own surface up to the edge.
    void walk(FrameContext& ctx, double sa, const LaserHit& a, double sb, const LaserHit& b,
              int depth) const {
        if (!a.ok && !b.ok) {
            return;
        }
        if (a.sameSurface(b)) {
            emitColumns(ctx, sa, a, sb, b);
            return;
        }
        if (depth >= 48) {
            return;
        }
        if (a.ok && b.ok && std::abs(a.image->u - b.image->u) < 1e-4 &&
            std::abs(a.image->v - b.image->v) < 1e-4) {
            return;
        }
        const double sm = 0.5 * (sa + sb);
        const LaserHit m = castLaser(sm, ctx.laser);
        walk(ctx, sa, a, sm, m, depth + 1);
        walk(ctx, sm, m, sb, b, depth + 1);
    }

    void traceAt(int frame, int part, ProfileTrace& out) const {
        FrameContext ctx;
        const auto poses = posesAt(frame, window.offsets[static_cast<size_t>(part)]);
        ctx.laser = laserCandidates(poses);
        ctx.occluders = occluderCandidates(poses);
        ctx.out = &out;
        ctx.firstColumn = static_cast<size_t>(part) * static_cast<size_t>(out.width);
        const int n = fanSamples;
        const double range = fanHalfRange;
        double prevS = -range;
        LaserHit prev = castLaser(prevS, ctx.laser);
        for (int i = 1; i <= n; ++i) {
            const double s = -range + 2.0 * range * i / n;
            const LaserHit h = castLaser(s, ctx.laser);
            walk(ctx, prevS, prev, s, h, 0);
            prevS = s;
            prev = h;
        }
    }
};

CFrameRenderer::CFrameRenderer(Scene scene)
    : scene_(std::move(scene)), layout_(layoutScene(scene_)), impl_(std::make_unique<Impl>(scene_, layout_)) {
}

CFrameRenderer::CFrameRenderer(Scene scene, SceneLayout layout)
    : scene_(std::move(scene)), layout_(std::move(layout)), impl_(std::make_unique<Impl>(scene_, layout_)) {}

CFrameRenderer::~CFrameRenderer() = default;

Vec3 CFrameRenderer::objectCentreAt(int object, int frame) const {
    const Motion& m = scene_.motion;
    return layout_.objects[static_cast<size_t>(object)].centre +
           Vec3{frame * m.driftXPerFrame, frame * m.mmPerFrame, 0.0};
}

void CFrameRenderer::trace(int frame, ProfileTrace& out) const {
    const int width = scene_.station.camera.width;
    const ExposureWindow& window = impl_->window;
    const int parts = static_cast<int>(window.offsets.size());
    out.frame = frame;
    out.width = width;
    out.samples.assign(static_cast<size_t>(parts) * width * ProfileTrace::kMaxSamplesPerColumn,
                       ColumnSample{});
    out.counts.assign(static_cast<size_t>(parts) * width, 0);
    out.partWeights.clear();
    impl_->traceAt(frame, 0, out);
    if (parts > 1) {
        // The two ends of the window first: where both show what the frame's own position
        // shows, no edge passes through it and one part carries all the light.
        impl_->traceAt(frame, parts - 2, out);
        impl_->traceAt(frame, parts - 1, out);
        if (!sameProfile(out, 0, parts - 2) || !sameProfile(out, 0, parts - 1)) {
            for (int p = 1; p < parts - 2; ++p) {
                impl_->traceAt(frame, p, out);
            }
            out.partWeights.assign(window.weights.begin(), window.weights.end());
            return;
        }
    }
    out.samples.resize(static_cast<size_t>(width) * ProfileTrace::kMaxSamplesPerColumn);
    out.counts.resize(static_cast<size_t>(width));
}

void CFrameRenderer::renderMono8(const ProfileTrace& tr, std::vector<uint8_t>& pixels) const {
    const int width = scene_.station.camera.width;
    const int height = scene_.station.camera.height;
    pixels.resize(static_cast<size_t>(width) * static_cast<size_t>(height));
    CRandom bg(scene_.seed, static_cast<uint64_t>(tr.frame), Stream::Background);
    const uint64_t span = static_cast<uint64_t>(kBackgroundTableSize);
    for (int r = 0; r < height; ++r) {
        const size_t offset = static_cast<size_t>(bg.next() % span);
        std::memcpy(&pixels[static_cast<size_t>(r) * width], &impl_->background[offset],
                    static_cast<size_t>(width));
    }
    renderLines(tr, pixels);
}

// Each column's lines, from every part of the light window at its share of the light, summed in
// the column before they are written. Speckle is a pattern of the lit surface: an instant draws
// it per row of each line as the line is added, a window once per pixel after its parts are
// summed, not once per part. (Each keeps the bytes of the scenes stored with it.)
void CFrameRenderer::renderLines(const ProfileTrace& tr, std::vector<uint8_t>& pixels) const {
    const int width = scene_.station.camera.width;
    const int height = scene_.station.camera.height;
    const Optics& op = scene_.optics;
    const bool window = tr.parts() > 1;
    CRandom rng(scene_.seed, static_cast<uint64_t>(tr.frame), Stream::Line);
    const auto speckle = [&] { return std::max(0.0, 1.0 + op.speckle * rng.gaussian()); };
    const double sigma = std::max(op.lineSigmaPx, 0.05);
    const double inv2s2 = 1.0 / (2.0 * sigma * sigma);
    const int reach = static_cast<int>(std::ceil(3.5 * sigma));
    std::vector<float> column(static_cast<size_t>(height), 0.0f);
    std::vector<int> touched;
    const auto addLine = [&](double row, double peak) {
        const int r0 = std::max(0, static_cast<int>(std::floor(row)) - reach);
        const int r1 = std::min(height - 1, static_cast<int>(std::ceil(row)) + reach);
        for (int r = r0; r <= r1; ++r) {
            const double dr = r - row;
            const double rowSpeckle = window ? 1.0 : speckle();
            const double value = peak * std::exp(-dr * dr * inv2s2) * rowSpeckle;
            if (column[static_cast<size_t>(r)] == 0.0f) {
                touched.push_back(r);
            }
            column[static_cast<size_t>(r)] += static_cast<float>(value) + 1e-6f;
        }
    };
    for (int c = 0; c < width; ++c) {
        touched.clear();
        for (int p = 0; p < tr.parts(); ++p) {
            const ColumnSample* s = tr.column(p, c);
            const double weight = tr.partWeight(p);
            for (int i = 0; i < tr.count(p, c); ++i) {
                if (!s[i].visible) {
                    continue;
                }
                addLine(s[i].row, weight * s[i].intensity);
                if (op.ghostFraction > 0.0 && s[i].object != kBeltObject) {
                    addLine(s[i].row + op.ghostOffsetRows, weight * s[i].intensity * op.ghostFraction);
                }
            }
        }
        for (const int r : touched) {
            uint8_t& px = pixels[static_cast<size_t>(r) * width + static_cast<size_t>(c)];
            const double pixelSpeckle = window ? speckle() : 1.0;
            const double signal = column[static_cast<size_t>(r)] * pixelSpeckle;
            const double shot = op.shotNoise * std::sqrt(signal) * rng.gaussian();
            const long v = std::lround(px + signal + shot);
            px = static_cast<uint8_t>(std::clamp(v, 0L, 255L));
            column[static_cast<size_t>(r)] = 0.0f;
        }
    }
}

// The on-camera extractor of a window: per column the strongest line, where the light of the
// parts that fall within a pixel or so of each other adds up.
void CFrameRenderer::renderWindowLineForm(const ProfileTrace& tr, LineForm& out) const {
    const int width = scene_.station.camera.width;
    const Optics& op = scene_.optics;
    CRandom rng(scene_.seed, static_cast<uint64_t>(tr.frame), Stream::LineForm);
    struct Group {
        double strength = 0.0;
        double weightedRow = 0.0;
    };
    constexpr size_t kMaxGroups = 16;
    std::array<Group, kMaxGroups> groups{};
    for (int c = 0; c < width; ++c) {
        const double speckle = 1.0 + op.speckle * rng.gaussian();
        const double jitter = op.lineJitterPx * rng.gaussian();
        size_t used = 0;
        for (int p = 0; p < tr.parts(); ++p) {
            const ColumnSample* s = tr.column(p, c);
            for (int i = 0; i < tr.count(p, c); ++i) {
                if (!s[i].visible) {
                    continue;
                }
                const double light = tr.partWeight(p) * s[i].intensity;
                size_t g = 0;
                while (g < used && std::abs(groups[g].weightedRow / std::max(groups[g].strength, 1e-12) -
                                            s[i].row) > 1.5) {
                    ++g;
                }
                if (g == used) {
                    if (used == kMaxGroups) {
                        continue;
                    }
                    groups[used++] = Group{};
                }
                groups[g].strength += light;
                groups[g].weightedRow += light * s[i].row;
            }
        }
        const Group* best = nullptr;
        for (size_t g = 0; g < used; ++g) {
            if (best == nullptr || groups[g].strength > best->strength) {
                best = &groups[g];
            }
        }
        if (best == nullptr || best->strength <= 0.0) {
            continue;
        }
        const long peak = std::lround(op.ambient + best->strength * std::max(0.0, speckle));
        if (peak < op.lineThreshold) {
            continue;
        }
        out.rows[static_cast<size_t>(c)] = static_cast<float>(best->weightedRow / best->strength + jitter);
        out.peaks[static_cast<size_t>(c)] = static_cast<uint8_t>(std::min(peak, 255L));
    }
}

void CFrameRenderer::renderLineForm(const ProfileTrace& tr, LineForm& out) const {
    const int width = scene_.station.camera.width;
    const Optics& op = scene_.optics;
    out.rows.assign(static_cast<size_t>(width), -1.0f);
    out.peaks.assign(static_cast<size_t>(width), 0);
    if (tr.parts() > 1) {
        renderWindowLineForm(tr, out);
        return;
    }
    CRandom rng(scene_.seed, static_cast<uint64_t>(tr.frame), Stream::LineForm);
    for (int c = 0; c < width; ++c) {
        const ColumnSample* s = tr.brightestVisible(c);
        const double speckle = 1.0 + op.speckle * rng.gaussian();
        const double jitter = op.lineJitterPx * rng.gaussian();
        if (s == nullptr) {
            continue;
        }
        const long peak = std::lround(op.ambient + s->intensity * std::max(0.0, speckle));
        if (peak < op.lineThreshold) {
            continue;
        }
        out.rows[static_cast<size_t>(c)] = static_cast<float>(s->row + jitter);
        out.peaks[static_cast<size_t>(c)] = static_cast<uint8_t>(std::min(peak, 255L));
    }
}

void CFrameRenderer::render(int frame, RenderedFrame& out) const {
    trace(frame, out.trace);
    renderMono8(out.trace, out.mono8);
    renderLineForm(out.trace, out.line);
}

bool buildPipelineImage(const LineForm& form, std::vector<uint8_t>& block) {
    if (form.rows.size() > static_cast<size_t>(kPipelineMaxCount) || form.peaks.size() != form.rows.size()) {
        return false;
    }
    block.assign(kPipelineImageSize, 0);
    const int32_t count = static_cast<int32_t>(form.rows.size());
    std::memcpy(&block[kPipelineCountOffset], &count, sizeof count);
    if (count > 0) {
        std::memcpy(&block[kPipelineFirstOffset], form.rows.data(), form.rows.size() * sizeof(float));
        std::memcpy(&block[kPipelineSecondOffset], form.peaks.data(), form.peaks.size());
    }
    return true;
}

std::vector<uint8_t> packMono4p(const uint8_t* mono8, size_t pixelCount) {
    std::vector<uint8_t> out((pixelCount + 1) / 2, 0);
    for (size_t i = 0; i < pixelCount; ++i) {
        const uint8_t nibble = static_cast<uint8_t>(mono8[i] >> 4);
        out[i / 2] = static_cast<uint8_t>(out[i / 2] | ((i % 2 == 0) ? nibble : (nibble << 4)));
    }
    return out;
}

} // namespace ScanSim
