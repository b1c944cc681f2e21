#include "SimDevice.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "Core/DeviceCore.h"
#include "SimStream.h"

namespace Orvia::Sim::Detail {

using Backend::FeatureInfo;
using Backend::FeatureType;
using Backend::FeatureValue;
using GenICam::Detail::CFramePayload;

namespace {

std::string formatValue(const FeatureValue& value) {
    if (std::holds_alternative<int64_t>(value)) {
        return std::to_string(std::get<int64_t>(value));
    }
    if (std::holds_alternative<double>(value)) {
        return std::to_string(std::get<double>(value));
    }
    if (std::holds_alternative<bool>(value)) {
        return std::get<bool>(value) ? "true" : "false";
    }
    if (std::holds_alternative<std::string>(value)) {
        return std::get<std::string>(value);
    }
    return {};
}

Backend::DeviceInfo infoOf(const SimDeviceDescription& description) {
    Backend::DeviceInfo info;
    info.interfaceKind = description.interfaceKind;
    info.vendor = description.vendor;
    info.model = description.model;
    info.identity = description.serial;
    info.key = "sim:" + description.serial;
    info.displayName = description.displayName.empty()
                           ? description.vendor + " " + description.model + " (" + description.serial + ")"
                           : description.displayName;
    info.gigeIdentity = description.gigeIdentity;
    return info;
}

} // namespace

CSimDevice::CSimDevice(const SimDeviceDescription& description)
    : CBackendDeviceBase(infoOf(description)), description_(description) {
    for (const auto& feature : description.features) {
        features_[feature.name] = feature;
    }
    registers_.assign(description.registerEnd - description.registerBase, 0);
    privateArea_.assign(description.privateAreaSize, 0);
}

CSimDevice::~CSimDevice() {
    if (stream_) {
        stream_->stop();
    }
}

const SimFeature* CSimDevice::slotLocked(const std::string& name) const {
    auto found = features_.find(name);
    if (found == features_.end()) {
        return nullptr;
    }
    const SimFeature& base = found->second;
    auto selector = features_.find(base.selectedBy);
    if (base.selectedBy.empty() || selector == features_.end()) {
        return &base;
    }
    const std::string key = name + "[" + std::to_string(selector->second.intValue) + "]";
    return &selected_.try_emplace(key, base).first->second;
}

SimFeature* CSimDevice::slotLocked(const std::string& name) {
    return const_cast<SimFeature*>(std::as_const(*this).slotLocked(name));
}

bool CSimDevice::isConnected() const {
    std::lock_guard lock(mutex_);
    return connected_;
}

bool CSimDevice::connect(uint32_t accessMode) {
    std::lock_guard lock(mutex_);
    if (!plugged_ || connected_ || faults_.failConnect || accessMode < 1 || accessMode > 3) {
        return false;
    }
    connected_ = true;
    return true;
}

bool CSimDevice::disconnect() {
    std::shared_ptr<CSimStream> stream;
    {
        std::lock_guard lock(mutex_);
        if (!connected_ || faults_.failDisconnect) {
            return false;
        }
        connected_ = false;
        stream = stream_;
    }
    if (stream) {
        stream->stop();
    }
    return true;
}

bool CSimDevice::describeFeature(const std::string& name, FeatureInfo& out) const {
    std::lock_guard lock(mutex_);
    auto found = features_.find(name);
    if (found == features_.end()) {
        return false;
    }
    const SimFeature& f = found->second;
    out = FeatureInfo{};
    out.name = name;
    out.type = static_cast<FeatureType>(f.type);
    out.readable =
        f.readable && f.type != GenICam::ParameterTypeCommand && faults_.unreadable.count(name) == 0;
    out.writable = f.writable;
    out.intMin = f.intMin;
    out.intMax = f.intMax;
    out.intIncrement = f.intIncrement;
    out.floatMin = f.floatMin;
    out.floatMax = f.floatMax;
    out.maxLength = f.maxLength;
    for (const auto& [symbol, value] : f.entries) {
        out.entries.push_back({symbol, value});
    }
    return true;
}

bool CSimDevice::readFeature(const std::string& name, FeatureValue& out) {
    std::lock_guard lock(mutex_);
    const SimFeature* slot = slotLocked(name);
    if (!connected_ || !slot || faults_.unreadable.count(name) || faults_.failingReads.count(name)) {
        return false;
    }
    const SimFeature& f = *slot;
    switch (f.type) {
    case GenICam::ParameterTypeInt:
    case GenICam::ParameterTypeEnum:
        out = f.intValue;
        return true;
    case GenICam::ParameterTypeFloat:
        out = f.floatValue;
        return true;
    case GenICam::ParameterTypeBool:
        out = f.boolValue;
        return true;
    case GenICam::ParameterTypeString:
        out = f.stringValue;
        return true;
    default:
        return false;
    }
}

bool CSimDevice::writeFeature(const std::string& name, const FeatureValue& value) {
    std::unique_lock lock(mutex_);
    SimFeature* slot = slotLocked(name);
    if (!connected_ || !slot) {
        return false;
    }
    if (faults_.refusedWrites.count(name)) {
        lock.unlock();
        recordWrite(name, formatValue(value), false);
        return false;
    }
    SimFeature& f = *slot;
    bool applied = false;
    if (f.type == GenICam::ParameterTypeEnum && std::holds_alternative<std::string>(value)) {
        for (const auto& [symbol, number] : f.entries) {
            if (symbol == std::get<std::string>(value)) {
                f.intValue = number;
                applied = true;
            }
        }
    } else if ((f.type == GenICam::ParameterTypeInt || f.type == GenICam::ParameterTypeEnum) &&
               std::holds_alternative<int64_t>(value)) {
        f.intValue = std::get<int64_t>(value);
        applied = true;
    } else if (f.type == GenICam::ParameterTypeFloat && std::holds_alternative<double>(value)) {
        f.floatValue = std::get<double>(value);
        applied = true;
    } else if (f.type == GenICam::ParameterTypeBool && std::holds_alternative<bool>(value)) {
        f.boolValue = std::get<bool>(value);
        applied = true;
    } else if (f.type == GenICam::ParameterTypeString && std::holds_alternative<std::string>(value)) {
        f.stringValue = std::get<std::string>(value);
        applied = true;
    }
    lock.unlock();
    recordWrite(name, formatValue(value), applied);
    return applied;
}

bool CSimDevice::executeCommand(const std::string& name) {
    std::shared_ptr<CSimStream> stream;
    {
        std::unique_lock lock(mutex_);
        auto found = features_.find(name);
        if (!connected_ || found == features_.end() || found->second.type != GenICam::ParameterTypeCommand) {
            return false;
        }
        if (faults_.refusedWrites.count(name)) {
            lock.unlock();
            recordWrite(name, "execute", false);
            return false;
        }
        stream = stream_;
    }
    recordWrite(name, "execute", true);
    // A software trigger exposes one frame.
    if (name == "TriggerSoftware" && stream && stream->isRunning()) {
        emitOne();
    }
    return true;
}

bool CSimDevice::inRegisters(uint64_t address, uint64_t length) const {
    return address >= description_.registerBase && address <= description_.registerEnd &&
           length <= description_.registerEnd - address;
}

bool CSimDevice::transferFailsLocked() {
    const auto index = static_cast<int64_t>(transferCount_++);
    return faults_.failTransferAt >= 0 && index == faults_.failTransferAt;
}

bool CSimDevice::readMemory(uint64_t address, void* buffer, uint64_t& length) {
    std::lock_guard lock(mutex_);
    SimTransfer record{false, address, length, 0, false, {}};
    const bool fails = transferFailsLocked();
    if (connected_ && !fails && length <= description_.maxTransfer && inRegisters(address, length)) {
        uint64_t done = length;
        if (faults_.readLimit != 0) {
            done = std::min(done, faults_.readLimit);
        }
        const uint8_t* from = registers_.data() + (address - description_.registerBase);
        std::memcpy(buffer, from, done);
        record.done = done;
        record.ok = true;
        record.bytes.assign(from, from + done);
    }
    length = record.done;
    return transfers_.add(std::move(record)).ok;
}

bool CSimDevice::writeMemory(uint64_t address, const void* buffer, uint64_t& length) {
    std::lock_guard lock(mutex_);
    const auto* bytes = static_cast<const uint8_t*>(buffer);
    SimTransfer record{true, address, length, 0, false, {bytes, bytes + length}};
    const bool fails = transferFailsLocked();
    if (connected_ && !fails && length <= description_.maxTransfer && inRegisters(address, length)) {
        std::memcpy(registers_.data() + (address - description_.registerBase), bytes, length);
        record.done = length;
        record.ok = true;
    }
    length = record.done;
    return transfers_.add(std::move(record)).ok;
}

int32_t CSimDevice::readPrivateArea(void* buffer, uint64_t count) {
    std::lock_guard lock(mutex_);
    SimTransfer record{false, 0, count, 0, false, {}, true};
    const bool fails = transferFailsLocked();
    if (connected_ && !fails && count <= privateArea_.size()) {
        std::memcpy(buffer, privateArea_.data(), count);
        record.done = count;
        record.ok = true;
        record.bytes.assign(privateArea_.begin(), privateArea_.begin() + static_cast<ptrdiff_t>(count));
    }
    return transfers_.add(std::move(record)).ok ? static_cast<int32_t>(count) : -1;
}

int32_t CSimDevice::writePrivateArea(const void* buffer, uint64_t count) {
    std::lock_guard lock(mutex_);
    const auto* bytes = static_cast<const uint8_t*>(buffer);
    SimTransfer record{true, 0, count, 0, false, {bytes, bytes + count}, true};
    const bool fails = transferFailsLocked();
    if (connected_ && !fails && count <= privateArea_.size()) {
        std::memcpy(privateArea_.data(), bytes, count);
        record.done = count;
        record.ok = true;
    }
    return transfers_.add(std::move(record)).ok ? static_cast<int32_t>(count) : -1;
}

bool CSimDevice::offersControl(Backend::ControlKind) const {
    std::lock_guard lock(mutex_);
    return !faults_.failControlCreate;
}

std::shared_ptr<CSimStream> CSimDevice::streamLocked() {
    if (!stream_) {
        stream_ = std::make_shared<CSimStream>(*this, description_.dropPolicy == DropPolicy::DropOldest);
    }
    return stream_;
}

std::shared_ptr<Backend::IBackendStream> CSimDevice::stream(uint16_t channel) {
    std::lock_guard lock(mutex_);
    if (channel != 0 || faults_.failStreamCreate || !plugged_) {
        return nullptr;
    }
    return streamLocked();
}

bool CSimDevice::enableConnectionEvents() {
    std::lock_guard lock(mutex_);
    return !faults_.failSubscribe;
}

bool CSimDevice::isPlugged() const {
    std::lock_guard lock(mutex_);
    return plugged_;
}

void CSimDevice::unplug() {
    bool wasConnected = false;
    std::shared_ptr<CSimStream> stream;
    {
        std::lock_guard lock(mutex_);
        if (!plugged_) {
            return;
        }
        plugged_ = false;
        wasConnected = connected_;
        connected_ = false;
        stream = stream_;
    }
    if (stream) {
        stream->stop();
    }
    if (wasConnected) {
        notifyConnection(0);
    }
}

void CSimDevice::replug() {
    {
        std::lock_guard lock(mutex_);
        if (plugged_) {
            return;
        }
        plugged_ = true;
    }
    notifyConnection(1);
}

void CSimDevice::setFaults(const SimFaults& faults) {
    std::lock_guard lock(mutex_);
    faults_ = faults;
    transferCount_ = 0;
}

SimFaults CSimDevice::faults() const {
    std::lock_guard lock(mutex_);
    return faults_;
}

void CSimDevice::setFrameGenerator(std::shared_ptr<IFrameGenerator> generator) {
    std::lock_guard lock(generatorMutex_);
    generator_ = std::move(generator);
}

void CSimDevice::setDeliveryMode(DeliveryMode mode, double framesPerSecond,
                                 std::chrono::microseconds catchUpWindow) {
    std::lock_guard lock(mutex_);
    mode_ = mode;
    framesPerSecond_ = framesPerSecond;
    catchUpWindow_ = catchUpWindow;
}

DeliveryMode CSimDevice::deliveryMode() const {
    std::lock_guard lock(mutex_);
    return mode_;
}

double CSimDevice::framesPerSecond() const {
    std::lock_guard lock(mutex_);
    return framesPerSecond_;
}

std::chrono::microseconds CSimDevice::catchUpWindow() const {
    std::lock_guard lock(mutex_);
    return catchUpWindow_;
}

bool CSimDevice::emitOne() {
    std::shared_ptr<CSimStream> stream;
    {
        std::lock_guard lock(mutex_);
        if (faults_.stallFrames || !connected_ || !stream_ || !stream_->isRunning()) {
            return false;
        }
        stream = stream_;
    }
    // Each frame lost uses up one id of a bounded range, so this ends.
    for (;;) {
        auto payload = nextPayload();
        if (!payload) {
            return false;
        }
        const auto offered = stream->offer(std::move(payload));
        if (offered != CSimStream::Offered::Lost) {
            return offered == CSimStream::Offered::Taken;
        }
    }
}

bool CSimDevice::losesFrame(uint64_t frameId) const {
    std::lock_guard lock(mutex_);
    return frameId >= faults_.loseFramesFrom && frameId - faults_.loseFramesFrom < faults_.loseFrameCount;
}

std::shared_ptr<CFramePayload> CSimDevice::nextPayload() {
    auto payload = std::make_shared<CFramePayload>();
    std::lock_guard lock(generatorMutex_);
    SimFrame frame;
    if (!generator_ || !generator_->next(frame)) {
        return nullptr;
    }
    payload->data = frame.data;
    payload->size = frame.size;
    payload->width = frame.width;
    payload->height = frame.height;
    payload->pixelFormat = frame.pixelFormat;
    payload->timestamp = frame.timestamp;
    payload->owner = std::move(frame.owner);
    for (auto& chunk : frame.chunks) {
        payload->chunks.push_back({chunk.id, std::move(chunk.texts)});
    }
    return payload;
}

uint32_t CSimDevice::emitFrames(uint32_t count) {
    uint32_t taken = 0;
    for (uint32_t i = 0; i < count; ++i) {
        taken += emitOne() ? 1 : 0;
    }
    return taken;
}

SimStreamCounters CSimDevice::streamCounters() const {
    std::shared_ptr<CSimStream> stream;
    {
        std::lock_guard lock(mutex_);
        stream = stream_;
    }
    SimStreamCounters out;
    if (stream) {
        const auto c = stream->counters();
        out = {c.captured, c.dropped, c.delivered, c.waiting, c.held, stream->lostFrames()};
    }
    return out;
}

std::vector<SimTransfer> CSimDevice::transfers() const {
    std::lock_guard lock(mutex_);
    return transfers_.list();
}

std::vector<SimFeatureWrite> CSimDevice::featureWrites() const {
    std::lock_guard lock(mutex_);
    return writes_.list();
}

void CSimDevice::clearRecords() {
    std::lock_guard lock(mutex_);
    transfers_.clear();
    writes_.clear();
    fetchTimeouts_.clear();
}

std::vector<uint32_t> CSimDevice::fetchTimeouts() const {
    std::lock_guard lock(mutex_);
    return fetchTimeouts_.list();
}

void CSimDevice::recordFetch(uint32_t timeoutMs) {
    std::lock_guard lock(mutex_);
    fetchTimeouts_.add(timeoutMs);
}

void CSimDevice::recordWrite(const std::string& name, std::string value, bool accepted) {
    std::lock_guard lock(mutex_);
    writes_.add({name, std::move(value), accepted});
}

void CSimDevice::setFeature(const SimFeature& feature) {
    std::lock_guard lock(mutex_);
    features_[feature.name] = feature;
    std::erase_if(selected_,
                  [&](const auto& entry) { return entry.first.rfind(feature.name + "[", 0) == 0; });
}

bool CSimDevice::removeFeature(const std::string& name) {
    std::lock_guard lock(mutex_);
    std::erase_if(selected_, [&](const auto& entry) { return entry.first.rfind(name + "[", 0) == 0; });
    return features_.erase(name) == 1;
}

bool CSimDevice::peekMemory(uint64_t address, void* buffer, uint64_t length) const {
    std::lock_guard lock(mutex_);
    if (!inRegisters(address, length)) {
        return false;
    }
    std::memcpy(buffer, registers_.data() + (address - description_.registerBase), length);
    return true;
}

bool CSimDevice::pokeMemory(uint64_t address, const void* buffer, uint64_t length) {
    std::lock_guard lock(mutex_);
    if (!inRegisters(address, length)) {
        return false;
    }
    std::memcpy(registers_.data() + (address - description_.registerBase), buffer, length);
    return true;
}

std::vector<uint8_t> CSimDevice::privateArea() const {
    std::lock_guard lock(mutex_);
    return privateArea_;
}

bool CSimDevice::pokePrivateArea(const void* buffer, uint64_t length) {
    std::lock_guard lock(mutex_);
    if (length > privateArea_.size()) {
        return false;
    }
    std::memcpy(privateArea_.data(), buffer, length);
    return true;
}

bool CSimDevice::featureText(const std::string& name, std::string& text) const {
    std::lock_guard lock(mutex_);
    const SimFeature* slot = slotLocked(name);
    if (!slot) {
        return false;
    }
    const SimFeature& f = *slot;
    switch (f.type) {
    case GenICam::ParameterTypeInt:
        text = std::to_string(f.intValue);
        return true;
    case GenICam::ParameterTypeFloat:
        text = std::to_string(f.floatValue);
        return true;
    case GenICam::ParameterTypeEnum:
        for (const auto& [symbol, number] : f.entries) {
            if (number == f.intValue) {
                text = symbol;
                return true;
            }
        }
        return false;
    case GenICam::ParameterTypeBool:
        text = f.boolValue ? "true" : "false";
        return true;
    case GenICam::ParameterTypeString:
        text = f.stringValue;
        return true;
    default:
        return false;
    }
}

} // namespace Orvia::Sim::Detail
