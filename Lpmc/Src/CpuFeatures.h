// What the processor offers beyond the x86-64 baseline; asked once.
#pragma once

namespace lpmc {

bool cpuHasAvx2();

} // namespace lpmc
