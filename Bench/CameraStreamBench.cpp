// How fast a consumer pulls frames from a simulated camera that serves pre-rendered 2048 x 512
// Mono8 frames of the virtual station, beside memcpy of the same bytes. Each iteration is one
// frame; items_per_second is frames per second.
//
// - StreamPullOnDemand: the consumer's own fetch makes the next frame (one core, no second
//   thread); the counters show how many frames were read in place (zero copies) and dropped.
// - StreamPullPaced: the device's pacing thread makes 20,000 frames per second into a pool of
//   1024 buffers (51 ms of slack, for a busy shared machine) while the consumer pulls; dropped
//   stays 0 while the consumer keeps up. Slots its thread misses by more than a millisecond are
//   skipped, so on a busy machine the rate comes out lower.
// - MemcpyFrame: one 1 MiB copy of a ring frame per iteration.
#include <benchmark/benchmark.h>

#include <cstring>
#include <set>

#include "Orvia/GenICam/System.h"
#include "Orvia/Sim/ScanSimFrames.h"
#include "Orvia/Sim/SimCamera.h"
#include "ScanSim/Scene.h"

namespace {

using namespace Orvia::GenICam;
using Orvia::Sim::CScanSimFrames;
using Orvia::Sim::CSimCamera;
using Orvia::Sim::DeliveryMode;

constexpr int kRingFrames = 16;

std::shared_ptr<CScanSimFrames> ring() {
    static auto frames = [] {
        Orvia::Sim::ScanSimFramesOptions options;
        options.form = Orvia::Sim::ScanSimForm::Mono8;
        options.ringFrames = kRingFrames;
        return std::make_shared<CScanSimFrames>(ScanSim::defaultScene(), options);
    }();
    return frames;
}

Orvia::Memory::TSharedPtr<ICamera> discover(const std::string& key) {
    Orvia::Infra::TVector<Orvia::Memory::TSharedPtr<ICamera>> cameras;
    CSystem::getInstance().discovery(cameras, kInterfaceSelectorAll);
    for (const auto& camera : cameras) {
        if (key == camera->getKey()) {
            return camera;
        }
    }
    return nullptr;
}

void pull(benchmark::State& state, DeliveryMode mode, double framesPerSecond, int32_t buffers) {
    auto frames = ring();
    std::set<const uint8_t*> ringBuffers;
    for (int i = 0; i < kRingFrames; ++i) {
        ringBuffers.insert(frames->ringData(i));
    }
    auto sim = CSimCamera::plugIn(Orvia::Sim::laserCameraDescription("bench"));
    sim->setFrameGenerator(frames);
    sim->setDeliveryMode(mode, framesPerSecond);
    auto camera = discover(sim->key());
    camera->connect(AccessModeControl);
    auto stream = CSystem::getInstance().createStreamSource(camera, 0);
    stream->setBufferCount(buffers);
    stream->startGrabbing(0, 0);

    uint64_t inPlace = 0;
    uint64_t missing = 0;
    uint64_t checksum = 0;
    for (auto _ : state) {
        CFrame frame;
        if (!stream->getFrame(frame, 1000)) {
            ++missing;
            continue;
        }
        const uint8_t* pixels = frame.getImage();
        inPlace += ringBuffers.count(pixels);
        checksum += pixels[(frame.getFrameId() * 4099) % frame.getImageSize()];
    }
    benchmark::DoNotOptimize(checksum);
    stream->stopGrabbing();
    state.SetItemsProcessed(state.iterations());
    state.counters["in_place"] = static_cast<double>(inPlace);
    state.counters["copies"] = static_cast<double>(state.iterations() - missing - inPlace);
    state.counters["dropped"] = static_cast<double>(stream->getDroppedFrameCount());
    state.counters["missing"] = static_cast<double>(missing);
}

void StreamPullOnDemand(benchmark::State& state) {
    pull(state, DeliveryMode::OnDemand, 0.0, 16);
}
BENCHMARK(StreamPullOnDemand);

void StreamPullPaced(benchmark::State& state) {
    pull(state, DeliveryMode::Paced, 20000.0, 1024);
}
BENCHMARK(StreamPullPaced)->Iterations(40000)->UseRealTime();

void MemcpyFrame(benchmark::State& state) {
    auto frames = ring();
    std::vector<uint8_t> target(2048 * 512);
    int k = 0;
    for (auto _ : state) {
        std::memcpy(target.data(), frames->ringData(k++ % kRingFrames), target.size());
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(target.size()));
}
BENCHMARK(MemcpyFrame);

} // namespace
