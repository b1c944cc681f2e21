#include "Backend/BackendTable.h"

#include "SimBackend.h"

#ifdef ORVIA_CAMERA_HAS_ARAVIS
#include "AravisBackend.h"
#endif

namespace Orvia::Backend {

// Real devices come first; the simulated cameras list only what a process has plugged in, so a
// plain application sees real devices alone.
std::vector<BackendEntry> makeBackendTable() {
    std::vector<BackendEntry> table;
#ifdef ORVIA_CAMERA_HAS_ARAVIS
    table.push_back({"aravis", Aravis::Detail::aravisBackend(), true});
#endif
    table.push_back({"sim", Sim::Detail::simBackend(), true});
    return table;
}

} // namespace Orvia::Backend
