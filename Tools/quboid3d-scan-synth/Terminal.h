// Whether an output stream is an interactive terminal, the platform's way.
#pragma once

#include <cstdio>

namespace quboid3d::synth {

bool isTerminal(std::FILE* stream);

} // namespace quboid3d::synth
