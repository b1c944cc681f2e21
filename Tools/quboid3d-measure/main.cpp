// quboid3d-measure: runs the measuring library as an integrator's program would, through its
// public C header only.
#include <cstdio>
#include <cstring>

#include "Quboid3DSdk.h"

namespace {

void printUsage() {
    std::puts("usage: quboid3d-measure [--version] [--help]\n"
              "\n"
              "  --version  print the library's version text and exit\n"
              "  --help     print this text and exit");
}

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--version") == 0) {
            const char* version = nullptr;
            vslbQuboid3DGetVersion(&version);
            std::printf("quboid3d-measure, library %s\n", version);
            return 0;
        }
        if (std::strcmp(argv[i], "--help") == 0) {
            printUsage();
            return 0;
        }
        std::fprintf(stderr, "quboid3d-measure: unknown option %s\n", argv[i]);
        printUsage();
        return 2;
    }
    printUsage();
    return 2;
}
