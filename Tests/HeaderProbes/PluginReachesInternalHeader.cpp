// Must not compile: an output plug-in sees the public headers only.
#include "V3dPlugin.h"

#include "CalcQuboid3DMgr.h"

extern "C" int probeRecordSize() {
    return static_cast<int>(sizeof(V3dPluginRecord));
}
