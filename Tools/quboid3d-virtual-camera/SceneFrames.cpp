#include "SceneFrames.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quboid3d::virtualcamera {

// A whole pass of 2048 x 512 frames is some gigabytes in one format; the ring keeps only the
// format the camera serves.
CSceneFrames::CSceneFrames(const ScanSim::Scene& scene, double framesPerSecond, int ringFrames, bool mono4p)
    : renderer_(scene), periodNs_(static_cast<uint64_t>(1e9 / framesPerSecond)),
      ringFrames_(std::min(ringFrames, renderer_.frameCount())), ringMono4p_(mono4p) {
    for (int frame = 0; frame < ringFrames_; ++frame) {
        renderer_.render(frame, scratch_);
        ring_.push_back(mono4p ? ScanSim::packMono4p(scratch_.mono8.data(), scratch_.mono8.size())
                               : scratch_.mono8);
    }
}

int CSceneFrames::sceneFrameAt(uint64_t timestampNs) {
    if (!started_ || timestampNs < startNs_) {
        started_ = true;
        startNs_ = timestampNs;
    }
    const auto periods =
        static_cast<uint64_t>(std::llround(double(timestampNs - startNs_) / double(periodNs_)));
    lastPeriod_ = periods;
    const uint64_t cycle =
        ringFrames_ > 0 ? static_cast<uint64_t>(ringFrames_) : uint64_t(renderer_.frameCount());
    return static_cast<int>(periods % cycle);
}

const std::vector<uint8_t>& CSceneFrames::mono8Of(int sceneFrame) {
    renderer_.render(sceneFrame, scratch_);
    return scratch_.mono8;
}

void CSceneFrames::fill(uint64_t timestampNs, bool mono4p, uint8_t* out, uint64_t size) {
    const int sceneFrame = sceneFrameAt(timestampNs);
    // A client that switched the pixel format gets the other format rendered live.
    if (ringFrames_ > 0 && mono4p == ringMono4p_) {
        const auto& bytes = ring_[sceneFrame];
        std::memcpy(out, bytes.data(), std::min<uint64_t>(size, bytes.size()));
        return;
    }
    const auto& mono8 = mono8Of(sceneFrame);
    if (mono4p) {
        const auto packed = ScanSim::packMono4p(mono8.data(), mono8.size());
        std::memcpy(out, packed.data(), std::min<uint64_t>(size, packed.size()));
    } else {
        std::memcpy(out, mono8.data(), std::min<uint64_t>(size, mono8.size()));
    }
}

} // namespace quboid3d::virtualcamera
