// Rendering speed of the virtual station on the default station (2048 x 512 Mono8). Each
// iteration is one frame; items_per_second is frames per second on one thread.
#include "ScanSim/Renderer.h"
#include "ScanSim/ScanWriter.h"

#include <benchmark/benchmark.h>

#include <filesystem>

namespace {

using namespace ScanSim;

// Frames in the middle of the default scene's second box (yawed, with shadow and occlusion).
constexpr int kFirstFrame = 800;
constexpr int kFrameSpan = 200;

Scene noisyDefault() {
    Scene s = defaultScene();
    s.optics.sensorNoise = 1.5;
    s.optics.ghostFraction = 0.2;
    return s;
}

Scene shapesScene() {
    Scene s = defaultScene();
    SceneObject bag;
    bag.name = "bag";
    bag.kind = ShapeKind::Bag;
    bag.length = 500.0;
    bag.width = 350.0;
    bag.height = 220.0;
    bag.yawDeg = -20.0;
    bag.gap = 700.0;
    SceneObject drum;
    drum.name = "drum";
    drum.kind = ShapeKind::CylinderStanding;
    drum.diameter = 300.0;
    drum.height = 450.0;
    drum.x = -300.0;
    drum.gap = -450.0;
    s.objects = {bag, drum};
    return s;
}

void runTrace(benchmark::State& state, const Scene& scene) {
    const CFrameRenderer r(scene);
    ProfileTrace trace;
    int k = 0;
    for (auto _ : state) {
        r.trace(kFirstFrame + k++ % kFrameSpan, trace);
        benchmark::DoNotOptimize(trace.samples.data());
    }
    state.SetItemsProcessed(state.iterations());
}

void runMono8(benchmark::State& state, const Scene& scene) {
    const CFrameRenderer r(scene);
    ProfileTrace trace;
    std::vector<uint8_t> pixels;
    int k = 0;
    for (auto _ : state) {
        r.trace(kFirstFrame + k++ % kFrameSpan, trace);
        r.renderMono8(trace, pixels);
        benchmark::DoNotOptimize(pixels.data());
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["columns"] = r.width();
}

void BM_TraceProfile(benchmark::State& state) {
    runTrace(state, defaultScene());
}
void BM_RenderMono8Frame(benchmark::State& state) {
    runMono8(state, defaultScene());
}
void BM_RenderMono8FrameNoisy(benchmark::State& state) {
    runMono8(state, noisyDefault());
}
void BM_RenderMono8FrameCylinderAndBag(benchmark::State& state) {
    runMono8(state, shapesScene());
}

void BM_RenderLineFormBlock(benchmark::State& state) {
    const CFrameRenderer r(defaultScene());
    ProfileTrace trace;
    LineForm line;
    std::vector<uint8_t> block;
    int k = 0;
    for (auto _ : state) {
        r.trace(kFirstFrame + k++ % kFrameSpan, trace);
        r.renderLineForm(trace, line);
        buildPipelineImage(line, block);
        benchmark::DoNotOptimize(block.data());
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_WritePngFrame(benchmark::State& state) {
    const CFrameRenderer r(defaultScene());
    ProfileTrace trace;
    std::vector<uint8_t> pixels;
    r.trace(kFirstFrame, trace);
    r.renderMono8(trace, pixels);
    const auto path = std::filesystem::temp_directory_path() / "scansim-bench.png";
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            writeGreyImage(path, ImageFileFormat::Png, r.width(), r.height(), pixels.data()));
    }
    std::filesystem::remove(path);
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(BM_TraceProfile)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RenderMono8Frame)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RenderMono8FrameNoisy)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RenderMono8FrameCylinderAndBag)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RenderLineFormBlock)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WritePngFrame)->Unit(benchmark::kMillisecond);
