# Tests of the sheet-of-light library (Lpmc/): each unit through its internal header, the whole
# pipeline on a synthetic station, the C interface of the shared library, and measurements of
# ScanSim scans against their truth.
add_library(LpmcTestSupport STATIC LpmcSupport/LpmcSynthetic.cpp)
target_include_directories(LpmcTestSupport PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/LpmcSupport)
target_link_libraries(LpmcTestSupport PUBLIC LaserPlaneMultCameras64)
quboid3d_warnings(LpmcTestSupport)

quboid3d_add_test(LpmcScannerTest SOURCES LpmcScannerTest.cpp LIBS LaserPlaneMultCameras64 LpmcTestSupport)
quboid3d_add_test(LpmcLineExtractionTest SOURCES LpmcLineExtractionTest.cpp LIBS LpmcCore LpmcTestSupport)
quboid3d_add_test(LpmcTriangulationTest SOURCES LpmcTriangulationTest.cpp LIBS LpmcCore LpmcTestSupport)
quboid3d_add_test(LpmcConfigTest SOURCES LpmcConfigTest.cpp LIBS LpmcCore)
quboid3d_add_test(LpmcGeometryTest SOURCES LpmcGeometryTest.cpp LIBS LpmcCore)
quboid3d_add_test(LpmcSegmentationTest SOURCES LpmcSegmentationTest.cpp LIBS LpmcCore LpmcTestSupport)
