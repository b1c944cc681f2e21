// Camera mode through the C interface, from a simulated laser camera serving the default scene of
// the virtual station (2048 x 512), pre-rendered once:
//  - frames per second of Mono8 and of the line form, the camera making each frame when the
//    library asks for it, beside lpmcProcess alone on the same frames (what camera mode adds
//    per frame is measured in CameraModeOverheadBench.cpp, the two taking turns);
//  - the time from the arrival of the frame that completes an object (the fetch whose pass
//    returns the box) to the application's callback, median and worst over some hundred objects;
//  - a camera sending 1,000 frames per second on its own clock for a minute: frames lost, and
//    where the frames went (the camera's stalls, the measuring thread's longest gap and hold).
//
// Environment (the defaults give the plain station: 16 frame buffers, a camera whose late frames
// are bunched at most a millisecond, as a link's interrupt moderation bunches them):
//  - QUBOID3D_BENCH_FRAME_BUFFERS=<n>: n frame buffers (FrameBufferCount through the site file);
//  - QUBOID3D_BENCH_CATCH_UP_MS=<ms>: the sustained camera makes the frames of a stall of its
//    thread up to <ms> long late, in a burst, as a host's network card and socket buffer hold a
//    stalled receive thread's frames; without it a busy host's stalls cost the camera frames
//    before the library sees them (camera_slipped_ms);
//  - QUBOID3D_BENCH_TIMELINE=<file>: a CSV of every frame of the sustained run.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "CameraModeSimStation.h"

namespace {

using namespace quboid3d::bench;
using Orvia::Sim::CSimCamera;

// The CPU time of the whole process per frame, in microseconds: on a shared machine it moves far
// less with the load than the wall clock does, and it is what the overhead goal compares.
void setCpuPerFrame(benchmark::State& state, double cpuSeconds, int frames) {
    const double all = static_cast<double>(state.iterations()) * frames;
    state.counters["cpu_us_per_frame"] = all > 0 ? 1e6 * cpuSeconds / all : 0.0;
}

// Wall and process CPU time of one pass of the scene.
struct PassTimes {
    double wallSeconds = 0.0;
    double cpuSeconds = 0.0;
};

// One pass of the scene through the whole system: from the start to the last frame's fetch.
// False when camera mode did not start.
bool cameraPass(ScanSimForm form, PassTimes& times) {
    const int frames = ring(form)->passFrames();
    CRun run(form, ring(form)->replay(false), Orvia::Sim::DeliveryMode::OnDemand);
    {
        std::lock_guard lock(seen.mutex);
        seen.framesWanted = frames;
    }
    const std::clock_t cpuStart = std::clock();
    const auto start = Clock::now();
    if (!run.start())
        return false;
    // Released before the run stops: its callbacks take the same lock.
    std::unique_lock lock(seen.mutex);
    seen.changed.wait(lock, [&] { return seen.framesOk >= frames; });
    times.wallSeconds = std::chrono::duration<double>(seen.lastOkFetch - start).count();
    times.cpuSeconds = static_cast<double>(seen.cpuAtWanted - cpuStart) / CLOCKS_PER_SEC;
    return true;
}

// (a) One pass of the scene through the whole system per iteration.
void BM_CameraModeFrames(benchmark::State& state) {
    const auto form = static_cast<ScanSimForm>(state.range(0));
    const int frames = ring(form)->passFrames();
    double cpuSeconds = 0.0;
    for (auto _ : state) {
        PassTimes times;
        if (!cameraPass(form, times)) {
            state.SkipWithError("camera mode did not start");
            break;
        }
        state.SetIterationTime(times.wallSeconds);
        cpuSeconds += times.cpuSeconds;
    }
    state.SetItemsProcessed(state.iterations() * frames);
    setCpuPerFrame(state, cpuSeconds, frames);
    state.counters["boxes"] = static_cast<double>(seen.boxes);
}
BENCHMARK(BM_CameraModeFrames)
    ->Arg(static_cast<int>(ScanSimForm::Mono8))
    ->Arg(static_cast<int>(ScanSimForm::LineForm))
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

// lpmcProcess alone on one pass of the same frames and timestamps, with the library brought up
// exactly as the measuring object brings it up: by the calculator, from the same configuration
// directory. The bring-up is not timed. False when the configuration is refused.
bool alonePass(ScanSimForm form, PassTimes& times, AloneTimes& worst, long& boxes) {
    const auto frames = ring(form);
    Orvia::VisionSystem::CCalcQuboid3DMulti calculator;
    if (!calculator.initialize(cfgDir(), nullptr))
        return false;
    const std::clock_t cpuStart = std::clock();
    const auto start = Clock::now();
    boxes += feedAlone(calculator, form, 0, frames->passFrames(), worst);
    times.wallSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    times.cpuSeconds = static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
    calculator.release();
    return true;
}

// (a) lpmcProcess alone, one pass per iteration.
void BM_LpmcProcessAlone(benchmark::State& state) {
    const auto form = static_cast<ScanSimForm>(state.range(0));
    const int count = ring(form)->passFrames();
    long boxes = 0;
    double cpuSeconds = 0.0;
    AloneTimes times;
    for (auto _ : state) {
        PassTimes pass;
        if (!alonePass(form, pass, times, boxes)) {
            state.SkipWithError("configuration refused");
            break;
        }
        state.SetIterationTime(pass.wallSeconds);
        cpuSeconds += pass.cpuSeconds;
    }
    state.SetItemsProcessed(state.iterations() * count);
    setCpuPerFrame(state, cpuSeconds, count);
    state.counters["worst_frame_ms"] = times.worstFrameMs;
    state.counters["worst_result_frame_ms"] = times.worstResultFrameMs;
    state.counters["boxes"] = static_cast<double>(boxes) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_LpmcProcessAlone)
    ->Arg(static_cast<int>(ScanSimForm::Mono8))
    ->Arg(static_cast<int>(ScanSimForm::LineForm))
    ->UseManualTime() // the wall clock over the pass, as the camera-mode lines
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

// (b) From the fetch of the frame that completes an object to the application's callback.
void BM_ResultLatency(benchmark::State& state) {
    const long objects = state.range(0);
    for (auto _ : state) {
        CRun run(ScanSimForm::Mono8, ring(ScanSimForm::Mono8)->replay(true),
                 Orvia::Sim::DeliveryMode::OnDemand);
        if (!run.start()) {
            state.SkipWithError("camera mode did not start");
            break;
        }
        std::unique_lock lock(seen.mutex);
        seen.changed.wait(lock, [&] { return seen.boxes >= objects; });
    }
    std::lock_guard lock(seen.mutex);
    state.counters["objects"] = static_cast<double>(seen.latenciesMs.size());
    state.counters["median_ms"] = medianOf(seen.latenciesMs);
    state.counters["worst_ms"] = *std::max_element(seen.latenciesMs.begin(), seen.latenciesMs.end());
}
BENCHMARK(BM_ResultLatency)->Arg(300)->Unit(benchmark::kSecond)->Iterations(1);

// Where the frames went, as counters of the run: how far the camera's stalls put it behind its
// rate and its longest stall, the measuring thread's longest gap between fetches and longest hold
// of one frame, the longest a frame waited in the pool.
// QUBOID3D_BENCH_TIMELINE=<file> writes every frame's times there as CSV.
void setTimelineCounters(benchmark::State& state, const quboid3d::bench::CFrameTimeline& frames,
                         double framesPerSecond) {
    const char* csv = std::getenv("QUBOID3D_BENCH_TIMELINE");
    const auto s = frames.summarize(1000.0 / framesPerSecond, csv != nullptr ? csv : "");
    state.counters["camera_slipped_ms"] = s.slippedMs;
    state.counters["camera_gap_worst_ms"] = s.worstMadeGapMs;
    state.counters["burst_frames"] = static_cast<double>(s.burstFrames);
    state.counters["fetch_gap_worst_ms"] = s.worstFetchGapMs;
    state.counters["hold_worst_ms"] = s.worstHoldMs;
    state.counters["holds_over_1ms"] = static_cast<double>(s.framesOverMs);
    state.counters["queued_worst_ms"] = s.worstQueueMs;
}

// Waits until the camera has made `count` frames (taken or lost), or `bound` has passed.
Orvia::Sim::SimStreamCounters waitForFrames(const CSimCamera& camera, uint64_t count, Clock::duration bound) {
    const auto deadline = Clock::now() + bound;
    auto counters = camera.streamCounters();
    while (counters.captured + counters.dropped < count && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        counters = camera.streamCounters();
    }
    return counters;
}

// QUBOID3D_BENCH_CATCH_UP_MS=<ms>: how late the sustained camera may still make a frame.
std::chrono::microseconds catchUpWindow() {
    const char* ms = std::getenv("QUBOID3D_BENCH_CATCH_UP_MS");
    if (ms == nullptr || *ms == '\0')
        return Orvia::Sim::kDefaultCatchUpWindow;
    return std::chrono::microseconds(static_cast<int64_t>(std::atof(ms) * 1000.0));
}

// (c) The camera sends at its own fixed rate; whatever finds the pool full is lost. It makes as
// many frames as a minute at its rate holds; a camera thread held up by the host longer than its
// catch-up window goes on at its rate afterwards, so the run then lasts longer by the time it
// lost (camera_slipped_ms).
void BM_Sustained(benchmark::State& state) {
    const double framesPerSecond = static_cast<double>(state.range(0));
    const auto seconds = static_cast<double>(state.range(1));
    const auto wanted = static_cast<uint64_t>(framesPerSecond * seconds);
    const auto window = catchUpWindow();
    Orvia::Sim::SimStreamCounters counters;
    auto frames = std::make_shared<quboid3d::bench::CFrameTimeline>(ring(ScanSimForm::Mono8)->replay(true),
                                                                    static_cast<std::size_t>(wanted) * 2);
    for (auto _ : state) {
        timeline = frames.get();
        {
            CRun run(ScanSimForm::Mono8, frames, Orvia::Sim::DeliveryMode::Paced, framesPerSecond, window);
            if (run.start())
                counters = waitForFrames(*run.camera, wanted, std::chrono::seconds(state.range(1) * 3));
        }
        timeline = nullptr;
        if (counters.captured == 0) {
            state.SkipWithError("camera mode did not start");
            break;
        }
    }
    if (counters.captured == 0)
        return;
    setTimelineCounters(state, *frames, framesPerSecond);
    std::lock_guard lock(seen.mutex);
    state.counters["catch_up_ms"] = std::chrono::duration<double, std::milli>(window).count();
    state.counters["made"] = static_cast<double>(counters.captured + counters.dropped);
    state.counters["captured"] = static_cast<double>(counters.captured);
    state.counters["lost"] = static_cast<double>(counters.dropped);
    state.counters["fetched_ok"] = static_cast<double>(seen.framesOk);
    state.counters["boxes"] = static_cast<double>(seen.boxes);
    state.counters["median_ms"] = medianOf(seen.latenciesMs);
    state.counters["worst_ms"] =
        seen.latenciesMs.empty() ? 0.0 : *std::max_element(seen.latenciesMs.begin(), seen.latenciesMs.end());
}
BENCHMARK(BM_Sustained)->Args({1000, 60})->Unit(benchmark::kSecond)->Iterations(1);

} // namespace

BENCHMARK_MAIN();
