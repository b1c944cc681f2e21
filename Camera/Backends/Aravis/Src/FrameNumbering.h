// Running frame numbers from the frame ids a device puts on its frames.
//
// GigE Vision 1.x ids are 16 bits: they go from 65535 to 1 and are never 0. Newer devices (GigE
// Vision 2.0, USB3 Vision) count in 64 bits and don't wrap. Either way the stream gives each frame
// a running number from 0 at acquisition start, and a frame the device sent but the host never
// received is a hole in those numbers, counted once as skipped.
//
// A frame may come after a newer one: Aravis drops a frame up to 100 ids behind the newest itself
// but passes on one further behind (also across the wrap) as new. Such a frame is late: it does
// not move the newest id back, counts nothing again and gets no number of its own, so the numbers
// only go up.
#pragma once

#include <cstdint>

namespace Orvia::Aravis::Detail {

class CFrameNumbering {
public:
    // The last id before a 16-bit wrap, and how far either side of the wrap ids still count as
    // near it. Also how far behind the newest id a frame counts as late rather than as a device
    // that started its numbers again.
    static constexpr uint64_t kShortIdLast = 0xFFFF;
    static constexpr uint64_t kWindow = 0x100;

    struct Step {
        bool late = false;    // came after a newer frame: no number, nothing counted
        uint64_t skipped = 0; // ids between the newest before it and this one
        uint64_t number = 0;  // running number, from 0 at acquisition start
    };

    // The frame with device id `frameId` has arrived.
    Step take(uint64_t frameId);
    // Acquisition starts again: the next frame is number 0.
    void restart();
    // True once a frame has been taken since the start.
    bool started() const { return started_; }

private:
    bool started_ = false;
    uint64_t newest_ = 0;
    uint64_t number_ = 0;
};

} // namespace Orvia::Aravis::Detail
