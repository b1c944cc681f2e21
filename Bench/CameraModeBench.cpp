// Camera mode through the C interface, from a simulated laser camera serving the default scene of
// the virtual station (2048 x 512), pre-rendered once:
//  - frames per second of Mono8 and of the line form, the camera making each frame when the
//    library asks for it, beside lpmcProcess alone on the same frames; and the two paired, pass
//    for pass in turns (BM_CameraModeOverheadPaired), since separate runs of either move by more
//    than the overhead between them;
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
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "CalcQuboid3DMulti.h"
#include "CameraModeTimeline.h"
#include "Orvia/GenICam/System.h"
#include "Orvia/Sim/ScanSimFrames.h"
#include "Orvia/Sim/SimCamera.h"
#include "Quboid3DSdk.h"
#include "ScanSim/ScanWriter.h"
#include "ScanSim/Truth.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Orvia::Sim::CScanSimFrames;
using Orvia::Sim::CSimCamera;
using Orvia::Sim::ScanSimForm;

constexpr const char* kPlainModel = "MV-DL2048-G0X";
constexpr const char* kLineModel = "MV-DL2048-G1X";
constexpr std::size_t kPipelineFirstOffset = 48;
constexpr std::size_t kPipelineSecondOffset = 15408;

const ScanSim::Scene& scene() {
    static const ScanSim::Scene s = ScanSim::defaultScene();
    return s;
}

std::shared_ptr<CScanSimFrames> ring(ScanSimForm form) {
    static const auto rings =
        CScanSimFrames::renderForms(scene(), {}, {ScanSimForm::Mono8, ScanSimForm::LineForm});
    return rings[form == ScanSimForm::Mono8 ? 0 : 1];
}

// QUBOID3D_BENCH_FRAME_BUFFERS=<n> gives the camera n frame buffers through the site file, in
// place of the default 16: how many a station needs to ride out its machine's longest stalls.
void writeSiteFile(const fs::path& work) {
    const char* buffers = std::getenv("QUBOID3D_BENCH_FRAME_BUFFERS");
    if (buffers == nullptr || *buffers == '\0')
        return;
    std::ofstream site(work / "Quboid3DAdvCfg", std::ios::trunc);
    site << "FrameBufferCount=" << std::atoi(buffers) << "\n";
}

// A working directory without ./LocalMode.dat, and the scene's calibration on the camera's clock.
const std::string& cfgDir() {
    static const std::string dir = [] {
        const fs::path work = fs::temp_directory_path() / "quboid3d-bench-camera";
        fs::remove_all(work);
        fs::create_directories(work);
        fs::current_path(work);
        writeSiteFile(work);
        std::string error;
        ScanSim::writeCalibrationFiles(scene(), work / "3DCfg", error);
        std::ofstream pose(work / "3DCfg" / "LaserMovePose.data", std::ios::trunc);
        for (const auto& [key, value] : ScanSim::movePoseKeys(scene(), ScanSim::TimeBase::CameraMs))
            pose << key << " = " << value << "\n";
        return (work / "3DCfg/").string();
    }();
    return dir;
}

// What the callbacks saw, with the time of each box against the fetch before it.
struct Seen {
    std::mutex mutex;
    std::condition_variable changed;
    long framesOk = 0;
    // The waiter is woken by the fetch that reaches this count only, so that it takes no CPU
    // from the measuring thread on every frame.
    long framesWanted = 0;
    long boxes = 0;
    Clock::time_point firstOkFetch;
    Clock::time_point lastOkFetch;
    // The process's CPU time when the first fetch and the wanted fetch came.
    std::clock_t cpuAtFirst = 0;
    std::clock_t cpuAtWanted = 0;
    std::vector<double> latenciesMs;

    void reset() {
        std::lock_guard lock(mutex);
        framesOk = 0;
        framesWanted = 0;
        boxes = 0;
        latenciesMs.clear();
    }
};
Seen seen;
// The timeline of the sustained run, set before its measuring thread starts and cleared after it ends.
quboid3d::bench::CFrameTimeline* timeline = nullptr;

void onFrameStatus(const FrameStatusInfo* info) {
    const auto now = Clock::now();
    if (timeline != nullptr && info->ok != 0)
        timeline->fetched();
    std::lock_guard lock(seen.mutex);
    if (info->ok != 0) {
        ++seen.framesOk;
        seen.lastOkFetch = now;
        if (seen.framesOk == 1) {
            seen.firstOkFetch = now;
            seen.cpuAtFirst = std::clock();
        }
    }
    if (seen.framesOk == seen.framesWanted) {
        seen.cpuAtWanted = std::clock();
        seen.changed.notify_all();
    }
}

void onBox(const VslbVolumeResult*) {
    const auto now = Clock::now();
    if (timeline != nullptr)
        timeline->boxHandedOver();
    std::lock_guard lock(seen.mutex);
    ++seen.boxes;
    seen.latenciesMs.push_back(std::chrono::duration<double, std::milli>(now - seen.lastOkFetch).count());
    seen.changed.notify_all();
}

// One measuring object on a freshly plugged camera serving `frames`.
class CRun {
public:
    CRun(ScanSimForm form, std::shared_ptr<Orvia::Sim::IFrameGenerator> frames, Orvia::Sim::DeliveryMode mode,
         double framesPerSecond = 0.0,
         std::chrono::microseconds catchUpWindow = Orvia::Sim::kDefaultCatchUpWindow) {
        const std::string& cfg = cfgDir();
        camera = CSimCamera::plugIn(Orvia::Sim::laserCameraDescription(
            "BENCH", 0, form == ScanSimForm::LineForm ? kLineModel : kPlainModel));
        camera->setFrameGenerator(std::move(frames));
        camera->setDeliveryMode(mode, framesPerSecond, catchUpWindow);
        // Only the simulated camera is measured: no search for real devices on the network.
        Orvia::GenICam::CSystem::getInstance().setBackendEnabled("aravis", false);
        seen.reset();
        handle = vslbQuboid3DCreate();
        ok = vslbQuboid3DInit(handle, cfg.c_str()) == VSLB_OK &&
             vslbSetFrameStatusCallback(handle, &onFrameStatus) == VSLB_OK;
    }
    bool start() { return ok && vslbQuboid3DRunEx(handle, &onBox) == VSLB_OK; }
    ~CRun() {
        vslbQuboid3DStop(handle);
        vslbQuboid3DDestroy(handle);
    }
    std::shared_ptr<CSimCamera> camera;
    VslbHandle handle = 0;
    bool ok = false;
};

double medianOf(std::vector<double> values) {
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// The CPU time of the whole process per frame, in microseconds: on a shared machine it moves far
// less with the load than the wall clock does, and it is what the overhead goal compares.
void setCpuPerFrame(benchmark::State& state, double cpuSeconds, int frames) {
    const double all = static_cast<double>(state.iterations()) * frames;
    state.counters["cpu_us_per_frame"] = all > 0 ? 1e6 * cpuSeconds / all : 0.0;
}

// Wall and process CPU time of one pass of the scene; for camera mode also from its first frame's
// fetch on, which leaves out bringing up the camera and the measuring thread.
struct PassTimes {
    double wallSeconds = 0.0;
    double cpuSeconds = 0.0;
    double steadyWallSeconds = 0.0;
    double steadyCpuSeconds = 0.0;
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
    times.steadyWallSeconds = std::chrono::duration<double>(seen.lastOkFetch - seen.firstOkFetch).count();
    times.steadyCpuSeconds = static_cast<double>(seen.cpuAtWanted - seen.cpuAtFirst) / CLOCKS_PER_SEC;
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

// Each frame of the ring described as a pass of camera mode describes it, handed to the library.
// The library's own time on the frames that hand out a result, and on the slowest frame.
struct AloneTimes {
    double worstFrameMs = 0.0;
    double worstResultFrameMs = 0.0;
};

long feedAlone(Orvia::VisionSystem::CCalcQuboid3DMulti& calculator, ScanSimForm form,
               const CScanSimFrames& frames, int count, AloneTimes& times) {
    LpmcInput& in = calculator.input;
    LpmcResult& result = calculator.result;
    const std::int32_t width = scene().station.camera.width;
    const std::int32_t height = scene().station.camera.height;
    long boxes = 0;
    for (int k = 0; k < count; ++k) {
        const uint8_t* data = frames.ringData(k);
        in.timestamp[0] = k * scene().motion.framePeriodMs;
        if (form == ScanSimForm::Mono8) {
            in.imageType[0] = LPMC_IMAGE_MONO8;
            in.image[0]->width = width;
            in.image[0]->height = height;
            in.image[0]->pixels = data;
            in.image[0]->region = *calculator.config.region[0];
        } else {
            in.imageType[0] = LPMC_IMAGE_LINE;
            std::memcpy(&in.pipelineCount[0], data + 36, sizeof(int32_t));
            in.pipelineFirst[0] = data + kPipelineFirstOffset;
            in.pipelineSecond[0] = data + kPipelineSecondOffset;
        }
        const auto before = Clock::now();
        lpmcProcess(calculator.handle, &in, &result);
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - before).count();
        times.worstFrameMs = std::max(times.worstFrameMs, ms);
        if (result.resultState != 0)
            times.worstResultFrameMs = std::max(times.worstResultFrameMs, ms);
        boxes += result.resultState == LPMC_STATE_BOXES ? result.volumeNum : 0;
    }
    return boxes;
}

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
    boxes += feedAlone(calculator, form, *frames, frames->passFrames(), worst);
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

void setRatioCounters(benchmark::State& state, const std::string& name, std::vector<double> ratios) {
    std::sort(ratios.begin(), ratios.end());
    state.counters[name + "_median"] = medianOf(ratios);
    state.counters[name + "_min"] = ratios.empty() ? 0.0 : ratios.front();
    state.counters[name + "_max"] = ratios.empty() ? 0.0 : ratios.back();
}

// (a) paired: camera-mode and alone passes over the same frames take turns in one process, which
// first alternating, so that both meet the same memory and the same machine; a separate run of
// each moves by more than the overhead asked about. Time of camera mode over time alone, per pair.
void BM_CameraModeOverheadPaired(benchmark::State& state) {
    const auto form = static_cast<ScanSimForm>(state.range(0));
    const auto rounds = static_cast<int>(state.range(1));
    const int frames = ring(form)->passFrames();
    std::vector<double> wallRatios, cpuRatios, steadyWallRatios, steadyCpuRatios;
    for (auto _ : state) {
        for (int r = 0; r < rounds; ++r) {
            PassTimes camera, alone;
            AloneTimes worst;
            long boxes = 0;
            const bool ran = r % 2 == 0 ? cameraPass(form, camera) && alonePass(form, alone, worst, boxes)
                                        : alonePass(form, alone, worst, boxes) && cameraPass(form, camera);
            if (!ran || alone.wallSeconds <= 0.0 || alone.cpuSeconds <= 0.0) {
                state.SkipWithError("a pass did not run");
                return;
            }
            wallRatios.push_back(camera.wallSeconds / alone.wallSeconds);
            cpuRatios.push_back(camera.cpuSeconds / alone.cpuSeconds);
            // Per frame, the first frame's fetch on against the whole pass alone.
            const double steadyShare = static_cast<double>(frames - 1) / frames;
            steadyWallRatios.push_back(camera.steadyWallSeconds / (steadyShare * alone.wallSeconds));
            steadyCpuRatios.push_back(camera.steadyCpuSeconds / (steadyShare * alone.cpuSeconds));
        }
    }
    setRatioCounters(state, "wall_ratio", wallRatios);
    setRatioCounters(state, "cpu_ratio", cpuRatios);
    setRatioCounters(state, "steady_wall_ratio", steadyWallRatios);
    setRatioCounters(state, "steady_cpu_ratio", steadyCpuRatios);
}
BENCHMARK(BM_CameraModeOverheadPaired)
    ->Args({static_cast<int>(ScanSimForm::Mono8), 20})
    ->Args({static_cast<int>(ScanSimForm::LineForm), 20})
    ->Unit(benchmark::kSecond)
    ->Iterations(1);

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
