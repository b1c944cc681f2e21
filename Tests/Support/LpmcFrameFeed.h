// Frames fed one at a time to an instance of the sheet-of-light library, as a camera's fetching
// loop feeds them: the test says what frame k's input is (or that frame k was lost on the way) and
// what to do with each result.
#pragma once

#include <cstdint>
#include <functional>

#include "Lpmc.h"

namespace quboid3d::test {

// Fills the input of frame k; false leaves the frame out, as a frame lost on the way. What the
// input points at must stay valid until the next call.
using LpmcInputOfFrame = std::function<bool(int32_t frame, LpmcInput& in)>;
// Takes the result of frame k; false ends the feeding early.
using LpmcResultOfFrame = std::function<bool(int32_t frame, const LpmcResult& result)>;

// Feeds frames 0 .. count-1 to `handle`. A call that does not return LPMC_OK fails the test, naming
// the frame, and ends the feeding. Returns the number of frames processed.
int32_t feedLpmcFrames(void* handle, int32_t count, const LpmcInputOfFrame& inputOf,
                       const LpmcResultOfFrame& take);

} // namespace quboid3d::test
