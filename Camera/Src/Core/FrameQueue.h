// A bounded pool of frame buffers for backends that fill buffers themselves. A buffer is busy
// while its frame waits to be fetched or while a consumer holds it; a frame that finds every
// buffer busy is dropped by the pool's policy and counted. Fetches block on a condition
// variable, never poll, and allocate nothing: what frees a frame's place is set when the queue
// takes it, on the producer's side.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>

#include "Core/FramePayload.h"

namespace Orvia::GenICam::Detail {

class CFrameQueue {
public:
    struct Counters {
        uint64_t captured = 0;
        uint64_t dropped = 0;
        uint64_t delivered = 0;
        uint32_t waiting = 0;
        uint32_t held = 0;
    };

    explicit CFrameQueue(bool dropOldest);
    ~CFrameQueue();

    // Takes effect at the next open.
    void setCapacity(uint32_t buffers);
    uint32_t capacity() const;
    // Starts accepting frames, with an empty queue.
    void open();
    // Stops accepting, drops what waits and wakes every fetch.
    void close();
    bool isOpen() const;
    // False if the frame was not taken (closed or dropped).
    bool push(std::shared_ptr<CFramePayload> frame);
    // The oldest waiting frame, or null after `timeout` or once closed.
    std::shared_ptr<const CFramePayload> pop(std::chrono::milliseconds timeout);
    Counters counters() const;

private:
    struct State;
    // Counts a taken frame busy until the last holder of it lets go. Under the lock.
    std::shared_ptr<void> busySlot();
    std::shared_ptr<State> state_;
};

} // namespace Orvia::GenICam::Detail
