#include "OutputPlugin.h"

#include <cstdint>

#include "DynamicLibrary.h"

namespace Orvia::VisionSystem {
namespace {

constexpr std::uint32_t kRecordSize = sizeof(V3dPluginRecord);

template <class Function>
Function symbol(void* module, const char* name) {
    return reinterpret_cast<Function>(findLibrarySymbol(module, name));
}

} // namespace

OutputPlugin::OutputPlugin(const char* libraryName) : module(loadDynamicLibrary(libraryName)) {
    if (module == nullptr)
        return;
    init = symbol<V3dPluginInitFn>(module, "v3dPluginInit");
    fini = symbol<V3dPluginFiniFn>(module, "v3dPluginFini");
    proc = symbol<V3dPluginProcFn>(module, "v3dPluginProc");
}

OutputPlugin::~OutputPlugin() {
    finish();
    if (module != nullptr)
        unloadDynamicLibrary(module);
}

void OutputPlugin::deliver(const BoxDims& box) {
    if (!complete() || context == nullptr)
        return;
    // Built on the stack and not cleared: the plug-in reads only the five named fields.
    V3dPluginRecord record;
    record.size = kRecordSize;
    record.length = box.length;
    record.width = box.width;
    record.height = box.height;
    record.volume = box.volume;
    proc(context, &record, kRecordSize);
}

void OutputPlugin::finish() {
    if (!complete() || context == nullptr)
        return;
    fini(context);
    context = nullptr;
}

} // namespace Orvia::VisionSystem
