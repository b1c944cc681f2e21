# The sheet-of-light library: lpmcProcess speed on 2560 x 256 frames beside memcpy, accuracy over
# a matrix of ScanSim scenes, and sub-pixel line-centre error per extraction method.
if(NOT TARGET LpmcTestSupport)
    add_library(LpmcTestSupport STATIC ${PROJECT_SOURCE_DIR}/Tests/LpmcSupport/LpmcSynthetic.cpp)
    target_include_directories(LpmcTestSupport PUBLIC ${PROJECT_SOURCE_DIR}/Tests/LpmcSupport)
    target_link_libraries(LpmcTestSupport PUBLIC LaserPlaneMultCameras64)
    quboid3d_warnings(LpmcTestSupport)
endif()
if(NOT TARGET LpmcScanSimSupport)
    add_library(LpmcScanSimSupport STATIC ${PROJECT_SOURCE_DIR}/Tests/LpmcSupport/LpmcScanSim.cpp)
    target_include_directories(LpmcScanSimSupport PUBLIC ${PROJECT_SOURCE_DIR}/Tests/LpmcSupport)
    target_link_libraries(LpmcScanSimSupport PUBLIC LaserPlaneMultCameras64 ScanSim)
    quboid3d_warnings(LpmcScanSimSupport)
endif()

add_executable(LpmcSpeedBench LpmcSpeedBench.cpp)
target_link_libraries(LpmcSpeedBench PRIVATE LpmcTestSupport benchmark::benchmark)
quboid3d_warnings(LpmcSpeedBench)

add_executable(LpmcAccuracyBench LpmcAccuracyBench.cpp LpmcMatrix.cpp)
target_link_libraries(LpmcAccuracyBench PRIVATE LpmcScanSimSupport)
target_compile_definitions(LpmcAccuracyBench PRIVATE QUBOID3D_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
quboid3d_warnings(LpmcAccuracyBench)

add_executable(LpmcLineCentreBench LpmcLineCentreBench.cpp)
target_link_libraries(LpmcLineCentreBench PRIVATE LpmcCore LpmcTestSupport)
quboid3d_warnings(LpmcLineCentreBench)
