#include "Orvia/GenICam/Frame.h"

#include "Core/FramePayload.h"

namespace Orvia::GenICam {

CFrame::CFrame() = default;
CFrame::~CFrame() = default;
CFrame::CFrame(const CFrame&) = default;
CFrame& CFrame::operator=(const CFrame&) = default;

CFrame::CFrame(std::shared_ptr<const Detail::CFramePayload> payload) : payload_(std::move(payload)) {}

void CFrame::reset(std::shared_ptr<const Detail::CFramePayload> payload) {
    payload_ = std::move(payload);
}

bool CFrame::valid() const {
    return payload_ != nullptr;
}

const uint8_t* CFrame::getImage() const {
    return payload_ ? payload_->data : nullptr;
}

uint32_t CFrame::getImageWidth() const {
    return payload_ ? payload_->width : 0;
}

uint32_t CFrame::getImageHeight() const {
    return payload_ ? payload_->height : 0;
}

uint64_t CFrame::getImageSize() const {
    return payload_ ? payload_->size : 0;
}

uint32_t CFrame::getImagePixelFormat() const {
    return payload_ ? payload_->pixelFormat : 0;
}

uint64_t CFrame::getImageTimeStamp() const {
    return payload_ ? payload_->timestamp : 0;
}

uint64_t CFrame::getFrameId() const {
    return payload_ ? payload_->frameId : 0;
}

uint32_t CFrame::getChunkCount() const {
    return payload_ ? static_cast<uint32_t>(payload_->chunks.size()) : 0;
}

bool CFrame::getChunkDataByIndex(uint32_t index, uint32_t& chunkId,
                                 Infra::TVector<Infra::CString>& texts) const {
    if (!payload_ || index >= payload_->chunks.size()) {
        return false;
    }
    const auto& chunk = payload_->chunks[index];
    chunkId = chunk.id;
    for (const auto& text : chunk.texts) {
        texts.emplace_back(text);
    }
    return true;
}

} // namespace Orvia::GenICam
