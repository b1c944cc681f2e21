# Frames from the virtual laser camera over loopback through the Aravis backend (Linux, with
# Aravis): rates, lost and incomplete frames, Mono8 and Mono4p, paced and unpaced.
if(TARGET quboid3d-virtual-camera)
    add_executable(AravisStreamBench AravisStreamBench.cpp ${CMAKE_SOURCE_DIR}/Tests/Network/VirtualCameraProcess.cpp)
    target_include_directories(AravisStreamBench PRIVATE ${CMAKE_SOURCE_DIR}/Tests)
    target_compile_definitions(AravisStreamBench PRIVATE
                               QUBOID3D_VIRTUAL_CAMERA_PATH="$<TARGET_FILE:quboid3d-virtual-camera>")
    target_link_libraries(AravisStreamBench PRIVATE Quboid3DCamera benchmark::benchmark benchmark::benchmark_main)
    add_dependencies(AravisStreamBench quboid3d-virtual-camera)
    quboid3d_warnings(AravisStreamBench)
endif()

# Camera mode through the whole system over loopback: the virtual laser camera serving the
# default scene on 127.0.0.1, measured through the C interface; frames sent, processed and lost,
# boxes against the truth, CPU per frame, and the times of a camera's loss and return.
if(TARGET quboid3d-virtual-camera)
    add_executable(CameraModeNetworkBench CameraModeNetworkBench.cpp CameraModeNetworkStation.cpp
                                          CameraModeThroughputBench.cpp CameraModeLossReturnBench.cpp
                                          ${CMAKE_SOURCE_DIR}/Tests/Network/VirtualCameraProcess.cpp)
    target_include_directories(CameraModeNetworkBench PRIVATE ${CMAKE_SOURCE_DIR}/Tests)
    target_compile_definitions(CameraModeNetworkBench PRIVATE
                               QUBOID3D_VIRTUAL_CAMERA_PATH="$<TARGET_FILE:quboid3d-virtual-camera>")
    target_link_libraries(CameraModeNetworkBench PRIVATE Quboid3DSdk Quboid3DCamera ScanSim benchmark::benchmark)
    add_dependencies(CameraModeNetworkBench quboid3d-virtual-camera LaserPlaneMultCameras64)
    quboid3d_warnings(CameraModeNetworkBench)
endif()
