#include "LpmcFrameFeed.h"

#include <gtest/gtest.h>

namespace quboid3d::test {

int32_t feedLpmcFrames(void* handle, int32_t count, const LpmcInputOfFrame& inputOf,
                       const LpmcResultOfFrame& take) {
    int32_t processed = 0;
    for (int32_t k = 0; k < count; ++k) {
        LpmcInput in{};
        if (!inputOf(k, in)) {
            continue;
        }
        LpmcResult result{};
        const int32_t code = lpmcProcess(handle, &in, &result);
        if (code != LPMC_OK) {
            ADD_FAILURE() << "lpmcProcess answered " << code << " at frame " << k;
            break;
        }
        ++processed;
        if (!take(k, result)) {
            break;
        }
    }
    return processed;
}

} // namespace quboid3d::test
