#include "Orvia/GenICam/Internal.h"

#include "Core/DeviceCore.h"

namespace Orvia::GenICam {

using Backend::FeatureInfo;
using Backend::FeatureType;

CInternalCamera::CInternalCamera(std::shared_ptr<Detail::CDeviceCore> core) : core_(std::move(core)) {}
CInternalCamera::~CInternalCamera() = default;

const char* CInternalCamera::getKey() const {
    return core_->info().key.c_str();
}

bool CInternalCamera::isConnected() const {
    return core_->isConnected();
}

CInternalParameterNode::CInternalParameterNode(const Memory::TSharedPtr<CInternalCamera>& camera,
                                               const Infra::CString& name)
    : core_(camera ? camera->core() : nullptr), name_(name.str()) {
    FeatureInfo info;
    if (core_ && core_->describe(name_, info)) {
        type_ = static_cast<uint32_t>(info.type);
    }
}

CInternalParameterNode::~CInternalParameterNode() = default;

bool CInternalParameterNode::isValid() const {
    return type_ != ParameterTypeUnknown;
}

uint32_t CInternalParameterNode::getType() const {
    return type_;
}

bool CInternalParameterNode::getIntValue(int64_t& value) const {
    return isValid() && core_->readInt(name_, value);
}

bool CInternalParameterNode::getFloatValue(double& value) const {
    return isValid() && core_->readFloat(name_, value);
}

bool CInternalParameterNode::getEnumValue(uint64_t& value) const {
    int64_t number = 0;
    if (!isValid() || !core_->readEnum(name_, number)) {
        return false;
    }
    value = static_cast<uint64_t>(number);
    return true;
}

bool CInternalParameterNode::getBoolValue(bool& value) const {
    return isValid() && core_->readBool(name_, value);
}

bool CInternalParameterNode::getStringValue(Infra::CString& value) const {
    std::string text;
    if (!isValid() || !core_->readString(name_, text)) {
        return false;
    }
    value = text;
    return true;
}

bool CInternalParameterNode::setIntValue(int64_t value) {
    return isValid() && core_->writeInt(name_, value);
}

bool CInternalParameterNode::setFloatValue(double value) {
    return isValid() && core_->writeFloat(name_, value);
}

bool CInternalParameterNode::setEnumValue(uint64_t value) {
    return isValid() && core_->writeEnum(name_, static_cast<int64_t>(value));
}

bool CInternalParameterNode::setBoolValue(bool value) {
    return isValid() && core_->writeBool(name_, value);
}

bool CInternalParameterNode::setStringValue(const Infra::CString& value) {
    return isValid() && core_->writeString(name_, value.str());
}

bool CInternalParameterNode::execute() {
    return isValid() && core_->execute(name_);
}

bool CInternalParameterNode::setEnumValueBySymbol(const Infra::CString& symbol) {
    return isValid() && core_->writeEnumSymbol(name_, symbol.str());
}

bool CInternalParameterNode::getValueAsString(Infra::CString& value) const {
    std::string text;
    if (!isValid() || !core_->readAsString(name_, text)) {
        return false;
    }
    value = text;
    return true;
}

bool CInternalParameterNode::getIntMaxMin(int64_t& max, int64_t& min) const {
    FeatureInfo info;
    if (!isValid() || !core_->describe(name_, info) || info.type != FeatureType::Integer) {
        return false;
    }
    max = info.intMax;
    min = info.intMin;
    return true;
}

bool CInternalParameterNode::getFloatMaxMin(double& max, double& min) const {
    FeatureInfo info;
    if (!isValid() || !core_->describe(name_, info) || info.type != FeatureType::Float) {
        return false;
    }
    max = info.floatMax;
    min = info.floatMin;
    return true;
}

bool CInternalParameterNode::getIntIncrement(int64_t& increment) const {
    FeatureInfo info;
    if (!isValid() || !core_->describe(name_, info) || info.type != FeatureType::Integer) {
        return false;
    }
    increment = info.intIncrement;
    return true;
}

CInternalAssistant* CInternalAssistant::getInstance(const Memory::TSharedPtr<CInternalCamera>& camera) {
    return camera ? camera->core()->assistant() : nullptr;
}

bool CInternalAssistant::readMemory(uint64_t address, void* buffer, uint64_t& length) {
    if (!buffer) {
        length = 0;
        return false;
    }
    return core_->device().readMemory(address, buffer, length);
}

bool CInternalAssistant::writeMemory(uint64_t address, const void* buffer, uint64_t& length) {
    if (!buffer) {
        length = 0;
        return false;
    }
    return core_->device().writeMemory(address, buffer, length);
}

} // namespace Orvia::GenICam
