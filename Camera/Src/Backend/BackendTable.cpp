#include "Backend/BackendTable.h"

#include "SimBackend.h"

namespace Orvia::Backend {

// Real devices come first once their backend exists; the simulated cameras list only what a
// process has plugged in, so a plain application sees real devices alone.
std::vector<BackendEntry> makeBackendTable() {
    std::vector<BackendEntry> table;
    table.push_back({"sim", Sim::Detail::simBackend(), true});
    return table;
}

} // namespace Orvia::Backend
