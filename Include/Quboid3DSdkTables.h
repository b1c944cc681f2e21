// Read-only views of the C interface's tables, for the library's own tests and diagnostics.
// Not exported from the shared library.
#pragma once

#include <cstddef>

namespace Orvia::VisionSystem {

class CCalcQuboid3DMgr;
class ICalcVolumeSink;

// Number of live measuring objects.
std::size_t volumeObjectCount();
// The result adapter held for `object` since its last run, or null.
ICalcVolumeSink* volumeSinkOf(const CCalcQuboid3DMgr* object);

} // namespace Orvia::VisionSystem
