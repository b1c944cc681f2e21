#include "AravisWatchdog.h"

#include <condition_variable>
#include <mutex>
#include <optional>

#include "AravisLink.h"

namespace Orvia::Aravis::Detail {

using Clock = std::chrono::steady_clock;

struct CAravisWatchdog::State {
    std::shared_ptr<CAravisLink> link;
    std::mutex mutex; // guards the members below
    std::condition_variable wake;
    bool stop = false;
    std::optional<Clock::time_point> probeSince;
};

namespace {

// Address 0 is the first bootstrap register on GigE Vision and USB3 Vision alike.
constexpr uint64_t kProbeAddress = 0;

void probe(const std::shared_ptr<CAravisWatchdog::State>& state) {
    std::unique_lock lock(state->mutex);
    while (!state->stop && !state->link->lost()) {
        state->probeSince = Clock::now();
        lock.unlock();
        guint32 value = 0;
        CGError error;
        arv_device_read_register(state->link->device(), kProbeAddress, &value, error.out());
        state->link->record(outcomeOf(error.get()));
        lock.lock();
        state->probeSince.reset();
        state->wake.notify_all();
        state->wake.wait_for(lock, CAravisWatchdog::kProbePeriod, [&] { return state->stop; });
    }
}

void judge(const std::shared_ptr<CAravisWatchdog::State>& state) {
    constexpr std::chrono::milliseconds kLook{100};
    std::unique_lock lock(state->mutex);
    while (!state->stop) {
        state->wake.wait_for(lock, kLook, [&] { return state->stop; });
        if (state->probeSince && Clock::now() - *state->probeSince > CAravisWatchdog::kProbeLimit) {
            lock.unlock();
            state->link->markLost();
            return;
        }
    }
}

} // namespace

CAravisWatchdog::CAravisWatchdog(std::shared_ptr<CAravisLink> link) : state_(std::make_shared<State>()) {
    state_->link = std::move(link);
    prober_ = std::thread(probe, state_);
    judge_ = std::thread(judge, state_);
}

CAravisWatchdog::~CAravisWatchdog() {
    // A probe on a live device ends in milliseconds; one on a vanished device may sit in
    // Aravis's retries for seconds, and is left to finish alone with what it holds.
    constexpr std::chrono::milliseconds kProbeGrace{50};
    bool probeEnded = false;
    {
        std::unique_lock lock(state_->mutex);
        state_->stop = true;
        state_->wake.notify_all();
        probeEnded = !state_->link->lost() &&
                     state_->wake.wait_for(lock, kProbeGrace, [this] { return !state_->probeSince; });
    }
    judge_.join();
    if (probeEnded && !state_->link->lost()) {
        prober_.join();
    } else {
        prober_.detach();
    }
}

} // namespace Orvia::Aravis::Detail
