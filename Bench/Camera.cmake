# Frames per second a consumer pulls from a simulated camera serving pre-rendered frames, beside
# memcpy of the same bytes.
add_executable(CameraStreamBench CameraStreamBench.cpp)
target_link_libraries(CameraStreamBench PRIVATE Quboid3DCameraScanSim benchmark::benchmark benchmark::benchmark_main)
quboid3d_warnings(CameraStreamBench)
