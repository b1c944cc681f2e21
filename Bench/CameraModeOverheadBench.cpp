// What camera mode adds per frame to lpmcProcess alone. One measuring object in camera mode and
// one calculator fed directly take turns over the same frames of the scene, block by block, in one
// process, both long past bringing up. A gate around the camera's frames lets the measuring thread
// through one block at a time and times it from its first frame until it asks for the frame after
// the block: every step camera mode takes on those frames (the camera's fetch, the image, the
// pass, the callbacks) with lpmcProcess among them. While the measuring thread waits at the gate,
// it runs the calculator's lpmcProcess on the same frames with the same stamps: both on one
// thread, so on the same core of a machine whose cores are not equally fast, in blocks of a few
// tens of milliseconds that take turns. Separate runs, whole passes in turns, or the two on
// different threads move by more than the overhead asked about.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <functional>
#include <mutex>
#include <vector>

#include <benchmark/benchmark.h>

#include "CameraModeSimStation.h"

namespace {

using namespace quboid3d::bench;

// Wall and process CPU time of one block.
struct BlockTimes {
    double wallSeconds = 0.0;
    double cpuSeconds = 0.0;
};

double secondsOf(std::clock_t from, std::clock_t to) {
    return static_cast<double>(to - from) / CLOCKS_PER_SEC;
}

// Hands the camera's frames on a block at a time. The camera makes each frame when the measuring
// thread fetches (on demand), so the thread waits here, inside its fetch, between blocks, and
// does there what it is given to do.
class CFrameGate : public Orvia::Sim::IFrameGenerator {
public:
    explicit CFrameGate(std::shared_ptr<Orvia::Sim::IFrameGenerator> frames) : frames_(std::move(frames)) {}

    // Lets `count` frames through and waits until the measuring thread has done with them and asks
    // for the next one; false when that did not come within `bound`.
    bool runBlock(long count, Clock::duration bound, BlockTimes& times) {
        std::unique_lock lock(mutex_);
        permits_ = count;
        blockDone_ = false;
        changed_.notify_all();
        if (!changed_.wait_for(lock, bound, [this] { return blockDone_; }))
            return false;
        times.wallSeconds = std::chrono::duration<double>(end_ - start_).count();
        times.cpuSeconds = secondsOf(cpuStart_, cpuEnd_);
        return true;
    }

    // Has the measuring thread, waiting between blocks, run `work`; false when it did not take it
    // up within `bound`. Work taken up is waited for: it may use the caller's objects.
    bool runBetweenBlocks(std::function<void()> work, Clock::duration bound) {
        std::unique_lock lock(mutex_);
        work_ = std::move(work);
        workDone_ = false;
        changed_.notify_all();
        if (!changed_.wait_for(lock, bound, [this] { return workDone_ || !work_; })) {
            work_ = nullptr;
            return false;
        }
        changed_.wait(lock, [this] { return workDone_; });
        return true;
    }

    // Lets every frame through from now on, so that the run can stop.
    void open() {
        std::lock_guard lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }

    long served() const {
        std::lock_guard lock(mutex_);
        return served_;
    }

    bool next(Orvia::Sim::SimFrame& frame) override {
        {
            std::unique_lock lock(mutex_);
            if (!open_)
                awaitPermit(lock);
            ++served_;
        }
        return frames_->next(frame);
    }

private:
    // Ends the block when its frames are used up, then waits for the next one and starts it.
    void awaitPermit(std::unique_lock<std::mutex>& lock) {
        if (permits_ == 0) {
            if (blockRunning_) {
                end_ = Clock::now();
                cpuEnd_ = std::clock();
                blockRunning_ = false;
                blockDone_ = true;
                changed_.notify_all();
            }
            for (;;) {
                changed_.wait(lock, [this] { return open_ || permits_ > 0 || work_; });
                if (!work_)
                    break;
                runWork(lock);
            }
            if (open_)
                return;
        }
        if (!blockRunning_) {
            blockRunning_ = true;
            cpuStart_ = std::clock();
            start_ = Clock::now();
        }
        --permits_;
    }

    void runWork(std::unique_lock<std::mutex>& lock) {
        const std::function<void()> work = std::move(work_);
        work_ = nullptr;
        lock.unlock();
        work();
        lock.lock();
        workDone_ = true;
        changed_.notify_all();
    }

    std::shared_ptr<Orvia::Sim::IFrameGenerator> frames_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    long permits_ = 0;
    long served_ = 0;
    bool open_ = false;
    bool blockRunning_ = false;
    bool blockDone_ = false;
    std::function<void()> work_;
    bool workDone_ = false;
    Clock::time_point start_;
    Clock::time_point end_;
    std::clock_t cpuStart_ = 0;
    std::clock_t cpuEnd_ = 0;
};

// The camera run's gate is opened whichever way the bench leaves, before the run stops.
struct GateOpener {
    CFrameGate& gate;
    ~GateOpener() { gate.open(); }
};

// lpmcProcess alone, fed on from where it stopped.
struct AloneFeed {
    Orvia::VisionSystem::CCalcQuboid3DMulti calculator;
    ScanSimForm form;
    long fed = 0;
    long boxes = 0;

    ~AloneFeed() { calculator.release(); }

    BlockTimes runBlock(long count) {
        AloneTimes worst;
        BlockTimes times;
        const std::clock_t cpuStart = std::clock();
        const auto start = Clock::now();
        boxes += feedAlone(calculator, form, fed, count, worst);
        times.wallSeconds = std::chrono::duration<double>(Clock::now() - start).count();
        times.cpuSeconds = secondsOf(cpuStart, std::clock());
        fed += count;
        return times;
    }
};

struct Ratios {
    std::vector<double> wall;
    std::vector<double> cpu;
    double cameraWall = 0.0;
    double aloneWall = 0.0;
    double cameraCpu = 0.0;
    double aloneCpu = 0.0;

    void add(const BlockTimes& camera, const BlockTimes& alone) {
        wall.push_back(camera.wallSeconds / alone.wallSeconds);
        cpu.push_back(camera.cpuSeconds / alone.cpuSeconds);
        cameraWall += camera.wallSeconds;
        aloneWall += alone.wallSeconds;
        cameraCpu += camera.cpuSeconds;
        aloneCpu += alone.cpuSeconds;
    }
};

void setSpread(benchmark::State& state, const std::string& name, std::vector<double> values) {
    std::sort(values.begin(), values.end());
    state.counters[name + "_median"] = medianOf(values);
    state.counters[name + "_p10"] = values.empty() ? 0.0 : values[values.size() / 10];
    state.counters[name + "_p90"] = values.empty() ? 0.0 : values[values.size() * 9 / 10];
}

void setCounters(benchmark::State& state, const Ratios& ratios, long blockFrames) {
    const double frames = static_cast<double>(blockFrames) * static_cast<double>(ratios.wall.size());
    setSpread(state, "wall_ratio", ratios.wall);
    setSpread(state, "cpu_ratio", ratios.cpu);
    state.counters["wall_ratio_pooled"] = ratios.cameraWall / ratios.aloneWall;
    state.counters["cpu_ratio_pooled"] = ratios.cameraCpu / ratios.aloneCpu;
    state.counters["camera_us_per_frame"] = 1e6 * ratios.cameraWall / frames;
    state.counters["alone_us_per_frame"] = 1e6 * ratios.aloneWall / frames;
}

// Time of camera mode over time alone, per pair of blocks of the same frames, after one whole
// pass of each untimed. Which of the pair goes first alternates.
void BM_CameraModeOverhead(benchmark::State& state) {
    const auto form = static_cast<ScanSimForm>(state.range(0));
    const long blockFrames = state.range(1);
    const auto pairs = static_cast<int>(state.range(2));
    const long warmUp = ring(form)->passFrames();
    const auto bound = std::chrono::seconds(30);
    for (auto _ : state) {
        auto gate = std::make_shared<CFrameGate>(ring(form)->replay(true));
        AloneFeed alone{{}, form};
        if (!alone.calculator.initialize(cfgDir(), nullptr)) {
            state.SkipWithError("configuration refused");
            return;
        }
        CRun run(form, gate, Orvia::Sim::DeliveryMode::OnDemand);
        const GateOpener opener{*gate};
        BlockTimes camera;
        if (!run.start() || !gate->runBlock(warmUp, bound, camera)) {
            state.SkipWithError("camera mode did not measure");
            return;
        }
        BlockTimes aloneTimes;
        const auto aloneBlock = [&](long count) {
            return gate->runBetweenBlocks([&] { aloneTimes = alone.runBlock(count); }, bound);
        };
        if (!aloneBlock(warmUp)) {
            state.SkipWithError("the measuring thread did not run lpmcProcess alone");
            return;
        }
        Ratios ratios;
        for (int p = 0; p < pairs; ++p) {
            const bool ran = p % 2 == 0
                                 ? gate->runBlock(blockFrames, bound, camera) && aloneBlock(blockFrames)
                                 : aloneBlock(blockFrames) && gate->runBlock(blockFrames, bound, camera);
            if (!ran) {
                state.SkipWithError("the measuring thread stopped at the gate");
                return;
            }
            ratios.add(camera, aloneTimes);
        }
        setCounters(state, ratios, blockFrames);
        // 0 when both took the same frames, that is when camera mode fetched only in its passes.
        state.counters["frames_apart"] = static_cast<double>(gate->served() - alone.fed);
        std::lock_guard lock(seen.mutex);
        state.counters["boxes_camera"] = static_cast<double>(seen.boxes);
        state.counters["boxes_alone"] = static_cast<double>(alone.boxes);
    }
}
BENCHMARK(BM_CameraModeOverhead)
    ->Args({static_cast<int>(ScanSimForm::Mono8), 237, 100})
    ->Args({static_cast<int>(ScanSimForm::LineForm), 237, 100})
    ->Unit(benchmark::kSecond)
    ->Iterations(1);

} // namespace
