// The command line of quboid3d-virtual-camera.
#pragma once

#include <cstdint>
#include <string>

namespace quboid3d::virtualcamera {

struct Options {
    std::string address = "127.0.0.1"; // 127.0.0.x only
    std::string serial = "VLC0001";
    std::string vendor = "Quboid3D Virtual";
    std::string model = "MV-DL2048-G0X"; // the model grammar makes it a GigE laser camera
    std::string scenePath;               // empty: the default scene of the virtual station
    bool mono4p = false;
    bool chunks = false;          // the description names chunk features (frames come without chunks)
    int ringFrames = 0;           // frames rendered ahead and served round; 0: rendered live
    double framesPerSecond = 0.0; // 0: 100 frames a second
    uint32_t packetSize = 9000;
    uint32_t durationSeconds = 0; // 0: until SIGINT or SIGTERM
    std::string readyFile;        // written once the camera answers on the network
    std::string statsFile;        // written when the camera stops: what it sent, its CPU time
    bool help = false;
};

// False with a message in `error` for an unknown or malformed argument.
bool parseOptions(int argc, char** argv, Options& options, std::string& error);
const char* usageText();

} // namespace quboid3d::virtualcamera
