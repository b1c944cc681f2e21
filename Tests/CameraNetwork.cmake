# The Aravis backend against the virtual laser camera on 127.0.0.1 (Linux, with Aravis). The
# camera answers on one address, so these tests run one at a time; they start and stop their own
# camera processes and bound every wait.
if(TARGET quboid3d-virtual-camera)
    set(QUBOID3D_NETWORK_ENV "QUBOID3D_ARAVIS_DISCOVERY=127.0.0.1")
    if(QUBOID3D_SANITIZE STREQUAL "thread")
        list(APPEND QUBOID3D_NETWORK_ENV "TSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/tsan-aravis.supp")
    endif()
    quboid3d_add_test(AravisNetworkTest SOURCES AravisNetworkTest.cpp Network/VirtualCameraProcess.cpp
                      LIBS Quboid3DCamera Threads::Threads LABELS "network;threading"
                      ENVIRONMENT "${QUBOID3D_NETWORK_ENV}" RESOURCE_LOCK gige-loopback)
    target_compile_definitions(AravisNetworkTest PRIVATE
                               QUBOID3D_VIRTUAL_CAMERA_PATH="$<TARGET_FILE:quboid3d-virtual-camera>")
    target_include_directories(AravisNetworkTest PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
    add_dependencies(AravisNetworkTest quboid3d-virtual-camera)
endif()
