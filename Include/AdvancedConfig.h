// The site settings: switches a site can change without the C interface, read once per process
// from the optional file `Quboid3DAdvCfg` in the working directory, or else in its parent.
// Every field has a default, so the system runs with no file at all. Read-only once built.
#pragma once

#include <cstdint>
#include <string>

namespace Orvia::VisionSystem {

class AdvancedConfig {
public:
    // The one object of the process, read from the site file on the first call.
    static AdvancedConfig& instance();

    AdvancedConfig(const AdvancedConfig&) = delete;
    AdvancedConfig& operator=(const AdvancedConfig&) = delete;

    // Appended to "Line" to name the trigger source.
    int32_t EncoderLineInput = 1;
    // Buffers the camera's stream source is given at each start.
    int32_t FrameBufferCount = 16;
    // True: the calibration is taken from the configuration directory, never from the camera.
    bool UseLocalCalibData = false;
    // Regular expressions on the camera model; used only when both are set.
    std::string ModelPatternGige;
    std::string ModelPatternAI;
    // The output plug-in library to load; empty for none.
    std::string OutputPlugin;
    bool EnableCameraReconnect = true;
    // Time limit of a reconnection, in milliseconds; at least 1000 when the file sets it.
    int32_t CameraReconnectTimeout = 30000;
    // Read and logged; nothing acts on it yet.
    int32_t DropFrameCountExp = 0;

private:
    AdvancedConfig();
};

} // namespace Orvia::VisionSystem
