// A working directory that a measuring object accepts with the scripted sheet-of-light library:
// a configuration directory and one stored image in ./LocalImages/.
#pragma once

#include <string>

#include "Lpmc.h"

namespace quboid3d::test {

void writeLocalStation(const std::string& cfgDir = "cfg/");

// A box the scripted library can hand out; its volume is length x width x height.
LpmcBox boxOf(float length, float width, float height);

} // namespace quboid3d::test
