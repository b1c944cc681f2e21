// Speed of lpmcProcess on 2560 x 256 Mono8 frames of a box passing the laser line, on one core,
// beside memcpy of the same bytes. Frames per second are the items per second of each line.
#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>

#include "LpmcBoxScan.h"

namespace {

using namespace lpmctest;

constexpr int kWidth = 2560, kHeight = 256, kFrames = 400;

// One cycle of frames: empty belt, a 250 x 180 x 200 mm box passing at 20 degrees, empty belt.
// The test station with more pixels, over a belt wider than the field of view so that every
// column holds a line, as on a site whose belt fills the image.
ScanSim::Station benchStation() {
    ScanSim::StationDesign d = testStationDesign();
    d.imageWidth = kWidth;
    d.imageHeight = kHeight;
    const double seen = d.acrossMargin * d.beltWidth; // what the columns take at the aim height
    d.beltWidth = 1300.0;
    d.acrossMargin = seen / d.beltWidth;
    return ScanSim::designStation(d);
}

struct Frames {
    ScanSim::Station station = benchStation();
    std::unique_ptr<Calibration> cal = calibrationOf(station, 0.0, 0.5);
    std::vector<std::vector<uint8_t>> mono8;
    std::vector<LineFrame> lines;
    Frames() {
        const Box box{250, 180, 200, 60, -170.3, 20, 0.6};
        CBoxScan lineScan(station, {box}, 1.0, cleanOptics(220.0));
        CBoxScan mono8Scan(station, {box}, 1.0, stripeOptics(220.0));
        mono8.resize(kFrames);
        lines.resize(kFrames);
        for (int k = 0; k < kFrames; ++k) {
            lineScan.line(k, lines[static_cast<size_t>(k)]);
            mono8Scan.mono8(k, mono8[static_cast<size_t>(k)]);
        }
    }
};

const Frames& frames() {
    static const Frames f;
    return f;
}

void processMono8(benchmark::State& state, int method, int radius) {
    const Frames& f = frames();
    Instance inst;
    if (openInstance(f.station, *f.cal, 2000, inst, [&](LpmcConfig& c) {
            c.laserline_extract_method = method;
            c.scan_gauss_radius[0] = radius;
        }) != 0) {
        state.SkipWithError("configuration refused");
        return;
    }
    LpmcImageDesc desc{};
    desc.width = kWidth;
    desc.height = kHeight;
    LpmcInput in{};
    in.imageType[0] = LPMC_IMAGE_MONO8;
    in.image[0] = &desc;
    LpmcResult r{};
    int64_t k = 0, boxes = 0;
    for (auto _ : state) {
        desc.pixels = f.mono8[static_cast<size_t>(k % kFrames)].data();
        in.timestamp[0] = 1.0 + 2.0 * static_cast<double>(k);
        lpmcProcess(inst.handle, &in, &r);
        boxes += r.volumeNum;
        ++k;
    }
    state.SetItemsProcessed(k);
    state.SetBytesProcessed(k * kWidth * kHeight);
    state.counters["boxes"] = static_cast<double>(boxes);
}

void BM_LpmcProcessMono8(benchmark::State& state) {
    processMono8(state, static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
}
// Methods 0 (Gaussian fit, the default) .. 4 (whole pixel); smoothing radius 0 and 1.
BENCHMARK(BM_LpmcProcessMono8)
    ->ArgNames({"method", "radius"})
    ->Args({0, 0})
    ->Args({0, 1})
    ->Args({1, 0})
    ->Args({2, 0})
    ->Args({3, 0})
    ->Args({4, 0});

void BM_LpmcProcessLineForm(benchmark::State& state) {
    const Frames& f = frames();
    Instance inst;
    if (openInstance(f.station, *f.cal, 2000, inst, [](LpmcConfig&) {}) != 0) {
        state.SkipWithError("configuration refused");
        return;
    }
    LpmcInput in{};
    in.imageType[0] = LPMC_IMAGE_LINE;
    in.pipelineCount[0] = kWidth;
    LpmcResult r{};
    int64_t k = 0;
    for (auto _ : state) {
        const LineFrame& line = f.lines[static_cast<size_t>(k % kFrames)];
        in.pipelineFirst[0] = line.rows.data();
        in.pipelineSecond[0] = line.peaks.data();
        in.timestamp[0] = 1.0 + 2.0 * static_cast<double>(k);
        lpmcProcess(inst.handle, &in, &r);
        ++k;
    }
    state.SetItemsProcessed(k);
}
BENCHMARK(BM_LpmcProcessLineForm);

// The machine's memcpy of the same bytes, frame after frame: the ceiling any pass over the
// pixels can reach.
void BM_MemcpyFrame(benchmark::State& state) {
    const Frames& f = frames();
    std::vector<uint8_t> dst(static_cast<size_t>(kWidth) * kHeight);
    int64_t k = 0;
    for (auto _ : state) {
        std::memcpy(dst.data(), f.mono8[static_cast<size_t>(k % kFrames)].data(), dst.size());
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
        ++k;
    }
    state.SetItemsProcessed(k);
    state.SetBytesProcessed(k * kWidth * kHeight);
}
BENCHMARK(BM_MemcpyFrame);

} // namespace

BENCHMARK_MAIN();
