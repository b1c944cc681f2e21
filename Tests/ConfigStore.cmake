# Configuration store: the JSON layer, factory data and the calibration a camera carries.
quboid3d_add_test(JsonTest SOURCES JsonTest.cpp LIBS Quboid3DSdkCore)
# The process-wide objects hold no state between cases but the calibration cache, which every
# case fills itself before it relies on it.
quboid3d_add_test(FactoryDataTest SOURCES FactoryDataTest.cpp LIBS Quboid3DSdkCore)
# Simulated cameras carry the calibration of a station that ScanSim writes.
quboid3d_add_test(ConfigManagerTest SOURCES ConfigManagerTest.cpp LIBS Quboid3DSdkCore Quboid3DCameraScanSim)
target_compile_definitions(ConfigManagerTest PRIVATE SCANSIM_SCENES_DIR="${PROJECT_SOURCE_DIR}/ScanSim/scenes")
# A measuring object in camera mode takes the calibration its camera carries; the second program's
# site file keeps the local files. An open camera gets connection events on the camera library's
# event thread.
quboid3d_add_test(CalibrationDownloadTest SOURCES CalibrationDownloadTest.cpp
                  LIBS Quboid3DSdkCore LpmcStub Quboid3DCameraSim LABELS threading)
quboid3d_add_test(CalibrationDownloadLocalTest SOURCES CalibrationDownloadTest.cpp
                  LIBS Quboid3DSdkCore LpmcStub Quboid3DCameraSim LABELS threading)
target_compile_definitions(CalibrationDownloadLocalTest PRIVATE USE_LOCAL_CALIB_DATA)
# Camera mode from an empty configuration directory: the calibration comes from a simulated AI
# camera, and the real sheet-of-light library measures a virtual station's boxes with it.
quboid3d_add_test(CameraCalibrationEndToEndTest SOURCES CameraCalibrationEndToEndTest.cpp
                  LIBS Quboid3DSdk Quboid3DCameraScanSim LABELS threading
                  ENVIRONMENT "LD_LIBRARY_PATH=${CMAKE_BINARY_DIR}/bin")
target_compile_definitions(CameraCalibrationEndToEndTest PRIVATE
                           QUBOID3D_E2E_SCENE="${CMAKE_CURRENT_SOURCE_DIR}/Data/e2e-scene.json")
add_dependencies(CameraCalibrationEndToEndTest LaserPlaneMultCameras64)
