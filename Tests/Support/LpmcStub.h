// A scripted stand-in for the sheet-of-light library, linked into unit-test programs in place of
// the real one. Tests set the code of each call, the configuration it reports and a queue of
// results; the stub records every call and every input it received. Products never link it.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

#include "Lpmc.h"

namespace quboid3d::test::lpmc_stub {

// One result that lpmcProcess hands out.
struct ScriptedResult {
    std::int32_t code = 0;
    std::int32_t resultState = 0;
    std::vector<LpmcBox> boxes; // volumeNum is their count unless volumeNumOverride >= 0
    std::vector<float> points;  // x, y, z per point; auxPoints gets the same count
    std::int32_t volumeNumOverride = -1;
};

struct Script {
    std::int32_t createCode = 0;
    std::int32_t getConfigCode = 0;
    std::int32_t setConfigCode = 0;
    // What lpmcGetConfig writes; its region pointers are ignored, the records behind the caller's
    // pointers get `reportedRegion`.
    LpmcConfig reportedConfig{};
    LpmcImageRegion reportedRegion{};
    // Handed out one per lpmcProcess call; an empty queue answers 0 with resultState 0.
    std::deque<ScriptedResult> results;
};

// What lpmcProcess received in one call, copied while the pointers were valid.
struct ReceivedInput {
    LpmcInput input{};
    LpmcImageDesc desc{};
    const std::uint8_t* pixelsPointer = nullptr;
    std::vector<std::uint8_t> pixels; // width x height bytes, when pixels were given
};

// Calibration values as lpmcCreate saw them behind the pointers.
struct ReceivedCalibration {
    double intrinsics[9]{};
    double distortion[5]{};
    double extrinsics[6]{};
    LpmcLightPlane plane{};
    LpmcMotion motion{};
    const void* lensReserved = nullptr;
};

struct Received {
    int createCalls = 0;
    int getConfigCalls = 0;
    int setConfigCalls = 0;
    int processCalls = 0;
    int releaseCalls = 0;
    LpmcCreateParam createParam{};
    std::vector<ReceivedCalibration> calibration; // one per camera of createParam
    LpmcConfig configAtGet{};                     // what the caller passed to lpmcGetConfig
    LpmcConfig configAtSet{};                     // what the caller passed to lpmcSetConfig
    std::vector<LpmcImageRegion> regionsAtSet;
    std::vector<ReceivedInput> inputs;
    void* releasedHandle = nullptr;
};

// Forgets every script and record; call at the start of each test.
void reset();
// Changes the script under the stub's lock.
template <class F>
void script(F&& change);
// A copy of everything received so far.
Received received();
// The handle that the last successful lpmcCreate gave out; null before any.
void* stubHandle();

namespace detail {
std::mutex& mutex();
Script& scriptState();
} // namespace detail

template <class F>
void script(F&& change) {
    std::lock_guard lock(detail::mutex());
    change(detail::scriptState());
}

} // namespace quboid3d::test::lpmc_stub
