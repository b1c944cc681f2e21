// Raw access below the control objects: a device's features by any name, typed, and its
// register memory. Reached by the device's key.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Orvia/CameraApi.h"
#include "Orvia/GenICam/Defs.h"
#include "Orvia/Infra/String.h"
#include "Orvia/Memory/SharedPtr.h"

namespace Orvia::GenICam {

namespace Detail {
class CDeviceCore;
}

// The library's view of one discovered device.
class ORVIA_CAMERA_API CInternalCamera {
public:
    explicit CInternalCamera(std::shared_ptr<Detail::CDeviceCore> core);
    ~CInternalCamera();
    const char* getKey() const;
    bool isConnected() const;

    // Library use.
    const std::shared_ptr<Detail::CDeviceCore>& core() const { return core_; }

private:
    std::shared_ptr<Detail::CDeviceCore> core_;
};

class ORVIA_CAMERA_API CInternalSystem {
public:
    // Made on first use, lives until the process ends. Any thread.
    static CInternalSystem& getInstance();
    // The internal view of the device discovered under `key`; empty if no discovery of this
    // process has found that key. Any thread.
    Memory::TSharedPtr<CInternalCamera> getCameraPtr(const Infra::CString& key);

private:
    CInternalSystem() = default;
};

// One feature of an internal camera, by name, of whatever type the device gives it. Reads and
// writes need a connected device; a typed call on a feature of another type gives false.
// Caller's thread; calls may block for the device's answer.
class ORVIA_CAMERA_API CInternalParameterNode {
public:
    CInternalParameterNode(const Memory::TSharedPtr<CInternalCamera>& camera, const Infra::CString& name);
    ~CInternalParameterNode();

    // True when the device offers a feature of that name.
    bool isValid() const;
    // A ParameterType; ParameterTypeUnknown for an invalid node.
    uint32_t getType() const;

    bool getIntValue(int64_t& value) const;
    bool getFloatValue(double& value) const;
    // The number of the current entry.
    bool getEnumValue(uint64_t& value) const;
    bool getBoolValue(bool& value) const;
    bool getStringValue(Infra::CString& value) const;
    bool setIntValue(int64_t value);
    bool setFloatValue(double value);
    bool setEnumValue(uint64_t value);
    bool setBoolValue(bool value);
    bool setStringValue(const Infra::CString& value);
    bool execute();

    // Enumerations only.
    bool setEnumValueBySymbol(const Infra::CString& symbol);
    // Any readable type but command: integers and floats in decimal, enumerations by symbol,
    // booleans as "true"/"false".
    bool getValueAsString(Infra::CString& value) const;

    // Range of an integer or float feature: maximum first, then minimum.
    bool getIntMaxMin(int64_t& max, int64_t& min) const;
    bool getFloatMaxMin(double& max, double& min) const;
    bool getIntIncrement(int64_t& increment) const;

private:
    std::shared_ptr<Detail::CDeviceCore> core_;
    std::string name_;
    uint32_t type_ = ParameterTypeUnknown;
};

// Register memory of one device, in transfers of at most 512 bytes.
class ORVIA_CAMERA_API CInternalAssistant {
public:
    // The assistant of `camera`, owned by the library and valid as long as the device is
    // known; null for an empty camera. Any thread.
    static CInternalAssistant* getInstance(const Memory::TSharedPtr<CInternalCamera>& camera);

    // Reads `length` bytes at `address` into `buffer`. On return `length` holds the count of
    // bytes actually read, which may be fewer than asked. False if the device is not
    // connected, the range is not memory of the device, or the transfer fails. Caller's thread.
    bool readMemory(uint64_t address, void* buffer, uint64_t& length);
    // Writes `length` bytes from `buffer` at `address`; `length` holds the count written.
    bool writeMemory(uint64_t address, const void* buffer, uint64_t& length);

    // Library use: every device core owns its assistant.
    explicit CInternalAssistant(Detail::CDeviceCore* core) : core_(core) {}

private:
    Detail::CDeviceCore* core_;
};

} // namespace Orvia::GenICam
