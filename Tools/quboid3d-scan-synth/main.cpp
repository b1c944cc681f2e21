// quboid3d-scan-synth: renders what the laser camera of the virtual station sees while objects
// pass on the belt, and writes a directory that a local-mode run measures, with the truth.
#include "ScanSim/ScanWriter.h"
#include "ScanSim/SceneJson.h"
#include "Terminal.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

const char* const kUsage = R"(Usage: quboid3d-scan-synth [options]

Renders the frames a laser line camera sees while objects pass on a conveyor belt, and writes a
directory that the measuring library runs on in local mode (run it from that directory):

  DIR/LocalMode.dat           empty file; its presence selects local mode
  DIR/LocalImages/NNNNNN.png  one grey image per frame; name order is playback order
  DIR/3DCfg/                  CalibScanCfg.cfg, CameraParams.cfg, CamInstrinsic0.data,
                              CamExtrinsic0.data, LightPlaneParam.data, LaserMovePose.data
  DIR/truth.json              per object: length, width, height, volume, slant angle, centre,
                              first and last frame and their timestamps
  DIR/Camera/                 what the station's camera carries: CalibrationText.json (the six
                              files as one JSON text, belt speed per ms) and DspCalibConfig.bin

Options:
  --scene FILE        scene in JSON (format in ScanSim/README.md, examples in ScanSim/scenes/).
                      Without it: the default station (1000 mm belt, heights 0..800 mm,
                      2048 x 512 camera at 30 degrees, 1 mm between profiles) and four boxes of
                      different sizes, yaws and colours, one of them dark (reflectance 0.1).
  --out DIR           output directory (default: ./scan); created if needed. Images already in
                      DIR/LocalImages are removed first.
  --seed N            seed of the sensor noise and speckle (default: the scene's, else 1). The
                      same scene and seed give the same bytes.
  --format png|bmp    image file format (default: png)
  --quiet             no progress bar (it is drawn only when stderr is a terminal)
  --help              this text

Stored images are stamped 1, 3, 5, ... by the measuring library, so LaserMovePose.data holds
SpeedVy = (mm between profiles) / 2. Conventions: Docs/geometry.md.
)";

struct Options {
    std::string scene;
    std::string out = "scan";
    bool hasSeed = false;
    unsigned long long seed = 1;
    ScanSim::ImageFileFormat format = ScanSim::ImageFileFormat::Png;
    bool quiet = false;
};

bool parseArgs(int argc, char** argv, Options& o, int& exitCode) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const auto value = [&](const char* name) -> const char* {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "quboid3d-scan-synth: %s needs a value\n", name);
                return nullptr;
            }
            return argv[++i];
        };
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            exitCode = 0;
            return false;
        }
        if (a == "--quiet") {
            o.quiet = true;
            continue;
        }
        const char* v = nullptr;
        if (a == "--scene" || a == "--out" || a == "--seed" || a == "--format") {
            v = value(a.c_str());
            if (v == nullptr) {
                exitCode = 2;
                return false;
            }
        } else {
            std::fprintf(stderr, "quboid3d-scan-synth: unknown option %s (see --help)\n", a.c_str());
            exitCode = 2;
            return false;
        }
        if (a == "--scene") {
            o.scene = v;
        } else if (a == "--out") {
            o.out = v;
        } else if (a == "--seed") {
            char* end = nullptr;
            o.seed = std::strtoull(v, &end, 10);
            if (end == v || *end != '\0') {
                std::fprintf(stderr, "quboid3d-scan-synth: --seed needs a number\n");
                exitCode = 2;
                return false;
            }
            o.hasSeed = true;
        } else if (std::strcmp(v, "png") == 0 || std::strcmp(v, "bmp") == 0) {
            o.format = v[0] == 'p' ? ScanSim::ImageFileFormat::Png : ScanSim::ImageFileFormat::Bmp;
        } else {
            std::fprintf(stderr, "quboid3d-scan-synth: --format must be png or bmp\n");
            exitCode = 2;
            return false;
        }
    }
    return true;
}

void drawProgress(int done, int total) {
    static int lastPercent = -1;
    const int percent = total > 0 ? done * 100 / total : 100;
    if (percent == lastPercent) {
        return;
    }
    lastPercent = percent;
    const int width = 40;
    const int filled = percent * width / 100;
    std::fprintf(stderr, "\r[%.*s%*s] %d/%d frames", filled, "########################################",
                 width - filled, "", done, total);
    std::fflush(stderr);
}

} // namespace

int main(int argc, char** argv) {
    Options opt;
    int exitCode = 0;
    if (!parseArgs(argc, argv, opt, exitCode)) {
        return exitCode;
    }
    ScanSim::Scene scene = ScanSim::defaultScene();
    if (!opt.scene.empty()) {
        std::string error;
        if (!ScanSim::loadSceneFile(opt.scene, scene, error)) {
            std::fprintf(stderr, "quboid3d-scan-synth: %s: %s\n", opt.scene.c_str(), error.c_str());
            return 1;
        }
    }
    if (opt.hasSeed) {
        scene.seed = opt.seed;
    }
    ScanSim::ScanWriteOptions wo;
    wo.format = opt.format;
    // The bar redraws itself with carriage returns: only a terminal shows that as one line.
    const bool showProgress = !opt.quiet && quboid3d::synth::isTerminal(stderr);
    if (showProgress) {
        wo.progress = drawProgress;
    }
    const auto start = std::chrono::steady_clock::now();
    const ScanSim::ScanWriteResult r = ScanSim::writeScanDirectory(scene, opt.out, wo);
    if (showProgress) {
        std::fputc('\n', stderr);
    }
    if (!r.ok) {
        std::fprintf(stderr, "quboid3d-scan-synth: %s\n", r.error.c_str());
        return 1;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("%s: %d frames of %dx%d, %zu objects, %.1f s\n", opt.out.c_str(), r.frames,
                scene.station.camera.width, scene.station.camera.height, r.truth.objects.size(), seconds);
    for (const ScanSim::ObjectTruth& o : r.truth.objects) {
        std::printf("  %-18s %-17s %7.1f x %6.1f x %6.1f mm  slant %6.1f  frames %d..%d\n", o.name.c_str(),
                    ScanSim::shapeKindName(o.kind), o.length, o.width, o.height, o.slantAngleDeg,
                    o.firstFrame, o.lastFrame);
    }
    return 0;
}
