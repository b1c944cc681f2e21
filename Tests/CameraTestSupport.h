// Helpers of the camera library's tests: plug a simulated laser camera in and find it through
// discovery, and wait for something another thread does, bounded in time.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

#include "Orvia/GenICam/System.h"
#include "Orvia/Sim/SimCamera.h"

namespace quboid3d::test {

using Orvia::GenICam::CSystem;
using Orvia::GenICam::ICamera;
using Orvia::Memory::TSharedPtr;

inline TSharedPtr<ICamera> discoverByKey(const std::string& key, uint32_t selector = 255) {
    Orvia::Infra::TVector<TSharedPtr<ICamera>> cameras;
    CSystem::getInstance().discovery(cameras, selector);
    for (const auto& camera : cameras) {
        if (key == camera->getKey()) {
            return camera;
        }
    }
    return nullptr;
}

struct PluggedCamera {
    std::shared_ptr<Orvia::Sim::CSimCamera> sim;
    TSharedPtr<ICamera> camera;
};

// A laser camera plugged in, discovered and (unless told otherwise) connected.
inline PluggedCamera plugLaserCamera(const std::string& serial, bool connect = true,
                                     const Orvia::Sim::SimDeviceDescription* description = nullptr) {
    PluggedCamera plugged;
    plugged.sim = Orvia::Sim::CSimCamera::plugIn(description ? *description
                                                             : Orvia::Sim::laserCameraDescription(serial));
    if (!plugged.sim) {
        return plugged;
    }
    plugged.camera = discoverByKey(plugged.sim->key());
    if (connect && plugged.camera) {
        plugged.camera->connect(Orvia::GenICam::AccessModeControl);
    }
    return plugged;
}

// Counts events of another thread; waits for a count with a generous bound so that a broken
// build fails instead of hanging.
class CEventLatch {
public:
    // Notifies under the lock: a waiter may destroy the latch as soon as it sees the count.
    void arrive() {
        std::lock_guard lock(mutex_);
        ++count_;
        changed_.notify_all();
    }
    bool waitFor(int count, std::chrono::seconds bound = std::chrono::seconds(20)) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, bound, [&] { return count_ >= count; });
    }
    int count() {
        std::lock_guard lock(mutex_);
        return count_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
};

} // namespace quboid3d::test
