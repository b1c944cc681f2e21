// The stream of one device channel, made by CSystem::createStreamSource. Every stream source of
// a device and channel is a view on the same stream: a new one reports isGrabbing while the
// device streams.
//
// Frames wait in a pool of at most setBufferCount buffers, counting both frames waiting to be
// fetched and frames a consumer still holds in a CFrame, and are handed out in order of
// arrival. A frame that finds no free buffer is dropped and counted (getDroppedFrameCount);
// which one goes, the arriving one or the oldest waiting one, is the device's policy (the
// simulated cameras document theirs).
#pragma once

#include <cstdint>

#include "Orvia/CameraApi.h"
#include "Orvia/GenICam/Frame.h"

namespace Orvia::GenICam {

class ORVIA_CAMERA_API IStreamSource {
public:
    virtual ~IStreamSource() = default;

    // Number of buffers, at least 1; takes effect at the next startGrabbing. False below 1.
    // Caller's thread.
    virtual bool setBufferCount(int32_t count) = 0;
    virtual int32_t getBufferCount() const = 0;
    // Any thread.
    virtual bool isGrabbing() const = 0;
    // Starts the stream. `frameLimit` 0 streams until stopped, otherwise stops after that many
    // frames; `strategy` 0 hands frames out oldest first (the only strategy). False if the
    // device is not connected, already streams, or refuses. Caller's thread.
    virtual bool startGrabbing(uint64_t frameLimit, uint32_t strategy) = 0;
    // Stops the stream and drops the frames waiting in it; frames held by consumers stay
    // readable. False if it was not streaming. Caller's thread.
    virtual bool stopGrabbing() = 0;
    // Takes the oldest waiting frame into `frame`. Blocks on the caller's thread, without
    // polling, for at most `timeoutMs` (0: only what is waiting now). Ends early when the
    // stream stops or the device is lost. The verdict is also `frame.valid()`: on timeout
    // the frame is left empty.
    virtual bool getFrame(CFrame& frame, uint32_t timeoutMs) = 0;
    // Frames lost to a full pool since the stream was created. Any thread.
    virtual uint64_t getDroppedFrameCount() const = 0;
};

} // namespace Orvia::GenICam
