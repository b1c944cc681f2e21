// How the measurement thread hands the results of one pass to whoever consumes them.
#pragma once

#include <vector>

#include "BoxDims.h"

struct LpmcResult;

namespace Orvia::VisionSystem {

class ICalcVolumeSink {
public:
    virtual ~ICalcVolumeSink() = default;
    // Called once per pass on the measurement thread. `pOrigRet` is null when the pass ended
    // without a result; `status` is the last code of the algorithm library.
    virtual void onVolumeResult(const std::vector<BoxDims>& boxes, const LpmcResult* pOrigRet,
                                int status) = 0;
};

} // namespace Orvia::VisionSystem
