# Cross-builds for Windows x64 from Debian with MinGW-w64. The posix-thread variant of the
# compiler is the one whose C++ library has std::thread and std::mutex.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(QUBOID3D_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${QUBOID3D_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${QUBOID3D_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${QUBOID3D_MINGW_PREFIX}-windres)
set(CMAKE_OBJDUMP ${QUBOID3D_MINGW_PREFIX}-objdump)

set(CMAKE_FIND_ROOT_PATH /usr/${QUBOID3D_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Test programs run under Wine; the script keeps Wine's prefix inside the build tree.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/Windows/wine-run.sh)
