// The GigE Vision view of a device.
#pragma once

#include "Orvia/CameraApi.h"
#include "Orvia/GenICam/Camera.h"
#include "Orvia/Infra/String.h"
#include "Orvia/Memory/SharedPtr.h"

namespace Orvia::GenICam {

class ORVIA_CAMERA_API IGigECamera {
public:
    virtual ~IGigECamera() = default;

    // The GigE view of `camera`; empty for a device that is not on GigE Vision (interface kind
    // other than 0) or for an object the library did not discover. Any thread.
    static Memory::TSharedPtr<IGigECamera> getInstance(const Memory::TSharedPtr<ICamera>& camera);

    // The device's network identity as text (address and MAC as the device reports them).
    // Any thread.
    virtual Infra::CString identityText() const = 0;
};

} // namespace Orvia::GenICam
