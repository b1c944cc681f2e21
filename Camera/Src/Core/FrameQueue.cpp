#include "Core/FrameQueue.h"

#include <atomic>

namespace Orvia::GenICam::Detail {

struct CFrameQueue::State {
    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<std::shared_ptr<CFramePayload>> waiting;
    uint32_t pendingCapacity = 16;
    uint32_t capacity = 16;
    // Frames taken and not yet let go, waiting or held; let go on any thread, hence atomic.
    std::atomic<uint32_t> busy{0};
    bool open = false;
    bool dropOldest = false;
    Counters counts;
};

CFrameQueue::CFrameQueue(bool dropOldest) : state_(std::make_shared<State>()) {
    state_->dropOldest = dropOldest;
}

CFrameQueue::~CFrameQueue() {
    close();
}

void CFrameQueue::setCapacity(uint32_t buffers) {
    std::lock_guard lock(state_->mutex);
    state_->pendingCapacity = buffers;
}

uint32_t CFrameQueue::capacity() const {
    std::lock_guard lock(state_->mutex);
    return state_->pendingCapacity;
}

void CFrameQueue::open() {
    std::deque<std::shared_ptr<CFramePayload>> dropped; // released outside the lock
    std::lock_guard lock(state_->mutex);
    dropped.swap(state_->waiting);
    state_->capacity = state_->pendingCapacity;
    state_->open = true;
}

void CFrameQueue::close() {
    std::deque<std::shared_ptr<CFramePayload>> dropped;
    {
        std::lock_guard lock(state_->mutex);
        state_->open = false;
        dropped.swap(state_->waiting);
    }
    state_->arrived.notify_all();
}

bool CFrameQueue::isOpen() const {
    std::lock_guard lock(state_->mutex);
    return state_->open;
}

bool CFrameQueue::push(std::shared_ptr<CFramePayload> frame) {
    std::shared_ptr<CFramePayload> lost; // released outside the lock
    {
        std::lock_guard lock(state_->mutex);
        State& s = *state_;
        if (!s.open) {
            return false;
        }
        if (s.busy.load() >= s.capacity) {
            ++s.counts.dropped;
            if (!s.dropOldest || s.waiting.empty()) {
                return false;
            }
            lost = std::move(s.waiting.front());
            s.waiting.pop_front();
            lost->queueSlot.reset(); // its place is the new frame's
        }
        ++s.counts.captured;
        frame->queueSlot = busySlot();
        s.waiting.push_back(std::move(frame));
    }
    state_->arrived.notify_one();
    return true;
}

std::shared_ptr<const CFramePayload> CFrameQueue::pop(std::chrono::milliseconds timeout) {
    std::unique_lock lock(state_->mutex);
    State& s = *state_;
    s.arrived.wait_for(lock, timeout, [&s] { return !s.open || !s.waiting.empty(); });
    if (!s.open || s.waiting.empty()) {
        return nullptr;
    }
    auto frame = std::move(s.waiting.front());
    s.waiting.pop_front();
    ++s.counts.delivered;
    return frame;
}

std::shared_ptr<void> CFrameQueue::busySlot() {
    state_->busy.fetch_add(1);
    std::weak_ptr<State> weak = state_;
    return std::shared_ptr<void>(nullptr, [weak](void*) {
        if (auto state = weak.lock())
            state->busy.fetch_sub(1);
    });
}

CFrameQueue::Counters CFrameQueue::counters() const {
    std::lock_guard lock(state_->mutex);
    Counters c = state_->counts;
    c.waiting = static_cast<uint32_t>(state_->waiting.size());
    const auto busy = state_->busy.load();
    c.held = busy > c.waiting ? busy - c.waiting : 0;
    return c;
}

} // namespace Orvia::GenICam::Detail
