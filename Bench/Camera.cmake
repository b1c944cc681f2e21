# Frames per second a consumer pulls from a simulated camera serving pre-rendered frames, beside
# memcpy of the same bytes.
add_executable(CameraStreamBench CameraStreamBench.cpp)
target_link_libraries(CameraStreamBench PRIVATE Quboid3DCameraScanSim benchmark::benchmark benchmark::benchmark_main)
quboid3d_warnings(CameraStreamBench)

# Camera mode through the C interface from a simulated camera serving the default scene
# pre-rendered: frames per second beside lpmcProcess alone, result latency, frames lost at a
# fixed camera rate, and what camera mode adds per frame, the two taking turns block by block.
add_executable(CameraModeBench CameraModeBench.cpp CameraModeOverheadBench.cpp CameraModeSimStation.cpp
                               CameraModeTimeline.cpp)
# lpmcProcess alone is configured by the calculator itself, from the same directory.
target_link_libraries(CameraModeBench PRIVATE Quboid3DSdk Quboid3DSdkCore LaserPlaneMultCameras64
                      Quboid3DCameraScanSim benchmark::benchmark)
add_dependencies(CameraModeBench LaserPlaneMultCameras64)
quboid3d_warnings(CameraModeBench)
