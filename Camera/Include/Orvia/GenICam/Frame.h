// One frame of a stream. Built empty by the caller and filled by IStreamSource::getFrame. It
// holds the device's buffer, with no copy, until the last copy of this object is destroyed or
// refilled; that buffer then returns to the stream's pool. Reading a frame is thread-safe,
// refilling one object from two threads at once is not.
#pragma once

#include <cstdint>
#include <memory>

#include "Orvia/CameraApi.h"
#include "Orvia/Infra/String.h"
#include "Orvia/Infra/Vector.h"

namespace Orvia::GenICam {

namespace Detail {
struct CFramePayload;
}

class ORVIA_CAMERA_API CFrame {
public:
    // An empty frame: valid() is false and every getter gives 0 or null.
    CFrame();
    ~CFrame();
    // Copies share the buffer.
    CFrame(const CFrame&);
    CFrame& operator=(const CFrame&);

    // True when the frame holds a buffer.
    bool valid() const;
    // The pixels, or for a pipeline result (PixelFormatPipelineResult) the camera's block.
    // Stays readable as long as this object holds the frame.
    const uint8_t* getImage() const;
    uint32_t getImageWidth() const;
    uint32_t getImageHeight() const;
    // Bytes in getImage().
    uint64_t getImageSize() const;
    // A PixelFormatCode.
    uint32_t getImagePixelFormat() const;
    // Time of exposure in device ticks (GevTimestampTickFrequency per second).
    uint64_t getImageTimeStamp() const;
    // Running number of the frame, from 0 at stream start, counting every frame the device sent:
    // a number skipped is a frame lost on the way (no free buffer, incomplete, dropped by the pool).
    uint64_t getFrameId() const;

    // Chunks the device sent with the frame. Each chunk holds texts of the form "Name:value".
    uint32_t getChunkCount() const;
    // Appends the texts of chunk `index` to `texts` and sets `chunkId`. False for an index
    // past the end, with both outputs untouched.
    bool getChunkDataByIndex(uint32_t index, uint32_t& chunkId, Infra::TVector<Infra::CString>& texts) const;

    // Library use: the stream fills frames through this.
    explicit CFrame(std::shared_ptr<const Detail::CFramePayload> payload);
    void reset(std::shared_ptr<const Detail::CFramePayload> payload = nullptr);

private:
    std::shared_ptr<const Detail::CFramePayload> payload_;
};

} // namespace Orvia::GenICam
