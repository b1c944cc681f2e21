// On Windows the stand-in defines the functions that the library's header declares as imports.
#if defined(_WIN32)
#define LPMC_BUILD
#endif
#include "LpmcStub.h"

#include <algorithm>
#include <cstring>

namespace quboid3d::test::lpmc_stub {
namespace {

// Storage behind the result pointers of one handle, kept until its next call, as the real
// library does; handles share nothing, so two measuring objects can run at once.
struct HandleState {
    std::vector<LpmcBox> boxes;
    std::vector<float> points;
    std::vector<float> auxPoints;
};

struct State {
    Script script;
    Received received;
    std::deque<HandleState> handles; // stable addresses: each is a handle
};

State& state() {
    static State instance;
    return instance;
}

ReceivedCalibration copyCalibration(const LpmcCameraCalib* calib) {
    ReceivedCalibration copy;
    if (calib == nullptr)
        return copy;
    if (calib->lens != nullptr) {
        if (calib->lens->intrinsics != nullptr)
            std::copy_n(calib->lens->intrinsics, 9, copy.intrinsics);
        if (calib->lens->distortion != nullptr)
            std::copy_n(calib->lens->distortion, 5, copy.distortion);
        if (calib->lens->extrinsics != nullptr)
            std::copy_n(calib->lens->extrinsics, 6, copy.extrinsics);
        copy.lensReserved = calib->lens->reserved;
    }
    if (calib->plane != nullptr)
        copy.plane = *calib->plane;
    if (calib->motion != nullptr)
        copy.motion = *calib->motion;
    return copy;
}

ReceivedInput copyInput(const LpmcInput& input) {
    ReceivedInput copy;
    copy.input = input;
    if (const LpmcImageDesc* desc = input.image[0]; desc != nullptr) {
        std::memcpy(&copy.desc, desc, offsetof(LpmcImageDesc, unused));
        copy.pixelsPointer = desc->pixels;
        if (desc->pixels != nullptr && desc->width > 0 && desc->height > 0)
            copy.pixels.assign(desc->pixels,
                               desc->pixels + static_cast<std::size_t>(desc->width) * desc->height);
    }
    return copy;
}

void publish(HandleState& s, const ScriptedResult& scripted, LpmcResult* result) {
    s.boxes = scripted.boxes;
    s.points = scripted.points;
    s.auxPoints.assign(scripted.points.size(), 0.0f);
    result->resultState = scripted.resultState;
    result->pointCount = static_cast<std::int32_t>(scripted.points.size() / 3);
    result->points = s.points.empty() ? nullptr : s.points.data();
    result->auxPoints = s.auxPoints.empty() ? nullptr : s.auxPoints.data();
    for (std::size_t i = 0; i < LPMC_MAX_BOXES; ++i)
        result->boxes[i] = i < s.boxes.size() ? &s.boxes[i] : nullptr;
    result->volumeNum = scripted.volumeNumOverride >= 0 ? scripted.volumeNumOverride
                                                        : static_cast<std::int32_t>(s.boxes.size());
}

} // namespace

namespace detail {
std::mutex& mutex() {
    static std::mutex instance;
    return instance;
}
Script& scriptState() {
    return state().script;
}
} // namespace detail

void reset() {
    std::lock_guard lock(detail::mutex());
    state() = State{};
}

Received received() {
    std::lock_guard lock(detail::mutex());
    return state().received;
}

void* stubHandle() {
    std::lock_guard lock(detail::mutex());
    return state().handles.empty() ? nullptr : &state().handles.back();
}

} // namespace quboid3d::test::lpmc_stub

using namespace quboid3d::test::lpmc_stub;

extern "C" {

int32_t lpmcCreate(void** handle, LpmcCreateParam* param) {
    std::lock_guard lock(detail::mutex());
    auto& s = state();
    ++s.received.createCalls;
    s.received.createParam = *param;
    s.received.calibration.clear();
    for (int i = 0; i < std::clamp(param->cameraCount, 0, LPMC_MAX_CAMERAS); ++i)
        s.received.calibration.push_back(copyCalibration(param->calib[i]));
    if (s.script.createCode != 0)
        return s.script.createCode;
    *handle = &s.handles.emplace_back();
    return 0;
}

int32_t lpmcGetConfig(void*, LpmcConfig* config) {
    std::lock_guard lock(detail::mutex());
    auto& s = state();
    ++s.received.getConfigCalls;
    s.received.configAtGet = *config;
    if (s.script.getConfigCode < 0)
        return s.script.getConfigCode;
    LpmcImageRegion* regions[LPMC_MAX_CAMERAS];
    std::copy_n(config->region, LPMC_MAX_CAMERAS, regions);
    *config = s.script.reportedConfig;
    for (int i = 0; i < LPMC_MAX_CAMERAS; ++i) {
        config->region[i] = regions[i];
        if (regions[i] != nullptr)
            *regions[i] = s.script.reportedRegion;
    }
    return s.script.getConfigCode;
}

int32_t lpmcSetConfig(void*, LpmcConfig* config) {
    std::lock_guard lock(detail::mutex());
    auto& s = state();
    ++s.received.setConfigCalls;
    s.received.configAtSet = *config;
    s.received.regionsAtSet.clear();
    for (int i = 0; i < LPMC_MAX_CAMERAS; ++i)
        if (config->region[i] != nullptr)
            s.received.regionsAtSet.push_back(*config->region[i]);
    return s.script.setConfigCode;
}

int32_t lpmcProcess(void* handle, LpmcInput* input, LpmcResult* result) {
    std::lock_guard lock(detail::mutex());
    auto& s = state();
    ++s.received.processCalls;
    s.received.inputs.push_back(copyInput(*input));
    if (s.script.results.empty())
        return 0;
    ScriptedResult next = std::move(s.script.results.front());
    s.script.results.pop_front();
    if (next.code == 0)
        publish(*static_cast<HandleState*>(handle), next, result);
    return next.code;
}

int32_t lpmcRelease(void* handle) {
    std::lock_guard lock(detail::mutex());
    auto& s = state();
    ++s.received.releaseCalls;
    s.received.releasedHandle = handle;
    return 0;
}

#if defined(_WIN32)
// Code compiled against the DLL's header calls through the import table's pointers; linked with
// the stand-in instead, those pointers lead here.
decltype(&lpmcCreate) __imp_lpmcCreate = &lpmcCreate;
decltype(&lpmcGetConfig) __imp_lpmcGetConfig = &lpmcGetConfig;
decltype(&lpmcSetConfig) __imp_lpmcSetConfig = &lpmcSetConfig;
decltype(&lpmcProcess) __imp_lpmcProcess = &lpmcProcess;
decltype(&lpmcRelease) __imp_lpmcRelease = &lpmcRelease;
#endif

} // extern "C"
