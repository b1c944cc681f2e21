// One open connection to an Aravis device and what is known of its health. The link is
// marked lost once: by Aravis's control-lost signal, by a run of failed control calls, or by
// the watchdog's missed probe. Whoever holds the link last releases the device; a lost link is
// released on a detached thread, since Aravis blocks for seconds on a device that is gone.
#pragma once

#include <arv.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "AravisFeatures.h"
#include "GObjectRef.h"

namespace Orvia::Aravis::Detail {

class CAravisLink {
public:
    // Failed control calls in a row that mark the device lost.
    static constexpr int kFailureRun = 2;

    // Opens the device by its Aravis id or, for GigE Vision, its address; null on failure.
    static std::shared_ptr<CAravisLink> open(const std::string& openId, bool gigE, std::string& error);
    ~CAravisLink();
    CAravisLink(const CAravisLink&) = delete;
    CAravisLink& operator=(const CAravisLink&) = delete;

    ArvDevice* device() const { return device_.get(); }
    bool isGigE() const { return gigE_; }
    bool lost() const { return lost_.load(); }
    // Marks the link lost and, the first time, calls the handler on this thread.
    void markLost();
    // Called once when the link is lost, from whichever thread saw it.
    void setLostHandler(std::function<void()> handler);
    // Counts a control call's outcome toward the run that marks the link lost.
    void record(CallOutcome outcome);

    // Control calls through the GenICam tree are not safe from two threads at once.
    std::mutex& controlMutex() { return controlMutex_; }

private:
    CAravisLink(ArvDevice* device, bool gigE);
    void watchControlLost(const std::shared_ptr<CAravisLink>& self);

    TGObjectRef<ArvDevice> device_;
    bool gigE_;
    gulong controlLostHandler_ = 0;
    std::atomic<bool> lost_{false};
    std::atomic<int> failureRun_{0};
    std::mutex handlerMutex_;
    std::function<void()> onLost_;
    std::mutex controlMutex_;
};

} // namespace Orvia::Aravis::Detail
