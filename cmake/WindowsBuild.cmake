# The Windows build. Its DLLs carry the names an application loads, without the "lib" prefix
# of MinGW's convention.
set(CMAKE_SHARED_LIBRARY_PREFIX "")
set(CMAKE_IMPORT_LIBRARY_PREFIX "")

# The third-party code of the Windows build, from the same Debian packages as the Linux build:
# spdlog over fmt and RapidJSON header-only, stb compiled here, GoogleTest from its sources.
# Debian keeps these headers in /usr/include beside the Linux C library's, which a MinGW build
# must never see, so each header folder is linked into a folder of its own in the build tree.

set(QUBOID3D_WINDOWS_DEPS_INCLUDE ${CMAKE_BINARY_DIR}/deps/include)
file(MAKE_DIRECTORY ${QUBOID3D_WINDOWS_DEPS_INCLUDE})
foreach(dir IN ITEMS spdlog fmt rapidjson)
    if(NOT IS_DIRECTORY /usr/include/${dir})
        message(FATAL_ERROR "/usr/include/${dir} is missing: run scripts/install-deps.sh")
    endif()
    file(CREATE_LINK /usr/include/${dir} ${QUBOID3D_WINDOWS_DEPS_INCLUDE}/${dir} SYMBOLIC)
endforeach()
include_directories(SYSTEM ${QUBOID3D_WINDOWS_DEPS_INCLUDE})

add_library(spdlog::spdlog INTERFACE IMPORTED)
target_compile_definitions(spdlog::spdlog INTERFACE SPDLOG_FMT_EXTERNAL FMT_HEADER_ONLY)

# stb: Debian ships the headers only for other targets; its implementations are compiled once.
add_library(QuboidStb STATIC ${CMAKE_CURRENT_LIST_DIR}/Windows/StbImplementation.c)
target_include_directories(QuboidStb SYSTEM PUBLIC /usr/include/stb)
target_compile_options(QuboidStb PRIVATE -w)
add_library(PkgConfig::STB ALIAS QuboidStb)

# The C++ runtime DLLs of the compiler go beside the programs, as they go beside them on a
# Windows machine.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libstdc++-6.dll
                OUTPUT_VARIABLE stdcxxDll OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libgcc_s_seh-1.dll
                OUTPUT_VARIABLE gccDll OUTPUT_STRIP_TRAILING_WHITESPACE)
find_file(QUBOID3D_WINPTHREAD_DLL libwinpthread-1.dll PATHS /usr/${QUBOID3D_MINGW_PREFIX}/lib NO_DEFAULT_PATH)
set(QUBOID3D_RUNTIME_DLLS ${stdcxxDll} ${gccDll} ${QUBOID3D_WINPTHREAD_DLL})
foreach(dll IN LISTS QUBOID3D_RUNTIME_DLLS)
    if(NOT EXISTS "${dll}")
        message(FATAL_ERROR "MinGW runtime DLL not found: ${dll}")
    endif()
    file(COPY ${dll} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
endforeach()

if(QUBOID3D_BUILD_TESTS)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endif()

message(STATUS "Windows build: the Aravis camera backend is left out (Linux only)")

# Test programs built but not run under Wine, each for a facility only Linux has (README).
# LpmcAllocationTest counts every allocation of the process by replacing operator new in the
# program; only ELF symbol interposition makes a shared library use that replacement, while a
# Windows DLL keeps the C++ runtime's own.
set(QUBOID3D_WINE_SKIPPED_TESTS LpmcAllocationTest)
