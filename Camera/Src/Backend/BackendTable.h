// The table of backends, in the order discovery asks them. Each can be switched off.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Backend/Backend.h"

namespace Orvia::Backend {

struct BackendEntry {
    std::string name;
    std::shared_ptr<IBackend> backend;
    bool enabled = true;
};

std::vector<BackendEntry> makeBackendTable();

} // namespace Orvia::Backend
