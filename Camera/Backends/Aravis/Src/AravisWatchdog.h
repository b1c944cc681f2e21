// Watches a link while it is connected. A prober reads one bootstrap register every
// kProbePeriod; a judge marks the link lost when a probe has waited longer than kProbeLimit
// (a device that answers does so in milliseconds, a vanished one keeps Aravis retrying for
// about 2.5 s) or when probes fail in a row. Stopping never waits for a probe stuck on a lost
// device: that thread finishes alone and lets go of the link.
#pragma once

#include <chrono>
#include <memory>
#include <thread>

namespace Orvia::Aravis::Detail {

class CAravisLink;

class CAravisWatchdog {
public:
    static constexpr std::chrono::milliseconds kProbePeriod{250};
    static constexpr std::chrono::milliseconds kProbeLimit{1000};

    explicit CAravisWatchdog(std::shared_ptr<CAravisLink> link);
    ~CAravisWatchdog();
    CAravisWatchdog(const CAravisWatchdog&) = delete;
    CAravisWatchdog& operator=(const CAravisWatchdog&) = delete;

    struct State; // shared with the two threads

private:
    std::shared_ptr<State> state_;
    std::thread prober_;
    std::thread judge_;
};

} // namespace Orvia::Aravis::Detail
