// What the halves of CameraModeBench share: the default scene of the virtual station pre-rendered
// once in each form, a working directory with its calibration, one measuring object in camera mode
// on a freshly plugged simulated camera, the one channel through which the library's callbacks
// report, and lpmcProcess fed the same frames without the rest of the system.
#pragma once

#include <chrono>
#include <condition_variable>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "CalcQuboid3DMulti.h"
#include "CameraModeTimeline.h"
#include "Orvia/Sim/ScanSimFrames.h"
#include "Orvia/Sim/SimCamera.h"
#include "Quboid3DSdk.h"
#include "ScanSim/Truth.h"

namespace quboid3d::bench {

using Clock = std::chrono::steady_clock;
using Orvia::Sim::ScanSimForm;

// The scene (2048 x 512) and its frames in Mono8 or in the line form, rendered on first use.
const ScanSim::Scene& scene();
std::shared_ptr<Orvia::Sim::CScanSimFrames> ring(ScanSimForm form);

// A working directory without ./LocalMode.dat, the scene's calibration on the camera's clock;
// made and entered on first use. QUBOID3D_BENCH_FRAME_BUFFERS=<n> gives the camera n frame
// buffers through the site file in place of the default 16.
const std::string& cfgDir();

// What the callbacks saw, with the time of each box against the fetch before it.
struct Seen {
    std::mutex mutex;
    std::condition_variable changed;
    long framesOk = 0;
    // The waiter is woken by the fetch that reaches this count only, so that it takes no CPU
    // from the measuring thread on every frame.
    long framesWanted = 0;
    long boxes = 0;
    Clock::time_point lastOkFetch;
    // The process's CPU time when the wanted fetch came.
    std::clock_t cpuAtWanted = 0;
    std::vector<double> latenciesMs;

    void reset();
};
extern Seen seen;
// The timeline of a sustained run, set before its measuring thread starts and cleared after it ends.
extern CFrameTimeline* timeline;

// One measuring object on a freshly plugged camera serving `frames`, its callbacks reporting to
// `seen`. Stopped and destroyed with the object.
class CRun {
public:
    CRun(ScanSimForm form, std::shared_ptr<Orvia::Sim::IFrameGenerator> frames, Orvia::Sim::DeliveryMode mode,
         double framesPerSecond = 0.0,
         std::chrono::microseconds catchUpWindow = Orvia::Sim::kDefaultCatchUpWindow);
    CRun(const CRun&) = delete;
    CRun& operator=(const CRun&) = delete;
    ~CRun();
    bool start();

    std::shared_ptr<Orvia::Sim::CSimCamera> camera;
    VslbHandle handle = 0;
    bool ok = false;
};

// lpmcProcess on the frames of the ring as camera mode hands them over: frame `first` on, `count`
// frames, going round the ring, each stamped as the camera stamps the frame of that number. The
// library's own time on the frames that hand out a result, and on the slowest frame.
struct AloneTimes {
    double worstFrameMs = 0.0;
    double worstResultFrameMs = 0.0;
};
long feedAlone(Orvia::VisionSystem::CCalcQuboid3DMulti& calculator, ScanSimForm form, long first, long count,
               AloneTimes& times);

double medianOf(std::vector<double> values);

} // namespace quboid3d::bench
