// The frames the virtual camera sends: the scene frame that belongs to each buffer's time.
// Frames carry the server's clock, and the server may skip a frame period when it falls
// behind; taking the scene frame from the time keeps the belt where the timestamps say it is,
// as a real camera that drops a frame would.
#pragma once

#include <cstdint>
#include <vector>

#include "ScanSim/Renderer.h"

namespace quboid3d::virtualcamera {

class CSceneFrames {
public:
    // `ringFrames` > 0: that many frames rendered ahead, in both pixel formats, served round;
    // 0: each frame rendered when it is sent.
    CSceneFrames(const ScanSim::Scene& scene, double framesPerSecond, int ringFrames);

    // Writes the frame for `timestampNs` into `out` (width x height Mono8, or packed Mono4p).
    void fill(uint64_t timestampNs, bool mono4p, uint8_t* out, uint64_t size);
    // Starts the scene over at the next frame (a new acquisition).
    void restart() { started_ = false; }

private:
    int sceneFrameAt(uint64_t timestampNs);
    const std::vector<uint8_t>& mono8Of(int sceneFrame);

    ScanSim::CFrameRenderer renderer_;
    uint64_t periodNs_;
    int ringFrames_;
    bool started_ = false;
    uint64_t startNs_ = 0;
    std::vector<std::vector<uint8_t>> ringMono8_;
    std::vector<std::vector<uint8_t>> ringMono4p_;
    ScanSim::RenderedFrame scratch_;
};

} // namespace quboid3d::virtualcamera
