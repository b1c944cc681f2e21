#include "Options.h"

#include <cstdlib>
#include <cstring>

namespace quboid3d::virtualcamera {

namespace {

bool parseNumber(const char* text, double& value) {
    char* end = nullptr;
    value = std::strtod(text, &end);
    return end != text && *end == '\0' && value >= 0.0;
}

bool isLoopback(const std::string& address) {
    return address.rfind("127.", 0) == 0;
}

} // namespace

const char* usageText() {
    return "usage: quboid3d-virtual-camera [--address 127.0.0.x] [--serial S] [--vendor V] [--model M]\n"
           "       [--scene scene.json] [--mono4p] [--fps R] [--ring N] [--packet-size N] [--duration S]\n"
           "       [--ready-file PATH] [--stats-file PATH] [--chunks]\n"
           "Serves a GigE Vision laser camera on a loopback address with frames of the virtual\n"
           "station, free-running at R frames per second or on software trigger, and the\n"
           "station's calibration in its private data area. --ring N renders N frames ahead and\n"
           "serves them round (for high rates); otherwise each frame is rendered when it is sent.\n"
           "--stats-file PATH: on stopping, the frames sent, the frame periods the belt moved\n"
           "and the process's CPU seconds since it began serving, one \"name value\" per line.\n"
           "--chunks: the description names the chunks FrameCounter and ExposureTime (ids A001 and\n"
           "A002); the server sends no chunk data itself.\n";
}

bool parseOptions(int argc, char** argv, Options& options, std::string& error) {
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--help" || name == "-h") {
            options.help = true;
            continue;
        }
        if (name == "--mono4p") {
            options.mono4p = true;
            continue;
        }
        if (name == "--chunks") {
            options.chunks = true;
            continue;
        }
        if (i + 1 >= argc) {
            error = "missing value after " + name;
            return false;
        }
        const char* value = argv[++i];
        double number = 0.0;
        if (name == "--address") {
            options.address = value;
        } else if (name == "--serial") {
            options.serial = value;
        } else if (name == "--vendor") {
            options.vendor = value;
        } else if (name == "--model") {
            options.model = value;
        } else if (name == "--scene") {
            options.scenePath = value;
        } else if (name == "--ready-file") {
            options.readyFile = value;
        } else if (name == "--stats-file") {
            options.statsFile = value;
        } else if (name == "--fps" && parseNumber(value, number)) {
            options.framesPerSecond = number;
        } else if (name == "--packet-size" && parseNumber(value, number) && number >= 576 &&
                   number <= 16000) {
            options.packetSize = static_cast<uint32_t>(number);
        } else if (name == "--ring" && parseNumber(value, number) && number <= 4096) {
            options.ringFrames = static_cast<int>(number);
        } else if (name == "--duration" && parseNumber(value, number)) {
            options.durationSeconds = static_cast<uint32_t>(number);
        } else {
            error = "bad argument: " + name + " " + value;
            return false;
        }
    }
    if (!isLoopback(options.address)) {
        error = "the virtual camera serves loopback addresses (127.0.0.x) only";
        return false;
    }
    if (options.serial.empty() || options.serial.size() >= 16 || options.vendor.size() >= 32 ||
        options.model.size() >= 32) {
        error = "serial must have 1 to 15 characters, vendor and model up to 31";
        return false;
    }
    return true;
}

} // namespace quboid3d::virtualcamera
