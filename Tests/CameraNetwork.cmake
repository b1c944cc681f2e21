# The Aravis backend against the virtual laser camera on 127.0.0.1 (Linux, with Aravis). The
# camera answers on one address, so each program is one test that runs its cases in turn, and no
# two of them run at once; they start and stop their own camera processes and bound every wait.
# They run under ThreadSanitizer too: the suppressions compiled into the programs
# (TsanSuppressions.cpp) leave out only what GLib and Aravis call, and where Aravis hands this
# project's objects between threads the backend marks it (Backends/Aravis/Src/ThreadHandover.h).
function(quboid3d_add_network_test name)
    cmake_parse_arguments(T "" "FIXTURES" "SOURCES;LIBS;LABELS" ${ARGN})
    add_executable(${name} ${T_SOURCES} Network/VirtualCameraProcess.cpp
                           ${CMAKE_SOURCE_DIR}/Camera/Backends/Aravis/TsanSuppressions.cpp)
    target_link_libraries(${name} PRIVATE TestSupport ${T_LIBS})
    target_include_directories(${name} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
    target_compile_definitions(${name} PRIVATE
                               QUBOID3D_VIRTUAL_CAMERA_PATH="$<TARGET_FILE:quboid3d-virtual-camera>")
    add_dependencies(${name} quboid3d-virtual-camera)
    quboid3d_warnings(${name})
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES LABELS "${T_LABELS}" RESOURCE_LOCK gige-loopback TIMEOUT 600
                                            ENVIRONMENT "QUBOID3D_ARAVIS_DISCOVERY=127.0.0.1")
    if(T_FIXTURES)
        set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED ${T_FIXTURES})
    endif()
endfunction()

if(TARGET quboid3d-virtual-camera)
    quboid3d_add_network_test(AravisNetworkTest SOURCES AravisNetworkTest.cpp LIBS Quboid3DCamera Threads::Threads
                              LABELS network threading)
    # Closing a lost camera takes several times its usual time under ThreadSanitizer (105 ms seen
    # on a busy host against 100 ms elsewhere).
    if(QUBOID3D_SANITIZE STREQUAL "thread")
        target_compile_definitions(AravisNetworkTest PRIVATE QUBOID3D_LOST_CLOSE_LIMIT_MS=500)
    endif()

    # Camera mode over the network through the C interface, with the real sheet-of-light library;
    # the truth of the scene comes from the fixture of the local end-to-end tests. Under
    # ThreadSanitizer the measuring thread takes each frame in several times its usual time, so the
    # camera sends at a rate it keeps up with there: frames lost on the way would make a box
    # unmeasurable, and the test fails on the loss by name.
    quboid3d_add_network_test(CameraNetworkEndToEndTest SOURCES CameraNetworkEndToEndTest.cpp
                              LIBS Quboid3DSdk Threads::Threads FIXTURES e2e_scan LABELS network threading)
    if(QUBOID3D_SANITIZE STREQUAL "thread")
        target_compile_definitions(CameraNetworkEndToEndTest PRIVATE QUBOID3D_NETWORK_CAMERA_FPS=25)
    endif()
    target_compile_definitions(CameraNetworkEndToEndTest PRIVATE
                               QUBOID3D_E2E_SCAN_DIR="${CMAKE_BINARY_DIR}/e2e-scan"
                               QUBOID3D_E2E_SCENE="${CMAKE_CURRENT_SOURCE_DIR}/Data/e2e-scene.json")
    add_dependencies(CameraNetworkEndToEndTest LaserPlaneMultCameras64)
endif()
