# End-to-end tests of the whole system in local mode. The fixture renders one small scan with the
# virtual station; the tests measure it through the C interface with the real sheet-of-light
# library and the CSV plug-in.
set(QUBOID3D_E2E_SCAN ${CMAKE_BINARY_DIR}/e2e-scan)
add_test(NAME RenderEndToEndScan
         COMMAND quboid3d-scan-synth --scene ${CMAKE_CURRENT_SOURCE_DIR}/Data/e2e-scene.json
                 --out ${QUBOID3D_E2E_SCAN} --format bmp --quiet)
set_tests_properties(RenderEndToEndScan PROPERTIES FIXTURES_SETUP e2e_scan LABELS unit)

quboid3d_add_test(EndToEndLocalTest SOURCES EndToEndLocalTest.cpp LIBS Quboid3DSdk
                  LABELS threading FIXTURES e2e_scan ENVIRONMENT "LD_LIBRARY_PATH=${CMAKE_BINARY_DIR}/bin")
target_compile_definitions(EndToEndLocalTest PRIVATE QUBOID3D_E2E_SCAN_DIR="${QUBOID3D_E2E_SCAN}")
add_dependencies(EndToEndLocalTest CsvOutput LaserPlaneMultCameras64 quboid3d-scan-synth)

# The same scene served by a simulated laser camera plugged into the test process, measured in
# camera mode; then the camera is pulled.
quboid3d_add_test(EndToEndCameraTest SOURCES EndToEndCameraTest.cpp LIBS Quboid3DSdk Quboid3DCameraScanSim
                  LABELS threading FIXTURES e2e_scan ENVIRONMENT "LD_LIBRARY_PATH=${CMAKE_BINARY_DIR}/bin")
target_compile_definitions(EndToEndCameraTest PRIVATE QUBOID3D_E2E_SCAN_DIR="${QUBOID3D_E2E_SCAN}"
                           QUBOID3D_E2E_SCENE="${CMAKE_CURRENT_SOURCE_DIR}/Data/e2e-scene.json")
add_dependencies(EndToEndCameraTest LaserPlaneMultCameras64 quboid3d-scan-synth)

# The same with reconnection off in the program's site file.
quboid3d_add_test(EndToEndCameraReconnectOffTest SOURCES EndToEndCameraTest.cpp
                  LIBS Quboid3DSdk Quboid3DCameraScanSim
                  LABELS threading FIXTURES e2e_scan ENVIRONMENT "LD_LIBRARY_PATH=${CMAKE_BINARY_DIR}/bin")
target_compile_definitions(EndToEndCameraReconnectOffTest PRIVATE QUBOID3D_E2E_RECONNECT_OFF
                           QUBOID3D_E2E_SCAN_DIR="${QUBOID3D_E2E_SCAN}"
                           QUBOID3D_E2E_SCENE="${CMAKE_CURRENT_SOURCE_DIR}/Data/e2e-scene.json")
add_dependencies(EndToEndCameraReconnectOffTest LaserPlaneMultCameras64 quboid3d-scan-synth)
