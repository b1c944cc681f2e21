# The sheet-of-light library: lpmcProcess speed on 2560 x 256 frames beside memcpy, accuracy over
# a matrix of ScanSim scenes, and sub-pixel line-centre error per extraction method.
add_executable(LpmcSpeedBench LpmcSpeedBench.cpp)
target_link_libraries(LpmcSpeedBench PRIVATE LpmcTestSupport benchmark::benchmark)
quboid3d_warnings(LpmcSpeedBench)

add_executable(LpmcAccuracyBench LpmcAccuracyBench.cpp LpmcMatrix.cpp)
target_link_libraries(LpmcAccuracyBench PRIVATE LpmcTestSupport)
target_compile_definitions(LpmcAccuracyBench PRIVATE QUBOID3D_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
quboid3d_warnings(LpmcAccuracyBench)

add_executable(LpmcLineCentreBench LpmcLineCentreBench.cpp)
target_link_libraries(LpmcLineCentreBench PRIVATE LpmcCore LpmcTestSupport)
quboid3d_warnings(LpmcLineCentreBench)
