// One loaded output plug-in of a measuring object.
#pragma once

#include "BoxDims.h"
#include "V3dPlugin.h"

namespace Orvia::VisionSystem {

class OutputPlugin {
public:
    // Loads the library and looks up its three functions; a missing one stays null.
    explicit OutputPlugin(const char* libraryName);
    // Finishes the plug-in if finish() hasn't, then unloads it.
    ~OutputPlugin();
    OutputPlugin(const OutputPlugin&) = delete;
    OutputPlugin& operator=(const OutputPlugin&) = delete;

    bool complete() const {
        return module != nullptr && init != nullptr && fini != nullptr && proc != nullptr;
    }
    // Hands one box to the plug-in, if it is loaded and initialised.
    void deliver(const BoxDims& box);
    // Calls v3dPluginFini once and forgets the context.
    void finish();

    void* module = nullptr;
    V3dPluginInitFn init = nullptr;
    V3dPluginFiniFn fini = nullptr;
    V3dPluginProcFn proc = nullptr;
    void* context = nullptr;
};

} // namespace Orvia::VisionSystem
