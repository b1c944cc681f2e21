#include "DetachedTeardown.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace Orvia::Aravis::Detail {

namespace {

struct Tracker {
    std::mutex mutex;
    std::condition_variable idle;
    uint32_t running = 0;
};

// Never destroyed: a teardown may still finish while the process exits.
Tracker& tracker() {
    static auto* instance = new Tracker;
    return *instance;
}

} // namespace

void runDetached(std::function<void()> work) {
    Tracker& t = tracker();
    {
        std::lock_guard lock(t.mutex);
        ++t.running;
    }
    std::thread([work = std::move(work), &t]() mutable {
        work();
        work = nullptr; // what it captured goes before the count drops
        std::lock_guard lock(t.mutex);
        --t.running;
        t.idle.notify_all();
    }).detach();
}

uint32_t detachedTeardownsRunning() {
    Tracker& t = tracker();
    std::lock_guard lock(t.mutex);
    return t.running;
}

bool waitForDetachedTeardowns(std::chrono::milliseconds limit) {
    Tracker& t = tracker();
    std::unique_lock lock(t.mutex);
    return t.idle.wait_for(lock, limit, [&t] { return t.running == 0; });
}

} // namespace Orvia::Aravis::Detail
