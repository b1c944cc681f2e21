# Tools and plug-ins build against the public headers only. Each probe below includes a public
# header and then an internal one, with exactly the usage requirements a tool or a plug-in gets;
# the test builds it and passes only when the compiler cannot find the internal header.
add_executable(ToolReachesInternalHeader EXCLUDE_FROM_ALL HeaderProbes/ToolReachesInternalHeader.cpp)
target_link_libraries(ToolReachesInternalHeader PRIVATE Quboid3DSdk)

add_library(PluginReachesInternalHeader MODULE EXCLUDE_FROM_ALL HeaderProbes/PluginReachesInternalHeader.cpp)
target_link_libraries(PluginReachesInternalHeader PRIVATE Quboid3DPublicHeaders)

foreach(probe IN ITEMS ToolReachesInternalHeader PluginReachesInternalHeader)
    add_test(NAME ${probe}FailsToBuild
             COMMAND ${CMAKE_COMMAND} --build ${CMAKE_BINARY_DIR} --target ${probe})
    set_tests_properties(${probe}FailsToBuild PROPERTIES
        LABELS unit
        RESOURCE_LOCK build-tree
        PASS_REGULAR_EXPRESSION "(KeyValueCfgParser|CalcQuboid3DMgr)\\.h.*(No such file|not found)")
endforeach()
