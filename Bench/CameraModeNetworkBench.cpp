// Camera mode through the whole system over loopback: quboid3d-virtual-camera serves the default
// scene of the virtual station (2048 x 512, four boxes) on 127.0.0.1, and the measuring library,
// through its C interface, discovers it, takes its calibration into an empty configuration
// directory and measures: frames sent, processed and lost, boxes against the truth and CPU per
// frame at several rates (CameraModeThroughputBench.cpp), then the camera's loss and return
// (CameraModeLossReturnBench.cpp).
//
// Each run starts its own camera process; every wait is bounded. Linux, with Aravis.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include "CameraModeNetworkStation.h"

int main(int argc, char** argv) {
    using namespace quboid3d::bench;
    // Discovery asks the loopback address alone, never the networks around.
    setenv("QUBOID3D_ARAVIS_DISCOVERY", kNetworkAddress, 0);
    enterWorkDirectory();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    registerThroughputBenchmarks();
    registerLossAndReturnBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
