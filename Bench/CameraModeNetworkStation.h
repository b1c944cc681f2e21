// What both halves of CameraModeNetworkBench use: the station around one measuring object in
// camera mode over loopback (its working directory, the camera's arguments), the one channel
// through which the library's callbacks report, and the machine's load beside every figure.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "Quboid3DSdk.h"

namespace quboid3d::bench {

using Clock = std::chrono::steady_clock;

inline constexpr const char* kNetworkAddress = "127.0.0.1";

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

    void reset(bool keepTimes);
};
extern Channel channel;

// ---- the station: a working directory without ./LocalMode.dat, an empty configuration
// directory the library fills from the camera.

void enterWorkDirectory();

// The virtual camera's arguments: 2048 x 512 at `framesPerSecond`, Mono8 or Mono4p, from a
// pre-rendered ring of frames or rendered live.
std::vector<std::string> cameraArguments(int64_t framesPerSecond, bool mono4p, bool ring);

// ---- one measuring object in camera mode

class CMeasuring {
public:
    CMeasuring();
    ~CMeasuring();
    CMeasuring(const CMeasuring&) = delete;
    CMeasuring& operator=(const CMeasuring&) = delete;

    bool init();
    // The cameras rebuilt after a reconnection come without the frame status callback: the
    // application sets it again once status 2 has come.
    bool watchFrames();
    bool run();
    void stop();

private:
    VslbHandle handle_;
};

// The machine's load over the last minute as a run ends: figures on a shared machine follow it.
void reportLoad(benchmark::State& state);

// Each half registers its benchmarks, in the order the program runs them.
void registerThroughputBenchmarks();
void registerLossAndReturnBenchmarks();

} // namespace quboid3d::bench
