#include "CameraModeNetworkStation.h"

#include <filesystem>
#include <fstream>

#include <stdlib.h>

namespace quboid3d::bench {

namespace {

namespace fs = std::filesystem;

// Enough to hold a whole pass of the default scene, so that the camera only copies frames.
constexpr int kRingFrames = 4096;
constexpr int kReconnectTimeoutMs = 20000;

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

} // namespace

Channel channel;

void Channel::reset(bool keepTimes) {
    std::lock_guard lock(mutex);
    framesOk = 0;
    framesFailed = 0;
    boxes.clear();
    statuses.clear();
    okTimes.clear();
    keepOkTimes = keepTimes;
}

void enterWorkDirectory() {
    const fs::path work = fs::temp_directory_path() / "quboid3d-bench-network";
    fs::remove_all(work);
    fs::create_directories(work / "3DCfg");
    fs::current_path(work);
    std::ofstream("Quboid3DAdvCfg") << "CameraReconnectTimeout=" << kReconnectTimeoutMs << "\n";
}

std::vector<std::string> cameraArguments(int64_t framesPerSecond, bool mono4p, bool ring) {
    std::vector<std::string> arguments = {
        "--address", kNetworkAddress, "--fps", std::to_string(framesPerSecond), "--packet-size", "9000"};
    if (ring) {
        arguments.insert(arguments.end(), {"--ring", std::to_string(kRingFrames)});
    }
    if (mono4p) {
        arguments.push_back("--mono4p");
    }
    return arguments;
}

CMeasuring::CMeasuring() : handle_(vslbQuboid3DCreate()) {
    vslbSetCameraStatusCallback(handle_, &onStatus);
}

CMeasuring::~CMeasuring() {
    vslbQuboid3DStop(handle_);
    vslbQuboid3DDestroy(handle_);
}

bool CMeasuring::init() {
    return vslbQuboid3DInit(handle_, "3DCfg/") == VSLB_OK && watchFrames();
}

bool CMeasuring::watchFrames() {
    return vslbSetFrameStatusCallback(handle_, &onFrameStatus) == VSLB_OK;
}

bool CMeasuring::run() {
    return vslbQuboid3DRunEx(handle_, &onBox) == VSLB_OK;
}

void CMeasuring::stop() {
    vslbQuboid3DStop(handle_);
}

void reportLoad(benchmark::State& state) {
    double load[1] = {0.0};
    state.counters["load1"] = getloadavg(load, 1) == 1 ? load[0] : -1.0;
}

} // namespace quboid3d::bench
