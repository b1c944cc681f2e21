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
    // `ringFrames` > 0: that many frames rendered ahead, in the pixel format served, and served
    // round; 0: each frame rendered when it is sent.
    CSceneFrames(const ScanSim::Scene& scene, double framesPerSecond, int ringFrames, bool mono4p);

    // Writes the frame for `timestampNs` into `out` (width x height Mono8, or packed Mono4p).
    void fill(uint64_t timestampNs, bool mono4p, uint8_t* out, uint64_t size);
    // Starts the scene over at the next frame (a new acquisition).
    void restart() { started_ = false; }
    // Frame periods from the start of the acquisition to the last frame filled, that one
    // included: the scene frames the belt has shown, whether or not each was sent.
    uint64_t periodsShown() const { return started_ ? lastPeriod_ + 1 : 0; }

private:
    int sceneFrameAt(uint64_t timestampNs);
    const std::vector<uint8_t>& mono8Of(int sceneFrame);

    ScanSim::CFrameRenderer renderer_;
    uint64_t periodNs_;
    int ringFrames_;
    bool started_ = false;
    uint64_t startNs_ = 0;
    uint64_t lastPeriod_ = 0;
    bool ringMono4p_;
    std::vector<std::vector<uint8_t>> ring_; // Mono8 or packed Mono4p, as served at the start
    ScanSim::RenderedFrame scratch_;
};

} // namespace quboid3d::virtualcamera
