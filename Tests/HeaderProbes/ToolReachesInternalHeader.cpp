// Must not compile: a host program sees the library's public headers only.
#include "Quboid3DSdk.h"

#include "KeyValueCfgParser.h"

int main() {
    return vslbQuboid3DCreate() == 0 ? 1 : 0;
}
