// quboid3d-virtual-camera: a GigE Vision laser camera on a loopback address, for the network
// tests, the camera demo and the benchmarks. Runs until SIGINT or SIGTERM, or for --duration.
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fstream>

#include <sys/prctl.h>

#include "Options.h"
#include "VirtualCamera.h"

namespace {

// Waits for SIGINT or SIGTERM, or until `seconds` have passed (0: no limit).
void waitForStop(uint32_t seconds) {
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    const timespec slice{1, 0};
    for (uint32_t waited = 0; seconds == 0 || waited < seconds; ++waited) {
        if (sigtimedwait(&stopSignals, nullptr, &slice) >= 0) {
            return;
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    using namespace quboid3d::virtualcamera;
    Options options;
    std::string error;
    if (!parseOptions(argc, argv, options, error)) {
        std::fprintf(stderr, "quboid3d-virtual-camera: %s\n%s", error.c_str(), usageText());
        return 2;
    }
    if (options.help) {
        std::fputs(usageText(), stdout);
        return 0;
    }
    // Blocked before the server's threads start, so that they inherit the mask and the signals
    // wait for waitForStop.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    // A camera started by a test or a script goes with it, even when that one is killed.
    prctl(PR_SET_PDEATHSIG, SIGTERM);

    CVirtualCamera camera;
    if (!camera.start(options, error)) {
        std::fprintf(stderr, "quboid3d-virtual-camera: %s\n", error.c_str());
        return 1;
    }
    // The ring's rendering is not what the camera spends on sending.
    const std::clock_t cpuAtServing = std::clock();
    std::printf("serving %s\n", camera.description().c_str());
    std::fflush(stdout);
    if (!options.readyFile.empty()) {
        std::ofstream(options.readyFile) << "ready\n";
    }
    waitForStop(options.durationSeconds);
    camera.stop();
    if (!options.statsFile.empty()) {
        std::ofstream(options.statsFile)
            << "frames_sent " << camera.framesSent() << "\n"
            << "frame_periods " << camera.periodsShown() << "\n"
            << "cpu_seconds " << double(std::clock() - cpuAtServing) / CLOCKS_PER_SEC << "\n";
    }
    return 0;
}
