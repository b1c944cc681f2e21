# Rendering speed of the virtual station: frames per second for 2048-column frames.
add_executable(ScanSimBench ScanSimBench.cpp)
target_link_libraries(ScanSimBench PRIVATE ScanSim benchmark::benchmark benchmark::benchmark_main)
quboid3d_warnings(ScanSimBench)
