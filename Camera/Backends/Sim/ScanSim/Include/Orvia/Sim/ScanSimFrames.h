// Frames of a virtual station scene for a simulated camera: rendered live, frame by frame, or
// pre-rendered once into a ring that is served round and round without copying. Only tools,
// tests and benchmarks link this (target Quboid3DCameraScanSim).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Orvia/Sim/FrameGenerator.h"
#include "ScanSim/Renderer.h"

namespace Orvia::Sim {

enum class ScanSimForm {
    Mono8,    // the camera image
    Mono4p,   // the same, packed to 4 bits
    LineForm, // the camera's own line extraction: a PipelineImage block with the chunks
              // "PipelineResultTsHigh:<n>" and "PipelineResultTsLow:<n>" (microseconds)
};

struct ScanSimFramesOptions {
    ScanSimForm form = ScanSimForm::Mono8;
    bool preRender = true;         // false: each frame is rendered when it is asked for
    int ringFrames = 0;            // frames rendered ahead; 0: every frame of the scene
    bool loop = true;              // start over after the last frame; false: then nothing more
    uint64_t ticksPerMs = 1000000; // device ticks per millisecond (GevTimestampTickFrequency / 1000)
};

// The chunk id of the pipeline timestamps.
constexpr uint32_t kPipelineTimestampChunkId = 0xA5000001;

class CScanSimFrames : public IFrameGenerator {
public:
    CScanSimFrames(ScanSim::Scene scene, ScanSimFramesOptions options);
    // One pre-rendered generator per form of `forms`, in that order, from a single rendering of
    // each frame: a scene in several forms costs one rendering. `options.form` and
    // `options.preRender` are set per generator.
    static std::vector<std::shared_ptr<CScanSimFrames>>
    renderForms(ScanSim::Scene scene, ScanSimFramesOptions options, const std::vector<ScanSimForm>& forms);
    bool next(SimFrame& frame) override;

    // Frames of one pass: the ring's size, or the scene's frame count when rendering live.
    int passFrames() const;
    // The bytes of ring slot `index`; null when rendering live.
    const uint8_t* ringData(int index) const;
    // A new generator over the same scene and ring, served from its first frame, with its own
    // `loop`; nothing is rendered again and no frame is copied. Many cameras, or one camera many
    // times, can thus serve a scene rendered once.
    std::shared_ptr<CScanSimFrames> replay(bool loop) const;

private:
    CScanSimFrames(std::shared_ptr<const ScanSim::CFrameRenderer> renderer, ScanSimFramesOptions options,
                   std::shared_ptr<const std::vector<SimFrame>> ring);
    SimFrame render(int sceneFrame) const;
    SimFrame convert(const ScanSim::RenderedFrame& rendered, ScanSimForm form) const;
    void stamp(SimFrame& frame, uint64_t number) const;

    std::shared_ptr<const ScanSim::CFrameRenderer> renderer_;
    ScanSimFramesOptions options_;
    std::shared_ptr<const std::vector<SimFrame>> ring_;
    uint64_t served_ = 0;
};

} // namespace Orvia::Sim
