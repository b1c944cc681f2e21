#include "AravisLink.h"

#include "DetachedTeardown.h"
#include "ThreadHandover.h"

namespace Orvia::Aravis::Detail {

namespace {

// Aravis's signal carries a weak reference, so a signal that races the link's end finds
// nothing to mark. It comes on Aravis's heartbeat thread.
void onControlLost(ArvDevice*, gpointer data) {
    takeOver(data);
    if (auto link = static_cast<std::weak_ptr<CAravisLink>*>(data)->lock()) {
        link->markLost();
    }
    handOver(data);
}

void dropWeakLink(gpointer data, GClosure*) {
    takeOver(data);
    delete static_cast<std::weak_ptr<CAravisLink>*>(data);
}

// The last holder of a lost link must not wait for Aravis to let the device go.
void releaseLink(CAravisLink* link) {
    if (link->lost()) {
        runDetached([link] { delete link; });
    } else {
        delete link;
    }
}

} // namespace

CAravisLink::CAravisLink(ArvDevice* device, bool gigE) : device_(device), gigE_(gigE) {}

CAravisLink::~CAravisLink() {
    if (controlLostHandler_ != 0) {
        g_signal_handler_disconnect(device_.get(), controlLostHandler_);
    }
}

std::shared_ptr<CAravisLink> CAravisLink::open(const std::string& openId, bool gigE, std::string& error) {
    CGError failure;
    ArvDevice* device = arv_open_device(openId.c_str(), failure.out());
    if (!device) {
        error = failure.failed() ? failure.message() : "no device";
        return nullptr;
    }
    if (gigE && ARV_IS_GV_DEVICE(device)) {
        // Frames reach a root process on loopback only through the plain socket.
        arv_gv_device_set_stream_options(ARV_GV_DEVICE(device), ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
    }
    std::shared_ptr<CAravisLink> link(new CAravisLink(device, gigE), releaseLink);
    link->watchControlLost(link);
    return link;
}

void CAravisLink::watchControlLost(const std::shared_ptr<CAravisLink>& self) {
    auto* weakLink = new std::weak_ptr<CAravisLink>(self);
    handOver(weakLink);
    controlLostHandler_ = g_signal_connect_data(device_.get(), "control-lost", G_CALLBACK(onControlLost),
                                                weakLink, dropWeakLink, static_cast<GConnectFlags>(0));
}

void CAravisLink::markLost() {
    if (lost_.exchange(true)) {
        return;
    }
    std::function<void()> handler;
    {
        std::lock_guard lock(handlerMutex_);
        handler = onLost_;
    }
    if (handler) {
        handler();
    }
}

void CAravisLink::setLostHandler(std::function<void()> handler) {
    std::lock_guard lock(handlerMutex_);
    onLost_ = std::move(handler);
}

void CAravisLink::record(CallOutcome outcome) {
    if (outcome != CallOutcome::LinkFailed) {
        failureRun_.store(0);
        return;
    }
    if (failureRun_.fetch_add(1) + 1 >= kFailureRun) {
        markLost();
    }
}

} // namespace Orvia::Aravis::Detail
