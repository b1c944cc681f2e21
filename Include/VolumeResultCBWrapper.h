// Turns the results of the measurement thread into the application's callbacks.
#pragma once

#include "ICalcVolumeSink.h"
#include "Quboid3DSdk.h"

namespace Orvia::VisionSystem {

class CVolumeResultCBWrapper : public ICalcVolumeSink {
public:
    CVolumeResultCBWrapper(VslbVolumeCallback simple, VslbVolumeCallbackEx extended)
        : simpleCallback(simple), extendedCallback(extended) {}

    void onVolumeResult(const std::vector<BoxDims>& boxes, const LpmcResult* pOrigRet, int status) override;

    VslbVolumeCallback simpleCallback = nullptr;
    VslbVolumeCallbackEx extendedCallback = nullptr;
};

} // namespace Orvia::VisionSystem
