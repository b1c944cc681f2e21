# The whole system in local mode, through the C interface: frames per second from stored PNG and
# BMP images, and decoding alone for comparison.
add_executable(LocalModeBench LocalModeBench.cpp)
target_link_libraries(LocalModeBench PRIVATE Quboid3DSdk ScanSim PkgConfig::STB benchmark::benchmark)
add_dependencies(LocalModeBench LaserPlaneMultCameras64)
quboid3d_warnings(LocalModeBench)
