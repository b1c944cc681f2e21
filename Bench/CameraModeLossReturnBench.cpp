// The camera's loss and return in camera mode (CameraModeNetworkBench): status 1 after the camera
// process is stopped, status 2 and the first frame measured again after it answers again, median
// and worst of some rounds.
#include <algorithm>
#include <chrono>
#include <mutex>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "CameraModeNetworkStation.h"
#include "Network/VirtualCameraProcess.h"
#include "Quboid3DSdk.h"

namespace quboid3d::bench {

namespace {

using quboid3d::test::CVirtualCameraProcess;

constexpr std::chrono::seconds kLiveCameraStartLimit{30};
constexpr std::chrono::seconds kStatusLimit{15};
constexpr std::chrono::seconds kFramesLimit{30};
constexpr long kFramesBeforeLoss = 50;

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

} // namespace

void registerLossAndReturnBenchmarks() {
    benchmark::RegisterBenchmark("BM_CameraLossAndReturn", BM_CameraLossAndReturn)
        ->Arg(5)
        ->Iterations(1)
        ->Unit(benchmark::kSecond)
        ->UseRealTime();
}

} // namespace quboid3d::bench
