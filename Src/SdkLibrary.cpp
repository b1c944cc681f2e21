// The shared library is the core archive linked whole; this file gives the target a source.
#include "Quboid3DSdk.h"
