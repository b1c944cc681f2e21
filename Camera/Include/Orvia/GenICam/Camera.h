// One device found by CSystem::discovery. The same object stands for a physical device for as
// long as its backend keeps it; its connection state is asked of the device on every call.
#pragma once

#include <cstdint>

#include "Orvia/CameraApi.h"

namespace Orvia::GenICam {

class ORVIA_CAMERA_API ICamera {
public:
    virtual ~ICamera() = default;

    // Transport of the device: 0 GigE Vision, 1 USB3 Vision, other values for other transports.
    // Any thread. Never fails.
    virtual int32_t getInterfaceKind() const = 0;
    // Texts of the device, valid as long as this object. Any thread.
    virtual const char* getVendorName() const = 0;
    virtual const char* getModelName() const = 0;
    // Serial number or another text that tells two devices of one model apart.
    virtual const char* getDeviceIdentity() const = 0;
    // Stable key of one physical device (backend and serial); what CInternalSystem looks up.
    virtual const char* getKey() const = 0;
    // Text for people: vendor, model and identity.
    virtual const char* getDisplayName() const = 0;

    // True while this process holds an open control channel to the device. Asks the device.
    // Any thread.
    virtual bool isConnected() const = 0;
    // Opens the control channel with an AccessMode. False if the device is gone, already
    // connected, or refuses. Caller's thread; blocks for the device's answer.
    virtual bool connect(uint32_t accessMode) = 0;
    // Stops the device's stream and closes the control channel. False if the device refuses
    // or was not connected. Caller's thread.
    virtual bool disconnect() = 0;

    // The device's private data area (32 KiB on the laser cameras), read or written from its
    // start. Result: the count of bytes moved (positive), or a negative value if the device is
    // not connected, the buffer is null, the count is 0 or larger than the area, or the
    // transfer fails. Caller's thread.
    virtual int32_t readPrivateArea(void* buffer, uint64_t count) = 0;
    virtual int32_t writePrivateArea(const void* buffer, uint64_t count) = 0;
};

} // namespace Orvia::GenICam
