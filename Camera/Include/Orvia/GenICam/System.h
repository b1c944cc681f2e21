// The library's single system object: finds devices on every enabled backend and makes the
// objects that work with one device.
#pragma once

#include <cstdint>
#include <memory>

#include "Orvia/CameraApi.h"
#include "Orvia/GenICam/Camera.h"
#include "Orvia/GenICam/Controls.h"
#include "Orvia/GenICam/Defs.h"
#include "Orvia/GenICam/EventSubscribe.h"
#include "Orvia/GenICam/StreamSource.h"
#include "Orvia/Infra/String.h"
#include "Orvia/Infra/Vector.h"
#include "Orvia/Memory/SharedPtr.h"

namespace Orvia::GenICam {

class ORVIA_CAMERA_API CSystem {
public:
    // Made on first use, lives until the process ends. Any thread.
    static CSystem& getInstance();

    // Asks every enabled backend for its devices and appends them to `cameras`, backend by
    // backend in the order of the backend table, each backend's devices in its own order.
    // `interfaceSelector` 255 takes every interface, otherwise a mask of (1 << interface kind).
    // A device found again is the same ICamera object as before for as long as its backend
    // keeps it. False if a backend failed to list its devices; the devices of the others are
    // still appended. Caller's thread; blocks while backends search. Thread-safe.
    bool discovery(Infra::TVector<Memory::TSharedPtr<ICamera>>& cameras,
                   uint32_t interfaceSelector = kInterfaceSelectorAll);

    // Control objects on `camera`. Empty for an empty camera, an object this library did not
    // discover, or a device that refuses the control. Caller's thread, never blocks.
    Memory::TSharedPtr<IAcquisitionControl>
    createAcquisitionControl(const Memory::TSharedPtr<ICamera>& camera);
    Memory::TSharedPtr<IImageFormatControl>
    createImageFormatControl(const Memory::TSharedPtr<ICamera>& camera);
    Memory::TSharedPtr<IAnalogControl> createAnalogControl(const Memory::TSharedPtr<ICamera>& camera);
    Memory::TSharedPtr<IISPControl> createISPControl(const Memory::TSharedPtr<ICamera>& camera);
    Memory::TSharedPtr<IUserSetControl> createUserSetControl(const Memory::TSharedPtr<ICamera>& camera);
    Memory::TSharedPtr<IDeviceControl> createDeviceControl(const Memory::TSharedPtr<ICamera>& camera);
    // A view on stream `channel` of `camera` (see IStreamSource). Empty as above, or for a
    // channel the device lacks. Caller's thread.
    Memory::TSharedPtr<IStreamSource> createStreamSource(const Memory::TSharedPtr<ICamera>& camera,
                                                         uint16_t channel = 0);
    // Connection events of `camera` (see IEventSubscribe). Empty as above.
    Memory::TSharedPtr<IEventSubscribe> createEventSubscribe(const Memory::TSharedPtr<ICamera>& camera);

    // The backend table. Every backend starts enabled; a disabled one is not asked by
    // discovery, and the devices it found before keep working. Thread-safe.
    uint32_t getBackendCount() const;
    Infra::CString getBackendName(uint32_t index) const;
    // False for a name not in the table.
    bool setBackendEnabled(const char* name, bool enabled);
    bool isBackendEnabled(const char* name) const;

    CSystem(const CSystem&) = delete;
    CSystem& operator=(const CSystem&) = delete;

private:
    CSystem();
    ~CSystem();
    struct Impl;
    std::unique_ptr<Impl> impl_;
    friend class CInternalSystem;
};

} // namespace Orvia::GenICam
