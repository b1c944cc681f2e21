#include "Orvia/Sim/SimCamera.h"

#include "SimBackend.h"
#include "SimDevice.h"

namespace Orvia::Sim {

std::shared_ptr<CSimCamera> CSimCamera::plugIn(const SimDeviceDescription& description) {
    auto device = std::make_shared<Detail::CSimDevice>(description);
    if (!Detail::simBackend()->add(device)) {
        return nullptr;
    }
    return std::shared_ptr<CSimCamera>(new CSimCamera(device));
}

CSimCamera::CSimCamera(std::shared_ptr<Detail::CSimDevice> device) : device_(std::move(device)) {}

CSimCamera::~CSimCamera() {
    device_->unplug();
    Detail::simBackend()->remove(device_.get());
}

std::string CSimCamera::key() const {
    return device_->info().key;
}

void CSimCamera::unplug() {
    device_->unplug();
}

void CSimCamera::replug() {
    device_->replug();
}

bool CSimCamera::isPlugged() const {
    return device_->isPlugged();
}

bool CSimCamera::isConnected() const {
    return device_->isConnected();
}

void CSimCamera::setFaults(const SimFaults& faults) {
    device_->setFaults(faults);
}

SimFaults CSimCamera::faults() const {
    return device_->faults();
}

void CSimCamera::setFrameGenerator(std::shared_ptr<IFrameGenerator> generator) {
    device_->setFrameGenerator(std::move(generator));
}

void CSimCamera::setDeliveryMode(DeliveryMode mode, double framesPerSecond,
                                 std::chrono::microseconds catchUpWindow) {
    device_->setDeliveryMode(mode, framesPerSecond, catchUpWindow);
}

uint32_t CSimCamera::emitFrames(uint32_t count) {
    return device_->emitFrames(count);
}

SimStreamCounters CSimCamera::streamCounters() const {
    return device_->streamCounters();
}

std::vector<SimTransfer> CSimCamera::transfers() const {
    return device_->transfers();
}

std::vector<SimFeatureWrite> CSimCamera::featureWrites() const {
    return device_->featureWrites();
}

std::vector<uint32_t> CSimCamera::fetchTimeouts() const {
    return device_->fetchTimeouts();
}

void CSimCamera::clearRecords() {
    device_->clearRecords();
}

void CSimCamera::setFeature(const SimFeature& feature) {
    device_->setFeature(feature);
}

bool CSimCamera::removeFeature(const std::string& name) {
    return device_->removeFeature(name);
}

bool CSimCamera::peekMemory(uint64_t address, void* buffer, uint64_t length) const {
    return device_->peekMemory(address, buffer, length);
}

bool CSimCamera::pokeMemory(uint64_t address, const void* buffer, uint64_t length) {
    return device_->pokeMemory(address, buffer, length);
}

std::vector<uint8_t> CSimCamera::privateArea() const {
    return device_->privateArea();
}

bool CSimCamera::pokePrivateArea(const void* buffer, uint64_t length) {
    return device_->pokePrivateArea(buffer, length);
}

bool CSimCamera::featureText(const std::string& name, std::string& text) const {
    return device_->featureText(name, text);
}

void CSimCamera::setDiscoveryFails(bool fails) {
    Detail::simBackend()->setDiscoveryFails(fails);
}

} // namespace Orvia::Sim
