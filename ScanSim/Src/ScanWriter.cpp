#include "ScanSim/ScanWriter.h"
#include "ScanSim/CameraCalibration.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <mutex>
#include <thread>

namespace ScanSim {
namespace {

namespace fs = std::filesystem;

// Stale images of an earlier, longer scan would be played back after this one.
bool clearImages(const fs::path& dir, std::string& error) {
    std::error_code ec;
    fs::create_directories(dir, ec);
    if (ec) {
        error = "cannot create " + dir.string() + ": " + ec.message();
        return false;
    }
    for (const auto& entry : fs::directory_iterator(dir, ec)) {
        std::string ext = entry.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
        if (entry.is_regular_file() && (ext == ".png" || ext == ".bmp" || ext == ".jpg")) {
            fs::remove(entry.path(), ec);
        }
    }
    return true;
}

bool writeTextFile(const fs::path& path, const std::string& text, std::string& error) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    if (!out) {
        error = "cannot write " + path.string();
        return false;
    }
    return true;
}

// Renders and stores frames taken from a shared counter; each worker keeps its own tracker.
class CFrameWorkers {
public:
    CFrameWorkers(const CFrameRenderer& renderer, const fs::path& imageDir, ImageFileFormat format)
        : renderer_(renderer), imageDir_(imageDir), format_(format) {}

    void run(int threads, const std::function<void(int, int)>& progress) {
        std::vector<CTruthTracker> trackers(static_cast<size_t>(threads), CTruthTracker(renderer_));
        std::vector<std::thread> pool;
        for (int i = 0; i < threads; ++i) {
            pool.emplace_back([this, &trackers, i] { work(trackers[static_cast<size_t>(i)]); });
        }
        const int total = renderer_.frameCount();
        while (finished_.load() < threads) {
            if (progress) {
                progress(done_.load(), total);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        for (std::thread& t : pool) {
            t.join();
        }
        if (progress) {
            progress(done_.load(), total);
        }
        for (size_t i = 1; i < trackers.size(); ++i) {
            trackers[0].merge(trackers[i]);
        }
        truth_ = trackers[0].finish(TimeBase::StoredImages);
    }

    bool failed() const { return failed_.load(); }
    const std::string& error() const { return error_; }
    const ScanTruth& truth() const { return truth_; }

private:
    void work(CTruthTracker& tracker) {
        ProfileTrace trace;
        std::vector<uint8_t> pixels;
        const int total = renderer_.frameCount();
        for (int k = next_.fetch_add(1); k < total && !failed_.load(); k = next_.fetch_add(1)) {
            renderer_.trace(k, trace);
            tracker.add(trace);
            renderer_.renderMono8(trace, pixels);
            const fs::path path = imageDir_ / imageFileName(k, format_);
            if (!writeGreyImage(path, format_, renderer_.width(), renderer_.height(), pixels.data())) {
                std::lock_guard<std::mutex> lock(errorMutex_);
                error_ = "cannot write " + path.string();
                failed_.store(true);
            }
            done_.fetch_add(1);
        }
        finished_.fetch_add(1);
    }

    const CFrameRenderer& renderer_;
    fs::path imageDir_;
    ImageFileFormat format_;
    std::atomic<int> next_{0};
    std::atomic<int> done_{0};
    std::atomic<int> finished_{0};
    std::atomic<bool> failed_{false};
    std::mutex errorMutex_;
    std::string error_;
    ScanTruth truth_;
};

} // namespace

ScanWriteResult writeScanDirectory(const Scene& scene, const fs::path& dir, const ScanWriteOptions& options) {
    ScanWriteResult result;
    const CFrameRenderer renderer(scene);
    result.frames = renderer.frameCount();
    const fs::path imageDir = dir / "LocalImages";
    if (!clearImages(imageDir, result.error) || !writeCalibrationFiles(scene, dir / "3DCfg", result.error) ||
        !writeCameraCalibration(scene, dir / "Camera", result.error) ||
        !writeTextFile(dir / "LocalMode.dat", "", result.error)) {
        return result;
    }
    const int threads = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, 4);
    CFrameWorkers workers(renderer, imageDir, options.format);
    workers.run(threads, options.progress);
    if (workers.failed()) {
        result.error = workers.error();
        return result;
    }
    result.truth = workers.truth();
    if (!writeTextFile(dir / "truth.json", truthToJson(result.truth, scene), result.error)) {
        return result;
    }
    result.ok = true;
    return result;
}

} // namespace ScanSim
