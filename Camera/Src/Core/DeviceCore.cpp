#include "Core/DeviceCore.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "Core/EventThread.h"

namespace Orvia::GenICam::Detail {

using Backend::FeatureInfo;
using Backend::FeatureType;
using Backend::FeatureValue;

std::shared_ptr<CDeviceCore> CDeviceCore::create(std::shared_ptr<Backend::IBackendDevice> device) {
    std::shared_ptr<CDeviceCore> core(new CDeviceCore(std::move(device)));
    std::weak_ptr<CDeviceCore> weak = core;
    core->device_->setConnectionSink([weak](uint32_t state) {
        if (auto self = weak.lock()) {
            self->onConnectionChanged(state);
        }
    });
    return core;
}

CDeviceCore::CDeviceCore(std::shared_ptr<Backend::IBackendDevice> device)
    : device_(std::move(device)), assistant_(this) {}

CDeviceCore::~CDeviceCore() {
    device_->setConnectionSink(nullptr);
}

bool CDeviceCore::describe(const std::string& name, FeatureInfo& out) const {
    return device_->describeFeature(name, out);
}

bool CDeviceCore::hasFeature(const std::string& name, FeatureType type) const {
    FeatureInfo info;
    return describe(name, info) && info.type == type;
}

bool CDeviceCore::readable(const std::string& name, FeatureType type, FeatureInfo& info) const {
    return describe(name, info) && info.type == type && info.readable && device_->isConnected();
}

bool CDeviceCore::writable(const std::string& name, FeatureType type, FeatureInfo& info) const {
    return describe(name, info) && info.type == type && info.writable && device_->isConnected();
}

bool CDeviceCore::readNative(const std::string& name, FeatureType type, FeatureValue& value) const {
    FeatureInfo info;
    return readable(name, type, info) && device_->readFeature(name, value);
}

bool CDeviceCore::readInt(const std::string& name, int64_t& value) const {
    FeatureValue v;
    if (!readNative(name, FeatureType::Integer, v) || !std::holds_alternative<int64_t>(v)) {
        return false;
    }
    value = std::get<int64_t>(v);
    return true;
}

bool CDeviceCore::readFloat(const std::string& name, double& value) const {
    FeatureValue v;
    if (!readNative(name, FeatureType::Float, v) || !std::holds_alternative<double>(v)) {
        return false;
    }
    value = std::get<double>(v);
    return true;
}

bool CDeviceCore::readEnum(const std::string& name, int64_t& value) const {
    FeatureValue v;
    if (!readNative(name, FeatureType::Enumeration, v) || !std::holds_alternative<int64_t>(v)) {
        return false;
    }
    value = std::get<int64_t>(v);
    return true;
}

bool CDeviceCore::readEnumSymbol(const std::string& name, std::string& symbol) const {
    int64_t value = 0;
    FeatureInfo info;
    if (!readEnum(name, value) || !describe(name, info)) {
        return false;
    }
    auto entry = std::find_if(info.entries.begin(), info.entries.end(),
                              [value](const Backend::EnumEntry& e) { return e.value == value; });
    if (entry == info.entries.end()) {
        return false;
    }
    symbol = entry->symbol;
    return true;
}

bool CDeviceCore::readBool(const std::string& name, bool& value) const {
    FeatureValue v;
    if (!readNative(name, FeatureType::Boolean, v) || !std::holds_alternative<bool>(v)) {
        return false;
    }
    value = std::get<bool>(v);
    return true;
}

bool CDeviceCore::readString(const std::string& name, std::string& value) const {
    FeatureValue v;
    if (!readNative(name, FeatureType::String, v) || !std::holds_alternative<std::string>(v)) {
        return false;
    }
    value = std::get<std::string>(v);
    return true;
}

bool CDeviceCore::readAsString(const std::string& name, std::string& text) const {
    FeatureInfo info;
    if (!describe(name, info)) {
        return false;
    }
    switch (info.type) {
    case FeatureType::Integer: {
        int64_t v = 0;
        if (!readInt(name, v)) {
            return false;
        }
        text = std::to_string(v);
        return true;
    }
    case FeatureType::Float: {
        double v = 0;
        if (!readFloat(name, v)) {
            return false;
        }
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, "%.17g", v);
        text = buffer;
        return true;
    }
    case FeatureType::Enumeration:
        return readEnumSymbol(name, text);
    case FeatureType::Boolean: {
        bool v = false;
        if (!readBool(name, v)) {
            return false;
        }
        text = v ? "true" : "false";
        return true;
    }
    case FeatureType::String:
        return readString(name, text);
    case FeatureType::Command:
        return false;
    }
    return false;
}

bool CDeviceCore::writeInt(const std::string& name, int64_t value) {
    FeatureInfo info;
    if (!writable(name, FeatureType::Integer, info) || value < info.intMin || value > info.intMax) {
        return false;
    }
    if (info.intIncrement > 1 && (value - info.intMin) % info.intIncrement != 0) {
        return false;
    }
    return device_->writeFeature(name, value);
}

bool CDeviceCore::writeFloat(const std::string& name, double value) {
    FeatureInfo info;
    if (!writable(name, FeatureType::Float, info) || std::isnan(value) || value < info.floatMin ||
        value > info.floatMax) {
        return false;
    }
    return device_->writeFeature(name, value);
}

bool CDeviceCore::writeEnum(const std::string& name, int64_t value) {
    FeatureInfo info;
    if (!writable(name, FeatureType::Enumeration, info) ||
        std::none_of(info.entries.begin(), info.entries.end(),
                     [value](const Backend::EnumEntry& e) { return e.value == value; })) {
        return false;
    }
    return device_->writeFeature(name, value);
}

bool CDeviceCore::writeEnumSymbol(const std::string& name, const std::string& symbol) {
    FeatureInfo info;
    if (!writable(name, FeatureType::Enumeration, info) ||
        std::none_of(info.entries.begin(), info.entries.end(),
                     [&symbol](const Backend::EnumEntry& e) { return e.symbol == symbol; })) {
        return false;
    }
    return device_->writeFeature(name, symbol);
}

bool CDeviceCore::writeBool(const std::string& name, bool value) {
    FeatureInfo info;
    return writable(name, FeatureType::Boolean, info) && device_->writeFeature(name, value);
}

bool CDeviceCore::writeString(const std::string& name, const std::string& value) {
    FeatureInfo info;
    return writable(name, FeatureType::String, info) && value.size() <= info.maxLength &&
           device_->writeFeature(name, value);
}

bool CDeviceCore::execute(const std::string& name) {
    FeatureInfo info;
    return writable(name, FeatureType::Command, info) && device_->executeCommand(name);
}

bool CDeviceCore::subscribe(const CConnectArgsProc& proc) {
    std::lock_guard lock(mutex_);
    if (std::find(handlers_.begin(), handlers_.end(), proc) != handlers_.end()) {
        return false;
    }
    if (!device_->enableConnectionEvents()) {
        return false;
    }
    handlers_.push_back(proc);
    return true;
}

bool CDeviceCore::unsubscribe(const CConnectArgsProc& proc) {
    // Wait for a running handler, so that none runs after this returns.
    std::unique_lock<std::mutex> dispatch;
    if (!CEventThread::instance().onEventThread()) {
        dispatch = std::unique_lock(CEventThread::instance().dispatchMutex());
    }
    std::lock_guard lock(mutex_);
    auto found = std::find(handlers_.begin(), handlers_.end(), proc);
    if (found == handlers_.end()) {
        return false;
    }
    handlers_.erase(found);
    return true;
}

void CDeviceCore::onConnectionChanged(uint32_t state) {
    ConnectArgs args{state, info().interfaceKind, 0};
    {
        std::lock_guard lock(mutex_);
        args.eventNumber = ++eventCount_;
        if (handlers_.empty()) {
            return; // nobody listens: no need to wake the event thread
        }
    }
    std::weak_ptr<CDeviceCore> weak = weak_from_this();
    CEventThread::instance().post([weak, args] {
        if (auto self = weak.lock()) {
            self->deliver(args);
        }
    });
}

void CDeviceCore::deliver(const ConnectArgs& args) {
    std::vector<CConnectArgsProc> handlers;
    {
        std::lock_guard lock(mutex_);
        handlers = handlers_;
    }
    for (const auto& handler : handlers) {
        handler(args);
    }
}

std::shared_ptr<CInternalCamera> CDeviceCore::internalCamera() {
    std::lock_guard lock(mutex_);
    auto camera = internalCamera_.lock();
    if (!camera) {
        camera = std::make_shared<CInternalCamera>(shared_from_this());
        internalCamera_ = camera;
    }
    return camera;
}

} // namespace Orvia::GenICam::Detail
