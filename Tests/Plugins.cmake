# Output plug-ins for the plug-in host's tests, and the tests themselves. The plug-ins are named
# without the "lib" prefix, as a site file names them, and land beside the test programs.
function(quboid3d_test_plugin name)
    add_library(${name} MODULE Plugins/TestPlugin.cpp)
    target_link_libraries(${name} PRIVATE Quboid3DPublicHeaders)
    target_compile_definitions(${name} PRIVATE ${ARGN})
    set_target_properties(${name} PROPERTIES PREFIX "")
    quboid3d_warnings(${name})
endfunction()

quboid3d_test_plugin(RecordingPlugin)
quboid3d_test_plugin(MissingProcPlugin TEST_PLUGIN_WITHOUT_PROC)
quboid3d_test_plugin(FailingInitPlugin TEST_PLUGIN_FAILING_INIT)
quboid3d_test_plugin(NullContextPlugin TEST_PLUGIN_NULL_CONTEXT)

# Plug-ins are loaded by bare name through the system's search order. Sanitizer runtimes stand
# in for the caller of dlopen, which hides the program's own run path, so the tests name the
# folder of the plug-ins in the library path.
quboid3d_add_test(OutputPluginTest SOURCES OutputPluginTest.cpp LIBS Quboid3DSdkCore LpmcStub ${CMAKE_DL_LIBS}
                  LABELS threading ENVIRONMENT "LD_LIBRARY_PATH=${CMAKE_BINARY_DIR}/bin")
add_dependencies(OutputPluginTest RecordingPlugin MissingProcPlugin FailingInitPlugin NullContextPlugin CsvOutput)
