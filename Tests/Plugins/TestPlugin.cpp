// Output plug-ins for tests, built from this one source in several variants:
//   RecordingPlugin    records every call;
//   MissingProcPlugin  lacks v3dPluginProc;
//   FailingInitPlugin  answers init with 7;
//   NullContextPlugin  succeeds but leaves the context null.
// Every variant records its calls; testPluginLog() returns them, one per line.
#include <cstdio>
#include <mutex>
#include <string>

#include "V3dPlugin.h"

namespace {

std::mutex mutex;
std::string calls;
int contextTag = 0;

void record(const std::string& line) {
    std::lock_guard lock(mutex);
    calls += line + "\n";
}

} // namespace

extern "C" {

V3D_PLUGIN_EXPORT const char* testPluginLog() {
    static std::string copy;
    std::lock_guard lock(mutex);
    copy = calls;
    return copy.c_str();
}

V3D_PLUGIN_EXPORT void testPluginReset() {
    std::lock_guard lock(mutex);
    calls.clear();
}

V3D_PLUGIN_EXPORT int32_t v3dPluginInit(const char* args, void** context) {
    record(std::string("init [") + args + "] context " + (*context == nullptr ? "null" : "set"));
#if defined(TEST_PLUGIN_FAILING_INIT)
    return 7;
#else
#if !defined(TEST_PLUGIN_NULL_CONTEXT)
    *context = &contextTag;
#endif
    return 0;
#endif
}

#if !defined(TEST_PLUGIN_WITHOUT_PROC)
V3D_PLUGIN_EXPORT int32_t v3dPluginProc(void* context, const void* data, uint32_t size) {
    const auto* box = static_cast<const V3dPluginRecord*>(data);
    char line[160];
    std::snprintf(line, sizeof line, "proc size %u field %u context %s L %.1f W %.1f H %.1f V %.1f", size,
                  box->size, context == &contextTag ? "ours" : "other", box->length, box->width, box->height,
                  box->volume);
    record(line);
    return 0;
}
#endif

V3D_PLUGIN_EXPORT void v3dPluginFini(void* context) {
    record(std::string("fini context ") + (context == &contextTag ? "ours" : "other"));
}

} // extern "C"
