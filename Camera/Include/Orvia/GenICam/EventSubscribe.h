// Connection events of one device, made by CSystem::createEventSubscribe. Subscriptions belong
// to the device: they outlive the IEventSubscribe object that made them and last until
// unsubscribed. Events are delivered on the library's own event thread, one at a time and in
// the order they happened; a handler must not wait for another event.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <typeinfo>

#include "Orvia/CameraApi.h"
#include "Orvia/Memory/SharedPtr.h"

namespace Orvia::GenICam {

// What a connection event carries. `state` 0: the device went offline; any other value: it
// is reachable again.
struct ConnectArgs {
    uint32_t state;
    int32_t interfaceKind;
    uint64_t eventNumber; // counts the device's events from 1
};
static_assert(sizeof(ConnectArgs) == 16);
static_assert(offsetof(ConnectArgs, state) == 0);
static_assert(offsetof(ConnectArgs, interfaceKind) == 4);
static_assert(offsetof(ConnectArgs, eventNumber) == 8);

// A handler bound to an object by a shared pointer, which it keeps alive while subscribed. Two
// procs are equal when they bind the same method (or tag) to the same object, so that a proc
// built the same way unsubscribes the one subscribed.
class CConnectArgsProc {
public:
    template <class T>
    CConnectArgsProc(const Memory::TSharedPtr<T>& object, void (T::*method)(const ConnectArgs&))
        : owner_(object), object_(object.get()), type_(&typeid(method)) {
        static_assert(sizeof(method) <= sizeof(key_));
        std::memcpy(key_.data(), &method, sizeof(method));
        call_ = [object, method](const ConnectArgs& args) { ((*object).*method)(args); };
    }
    // A plain function, told apart from others by `identity`.
    CConnectArgsProc(std::function<void(const ConnectArgs&)> call, const void* identity)
        : object_(identity), type_(&typeid(void)), call_(std::move(call)) {}

    void operator()(const ConnectArgs& args) const { call_(args); }
    bool operator==(const CConnectArgsProc& other) const {
        return object_ == other.object_ && *type_ == *other.type_ && key_ == other.key_;
    }

private:
    std::shared_ptr<void> owner_;
    const void* object_ = nullptr;
    const std::type_info* type_;
    std::array<unsigned char, 32> key_{};
    std::function<void(const ConnectArgs&)> call_;
};

class ORVIA_CAMERA_API IEventSubscribe {
public:
    virtual ~IEventSubscribe() = default;
    // Adds `proc` to the device's handlers. False if the device refuses event delivery or the
    // same proc is subscribed already. Caller's thread.
    virtual bool subscribeConnectArgs(const CConnectArgsProc& proc) = 0;
    // Removes a proc equal to `proc`. False if there is none. Caller's thread. A handler that
    // is running on the event thread finishes; none starts after this returns, unless this
    // is called from the event thread itself.
    virtual bool unsubscribeConnectArgs(const CConnectArgsProc& proc) = 0;
};

} // namespace Orvia::GenICam
