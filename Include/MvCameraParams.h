// A camera's features, read and written on the device at each call: through the library's control
// objects, by well-known feature names, or by any name with a value of a chosen kind. Each
// CMvCamera owns one on its device; it keeps no values of its own.
#pragma once

#include <cstdint>
#include <typeinfo>
#include <variant>

#include "Orvia/GenICam/Camera.h"
#include "Orvia/GenICam/Internal.h"
#include "Orvia/Infra/String.h"
#include "Orvia/Memory/SharedPtr.h"

namespace Orvia::VisionSystem {

// How a feature value is treated: read and written as an integer, float, enumeration number,
// bool or string, or run as a command. 0 means no kind.
enum ParamSelector : int32_t {
    ParamSelectorNone = 0,
    ParamSelectorInt = 1,
    ParamSelectorFloat = 2,
    ParamSelectorEnum = 3,
    ParamSelectorBool = 4,
    ParamSelectorString = 5,
    ParamSelectorCommand = 6,
};

// Raised when a value's kind does not match the selector it is written with.
class CParamBadCast : public std::bad_cast {
public:
    const char* what() const noexcept override { return "bad cast"; }
};

// A feature value of one of the held kinds, tagged with its kind; empty when fresh.
class ParamValue {
public:
    ParamValue() = default;
    template <typename T>
    explicit ParamValue(T value) : value_(std::move(value)) {}

    template <typename T>
    void set(T value) {
        value_ = std::move(value);
    }
    template <typename T>
    bool holds() const {
        return std::holds_alternative<T>(value_);
    }
    bool empty() const { return holds<std::monostate>(); }
    // The held value; CParamBadCast if the value is of another kind.
    template <typename T>
    const T& get() const {
        if (!holds<T>())
            throw CParamBadCast();
        return std::get<T>(value_);
    }

private:
    std::variant<std::monostate, int64_t, double, uint64_t, bool, Infra::CString> value_;
};

class CMvCameraParams {
public:
    explicit CMvCameraParams(Memory::TSharedPtr<GenICam::ICamera> camera);
    virtual ~CMvCameraParams();
    CMvCameraParams(const CMvCameraParams&) = delete;
    CMvCameraParams& operator=(const CMvCameraParams&) = delete;

    virtual int32_t reservedOperationA();
    virtual int32_t reservedOperationB();
    virtual int32_t getAcquisitionDouble(double& value);
    virtual int32_t setAcquisitionDouble(double value);
    // First: imageFormatIntNode2, second: imageFormatIntNode1.
    virtual int32_t getImageFormatPair(int32_t& first, int32_t& second);
    virtual int32_t setImageFormatPair(int32_t first, int32_t second);
    virtual int32_t getAnalogDouble1(double& value);
    virtual int32_t setAnalogDouble1(double value);
    virtual int32_t getAnalogDouble2(double& value);
    virtual int32_t setAnalogDouble2(double value);
    virtual int32_t getIspInt1(int32_t& value);
    virtual int32_t setIspInt1(int32_t value);
    virtual int32_t getLineOutput(int32_t line, bool& value);
    virtual int32_t setLineOutput(int32_t line, bool value);
    virtual int32_t getIspInt2(int32_t& value);
    virtual int32_t setIspInt2(int32_t value);
    virtual int32_t getImageFormatInt3(int32_t& value);
    virtual int32_t setImageFormatInt3(int32_t value);
    virtual int32_t getImageFormatInt4(int32_t& value);
    virtual int32_t setImageFormatInt4(int32_t value);
    // Stores the present parameters in user set 1. Gives 0 once the control exists, whatever
    // the device answers: a failed save shows only in the log.
    virtual int32_t userSetSave();
    // Writes `value` as `selector` says; CParamBadCast leaves if its kind does not match.
    virtual int32_t setValue(const char* name, ParamSelector selector, const ParamValue& value);
    virtual int32_t getValue(const char* name, ParamSelector& selector, ParamValue& value);
    // The library's count on success.
    virtual int32_t readUserPrivateData(uint8_t* buffer, int32_t count);
    virtual int32_t writeUserPrivateData(uint8_t* buffer, int32_t count);
    virtual int32_t getValueRange(const char* name, double& min, double& max);
    virtual int32_t getValueRange(const char* name, int64_t& min, int64_t& max, int64_t& increment);
    virtual int32_t getBarCodeType(uint32_t& value);
    virtual int32_t setBarCodeType(uint32_t value);
    virtual int32_t getScale(int32_t& value);
    virtual int32_t setScale(int32_t value);
    virtual int32_t getMinFactor(int32_t& value);
    virtual int32_t setMinFactor(int32_t value);
    virtual int32_t getStopAfterResultNum(int32_t& value);
    virtual int32_t setStopAfterResultNum(int32_t value);
    virtual int32_t getWorkMode(uint32_t& value);
    virtual int32_t setWorkMode(uint32_t value);
    virtual int32_t getEnableConfig(uint32_t& value);
    virtual int32_t setEnableConfig(uint32_t value);

private:
    // -1 while the device is connected, -3 once it is not.
    int32_t failureCode() const;
    Memory::TSharedPtr<GenICam::CInternalCamera> internalCamera() const;
    int32_t writeByKind(GenICam::CInternalParameterNode& node, ParamSelector selector,
                        const ParamValue& value);

    Memory::TSharedPtr<GenICam::ICamera> camera;
};

} // namespace Orvia::VisionSystem
