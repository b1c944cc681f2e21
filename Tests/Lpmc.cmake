# Tests of the sheet-of-light library (Lpmc/): each unit through its internal header, the whole
# pipeline on boxes rendered by ScanSim, the C interface of the shared library, and measurements
# of ScanSim scans against their truth. LpmcTestSupport comes from Tests/LpmcSupport/.

quboid3d_add_test(LpmcScannerTest SOURCES LpmcScannerTest.cpp LIBS LaserPlaneMultCameras64 LpmcTestSupport)
quboid3d_add_test(LpmcLostFramesTest SOURCES LpmcLostFramesTest.cpp LIBS LaserPlaneMultCameras64 LpmcTestSupport)
quboid3d_add_test(LpmcLineExtractionTest SOURCES LpmcLineExtractionTest.cpp LIBS LpmcCore LpmcTestSupport)
quboid3d_add_test(LpmcTriangulationTest SOURCES LpmcTriangulationTest.cpp LIBS LpmcCore LpmcTestSupport)
quboid3d_add_test(LpmcConfigTest SOURCES LpmcConfigTest.cpp LIBS LpmcCore)
quboid3d_add_test(LpmcGeometryTest SOURCES LpmcGeometryTest.cpp LIBS LpmcCore)
quboid3d_add_test(LpmcSegmentationTest SOURCES LpmcSegmentationTest.cpp LIBS LpmcCore LpmcTestSupport)
quboid3d_add_test(LpmcApiTest SOURCES LpmcApiTest.cpp LIBS LpmcTestSupport Threads::Threads LABELS threading)

# A C99 program that includes the header and calls the five functions, as a C caller would.
add_executable(LpmcFromC LpmcFromC.c)
set_target_properties(LpmcFromC PROPERTIES C_STANDARD 99 C_EXTENSIONS OFF)
target_link_libraries(LpmcFromC PRIVATE LaserPlaneMultCameras64)
quboid3d_warnings(LpmcFromC)
add_test(NAME LpmcFromC COMMAND LpmcFromC)
set_tests_properties(LpmcFromC PROPERTIES LABELS unit)

# The shared library exports the five lpmc functions and nothing else.
if(NOT WIN32 AND NOT APPLE)
    add_test(NAME LpmcExportsOnlyTheFiveFunctions
             COMMAND ${CMAKE_COMMAND} -DLIBRARY=$<TARGET_FILE:LaserPlaneMultCameras64> -DEXPECTED_COUNT=5
                     "-DPATTERN=^lpmc(Create|GetConfig|SetConfig|Process|Release)$"
                     -P ${CMAKE_CURRENT_SOURCE_DIR}/CheckExports.cmake)
    set_tests_properties(LpmcExportsOnlyTheFiveFunctions PROPERTIES LABELS unit)
endif()
if(WIN32)
    add_test(NAME LpmcExportsOnlyTheFiveFunctions
             COMMAND ${CMAKE_COMMAND} -DLIBRARY=$<TARGET_FILE:LaserPlaneMultCameras64> -DOBJDUMP=${CMAKE_OBJDUMP}
                     -DEXPECTED_COUNT=5 "-DPATTERN=^lpmc(Create|GetConfig|SetConfig|Process|Release)$"
                     -P ${CMAKE_CURRENT_SOURCE_DIR}/CheckExports.cmake)
    set_tests_properties(LpmcExportsOnlyTheFiveFunctions PROPERTIES LABELS unit)
endif()

# ScanSim scans against their truth, through the shared library.
quboid3d_add_test(LpmcScanSimTest SOURCES LpmcScanSimTest.cpp LIBS LpmcTestSupport)
target_compile_definitions(LpmcScanSimTest PRIVATE QUBOID3D_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
quboid3d_add_test(LpmcAllocationTest SOURCES LpmcAllocationTest.cpp Support/AllocationCounter.cpp LIBS LpmcTestSupport)

# The cases of a real belt: truncated, hidden, too tall, close together, saturated with a ghost,
# coarse profile spacing.
quboid3d_add_test(LpmcBeltCasesTest SOURCES LpmcBeltCasesTest.cpp LIBS LpmcTestSupport LpmcCore)

# The box fitter on runs written straight into the frame store.
quboid3d_add_test(LpmcBoxFitTest SOURCES LpmcBoxFitTest.cpp LIBS LpmcCore)
