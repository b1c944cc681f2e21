#include "Orvia/Sim/ScanSimFrames.h"

#include <algorithm>
#include <string>

#include "Orvia/GenICam/Defs.h"

namespace Orvia::Sim {

CScanSimFrames::CScanSimFrames(ScanSim::Scene scene, ScanSimFramesOptions options)
    : renderer_(std::move(scene)), options_(options) {
    if (!options_.preRender) {
        return;
    }
    const int count = options_.ringFrames > 0 ? options_.ringFrames : renderer_.frameCount();
    ring_.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        ring_.push_back(render(i % std::max(1, renderer_.frameCount())));
    }
}

int CScanSimFrames::passFrames() const {
    return options_.preRender ? static_cast<int>(ring_.size()) : renderer_.frameCount();
}

const uint8_t* CScanSimFrames::ringData(int index) const {
    return index >= 0 && static_cast<size_t>(index) < ring_.size() ? ring_[static_cast<size_t>(index)].data
                                                                   : nullptr;
}

SimFrame CScanSimFrames::render(int sceneFrame) const {
    ScanSim::RenderedFrame rendered;
    renderer_.render(sceneFrame, rendered);
    const auto width = static_cast<uint32_t>(renderer_.width());
    const auto height = static_cast<uint32_t>(renderer_.height());
    switch (options_.form) {
    case ScanSimForm::Mono8:
        return SimFrame::fromBytes(std::move(rendered.mono8), width, height, GenICam::PixelFormatMono8, 0);
    case ScanSimForm::Mono4p:
        return SimFrame::fromBytes(ScanSim::packMono4p(rendered.mono8.data(), rendered.mono8.size()), width,
                                   height, GenICam::PixelFormatMono4p, 0);
    case ScanSimForm::LineForm: {
        std::vector<uint8_t> block;
        ScanSim::buildPipelineImage(rendered.line, block);
        return SimFrame::fromBytes(std::move(block), static_cast<uint32_t>(rendered.line.rows.size()), 1,
                                   GenICam::PixelFormatPipelineResult, 0);
    }
    }
    return {};
}

void CScanSimFrames::stamp(SimFrame& frame, uint64_t number) const {
    const double ms = static_cast<double>(number) * renderer_.scene().motion.framePeriodMs;
    frame.timestamp = static_cast<uint64_t>(ms * static_cast<double>(options_.ticksPerMs));
    frame.chunks.clear();
    if (options_.form == ScanSimForm::LineForm) {
        const auto micros = static_cast<uint64_t>(ms * 1000.0);
        frame.chunks.push_back({kPipelineTimestampChunkId,
                                {"PipelineResultTsHigh:" + std::to_string(micros >> 32),
                                 "PipelineResultTsLow:" + std::to_string(micros & 0xFFFFFFFFu)}});
    }
}

bool CScanSimFrames::next(SimFrame& frame) {
    const int pass = passFrames();
    if (pass <= 0 || (!options_.loop && served_ >= static_cast<uint64_t>(pass))) {
        return false;
    }
    const auto index = static_cast<int>(served_ % static_cast<uint64_t>(pass));
    frame = options_.preRender ? ring_[static_cast<size_t>(index)] : render(index);
    stamp(frame, served_);
    ++served_;
    return true;
}

} // namespace Orvia::Sim
