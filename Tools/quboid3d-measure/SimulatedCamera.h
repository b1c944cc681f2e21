// A simulated laser camera plugged into this process before the library looks for cameras, so
// that camera mode can be seen working without a camera.
#pragma once

#include <string>

namespace quboid3d::measure {

// Plugs in a camera serving `source`: a scan directory written by quboid3d-scan-synth (its stored
// images, or the images of a directory itself), or a scene file, rendered once in `form` (mono8,
// mono4p or line). Frames are stamped on the stored images' time scale, 2 ms apart, so that the
// calibration quboid3d-scan-synth wrote for the same scene measures them. The camera makes each
// frame when the library asks for it and starts over after the last. False with `error` set when
// the source gives no frames. The camera stays plugged in until unplugSimulatedCamera.
bool plugSimulatedCamera(const std::string& source, const std::string& form, std::string& error);
// Pulls it out again; before the program's end, while the camera library is still whole.
void unplugSimulatedCamera();

} // namespace quboid3d::measure
