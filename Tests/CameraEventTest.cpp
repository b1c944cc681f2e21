// Connection events: delivered on the library's own event thread, in order, to the handlers of
// the device; subscription, unsubscription and the injected refusal.
#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

#include "CameraTestSupport.h"

namespace quboid3d::test {
namespace {

using namespace Orvia::GenICam;
using Orvia::Sim::SimFaults;

// Records each event and the thread it came on.
class CRecorder {
public:
    void onConnect(const ConnectArgs& args) {
        {
            std::lock_guard lock(mutex_);
            states_.push_back(args.state);
            numbers_.push_back(args.eventNumber);
            threads_.push_back(std::this_thread::get_id());
        }
        latch.arrive();
    }
    std::vector<uint32_t> states() {
        std::lock_guard lock(mutex_);
        return states_;
    }
    std::vector<uint64_t> numbers() {
        std::lock_guard lock(mutex_);
        return numbers_;
    }
    std::vector<std::thread::id> threads() {
        std::lock_guard lock(mutex_);
        return threads_;
    }
    CEventLatch latch;

private:
    std::mutex mutex_;
    std::vector<uint32_t> states_;
    std::vector<uint64_t> numbers_;
    std::vector<std::thread::id> threads_;
};

CConnectArgsProc procOf(const std::shared_ptr<CRecorder>& recorder) {
    return CConnectArgsProc(recorder, &CRecorder::onConnect);
}

TEST(CameraEventTest, LossAndReturnArriveInOrderOnTheLibrarysOwnThread) {
    auto plugged = plugLaserCamera("E1");
    auto recorder = std::make_shared<CRecorder>();
    auto events = CSystem::getInstance().createEventSubscribe(plugged.camera);
    ASSERT_TRUE(events);
    ASSERT_TRUE(events->subscribeConnectArgs(procOf(recorder)));
    plugged.sim->unplug();
    plugged.sim->replug();
    ASSERT_TRUE(recorder->latch.waitFor(2));
    EXPECT_EQ(recorder->states(), (std::vector<uint32_t>{0, 1}));
    const auto numbers = recorder->numbers();
    EXPECT_LT(numbers[0], numbers[1]);
    const auto threads = recorder->threads();
    EXPECT_NE(threads[0], std::this_thread::get_id());
    EXPECT_EQ(threads[0], threads[1]);
    EXPECT_TRUE(events->unsubscribeConnectArgs(procOf(recorder)));
}

TEST(CameraEventTest, UnplugOfAnUnconnectedDeviceReportsNoLoss) {
    auto plugged = plugLaserCamera("E2", false);
    auto recorder = std::make_shared<CRecorder>();
    auto events = CSystem::getInstance().createEventSubscribe(plugged.camera);
    ASSERT_TRUE(events->subscribeConnectArgs(procOf(recorder)));
    plugged.sim->unplug();
    plugged.sim->replug();
    ASSERT_TRUE(recorder->latch.waitFor(1));
    EXPECT_EQ(recorder->states().front(), 1u); // the return is the first event
    events->unsubscribeConnectArgs(procOf(recorder));
}

TEST(CameraEventTest, SubscriptionsBelongToTheDeviceAndKeepTheirObjectAlive) {
    auto plugged = plugLaserCamera("E3");
    auto recorder = std::make_shared<CRecorder>();
    std::weak_ptr<CRecorder> weak = recorder;
    ASSERT_TRUE(
        CSystem::getInstance().createEventSubscribe(plugged.camera)->subscribeConnectArgs(procOf(recorder)));
    auto* raw = recorder.get();
    recorder.reset();
    EXPECT_FALSE(weak.expired()); // the subscription holds it
    plugged.sim->unplug();
    ASSERT_TRUE(raw->latch.waitFor(1));
    auto again = weak.lock();
    ASSERT_TRUE(again);
    EXPECT_TRUE(
        CSystem::getInstance().createEventSubscribe(plugged.camera)->unsubscribeConnectArgs(procOf(again)));
    again.reset();
    EXPECT_TRUE(weak.expired());
}

TEST(CameraEventTest, EqualProcsSubscribeOnceAndUnsubscribeEachOther) {
    auto plugged = plugLaserCamera("E4");
    auto events = CSystem::getInstance().createEventSubscribe(plugged.camera);
    auto first = std::make_shared<CRecorder>();
    auto second = std::make_shared<CRecorder>();
    EXPECT_TRUE(procOf(first) == procOf(first));
    EXPECT_FALSE(procOf(first) == procOf(second));
    ASSERT_TRUE(events->subscribeConnectArgs(procOf(first)));
    EXPECT_FALSE(events->subscribeConnectArgs(procOf(first)));
    ASSERT_TRUE(events->subscribeConnectArgs(procOf(second)));
    EXPECT_TRUE(events->unsubscribeConnectArgs(procOf(first)));
    EXPECT_FALSE(events->unsubscribeConnectArgs(procOf(first)));

    plugged.sim->unplug();
    plugged.sim->replug();
    ASSERT_TRUE(second->latch.waitFor(2));
    EXPECT_EQ(first->latch.count(), 0); // none started after the unsubscription returned
    events->unsubscribeConnectArgs(procOf(second));
}

TEST(CameraEventTest, PlainFunctionProcsAreToldApartByIdentity) {
    int a = 0;
    int b = 0;
    CConnectArgsProc one([](const ConnectArgs&) {}, &a);
    CConnectArgsProc same([](const ConnectArgs&) {}, &a);
    CConnectArgsProc other([](const ConnectArgs&) {}, &b);
    EXPECT_TRUE(one == same);
    EXPECT_FALSE(one == other);
}

TEST(CameraEventTest, HandlerMayUnsubscribeItselfOnTheEventThread) {
    auto plugged = plugLaserCamera("E5");
    auto events = CSystem::getInstance().createEventSubscribe(plugged.camera);
    CEventLatch done;
    bool removed = false;
    int tag = 0;
    ASSERT_TRUE(events->subscribeConnectArgs(CConnectArgsProc(
        [&](const ConnectArgs&) {
            removed = events->unsubscribeConnectArgs(CConnectArgsProc([](const ConnectArgs&) {}, &tag));
            done.arrive();
        },
        &tag)));
    plugged.sim->unplug();
    ASSERT_TRUE(done.waitFor(1));
    EXPECT_TRUE(removed);
}

// A camera object as the measuring library builds one: owned by a shared pointer, binding its
// own handler through its weak self reference.
class COwner : public Orvia::Memory::TEnableSharedFromThis<COwner> {
public:
    void procConnectEvent(const ConnectArgs& args) {
        if (args.state == 0) {
            lost.arrive();
        }
    }
    CConnectArgsProc proc() { return CConnectArgsProc(shared_from_this(), &COwner::procConnectEvent); }
    CEventLatch lost;
};

TEST(CameraEventTest, HandlerBoundThroughTheWeakSelfReference) {
    auto plugged = plugLaserCamera("E7");
    auto owner = std::make_shared<COwner>();
    auto events = CSystem::getInstance().createEventSubscribe(plugged.camera);
    ASSERT_TRUE(events->subscribeConnectArgs(owner->proc()));
    plugged.sim->unplug();
    ASSERT_TRUE(owner->lost.waitFor(1));
    // A subscriber made anew, bound the same way, unsubscribes the first.
    EXPECT_TRUE(
        CSystem::getInstance().createEventSubscribe(plugged.camera)->unsubscribeConnectArgs(owner->proc()));
}

TEST(CameraEventTest, InjectedSubscribeFailure) {
    auto plugged = plugLaserCamera("E6");
    SimFaults faults;
    faults.failSubscribe = true;
    plugged.sim->setFaults(faults);
    auto recorder = std::make_shared<CRecorder>();
    auto events = CSystem::getInstance().createEventSubscribe(plugged.camera);
    EXPECT_FALSE(events->subscribeConnectArgs(procOf(recorder)));
    EXPECT_FALSE(events->unsubscribeConnectArgs(procOf(recorder)));
}

} // namespace
} // namespace quboid3d::test
