#include "Orvia/Sim/ScanSimFrames.h"

#include <algorithm>
#include <string>

#include "Orvia/GenICam/Defs.h"

namespace Orvia::Sim {

CScanSimFrames::CScanSimFrames(ScanSim::Scene scene, ScanSimFramesOptions options)
    : renderer_(std::make_shared<const ScanSim::CFrameRenderer>(std::move(scene))), options_(options) {
    auto ring = std::make_shared<std::vector<SimFrame>>();
    if (options_.preRender) {
        const int count = options_.ringFrames > 0 ? options_.ringFrames : renderer_->frameCount();
        ring->reserve(static_cast<size_t>(count));
        for (int i = 0; i < count; ++i) {
            ring->push_back(render(i % std::max(1, renderer_->frameCount())));
        }
    }
    ring_ = std::move(ring);
}

CScanSimFrames::CScanSimFrames(std::shared_ptr<const ScanSim::CFrameRenderer> renderer,
                               ScanSimFramesOptions options,
                               std::shared_ptr<const std::vector<SimFrame>> ring)
    : renderer_(std::move(renderer)), options_(options), ring_(std::move(ring)) {}

std::vector<std::shared_ptr<CScanSimFrames>>
CScanSimFrames::renderForms(ScanSim::Scene scene, ScanSimFramesOptions options,
                            const std::vector<ScanSimForm>& forms) {
    options.preRender = true;
    auto renderer = std::make_shared<const ScanSim::CFrameRenderer>(std::move(scene));
    const int count = options.ringFrames > 0 ? options.ringFrames : renderer->frameCount();
    std::vector<std::shared_ptr<std::vector<SimFrame>>> rings;
    for (size_t f = 0; f < forms.size(); ++f) {
        rings.push_back(std::make_shared<std::vector<SimFrame>>());
        rings.back()->reserve(static_cast<size_t>(count));
    }
    // Converting needs only the renderer's size, so any generator of the set can do it.
    const CScanSimFrames converter(renderer, options, nullptr);
    for (int i = 0; i < count; ++i) {
        ScanSim::RenderedFrame rendered;
        renderer->render(i % std::max(1, renderer->frameCount()), rendered);
        for (size_t f = 0; f < forms.size(); ++f) {
            rings[f]->push_back(converter.convert(rendered, forms[f]));
        }
    }
    std::vector<std::shared_ptr<CScanSimFrames>> generators;
    for (size_t f = 0; f < forms.size(); ++f) {
        options.form = forms[f];
        generators.push_back(
            std::shared_ptr<CScanSimFrames>(new CScanSimFrames(renderer, options, rings[f])));
    }
    return generators;
}

std::shared_ptr<CScanSimFrames> CScanSimFrames::replay(bool loop) const {
    auto copy = std::make_shared<CScanSimFrames>(*this);
    copy->options_.loop = loop;
    copy->served_ = 0;
    return copy;
}

int CScanSimFrames::passFrames() const {
    return options_.preRender ? static_cast<int>(ring_->size()) : renderer_->frameCount();
}

const uint8_t* CScanSimFrames::ringData(int index) const {
    return index >= 0 && static_cast<size_t>(index) < ring_->size()
               ? (*ring_)[static_cast<size_t>(index)].data
               : nullptr;
}

SimFrame CScanSimFrames::render(int sceneFrame) const {
    ScanSim::RenderedFrame rendered;
    renderer_->render(sceneFrame, rendered);
    return convert(rendered, options_.form);
}

SimFrame CScanSimFrames::convert(const ScanSim::RenderedFrame& rendered, ScanSimForm form) const {
    const auto width = static_cast<uint32_t>(renderer_->width());
    const auto height = static_cast<uint32_t>(renderer_->height());
    switch (form) {
    case ScanSimForm::Mono8:
        // Copied: other forms of the same rendering may still need the pixels.
        return SimFrame::fromBytes(rendered.mono8, width, height, GenICam::PixelFormatMono8, 0);
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
    const double ms = static_cast<double>(number) * renderer_->scene().motion.framePeriodMs;
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
    frame = options_.preRender ? (*ring_)[static_cast<size_t>(index)] : render(index);
    stamp(frame, served_);
    ++served_;
    return true;
}

} // namespace Orvia::Sim
