// quboid3d-measure: runs the measuring library as an integrator's program would, through its
// public C header only, and prints every box it reports.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <mutex>

#include "BoxPrinter.h"
#include "Options.h"
#include "Quboid3DSdk.h"
#include "SimulatedCamera.h"
#include "TruthTable.h"

namespace {

using namespace quboid3d::measure;

// The library's callbacks take no context: what they need lives here.
struct Session {
    std::mutex mutex;
    std::condition_variable changed;
    int boxes = 0;
    bool json = false;
    std::vector<MeasuredBox> measured;
};
Session session;

void onBox(const VslbVolumeResult* result) {
    std::lock_guard lock(session.mutex);
    ++session.boxes;
    if (result->detailed != 0)
        session.measured.push_back(measuredFrom(*result));
    if (session.json)
        printBoxJson(stdout, session.boxes, *result);
    else
        printBoxText(stdout, session.boxes, *result);
    session.changed.notify_all();
}

void onCameraStatus(const VslbCameraStatus* status) {
    printCameraStatus(stdout, status->status, session.json);
}

int fail(const char* step, int code) {
    std::fprintf(stderr, "quboid3d-measure: %s failed: %s (%d): %s\n", step, codeName(code), code,
                 codeMeaning(code));
    return 3;
}

// Waits until enough boxes came or the time is up; false on a timeout before --count boxes.
bool waitForBoxes(const Options& options) {
    std::unique_lock lock(session.mutex);
    auto enough = [&] { return options.count > 0 && session.boxes >= options.count; };
    if (options.timeout <= 0) {
        session.changed.wait(lock, enough);
        return true;
    }
    const auto limit = std::chrono::duration<double>(options.timeout);
    return session.changed.wait_for(lock, limit, enough) || options.count == 0;
}

int measure(Options options) {
    std::vector<TruthObject> truth;
    if (!options.truthFile.empty()) {
        std::string error;
        if (!loadTruth(options.truthFile, truth, error)) {
            std::fprintf(stderr, "quboid3d-measure: %s\n", error.c_str());
            return 2;
        }
        if (options.count == 0)
            options.count = static_cast<int>(truth.size());
    }
    // The simulated camera goes once the library is done with it, on every way out.
    struct UnplugAtEnd {
        ~UnplugAtEnd() { unplugSimulatedCamera(); }
    } unplugAtEnd;
    if (!options.simCamera.empty()) {
        std::string error;
        if (std::filesystem::exists("LocalMode.dat")) {
            std::fprintf(stderr,
                         "quboid3d-measure: --sim-camera needs camera mode: ./LocalMode.dat is here\n");
            return 2;
        }
        if (!plugSimulatedCamera(options.simCamera, options.simForm, error)) {
            std::fprintf(stderr, "quboid3d-measure: %s\n", error.c_str());
            return 2;
        }
    }
    session.json = options.json;
    const VslbHandle handle = vslbQuboid3DCreate();
    vslbSetCameraStatusCallback(handle, &onCameraStatus);
    if (const int code = vslbQuboid3DInit(handle, options.configDir.c_str()); code != VSLB_OK) {
        vslbQuboid3DDestroy(handle);
        return fail("initialisation", code);
    }
    if (const int code = vslbQuboid3DRunEx(handle, &onBox); code != VSLB_OK) {
        vslbQuboid3DStop(handle);
        vslbQuboid3DDestroy(handle);
        return fail("start", code);
    }
    const bool complete = waitForBoxes(options);
    vslbQuboid3DStop(handle);
    vslbQuboid3DFini(handle);
    vslbQuboid3DDestroy(handle);
    if (!complete) {
        std::fprintf(stderr, "quboid3d-measure: timeout after %g s with %d of %d boxes\n", options.timeout,
                     session.boxes, options.count);
        return 4;
    }
    if (!truth.empty() && printComparison(options.json ? stderr : stdout, truth, session.measured) > 0)
        return 5;
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    std::string error;
    const auto options = parseOptions(argc, argv, error);
    if (!options) {
        std::fprintf(stderr, "quboid3d-measure: %s\n\n%s", error.c_str(), usageText());
        return 2;
    }
    if (options->help) {
        std::fputs(usageText(), stdout);
        return 0;
    }
    if (options->version) {
        const char* version = nullptr;
        vslbQuboid3DGetVersion(&version);
        std::printf("quboid3d-measure, library %s\n", version);
        return 0;
    }
    return measure(*options);
}
