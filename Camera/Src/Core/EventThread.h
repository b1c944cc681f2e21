// The library's own event thread: connection events reach their handlers on it, one at a time
// and in the order they were posted. Started on the first post, joined when the process ends
// (on Windows, ended with it).
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace Orvia::GenICam::Detail {

class CEventThread {
public:
    static CEventThread& instance();
    ~CEventThread();

    void post(std::function<void()> task);
    bool onEventThread() const;
    // Held while a task runs, so that a caller can wait for the running handler to finish.
    std::mutex& dispatchMutex() { return dispatchMutex_; }

private:
    CEventThread() = default;
    void run();

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> tasks_;
    bool stopping_ = false;
    std::thread thread_;
    std::thread::id threadId_;
    std::mutex dispatchMutex_;
};

} // namespace Orvia::GenICam::Detail
