// The whole system in local mode: frames per second from stored PNG and BMP images, measured
// through the C interface with the real sheet-of-light library, beside the time that decoding
// alone takes for the same files.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>

#include <benchmark/benchmark.h>
#include <stb_image.h>

#include "Quboid3DSdk.h"
#include "ScanSim/ScanWriter.h"

namespace {

namespace fs = std::filesystem;

// The default scan of the virtual station, written once per image format.
struct Scan {
    fs::path dir;
    int frames = 0;
    int boxes = 0;
};

const Scan& scanOf(ScanSim::ImageFileFormat format) {
    static std::map<int, Scan> scans;
    auto found = scans.find(static_cast<int>(format));
    if (found != scans.end())
        return found->second;
    Scan scan;
    scan.dir = fs::temp_directory_path() /
               (format == ScanSim::ImageFileFormat::Png ? "quboid3d-bench-png" : "quboid3d-bench-bmp");
    fs::remove_all(scan.dir);
    ScanSim::ScanWriteOptions options;
    options.format = format;
    const auto written = ScanSim::writeScanDirectory(ScanSim::defaultScene(), scan.dir, options);
    scan.frames = written.frames;
    for (const auto& object : written.truth.objects)
        scan.boxes += object.seen ? 1 : 0;
    return scans.emplace(static_cast<int>(format), scan).first->second;
}

std::mutex mutex;
std::condition_variable changed;
int boxesSeen = 0;

void onBox(const VslbVolumeResult*) {
    std::lock_guard lock(mutex);
    ++boxesSeen;
    changed.notify_all();
}

// One pass over the stored images: from the start of the run until its last box arrives.
void BM_LocalModePass(benchmark::State& state) {
    const auto format = static_cast<ScanSim::ImageFileFormat>(state.range(0));
    const Scan& scan = scanOf(format);
    const fs::path previous = fs::current_path();
    fs::current_path(scan.dir);
    const std::string cfg = (scan.dir / "3DCfg/").string();
    for (auto _ : state) {
        const VslbHandle handle = vslbQuboid3DCreate();
        if (vslbQuboid3DInit(handle, cfg.c_str()) != VSLB_OK) {
            state.SkipWithError("init failed");
            break;
        }
        {
            std::lock_guard lock(mutex);
            boxesSeen = 0;
        }
        const auto start = std::chrono::steady_clock::now();
        vslbQuboid3DRunEx(handle, &onBox);
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return boxesSeen >= scan.boxes; });
        }
        const auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        vslbQuboid3DStop(handle);
        vslbQuboid3DDestroy(handle);
        state.SetIterationTime(seconds);
    }
    fs::current_path(previous);
    state.counters["frames/s"] =
        benchmark::Counter(static_cast<double>(scan.frames) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
    state.SetLabel(format == ScanSim::ImageFileFormat::Png ? "png" : "bmp");
}

// Decoding alone, as the stored-image source does it: one grey 8-bit component per pixel.
void BM_DecodeStoredImages(benchmark::State& state) {
    const auto format = static_cast<ScanSim::ImageFileFormat>(state.range(0));
    const Scan& scan = scanOf(format);
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(scan.dir / "LocalImages"))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    std::size_t next = 0;
    for (auto _ : state) {
        std::FILE* file = std::fopen(files[next].string().c_str(), "rb");
        int width = 0, height = 0, components = 0;
        stbi_uc* pixels = stbi_load_from_file(file, &width, &height, &components, 1);
        std::fclose(file);
        benchmark::DoNotOptimize(pixels);
        stbi_image_free(pixels);
        next = (next + 1) % files.size();
    }
    state.counters["frames/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    state.SetLabel(format == ScanSim::ImageFileFormat::Png ? "png" : "bmp");
}

constexpr int kPng = static_cast<int>(ScanSim::ImageFileFormat::Png);
constexpr int kBmp = static_cast<int>(ScanSim::ImageFileFormat::Bmp);

BENCHMARK(BM_LocalModePass)
    ->Arg(kPng)
    ->Arg(kBmp)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK(BM_DecodeStoredImages)->Arg(kPng)->Arg(kBmp)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
