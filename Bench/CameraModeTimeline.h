// Where the frames of a paced camera went: for each frame the camera made, when it was made, when
// the measuring thread fetched it and when it let it go, or that the pool was full. A generator
// wrapped around the camera's own takes the first and last; the frame status callback the fetch.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Orvia/Sim/FrameGenerator.h"

namespace quboid3d::bench {

class CFrameTimeline : public Orvia::Sim::IFrameGenerator {
public:
    using Clock = std::chrono::steady_clock;

    CFrameTimeline(std::shared_ptr<Orvia::Sim::IFrameGenerator> frames, std::size_t capacity);

    bool next(Orvia::Sim::SimFrame& frame) override;
    // Called on every fetch that gave a frame; frames are fetched in the order they were made.
    void fetched();
    // Called when the application gets a box; written beside the frames as `<csv>.boxes`.
    void boxHandedOver();

    // Summary figures, and a CSV of every frame when `csvPath` is not empty. Call after the
    // stream has stopped and every frame was let go.
    struct Summary {
        double slippedMs = 0.0;       // how far the camera's frames ended behind its rate, by its stalls
        double worstMadeGapMs = 0.0;  // the longest the camera went without making a frame
        double worstFetchGapMs = 0.0; // the longest the measuring thread took between two fetches
        double worstHoldMs = 0.0;     // the longest it held one frame
        double worstQueueMs = 0.0;    // the longest a fetched frame waited in the pool
        long framesOverMs = 0;        // frames held longer than a millisecond
        long burstFrames = 0;         // frames made less than a tenth of a period after the one before
    };
    Summary summarize(double periodMs, const std::string& csvPath) const;

private:
    struct Record {
        Clock::time_point made;
        Clock::time_point fetched;
        Clock::time_point released;
        std::atomic<bool> lost{false}; // set on the camera's thread, read on the measuring one
    };

    std::shared_ptr<Orvia::Sim::IFrameGenerator> frames_;
    std::vector<Record> records_;
    std::atomic<std::size_t> made_{0};
    std::size_t fetched_ = 0;              // how many frames the measuring thread took (its thread only)
    std::vector<Clock::time_point> boxes_; // measuring thread only
    std::atomic<std::thread::id> maker_{}; // the camera's thread, read by the measuring thread
};

} // namespace quboid3d::bench
