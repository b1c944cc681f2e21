// Feature nodes: a device and the name of one of its features. A node is cheap to build, copy
// and drop; it keeps no value, every call goes to the device. A node is valid when the device
// was discovered by this library and offers a feature of that name and of the node's kind.
// Reads and writes need a connected device and give false otherwise, or when the feature is
// not readable or writable, or the value is out of its range. Every operation runs on the
// caller's thread and may block for the device's answer.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Orvia/CameraApi.h"
#include "Orvia/GenICam/Camera.h"
#include "Orvia/Infra/String.h"
#include "Orvia/Memory/SharedPtr.h"

namespace Orvia::GenICam {

namespace Detail {
class CDeviceCore;
}

class ORVIA_CAMERA_API CNodeBase {
public:
    // An invalid node.
    CNodeBase();
    virtual ~CNodeBase();
    CNodeBase(const CNodeBase&);
    // Makes this node stand for the same device and feature as `other`.
    CNodeBase& operator=(const CNodeBase&);

    bool isValid() const;
    // The feature's current access, as the device reports it now.
    bool isReadable() const;
    bool isWritable() const;
    Infra::CString getName() const;

protected:
    CNodeBase(const Memory::TSharedPtr<ICamera>& camera, const char* name, uint32_t parameterType);

    std::shared_ptr<Detail::CDeviceCore> core_;
    std::string name_;
    bool valid_ = false;
};

class ORVIA_CAMERA_API CIntNode : public CNodeBase {
public:
    CIntNode() = default;
    CIntNode(const Memory::TSharedPtr<ICamera>& camera, const char* name);
    bool getValue(int64_t& value) const;
    // False outside [min, max] or off the increment.
    bool setValue(int64_t value);
    bool getMin(int64_t& value) const;
    bool getMax(int64_t& value) const;
    bool getIncrement(int64_t& value) const;
};

class ORVIA_CAMERA_API CDoubleNode : public CNodeBase {
public:
    CDoubleNode() = default;
    CDoubleNode(const Memory::TSharedPtr<ICamera>& camera, const char* name);
    bool getValue(double& value) const;
    // False outside [min, max].
    bool setValue(double value);
    bool getMin(double& value) const;
    bool getMax(double& value) const;
};

class ORVIA_CAMERA_API CEnumNode : public CNodeBase {
public:
    CEnumNode() = default;
    CEnumNode(const Memory::TSharedPtr<ICamera>& camera, const char* name);
    // By the entry's number.
    bool getValue(int64_t& value) const;
    bool setValue(int64_t value);
    // By the entry's symbol, such as "FrameStart". False for a symbol the feature lacks.
    bool getValueSymbol(Infra::CString& symbol) const;
    bool setValueBySymbol(const Infra::CString& symbol);
};

class ORVIA_CAMERA_API CCmdNode : public CNodeBase {
public:
    CCmdNode() = default;
    CCmdNode(const Memory::TSharedPtr<ICamera>& camera, const char* name);
    bool execute();
};

class ORVIA_CAMERA_API CStringNode : public CNodeBase {
public:
    CStringNode() = default;
    CStringNode(const Memory::TSharedPtr<ICamera>& camera, const char* name);
    bool getValue(Infra::CString& value) const;
    // False if longer than the feature's maximum length.
    bool setValue(const Infra::CString& value);
};

} // namespace Orvia::GenICam
