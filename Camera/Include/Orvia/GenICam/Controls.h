// Control objects: groups of the nodes a device offers, made by CSystem's create...Control.
// Which feature stands behind each accessor is told in Orvia/GenICam/FeatureNames.h. An
// accessor builds its node anew on each call (any thread, never blocks); the node tells with
// isValid whether the device offers the feature.
#pragma once

#include <cstdint>

#include "Orvia/CameraApi.h"
#include "Orvia/GenICam/Node.h"

namespace Orvia::GenICam {

class ORVIA_CAMERA_API IAcquisitionControl {
public:
    virtual ~IAcquisitionControl() = default;
    virtual CDoubleNode acquisitionDoubleNode() const = 0;
    virtual CEnumNode triggerSelectorNode() const = 0;
    virtual CEnumNode triggerModeNode() const = 0;
    virtual CEnumNode triggerSourceNode() const = 0;
    virtual CCmdNode triggerCommandNode() const = 0;
};

class ORVIA_CAMERA_API IImageFormatControl {
public:
    virtual ~IImageFormatControl() = default;
    virtual CIntNode imageFormatIntNode1() const = 0;
    virtual CIntNode imageFormatIntNode2() const = 0;
    virtual CIntNode imageFormatIntNode3() const = 0;
    virtual CIntNode imageFormatIntNode4() const = 0;
    virtual CEnumNode pixelFormatNode() const = 0;
};

class ORVIA_CAMERA_API IAnalogControl {
public:
    virtual ~IAnalogControl() = default;
    virtual CDoubleNode analogDoubleNode1() const = 0;
    virtual CDoubleNode analogDoubleNode2() const = 0;
};

class ORVIA_CAMERA_API IISPControl {
public:
    virtual ~IISPControl() = default;
    virtual CIntNode ispIntNode1() const = 0;
    virtual CIntNode ispIntNode2() const = 0;
};

class ORVIA_CAMERA_API IUserSetControl {
public:
    virtual ~IUserSetControl() = default;
    // Selects user set `number`. True if the device took it. Caller's thread.
    virtual bool userSetCallOne(int32_t number) = 0;
    // Stores the device's present parameters in user set `number`. True if the device took
    // it. Caller's thread.
    virtual bool userSetCallTwo(int32_t number) = 0;
};

class ORVIA_CAMERA_API IDeviceControl {
public:
    virtual ~IDeviceControl() = default;
    // The label a user gave the device.
    virtual CStringNode labelNode() const = 0;
};

} // namespace Orvia::GenICam
