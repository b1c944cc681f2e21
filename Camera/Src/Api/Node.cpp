#include "Orvia/GenICam/Node.h"

#include "Core/DeviceCore.h"

namespace Orvia::GenICam {

using Backend::FeatureInfo;
using Backend::FeatureType;

CNodeBase::CNodeBase() = default;
CNodeBase::~CNodeBase() = default;
CNodeBase::CNodeBase(const CNodeBase&) = default;
CNodeBase& CNodeBase::operator=(const CNodeBase&) = default;

CNodeBase::CNodeBase(const Memory::TSharedPtr<ICamera>& camera, const char* name, uint32_t parameterType)
    : core_(Detail::coreOf(camera)), name_(name ? name : "") {
    valid_ = core_ && name && core_->hasFeature(name_, static_cast<FeatureType>(parameterType));
}

bool CNodeBase::isValid() const {
    return valid_;
}

bool CNodeBase::isReadable() const {
    FeatureInfo info;
    return valid_ && core_->isConnected() && core_->describe(name_, info) && info.readable;
}

bool CNodeBase::isWritable() const {
    FeatureInfo info;
    return valid_ && core_->isConnected() && core_->describe(name_, info) && info.writable;
}

Infra::CString CNodeBase::getName() const {
    return name_;
}

CIntNode::CIntNode(const Memory::TSharedPtr<ICamera>& camera, const char* name)
    : CNodeBase(camera, name, ParameterTypeInt) {}

bool CIntNode::getValue(int64_t& value) const {
    return valid_ && core_->readInt(name_, value);
}

bool CIntNode::setValue(int64_t value) {
    return valid_ && core_->writeInt(name_, value);
}

bool CIntNode::getMin(int64_t& value) const {
    FeatureInfo info;
    if (!valid_ || !core_->describe(name_, info)) {
        return false;
    }
    value = info.intMin;
    return true;
}

bool CIntNode::getMax(int64_t& value) const {
    FeatureInfo info;
    if (!valid_ || !core_->describe(name_, info)) {
        return false;
    }
    value = info.intMax;
    return true;
}

bool CIntNode::getIncrement(int64_t& value) const {
    FeatureInfo info;
    if (!valid_ || !core_->describe(name_, info)) {
        return false;
    }
    value = info.intIncrement;
    return true;
}

CDoubleNode::CDoubleNode(const Memory::TSharedPtr<ICamera>& camera, const char* name)
    : CNodeBase(camera, name, ParameterTypeFloat) {}

bool CDoubleNode::getValue(double& value) const {
    return valid_ && core_->readFloat(name_, value);
}

bool CDoubleNode::setValue(double value) {
    return valid_ && core_->writeFloat(name_, value);
}

bool CDoubleNode::getMin(double& value) const {
    FeatureInfo info;
    if (!valid_ || !core_->describe(name_, info)) {
        return false;
    }
    value = info.floatMin;
    return true;
}

bool CDoubleNode::getMax(double& value) const {
    FeatureInfo info;
    if (!valid_ || !core_->describe(name_, info)) {
        return false;
    }
    value = info.floatMax;
    return true;
}

CEnumNode::CEnumNode(const Memory::TSharedPtr<ICamera>& camera, const char* name)
    : CNodeBase(camera, name, ParameterTypeEnum) {}

bool CEnumNode::getValue(int64_t& value) const {
    return valid_ && core_->readEnum(name_, value);
}

bool CEnumNode::setValue(int64_t value) {
    return valid_ && core_->writeEnum(name_, value);
}

bool CEnumNode::getValueSymbol(Infra::CString& symbol) const {
    std::string text;
    if (!valid_ || !core_->readEnumSymbol(name_, text)) {
        return false;
    }
    symbol = text;
    return true;
}

bool CEnumNode::setValueBySymbol(const Infra::CString& symbol) {
    return valid_ && core_->writeEnumSymbol(name_, symbol.str());
}

CCmdNode::CCmdNode(const Memory::TSharedPtr<ICamera>& camera, const char* name)
    : CNodeBase(camera, name, ParameterTypeCommand) {}

bool CCmdNode::execute() {
    return valid_ && core_->execute(name_);
}

CStringNode::CStringNode(const Memory::TSharedPtr<ICamera>& camera, const char* name)
    : CNodeBase(camera, name, ParameterTypeString) {}

bool CStringNode::getValue(Infra::CString& value) const {
    std::string text;
    if (!valid_ || !core_->readString(name_, text)) {
        return false;
    }
    value = text;
    return true;
}

bool CStringNode::setValue(const Infra::CString& value) {
    return valid_ && core_->writeString(name_, value.str());
}

} // namespace Orvia::GenICam
