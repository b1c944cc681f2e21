// Frames from the virtual laser camera over loopback through the Aravis backend and the camera
// API, as the measuring library takes them: 2048 x 512 Mono8 and Mono4p, paced at set rates and
// unpaced. "lost" counts the frames missing from the device's frame numbers as the consumer saw
// them, whatever the cause; "dropped" is the stream's own count of those it let go (incomplete,
// no free buffer, or a full queue). Each run starts its own camera process on 127.0.0.1.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "Network/VirtualCameraProcess.h"
#include "Orvia/GenICam/Frame.h"
#include "Orvia/GenICam/StreamSource.h"
#include "Orvia/GenICam/System.h"

namespace {

using namespace Orvia::GenICam;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kAccessControl = 3;
constexpr int32_t kBuffers = 16;
constexpr double kUnpaced = 100000.0; // a frame period of 10 us: the server sends as fast as it can
// GigE Vision 1.x frame numbers are 16 bits and skip 0.
constexpr uint64_t kFrameIdCycle = 65535;

struct StreamRun {
    uint64_t frames = 0;
    uint64_t lost = 0;
    uint64_t dropped = 0;
    double seconds = 0.0;
    // The camera's own clock (its frame timestamps, 1 GHz for the virtual camera) over the frames
    // taken: the rate it sent at, apart from the start of acquisition.
    double cameraSeconds = 0.0;
};

constexpr double kVirtualCameraTicksPerSecond = 1e9;

Orvia::Memory::TSharedPtr<ICamera> findCamera() {
    Orvia::Infra::TVector<Orvia::Memory::TSharedPtr<ICamera>> cameras;
    for (int attempt = 0; attempt < 10 && cameras.empty(); ++attempt) {
        CSystem::getInstance().discovery(cameras);
    }
    return cameras.empty() ? nullptr : cameras.front();
}

uint64_t framesBetween(uint64_t previous, uint64_t current) {
    const uint64_t step = current > previous ? current - previous : current + kFrameIdCycle - previous;
    return step == 0 ? 0 : step - 1;
}

bool grab(double framesPerSecond, bool mono4p, double seconds, StreamRun& run, std::string& error) {
    quboid3d::test::CVirtualCameraProcess server;
    std::vector<std::string> arguments = {
        "--address", "127.0.0.1", "--fps",         std::to_string(framesPerSecond),
        "--ring",    "64",        "--packet-size", "9000"};
    if (mono4p) {
        arguments.push_back("--mono4p");
    }
    if (!server.start(arguments, std::chrono::seconds(60))) {
        error = "the virtual camera did not start";
        return false;
    }
    auto camera = findCamera();
    if (!camera || !camera->connect(kAccessControl)) {
        error = "the virtual camera was not found or refused the connection";
        return false;
    }
    auto stream = CSystem::getInstance().createStreamSource(camera, 0);
    // A device keeps its stream object from one connection to the next, and its counts.
    const uint64_t droppedBefore = stream ? stream->getDroppedFrameCount() : 0;
    if (!stream || !stream->setBufferCount(kBuffers) || !stream->startGrabbing(0, 0)) {
        error = "the stream did not start";
        camera->disconnect();
        return false;
    }
    const auto start = Clock::now();
    const auto end = start + std::chrono::duration<double>(seconds);
    uint64_t lastId = 0;
    uint64_t firstTimestamp = 0;
    uint64_t lastTimestamp = 0;
    CFrame frame;
    while (Clock::now() < end) {
        if (!stream->getFrame(frame, 1000)) {
            continue;
        }
        if (run.frames > 0) {
            run.lost += framesBetween(lastId, frame.getFrameId());
        }
        lastId = frame.getFrameId();
        lastTimestamp = frame.getImageTimeStamp();
        if (run.frames == 0) {
            firstTimestamp = lastTimestamp;
        }
        ++run.frames;
        benchmark::DoNotOptimize(frame.getImage());
    }
    run.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    run.cameraSeconds = double(lastTimestamp - firstTimestamp) / kVirtualCameraTicksPerSecond;
    frame.reset();
    run.dropped = stream->getDroppedFrameCount() - droppedBefore;
    stream->stopGrabbing();
    camera->disconnect();
    return true;
}

void BM_VirtualCameraOverLoopback(benchmark::State& state) {
    // Discovery asks the loopback address alone, never the networks around.
    setenv("QUBOID3D_ARAVIS_DISCOVERY", "127.0.0.1", 0);
    const double framesPerSecond = state.range(0) > 0 ? double(state.range(0)) : kUnpaced;
    const bool mono4p = state.range(1) != 0;
    const double seconds = double(state.range(2));
    StreamRun total;
    for (auto _ : state) {
        StreamRun run;
        std::string error;
        if (!grab(framesPerSecond, mono4p, seconds, run, error)) {
            state.SkipWithError(error.c_str());
            return;
        }
        total.frames += run.frames;
        total.lost += run.lost;
        total.dropped += run.dropped;
        total.seconds += run.seconds;
        total.cameraSeconds += run.cameraSeconds;
    }
    state.counters["fps"] = double(total.frames) / total.seconds;
    // Frames and their gaps over the camera's time from the first frame taken to the last.
    state.counters["camera_fps"] = double(total.frames + total.lost - 1) / total.cameraSeconds;
    state.counters["frames"] = double(total.frames);
    state.counters["lost"] = double(total.lost);
    state.counters["dropped"] = double(total.dropped);
    state.counters["lost_pct"] = 100.0 * double(total.lost) / double(total.frames + total.lost);
    state.SetBytesProcessed(int64_t(total.frames) * 2048 * 512 / (mono4p ? 2 : 1));
}

// {frames per second (0: unpaced), Mono4p, seconds}: the goal (200 frames a second of Mono8),
// higher rates for the highest without loss, and the camera sending as fast as it can.
BENCHMARK(BM_VirtualCameraOverLoopback)
    ->ArgNames({"fps", "mono4p", "seconds"})
    ->Args({200, 0, 60})
    ->Args({200, 1, 60})
    ->Args({300, 0, 60})
    ->Args({400, 0, 60})
    ->Args({500, 0, 60})
    ->Args({400, 1, 60})
    ->Args({0, 0, 60})
    ->Args({0, 1, 60})
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

} // namespace
