#include "Core/EventThread.h"

namespace Orvia::GenICam::Detail {

CEventThread& CEventThread::instance() {
#if defined(_WIN32)
    // A Windows process that ends stops its other threads before it destroys the statics of its
    // DLLs; waking or joining the event thread then would wait for ever. It ends with the process.
    static CEventThread* const thread = new CEventThread;
    return *thread;
#else
    static CEventThread thread;
    return thread;
#endif
}

CEventThread::~CEventThread() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void CEventThread::post(std::function<void()> task) {
    std::lock_guard lock(mutex_);
    if (stopping_) {
        return;
    }
    tasks_.push_back(std::move(task));
    if (!thread_.joinable()) {
        thread_ = std::thread([this] { run(); });
        threadId_ = thread_.get_id();
    }
    wake_.notify_one();
}

bool CEventThread::onEventThread() const {
    std::lock_guard lock(mutex_);
    return std::this_thread::get_id() == threadId_;
}

void CEventThread::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
        if (stopping_) {
            return;
        }
        auto task = std::move(tasks_.front());
        tasks_.pop_front();
        lock.unlock();
        {
            std::lock_guard dispatch(dispatchMutex_);
            task();
        }
        lock.lock();
    }
}

} // namespace Orvia::GenICam::Detail
