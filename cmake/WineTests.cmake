# The test programs of the Windows build run under Wine, where every start of a program costs
# about a second. Instead of one CTest test per GoogleTest case, each program is one test that
# runs all of its cases; its output names any case that failed. Programs that need a facility
# only Linux has are listed in QUBOID3D_WINE_SKIPPED_TESTS (cmake/WindowsBuild.cmake) and are
# built but not run.
function(gtest_discover_tests target)
    cmake_parse_arguments(D "" "DISCOVERY_MODE;DISCOVERY_TIMEOUT;TEST_PREFIX;TEST_SUFFIX;WORKING_DIRECTORY"
                          "PROPERTIES;EXTRA_ARGS" ${ARGN})
    if(target IN_LIST QUBOID3D_WINE_SKIPPED_TESTS)
        return()
    endif()
    add_test(NAME ${target} COMMAND ${target} ${D_EXTRA_ARGS})
    # The properties the test lists pass on; empty ones are left out.
    set(kinds LABELS ENVIRONMENT FIXTURES_REQUIRED RESOURCE_LOCK TIMEOUT)
    cmake_parse_arguments(P "" "" "${kinds}" ${D_PROPERTIES})
    foreach(kind IN LISTS kinds)
        if(P_${kind})
            set_property(TEST ${target} PROPERTY ${kind} ${P_${kind}})
        endif()
    endforeach()
endfunction()
