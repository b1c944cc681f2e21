#include "CameraModeTimeline.h"

#include <algorithm>
#include <fstream>

namespace quboid3d::bench {

namespace {

double msBetween(CFrameTimeline::Clock::time_point from, CFrameTimeline::Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

} // namespace

CFrameTimeline::CFrameTimeline(std::shared_ptr<Orvia::Sim::IFrameGenerator> frames, std::size_t capacity)
    : frames_(std::move(frames)), records_(capacity) {
    boxes_.reserve(capacity / 100);
}

bool CFrameTimeline::next(Orvia::Sim::SimFrame& frame) {
    const std::size_t k = made_.load(std::memory_order_relaxed);
    if (k >= records_.size() || !frames_->next(frame))
        return false;
    maker_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    records_[k].made = Clock::now();
    // A frame let go on the thread that made it never reached the measuring thread: the pool was full.
    auto inner = std::move(frame.owner);
    const void* data = inner.get();
    frame.owner = std::shared_ptr<const void>(data, [this, k, inner = std::move(inner)](const void*) {
        records_[k].released = Clock::now();
        records_[k].lost = std::this_thread::get_id() == maker_.load(std::memory_order_relaxed);
    });
    made_.store(k + 1, std::memory_order_release);
    return true;
}

void CFrameTimeline::fetched() {
    const auto now = Clock::now();
    const std::size_t made = made_.load(std::memory_order_acquire);
    // The oldest frame not yet fetched and not lost is the one this fetch took; a frame lost
    // after it was made is marked before the next one is made.
    while (fetched_ < made && records_[fetched_].lost)
        ++fetched_;
    if (fetched_ < made)
        records_[fetched_++].fetched = now;
}

void CFrameTimeline::boxHandedOver() {
    if (boxes_.size() < boxes_.capacity())
        boxes_.push_back(Clock::now());
}

CFrameTimeline::Summary CFrameTimeline::summarize(double periodMs, const std::string& csvPath) const {
    Summary s;
    const std::size_t made = made_.load(std::memory_order_acquire);
    if (made == 0)
        return s;
    const Clock::time_point start = records_[0].made;
    std::ofstream csv;
    if (!csvPath.empty()) {
        csv.open(csvPath, std::ios::trunc);
        csv << "frame,made_ms,late_ms,lost,fetched_ms,released_ms\n";
    }
    Clock::time_point lastFetch{};
    for (std::size_t k = 0; k < made; ++k) {
        const Record& r = records_[k];
        const double madeMs = msBetween(start, r.made);
        const double lateMs = madeMs - static_cast<double>(k) * periodMs;
        s.slippedMs = lateMs;
        if (k > 0) {
            const double gapMs = msBetween(records_[k - 1].made, r.made);
            s.worstMadeGapMs = std::max(s.worstMadeGapMs, gapMs);
            s.burstFrames += gapMs < periodMs / 10 ? 1 : 0;
        }
        const bool wasFetched = !r.lost && r.fetched != Clock::time_point{};
        if (wasFetched) {
            const double holdMs = msBetween(r.fetched, r.released);
            s.worstHoldMs = std::max(s.worstHoldMs, holdMs);
            s.framesOverMs += holdMs > 1.0 ? 1 : 0;
            s.worstQueueMs = std::max(s.worstQueueMs, msBetween(r.made, r.fetched));
            if (lastFetch != Clock::time_point{})
                s.worstFetchGapMs = std::max(s.worstFetchGapMs, msBetween(lastFetch, r.fetched));
            lastFetch = r.fetched;
        }
        if (csv.is_open()) {
            csv << k << ',' << madeMs << ',' << lateMs << ',' << (r.lost ? 1 : 0) << ','
                << (wasFetched ? msBetween(start, r.fetched) : -1.0) << ','
                << (wasFetched ? msBetween(start, r.released) : -1.0) << '\n';
        }
    }
    if (!csvPath.empty()) {
        std::ofstream boxes(csvPath + ".boxes", std::ios::trunc);
        boxes << "box_ms\n";
        for (const auto& at : boxes_)
            boxes << msBetween(start, at) << '\n';
    }
    return s;
}

} // namespace quboid3d::bench
