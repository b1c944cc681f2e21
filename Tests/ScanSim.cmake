# The virtual station: geometry, rendering, truth and the scan directory it writes.
quboid3d_add_test(ScanSimGeometryTest SOURCES ScanSimGeometryTest.cpp LIBS ScanSim)
quboid3d_add_test(ScanSimRenderTest SOURCES ScanSimRenderTest.cpp LIBS ScanSim)
# The scan writer renders on worker threads.
quboid3d_add_test(ScanSimWriterTest SOURCES ScanSimWriterTest.cpp LIBS ScanSim PkgConfig::STB LABELS threading)
target_link_libraries(ScanSimWriterTest PRIVATE Quboid3DInternalHeaders)
target_compile_definitions(ScanSimWriterTest PRIVATE SCANSIM_SCENES_DIR="${PROJECT_SOURCE_DIR}/ScanSim/scenes")
