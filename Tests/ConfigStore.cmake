# Configuration store: the JSON layer, factory data and the calibration a camera carries.
quboid3d_add_test(JsonTest SOURCES JsonTest.cpp LIBS Quboid3DSdkCore)
# The process-wide objects hold no state between cases but the calibration cache, which every
# case fills itself before it relies on it.
quboid3d_add_test(FactoryDataTest SOURCES FactoryDataTest.cpp LIBS Quboid3DSdkCore)
# Simulated cameras carry the calibration of a station that ScanSim writes.
quboid3d_add_test(ConfigManagerTest SOURCES ConfigManagerTest.cpp LIBS Quboid3DSdkCore Quboid3DCameraSim ScanSim)
target_compile_definitions(ConfigManagerTest PRIVATE SCANSIM_SCENES_DIR="${PROJECT_SOURCE_DIR}/ScanSim/scenes")
# A measuring object in camera mode takes the calibration its camera carries; the second program's
# site file keeps the local files.
quboid3d_add_test(CalibrationDownloadTest SOURCES CalibrationDownloadTest.cpp
                  LIBS Quboid3DSdkCore LpmcStub Quboid3DCameraSim)
quboid3d_add_test(CalibrationDownloadLocalTest SOURCES CalibrationDownloadTest.cpp
                  LIBS Quboid3DSdkCore LpmcStub Quboid3DCameraSim)
target_compile_definitions(CalibrationDownloadLocalTest PRIVATE USE_LOCAL_CALIB_DATA)
