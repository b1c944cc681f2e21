// Camera mode through the whole system over loopback, for a minute per run (CameraModeNetworkBench):
//  - sent: frames the camera sent (its own count); processed: frames the library fetched;
//    lost: sent - processed, whatever became of them (a frame sent between the library's last
//    fetch and the camera's stop would count too: the stop follows within milliseconds);
//    stream_dropped: the camera stream's own count (holes in the frame numbers, incomplete
//    frames, a full pool), beside it;
//  - boxes measured against the scene's truth: how many, how many the belt brought past the
//    line in that time, the largest difference on any axis, and how many were off by more than
//    the network end-to-end test allows;
//  - CPU per processed frame of this process (library, camera library, Aravis) and of the camera.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "CameraModeNetworkStation.h"
#include "Network/VirtualCameraProcess.h"
#include "Orvia/GenICam/StreamSource.h"
#include "Orvia/GenICam/System.h"
#include "Quboid3DSdk.h"
#include "ScanSim/Renderer.h"
#include "ScanSim/Truth.h"

namespace quboid3d::bench {

namespace {

namespace fs = std::filesystem;
using quboid3d::test::CVirtualCameraProcess;

// A frame period of 10 us: the camera sends as fast as it can.
constexpr int64_t kUnpacedFramesPerSecond = 100000;
// Rendering the ring on two busy cores takes a while.
constexpr std::chrono::seconds kCameraStartLimit{300};
// An object is complete some profiles after it has left the line: the library needs empty belt
// behind it.
constexpr int kCompletionFrames = 20;
constexpr double kToleranceMm = 2.5;

// ---- the truth of the camera's scene

const ScanSim::ScanTruth& truth() {
    static const ScanSim::ScanTruth t = [] {
        const ScanSim::CFrameRenderer renderer(ScanSim::defaultScene());
        return ScanSim::computeTruth(renderer, ScanSim::TimeBase::CameraMs);
    }();
    return t;
}

// Boxes whose rear the belt carried past the line within `periods` frame periods from the
// start of the scene, which the camera plays round.
long boxesExpected(uint64_t periods) {
    const auto& t = truth();
    const uint64_t pass = static_cast<uint64_t>(t.frameCount);
    long expected = static_cast<long>(periods / pass * t.objects.size());
    const uint64_t rest = periods % pass;
    for (const auto& object : t.objects) {
        expected += object.lastFrame + kCompletionFrames < static_cast<int64_t>(rest) ? 1 : 0;
    }
    return expected;
}

// The largest difference on any axis from the truth object it is closest to.
double errorAgainstTruth(const VslbVolumeResult& box) {
    double best = 1e9;
    for (const auto& object : truth().objects) {
        const double worstAxis =
            std::max({std::abs(box.length - object.length), std::abs(box.width - object.width),
                      std::abs(box.height - object.height)});
        best = std::min(best, worstAxis);
    }
    return best;
}

// ---- the camera process

std::map<std::string, double> readStats(const fs::path& path) {
    std::map<std::string, double> stats;
    std::ifstream in(path);
    std::string name;
    double value = 0.0;
    while (in >> name >> value) {
        stats[name] = value;
    }
    return stats;
}

// The stream the library grabs from: every view of a device's stream shares its counts.
Orvia::Memory::TSharedPtr<Orvia::GenICam::IStreamSource> libraryStream() {
    using namespace Orvia::GenICam;
    Orvia::Infra::TVector<Orvia::Memory::TSharedPtr<ICamera>> cameras;
    CSystem::getInstance().discovery(cameras);
    return cameras.empty() ? nullptr : CSystem::getInstance().createStreamSource(cameras.front(), 0);
}

double cpuSeconds() {
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

struct NetworkRun {
    double seconds = 0.0;
    double sent = 0.0;
    double periods = 0.0;
    double processed = 0.0;
    double fetchFailures = 0.0;
    double streamDropped = 0.0;
    double cpuSeconds = 0.0;
    double cameraCpuSeconds = 0.0;
    double boxes = 0.0;
    double unmeasured = 0.0;
    double maxErrorMm = 0.0;
    double boxesOff = 0.0;
};

void takeBoxes(NetworkRun& run) {
    std::lock_guard lock(channel.mutex);
    run.processed = static_cast<double>(channel.framesOk);
    run.fetchFailures = static_cast<double>(channel.framesFailed);
    for (const auto& box : channel.boxes) {
        if (box.detailed == 0) {
            ++run.unmeasured;
            continue;
        }
        ++run.boxes;
        const double error = errorAgainstTruth(box);
        run.maxErrorMm = std::max(run.maxErrorMm, error);
        run.boxesOff += error > kToleranceMm ? 1 : 0;
    }
}

// Measures for `seconds` with the library's stream counted before and after.
bool measureFor(CMeasuring& measuring, double seconds, NetworkRun& run, std::string& error) {
    auto stream = libraryStream();
    if (!stream) {
        error = "the library's camera was not found again";
        return false;
    }
    const uint64_t droppedBefore = stream->getDroppedFrameCount();
    const double cpuBefore = cpuSeconds();
    const auto start = Clock::now();
    if (!measuring.run()) {
        error = "camera mode did not start";
        return false;
    }
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    measuring.stop();
    run.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    run.cpuSeconds = cpuSeconds() - cpuBefore;
    run.streamDropped = static_cast<double>(stream->getDroppedFrameCount() - droppedBefore);
    takeBoxes(run);
    return true;
}

bool measureOverLoopback(int64_t framesPerSecond, bool mono4p, double seconds, NetworkRun& run,
                         std::string& error) {
    const fs::path statsPath = fs::absolute("camera-stats.txt");
    fs::remove(statsPath);
    auto arguments = cameraArguments(framesPerSecond, mono4p, true);
    arguments.insert(arguments.end(), {"--stats-file", statsPath.string()});
    CVirtualCameraProcess camera;
    if (!camera.start(arguments, kCameraStartLimit)) {
        error = "the virtual camera did not start: " + camera.banner();
        return false;
    }
    channel.reset(false);
    {
        CMeasuring measuring;
        if (!measuring.init()) {
            error = "camera mode did not initialise from the virtual camera";
            return false;
        }
        if (!measureFor(measuring, seconds, run, error)) {
            return false;
        }
    }
    camera.stop();
    auto stats = readStats(statsPath);
    run.sent = stats["frames_sent"];
    run.periods = stats["frame_periods"];
    run.cameraCpuSeconds = stats["cpu_seconds"];
    return true;
}

void reportRun(benchmark::State& state, const NetworkRun& run, bool paced) {
    reportLoad(state);
    state.counters["sent"] = run.sent;
    state.counters["processed"] = run.processed;
    const double lost = run.sent - run.processed;
    state.counters["lost"] = lost;
    state.counters["lost_pct"] = run.sent > 0 ? 100.0 * lost / run.sent : 0.0;
    state.counters["stream_dropped"] = run.streamDropped;
    // Frame periods the camera's sending thread let pass without a frame (it was late): not lost,
    // never sent.
    state.counters["camera_skipped"] = run.periods - run.sent;
    state.counters["fetch_failed"] = run.fetchFailures;
    state.counters["fps"] = run.processed / run.seconds;
    state.counters["boxes"] = run.boxes;
    // Unpaced, the belt moves by the camera's nominal period, far more per frame sent than a box
    // can be measured at: no boxes are expected.
    state.counters["boxes_expected"] =
        paced ? static_cast<double>(boxesExpected(uint64_t(run.periods))) : 0.0;
    state.counters["unmeasured"] = run.unmeasured;
    state.counters["max_err_mm"] = run.maxErrorMm;
    state.counters["boxes_off"] = run.boxesOff;
    state.counters["cpu_us_per_frame"] = run.processed > 0 ? 1e6 * run.cpuSeconds / run.processed : 0.0;
    state.counters["camera_cpu_us_per_frame"] = run.sent > 0 ? 1e6 * run.cameraCpuSeconds / run.sent : 0.0;
}

// QUBOID3D_BENCH_SECONDS=<s> shortens every run to s seconds: a quick look before the minute runs.
double secondsOfRun(int64_t listed) {
    const char* shorter = std::getenv("QUBOID3D_BENCH_SECONDS");
    return shorter != nullptr && std::atof(shorter) > 0.0 ? std::atof(shorter) : static_cast<double>(listed);
}

void BM_CameraModeOverLoopback(benchmark::State& state) {
    const bool paced = state.range(0) > 0;
    const int64_t framesPerSecond = paced ? state.range(0) : kUnpacedFramesPerSecond;
    const bool mono4p = state.range(1) != 0;
    const double seconds = secondsOfRun(state.range(2));
    NetworkRun run;
    for (auto _ : state) {
        std::string error;
        if (!measureOverLoopback(framesPerSecond, mono4p, seconds, run, error)) {
            state.SkipWithError(error.c_str());
            return;
        }
        state.SetIterationTime(run.seconds);
    }
    reportRun(state, run, paced);
    state.SetBytesProcessed(static_cast<int64_t>(run.processed) * 2048 * 512 / (mono4p ? 2 : 1));
}

} // namespace

// {frames per second (0: unpaced), Mono4p, seconds}: the goal (200 frames a second, both
// formats), the ladder towards the highest rate without loss, and the camera unpaced.
void registerThroughputBenchmarks() {
    benchmark::RegisterBenchmark("BM_CameraModeOverLoopback", BM_CameraModeOverLoopback)
        ->ArgNames({"fps", "mono4p", "seconds"})
        ->Args({200, 0, 60})
        ->Args({200, 1, 60})
        ->Args({300, 0, 60})
        ->Args({400, 0, 60})
        ->Args({500, 0, 60})
        ->Args({0, 0, 60})
        ->Args({0, 1, 60})
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kSecond);
}

} // namespace quboid3d::bench
