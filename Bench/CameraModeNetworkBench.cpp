// Camera mode through the whole system over loopback: quboid3d-virtual-camera serves the default
// scene of the virtual station (2048 x 512, four boxes) on 127.0.0.1, and the measuring library,
// through its C interface, discovers it, takes its calibration into an empty configuration
// directory and measures for a minute. Per run:
//  - sent: frames the camera sent (its own count); processed: frames the library fetched;
//    lost: sent - processed, whatever became of them (a frame sent between the library's last
//    fetch and the camera's stop would count too: the stop follows within milliseconds);
//    stream_dropped: the camera stream's own count (holes in the frame numbers, incomplete
//    frames, a full pool), beside it;
//  - boxes measured against the scene's truth: how many, how many the belt brought past the
//    line in that time, the largest difference on any axis, and how many were off by more than
//    the network end-to-end test allows;
//  - CPU per processed frame of this process (library, camera library, Aravis) and of the camera.
// And the loss and return of the camera: status 1 after the camera process is stopped, status 2
// and the first frame measured again after it answers again, median and worst of some rounds.
//
// Each run starts its own camera process; every wait is bounded. Linux, with Aravis.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
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
#include <stdlib.h>

#include "Network/VirtualCameraProcess.h"
#include "Orvia/GenICam/StreamSource.h"
#include "Orvia/GenICam/System.h"
#include "Quboid3DSdk.h"
#include "ScanSim/Renderer.h"
#include "ScanSim/Truth.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using quboid3d::test::CVirtualCameraProcess;

constexpr const char* kAddress = "127.0.0.1";
// A frame period of 10 us: the camera sends as fast as it can.
constexpr int64_t kUnpacedFramesPerSecond = 100000;
// Enough to hold a whole pass of the default scene, so that the camera only copies frames.
constexpr int kRingFrames = 4096;
// Rendering the ring on two busy cores takes a while.
constexpr std::chrono::seconds kCameraStartLimit{300};
constexpr std::chrono::seconds kLiveCameraStartLimit{30};
constexpr std::chrono::seconds kStatusLimit{15};
constexpr std::chrono::seconds kFramesLimit{30};
// An object is complete some profiles after it has left the line: the library needs empty belt
// behind it.
constexpr int kCompletionFrames = 20;
constexpr int kReconnectTimeoutMs = 20000;
constexpr long kFramesBeforeLoss = 50;
constexpr double kToleranceMm = 2.5;

// ---- what the callbacks see; they take no context, so the program has one channel.

struct Channel {
    std::mutex mutex;
    std::condition_variable changed;
    long framesOk = 0;
    long framesFailed = 0;
    std::vector<VslbVolumeResult> boxes;
    std::vector<std::pair<int, Clock::time_point>> statuses;
    std::vector<Clock::time_point> okTimes; // kept only while `keepOkTimes`
    bool keepOkTimes = false;

    void reset(bool keepTimes) {
        std::lock_guard lock(mutex);
        framesOk = 0;
        framesFailed = 0;
        boxes.clear();
        statuses.clear();
        okTimes.clear();
        keepOkTimes = keepTimes;
    }
};
Channel channel;

void onFrameStatus(const FrameStatusInfo* info) {
    const auto now = Clock::now();
    std::lock_guard lock(channel.mutex);
    if (info->ok == 0) {
        ++channel.framesFailed;
        return;
    }
    ++channel.framesOk;
    if (channel.keepOkTimes) {
        channel.okTimes.push_back(now);
        channel.changed.notify_all();
    }
}

void onBox(const VslbVolumeResult* box) {
    std::lock_guard lock(channel.mutex);
    channel.boxes.push_back(*box);
}

void onStatus(const VslbCameraStatus* status) {
    const auto now = Clock::now();
    std::lock_guard lock(channel.mutex);
    channel.statuses.emplace_back(status->status, now);
    channel.changed.notify_all();
}

// ---- the station: a working directory without ./LocalMode.dat, an empty configuration
// directory the library fills from the camera, and the truth of the camera's scene.

void enterWorkDirectory() {
    const fs::path work = fs::temp_directory_path() / "quboid3d-bench-network";
    fs::remove_all(work);
    fs::create_directories(work / "3DCfg");
    fs::current_path(work);
    std::ofstream("Quboid3DAdvCfg") << "CameraReconnectTimeout=" << kReconnectTimeoutMs << "\n";
}

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

std::vector<std::string> cameraArguments(int64_t framesPerSecond, bool mono4p, bool ring) {
    std::vector<std::string> arguments = {"--address",     kAddress, "--fps", std::to_string(framesPerSecond),
                                          "--packet-size", "9000"};
    if (ring) {
        arguments.insert(arguments.end(), {"--ring", std::to_string(kRingFrames)});
    }
    if (mono4p) {
        arguments.push_back("--mono4p");
    }
    return arguments;
}

// ---- one measuring object in camera mode

class CMeasuring {
public:
    CMeasuring() : handle_(vslbQuboid3DCreate()) { vslbSetCameraStatusCallback(handle_, &onStatus); }
    ~CMeasuring() {
        vslbQuboid3DStop(handle_);
        vslbQuboid3DDestroy(handle_);
    }
    CMeasuring(const CMeasuring&) = delete;
    CMeasuring& operator=(const CMeasuring&) = delete;

    bool init() { return vslbQuboid3DInit(handle_, "3DCfg/") == VSLB_OK && watchFrames(); }
    // The cameras rebuilt after a reconnection come without the frame status callback: the
    // application sets it again once status 2 has come.
    bool watchFrames() { return vslbSetFrameStatusCallback(handle_, &onFrameStatus) == VSLB_OK; }
    bool run() { return vslbQuboid3DRunEx(handle_, &onBox) == VSLB_OK; }
    void stop() { vslbQuboid3DStop(handle_); }

private:
    VslbHandle handle_;
};

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

// The machine's load over the last minute as a run ends: figures on a shared machine follow it.
void reportLoad(benchmark::State& state) {
    double load[1] = {0.0};
    state.counters["load1"] = getloadavg(load, 1) == 1 ? load[0] : -1.0;
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

// {frames per second (0: unpaced), Mono4p, seconds}: the goal (200 frames a second, both
// formats), the ladder towards the highest rate without loss, and the camera unpaced.
BENCHMARK(BM_CameraModeOverLoopback)
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

// ---- loss and return

struct LossRound {
    double lostMs = 0.0;      // camera stopped -> status 1
    double backMs = 0.0;      // camera answering again -> status 2
    double measuringMs = 0.0; // camera answering again -> first frame fetched after status 2
};

double millisecondsBetween(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

bool waitForStatus(int status, std::size_t from, Clock::time_point& at) {
    std::unique_lock lock(channel.mutex);
    const auto found = [&] {
        for (std::size_t i = from; i < channel.statuses.size(); ++i) {
            if (channel.statuses[i].first == status) {
                at = channel.statuses[i].second;
                return true;
            }
        }
        return false;
    };
    return channel.changed.wait_for(lock, kStatusLimit, found);
}

// The first frame fetched at or after `after`, waiting for it if need be.
bool waitForFrameAfter(Clock::time_point after, Clock::time_point& at) {
    std::unique_lock lock(channel.mutex);
    const auto found = [&] {
        const auto it = std::lower_bound(channel.okTimes.begin(), channel.okTimes.end(), after);
        if (it == channel.okTimes.end()) {
            return false;
        }
        at = *it;
        return true;
    };
    return channel.changed.wait_for(lock, kFramesLimit, found);
}

bool waitForFrames(long count) {
    std::unique_lock lock(channel.mutex);
    return channel.changed.wait_for(lock, kFramesLimit, [&] { return channel.framesOk >= count; });
}

std::size_t statusesSoFar() {
    std::lock_guard lock(channel.mutex);
    return channel.statuses.size();
}

long framesSoFar() {
    std::lock_guard lock(channel.mutex);
    return channel.framesOk;
}

// The camera measured for a while, stopped, and started again. The first frame after the return
// is the first one fetched once the callback is set again, a frame period or so after status 2.
bool loseAndReturn(CVirtualCameraProcess& camera, CMeasuring& measuring,
                   const std::vector<std::string>& arguments, LossRound& round, std::string& error) {
    if (!waitForFrames(framesSoFar() + kFramesBeforeLoss)) {
        error = "no frames before the loss";
        return false;
    }
    const std::size_t from = statusesSoFar();
    camera.stop();
    const auto offAt = Clock::now();
    Clock::time_point lostAt;
    if (!waitForStatus(VSLB_CAMERA_RECONNECTING, from, lostAt)) {
        error = "no status 1 after the camera stopped";
        return false;
    }
    round.lostMs = millisecondsBetween(offAt, lostAt);
    if (!camera.start(arguments, kLiveCameraStartLimit)) {
        error = "the virtual camera did not start again";
        return false;
    }
    const auto discoverableAt = Clock::now();
    Clock::time_point backAt;
    Clock::time_point measuringAt;
    if (!waitForStatus(VSLB_CAMERA_RECONNECTED, from, backAt) || !measuring.watchFrames() ||
        !waitForFrameAfter(backAt, measuringAt)) {
        error = "no status 2 or no frame after the camera came back";
        return false;
    }
    round.backMs = millisecondsBetween(discoverableAt, backAt);
    round.measuringMs = millisecondsBetween(discoverableAt, measuringAt);
    return true;
}

double medianOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0.0 : values[values.size() / 2];
}

double worstOf(const std::vector<double>& values) {
    return values.empty() ? 0.0 : *std::max_element(values.begin(), values.end());
}

void reportRounds(benchmark::State& state, const std::vector<LossRound>& rounds) {
    std::vector<double> lost, back, measuring;
    for (const auto& round : rounds) {
        lost.push_back(round.lostMs);
        back.push_back(round.backMs);
        measuring.push_back(round.measuringMs);
    }
    reportLoad(state);
    state.counters["rounds"] = static_cast<double>(rounds.size());
    state.counters["status1_median_ms"] = medianOf(lost);
    state.counters["status1_worst_ms"] = worstOf(lost);
    state.counters["status2_median_ms"] = medianOf(back);
    state.counters["status2_worst_ms"] = worstOf(back);
    state.counters["measuring_median_ms"] = medianOf(measuring);
    state.counters["measuring_worst_ms"] = worstOf(measuring);
}

// The camera renders live at 100 frames a second, so that it answers again soon after it starts.
void BM_CameraLossAndReturn(benchmark::State& state) {
    const auto rounds = static_cast<int>(state.range(0));
    const auto arguments = cameraArguments(100, false, false);
    std::vector<LossRound> done;
    for (auto _ : state) {
        CVirtualCameraProcess camera;
        channel.reset(true);
        CMeasuring measuring;
        if (!camera.start(arguments, kLiveCameraStartLimit) || !measuring.init() || !measuring.run()) {
            state.SkipWithError("camera mode did not start on the virtual camera");
            return;
        }
        for (int i = 0; i < rounds; ++i) {
            LossRound round;
            std::string error;
            if (!loseAndReturn(camera, measuring, arguments, round, error)) {
                state.SkipWithError(error.c_str());
                return;
            }
            done.push_back(round);
        }
    }
    reportRounds(state, done);
}
BENCHMARK(BM_CameraLossAndReturn)->Arg(5)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

} // namespace

int main(int argc, char** argv) {
    // Discovery asks the loopback address alone, never the networks around.
    setenv("QUBOID3D_ARAVIS_DISCOVERY", kAddress, 0);
    enterWorkDirectory();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
