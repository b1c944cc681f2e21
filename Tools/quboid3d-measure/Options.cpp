#include "Options.h"

#include <cstdlib>
#include <cstring>

namespace quboid3d::measure {
namespace {

bool readNumber(const char* text, double& out) {
    char* end = nullptr;
    out = std::strtod(text, &end);
    return end != text && *end == '\0' && out >= 0;
}

} // namespace

const char* usageText() {
    return "usage: quboid3d-measure [--config DIR] [--count N] [--timeout SECONDS] [--json]\n"
           "                        [--truth FILE] [--sim-camera SOURCE [--sim-form FORM]]\n"
           "                        [--help] [--version]\n"
           "\n"
           "Measures the packages that pass the station and prints each box, using the measuring\n"
           "library through its public C interface only. Runs in the current directory: with a\n"
           "file ./LocalMode.dat there, the stored images of ./LocalImages/ are measured instead of\n"
           "the camera's frames (the stored images are replayed round and round).\n"
           "\n"
           "  --config DIR       configuration directory with the calibration and scan files\n"
           "                     (default ./3DCfg/)\n"
           "  --count N          stop after N boxes (default: no limit)\n"
           "  --timeout SECONDS  stop after this time (default: no limit); with --count, ending\n"
           "                     before N boxes arrived is a failure (exit status 4)\n"
           "  --json             print one JSON object per box on its own line\n"
           "  --truth FILE       truth.json of a synthesized scan: measure as many boxes as it has\n"
           "                     objects (unless --count says otherwise), then print a table of\n"
           "                     measured against true dimensions\n"
           "  --sim-camera SOURCE  camera mode from a simulated laser camera plugged into this\n"
           "                     program: SOURCE is a scan directory of quboid3d-scan-synth (its\n"
           "                     stored images are served round and round) or a scene file\n"
           "                     (rendered once); frames 2 ms apart, as the scan's calibration\n"
           "                     expects. Needs a directory without ./LocalMode.dat. Without it,\n"
           "                     camera mode uses whatever cameras the library discovers.\n"
           "  --sim-form FORM    what a scene's camera sends: mono8 (default), mono4p, or line\n"
           "                     (the camera's own line extraction)\n"
           "  --help             print this text\n"
           "  --version          print the library's version\n"
           "\n"
           "Each box: length, width, height (mm), volume (mm^3), the four top corners and the top\n"
           "centre (x, y, z in mm), the slant angle of the long side from the travel axis\n"
           "(degrees), the enter and leave times on the frames' time scale and on the wall clock.\n"
           "Camera status changes are printed as they come.\n"
           "\n"
           "Exit status: 0 done, 2 bad command line, 3 initialisation or start failed (the\n"
           "library's code is named), 4 timeout before --count boxes, 5 an object of the truth\n"
           "file was not measured.\n";
}

std::optional<Options> parseOptions(int argc, char** argv, std::string& error) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        double number = 0;
        if (arg == "--help") {
            options.help = true;
        } else if (arg == "--version") {
            options.version = true;
        } else if (arg == "--json") {
            options.json = true;
        } else if (arg == "--truth" && hasValue) {
            options.truthFile = argv[++i];
        } else if (arg == "--sim-camera" && hasValue) {
            options.simCamera = argv[++i];
        } else if (arg == "--sim-form" && hasValue) {
            options.simForm = argv[++i];
        } else if (arg == "--config" && hasValue) {
            options.configDir = argv[++i];
        } else if (arg == "--count" && hasValue && readNumber(argv[i + 1], number) && number >= 1) {
            options.count = static_cast<int>(number);
            ++i;
        } else if (arg == "--timeout" && hasValue && readNumber(argv[i + 1], number)) {
            options.timeout = number;
            ++i;
        } else {
            error = "bad or incomplete option: " + arg;
            return std::nullopt;
        }
    }
    return options;
}

} // namespace quboid3d::measure
