#include "LpmcSynthetic.h"

#include <algorithm>
#include <cmath>

namespace lpmctest {
namespace {

constexpr double kPi = 3.14159265358979323846;

std::array<double, 3> rotationVector(const std::array<double, 9>& r) {
    const double c = std::clamp((r[0] + r[4] + r[8] - 1.0) * 0.5, -1.0, 1.0);
    const double theta = std::acos(c);
    if (theta < 1e-12) {
        return {0, 0, 0};
    }
    if (kPi - theta < 1e-6) {
        // Near 180 degrees: axis from the diagonal.
        const double x = std::sqrt(std::max(0.0, (r[0] + 1) / 2)),
                     y = std::sqrt(std::max(0.0, (r[4] + 1) / 2));
        const double z = std::sqrt(std::max(0.0, (r[8] + 1) / 2));
        return {x * theta, (r[1] >= 0 ? y : -y) * theta, (r[2] >= 0 ? z : -z) * theta};
    }
    const double k = theta / (2.0 * std::sin(theta));
    return {(r[7] - r[5]) * k, (r[2] - r[6]) * k, (r[3] - r[1]) * k};
}

} // namespace

Station makeStation(const StationDesign& d) {
    Station st;
    st.design = d;
    const double a = d.triangulationDeg * kPi / 180.0;
    // Optical axis at the triangulation angle to the vertical laser plane Y = 0, looking
    // downstream and down at the aim point.
    const double zAxis[3] = {0.0, std::sin(a), -std::cos(a)};
    const double aim[3] = {0.0, 0.0, d.aimHeight - d.chessboardHeight};
    const double centre[3] = {aim[0] - d.distance * zAxis[0], aim[1] - d.distance * zAxis[1],
                              aim[2] - d.distance * zAxis[2]};
    const double xAxis[3] = {1.0, 0.0, 0.0};
    const double yAxis[3] = {zAxis[1] * xAxis[2] - zAxis[2] * xAxis[1],
                             zAxis[2] * xAxis[0] - zAxis[0] * xAxis[2],
                             zAxis[0] * xAxis[1] - zAxis[1] * xAxis[0]};
    st.rotation = {xAxis[0], xAxis[1], xAxis[2], yAxis[0], yAxis[1], yAxis[2], zAxis[0], zAxis[1], zAxis[2]};
    for (int i = 0; i < 3; ++i) {
        st.translation[static_cast<size_t>(i)] = -(st.rotation[static_cast<size_t>(3 * i)] * centre[0] +
                                                   st.rotation[static_cast<size_t>(3 * i + 1)] * centre[1] +
                                                   st.rotation[static_cast<size_t>(3 * i + 2)] * centre[2]);
    }
    // fx: 1.1 x the belt width fills the columns at the aim distance; fy: heights 0..max fill
    // 90 % of the rows.
    st.fx = d.width * d.distance / (1.1 * d.beltWidth);
    st.cx = 0.5 * (d.width - 1);
    st.fy = 1.0;
    st.cy = 0.0;
    double vTop, vBottom, u;
    st.project(0, 0, -d.chessboardHeight, u, vBottom);
    st.project(0, 0, d.maxHeight - d.chessboardHeight, u, vTop);
    st.fy = 0.9 * d.height / (vBottom - vTop);
    st.project(0, 0, -d.chessboardHeight, u, vBottom);
    st.project(0, 0, d.maxHeight - d.chessboardHeight, u, vTop);
    st.cy = 0.5 * (d.height - 1) - 0.5 * (vBottom + vTop);
    // Laser plane n . p = 0 with n = +Y, in camera coordinates: (A, B, C) = m / (m . t), m = R n.
    const double m[3] = {st.rotation[1], st.rotation[4], st.rotation[7]};
    const double mt = m[0] * st.translation[0] + m[1] * st.translation[1] + m[2] * st.translation[2];
    st.plane = {m[0] / mt, m[1] / mt, m[2] / mt};
    return st;
}

bool Station::project(double x, double y, double z, double& u, double& v) const {
    const auto& r = rotation;
    const double X = r[0] * x + r[1] * y + r[2] * z + translation[0];
    const double Y = r[3] * x + r[4] * y + r[5] * z + translation[1];
    const double Z = r[6] * x + r[7] * y + r[8] * z + translation[2];
    if (Z <= 0.0) {
        return false;
    }
    const double a = X / Z, b = Y / Z, r2 = a * a + b * b;
    const auto& k = design.distortion;
    const double radial = 1 + r2 * (k[0] + r2 * (k[1] + r2 * k[4]));
    const double ad = a * radial + 2 * k[2] * a * b + k[3] * (r2 + 2 * a * a);
    const double bd = b * radial + k[2] * (r2 + 2 * b * b) + 2 * k[3] * a * b;
    u = fx * ad + cx;
    v = fy * bd + cy;
    return true;
}

std::unique_ptr<Calibration> Station::calibration(double speedVx, double speedVy) const {
    auto c = std::make_unique<Calibration>();
    c->intrinsics = {fx, 0, cx, 0, fy, cy, 0, 0, 1};
    c->distortion = design.distortion;
    const auto rv = rotationVector(rotation);
    c->extrinsics = {rv[0], rv[1], rv[2], translation[0], translation[1], translation[2]};
    c->lens = {c->intrinsics.data(), c->distortion.data(), c->extrinsics.data(), nullptr};
    c->plane = {plane[0], plane[1], plane[2], 1.0};
    c->motion = {speedVx, speedVy};
    c->calib = {&c->lens, &c->plane, &c->motion};
    return c;
}

bool Box::covers(double X, double Y, double travel) const {
    const double yaw = yawDeg * kPi / 180.0;
    const double dx = X - x, dy = Y - (y + travel);
    const double along = dx * std::sin(yaw) + dy * std::cos(yaw);
    const double across = dx * std::cos(yaw) - dy * std::sin(yaw);
    return std::fabs(along) <= 0.5 * length && std::fabs(across) <= 0.5 * width;
}

double Box::leadingY() const {
    const double yaw = yawDeg * kPi / 180.0;
    return y + 0.5 * length * std::fabs(std::cos(yaw)) + 0.5 * width * std::fabs(std::sin(yaw));
}

double Box::trailingY() const {
    return 2.0 * y - leadingY();
}

void renderLine(const Station& st, const std::vector<Box>& boxes, double travel, double gain,
                LineFrame& out) {
    const int32_t w = st.design.width;
    out.rows.assign(static_cast<size_t>(w), -1.0f);
    out.peaks.assign(static_cast<size_t>(w), 0);
    const double ch = st.design.chessboardHeight;
    const double half = 0.5 * st.design.beltWidth + 150.0;
    const double step = 0.1;
    // Walk along the line; each pair of samples on the same surface paints the columns between.
    double prevU = 0, prevV = 0, prevH = -1;
    int prevBox = -2;
    for (double X = -half; X <= half; X += step) {
        double h = 0.0;
        int which = -1;
        for (size_t i = 0; i < boxes.size(); ++i) {
            if (boxes[i].height > h && boxes[i].covers(X, 0.0, travel)) {
                h = boxes[i].height;
                which = static_cast<int>(i);
            }
        }
        double u, v;
        if (!st.project(X, 0.0, h - ch, u, v)) {
            prevBox = -2;
            continue;
        }
        if (which == prevBox && h == prevH) {
            const double lo = std::min(prevU, u), hi = std::max(prevU, u);
            for (int32_t c = static_cast<int32_t>(std::ceil(lo)); c < hi && c < w; ++c) {
                if (c < 0) {
                    continue;
                }
                const double f = (c - prevU) / (u - prevU);
                const double row = prevV + f * (v - prevV);
                if (row < 0.0 || row > st.design.height - 1) {
                    continue;
                }
                float& slot = out.rows[static_cast<size_t>(c)];
                if (slot < 0.0f || row < slot) { // the taller surface hides the lower one
                    slot = static_cast<float>(row);
                    const double refl = which >= 0 ? boxes[static_cast<size_t>(which)].reflectance : 0.35;
                    out.peaks[static_cast<size_t>(c)] = static_cast<uint8_t>(std::min(255.0, gain * refl));
                }
            }
        }
        prevU = u;
        prevV = v;
        prevH = h;
        prevBox = which;
    }
}

double stripeValue(double row, double centre, double sigma, double amplitude) {
    // Mean of the Gaussian over the pixel [row - 0.5, row + 0.5], scaled to `amplitude` at its
    // peak for a narrow pixel.
    const double s = sigma * std::sqrt(2.0);
    return amplitude * sigma * std::sqrt(kPi / 2.0) *
           (std::erf((row + 0.5 - centre) / s) - std::erf((row - 0.5 - centre) / s));
}

void renderMono8(const LineFrame& line, int32_t width, int32_t height, const StripeOptics& o,
                 std::mt19937& rng, std::vector<uint8_t>& pixels) {
    pixels.resize(static_cast<size_t>(width) * static_cast<size_t>(height));
    std::normal_distribution<double> noise(0.0, o.noise);
    std::vector<double> column(static_cast<size_t>(height));
    for (int32_t c = 0; c < width; ++c) {
        std::fill(column.begin(), column.end(), o.ambient);
        const float centre = line.rows[static_cast<size_t>(c)];
        if (centre >= 0.0f) {
            const int32_t lo = std::max(0, static_cast<int32_t>(centre - 6 * o.sigma));
            const int32_t hi = std::min(height - 1, static_cast<int32_t>(centre + 6 * o.sigma) + 1);
            for (int32_t r = lo; r <= hi; ++r) {
                column[static_cast<size_t>(r)] +=
                    stripeValue(r, centre, o.sigma, line.peaks[static_cast<size_t>(c)]);
            }
        }
        for (int32_t r = 0; r < height; ++r) {
            const double v = column[static_cast<size_t>(r)] + (o.noise > 0.0 ? noise(rng) : 0.0);
            pixels[static_cast<size_t>(r) * static_cast<size_t>(width) + static_cast<size_t>(c)] =
                static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L));
        }
    }
}

Instance::~Instance() {
    lpmcRelease(handle);
}

namespace {

Result collect(const LpmcResult& r, uint64_t frame) {
    Result out;
    out.state = r.resultState;
    out.pointCount = r.pointCount;
    out.frame = frame;
    for (int32_t i = 0; i < r.volumeNum; ++i) {
        out.boxes.push_back(*r.boxes[i]);
    }
    return out;
}

// One call of the library; a result with resultState != 0 is kept. False when the call failed.
bool feed(void* handle, LpmcInput& in, int32_t frame, std::vector<Result>& results) {
    LpmcResult r{};
    if (lpmcProcess(handle, &in, &r) != 0) {
        return false;
    }
    if (r.resultState != 0) {
        results.push_back(collect(r, static_cast<uint64_t>(frame)));
    }
    return true;
}

} // namespace

LpmcInput lineInput(const LineFrame& line, int32_t frame) {
    LpmcInput in{};
    in.imageType[0] = LPMC_IMAGE_LINE;
    in.timestamp[0] = 1.0 + 2.0 * frame;
    in.pipelineCount[0] = static_cast<int32_t>(line.rows.size());
    in.pipelineFirst[0] = line.rows.data();
    in.pipelineSecond[0] = line.peaks.data();
    return in;
}

std::vector<Result> runLineScan(void* handle, const Station& st, const std::vector<Box>& boxes, int32_t count,
                                double mmPerFrame, double gain) {
    std::vector<Result> results;
    LineFrame line;
    for (int32_t k = 0; k < count; ++k) {
        renderLine(st, boxes, k * mmPerFrame, gain, line);
        LpmcInput in = lineInput(line, k);
        if (!feed(handle, in, k, results)) {
            break;
        }
    }
    return results;
}

std::vector<Result> runMono8Scan(void* handle, const Station& st, const std::vector<Box>& boxes,
                                 int32_t count, double mmPerFrame, const StripeOptics& optics, uint32_t seed,
                                 double gain) {
    std::vector<Result> results;
    std::mt19937 rng(seed);
    LineFrame line;
    std::vector<uint8_t> pixels;
    LpmcImageDesc desc{};
    for (int32_t k = 0; k < count; ++k) {
        renderLine(st, boxes, k * mmPerFrame, gain, line);
        renderMono8(line, st.design.width, st.design.height, optics, rng, pixels);
        desc.sourceTag = 256;
        desc.width = st.design.width;
        desc.height = st.design.height;
        desc.pixels = pixels.data();
        LpmcInput in{};
        in.imageType[0] = LPMC_IMAGE_MONO8;
        in.image[0] = &desc;
        in.timestamp[0] = 1.0 + 2.0 * k;
        if (!feed(handle, in, k, results)) {
            break;
        }
    }
    return results;
}

Truth truthOf(const Box& b, double mmPerFrame) {
    Truth t{};
    t.length = std::max(b.length, b.width);
    t.width = std::min(b.length, b.width);
    t.height = b.height;
    double yaw = b.length >= b.width ? b.yawDeg : b.yawDeg + 90.0;
    while (yaw > 90.0) {
        yaw -= 180.0;
    }
    while (yaw <= -90.0) {
        yaw += 180.0;
    }
    t.slantDeg = yaw;
    // The first frame whose line (Y = 0) meets the footprint: leadingY + k * step >= 0.
    t.firstFrame = static_cast<int64_t>(std::ceil(-b.leadingY() / mmPerFrame));
    t.cx = b.x;
    t.cy = b.y + static_cast<double>(t.firstFrame) * mmPerFrame;
    return t;
}

double slantOf(const LpmcBox& box) {
    return std::atan2(box.axis1[0], box.axis1[1]) * 180.0 / kPi;
}

double slantDifference(double a, double b, bool square) {
    const double period = square ? 90.0 : 180.0;
    double d = std::fmod(a - b, period);
    if (d > period / 2) {
        d -= period;
    }
    if (d < -period / 2) {
        d += period;
    }
    return d;
}

} // namespace lpmctest
