#include "CameraModeSimStation.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "Orvia/GenICam/System.h"
#include "ScanSim/ScanWriter.h"

namespace quboid3d::bench {

namespace {

namespace fs = std::filesystem;
using Orvia::Sim::CScanSimFrames;
using Orvia::Sim::CSimCamera;

constexpr const char* kPlainModel = "MV-DL2048-G0X";
constexpr const char* kLineModel = "MV-DL2048-G1X";
constexpr std::size_t kPipelineFirstOffset = 48;
constexpr std::size_t kPipelineSecondOffset = 15408;
constexpr std::size_t kPipelineCountOffset = 36;

void writeSiteFile(const fs::path& work) {
    const char* buffers = std::getenv("QUBOID3D_BENCH_FRAME_BUFFERS");
    if (buffers == nullptr || *buffers == '\0')
        return;
    std::ofstream site(work / "Quboid3DAdvCfg", std::ios::trunc);
    site << "FrameBufferCount=" << std::atoi(buffers) << "\n";
}

void onFrameStatus(const FrameStatusInfo* info) {
    const auto now = Clock::now();
    if (timeline != nullptr && info->ok != 0)
        timeline->fetched();
    std::lock_guard lock(seen.mutex);
    if (info->ok != 0) {
        ++seen.framesOk;
        seen.lastOkFetch = now;
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

} // namespace

Seen seen;
CFrameTimeline* timeline = nullptr;

const ScanSim::Scene& scene() {
    static const ScanSim::Scene s = ScanSim::defaultScene();
    return s;
}

std::shared_ptr<CScanSimFrames> ring(ScanSimForm form) {
    static const auto rings =
        CScanSimFrames::renderForms(scene(), {}, {ScanSimForm::Mono8, ScanSimForm::LineForm});
    return rings[form == ScanSimForm::Mono8 ? 0 : 1];
}

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

void Seen::reset() {
    std::lock_guard lock(mutex);
    framesOk = 0;
    framesWanted = 0;
    boxes = 0;
    latenciesMs.clear();
}

CRun::CRun(ScanSimForm form, std::shared_ptr<Orvia::Sim::IFrameGenerator> frames,
           Orvia::Sim::DeliveryMode mode, double framesPerSecond, std::chrono::microseconds catchUpWindow) {
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

bool CRun::start() {
    return ok && vslbQuboid3DRunEx(handle, &onBox) == VSLB_OK;
}

CRun::~CRun() {
    vslbQuboid3DStop(handle);
    vslbQuboid3DDestroy(handle);
}

long feedAlone(Orvia::VisionSystem::CCalcQuboid3DMulti& calculator, ScanSimForm form, long first, long count,
               AloneTimes& times) {
    const auto& frames = *ring(form);
    const long pass = frames.passFrames();
    LpmcInput& in = calculator.input;
    LpmcResult& result = calculator.result;
    long boxes = 0;
    for (long n = first; n < first + count; ++n) {
        const uint8_t* data = frames.ringData(static_cast<int>(n % pass));
        in.timestamp[0] = static_cast<double>(n) * scene().motion.framePeriodMs;
        if (form == ScanSimForm::Mono8) {
            in.imageType[0] = LPMC_IMAGE_MONO8;
            in.image[0]->width = scene().station.camera.width;
            in.image[0]->height = scene().station.camera.height;
            in.image[0]->pixels = data;
            in.image[0]->region = *calculator.config.region[0];
        } else {
            in.imageType[0] = LPMC_IMAGE_LINE;
            std::memcpy(&in.pipelineCount[0], data + kPipelineCountOffset, sizeof(int32_t));
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

double medianOf(std::vector<double> values) {
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace quboid3d::bench
