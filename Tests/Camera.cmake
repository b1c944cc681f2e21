# The camera library: discovery and backends, features, memory, streams, connection events, and
# the simulated cameras' frame generators.
quboid3d_add_test(CameraDiscoveryTest SOURCES CameraDiscoveryTest.cpp LIBS Quboid3DCameraSim)
quboid3d_add_test(CameraFeatureTest SOURCES CameraFeatureTest.cpp LIBS Quboid3DCameraSim)
quboid3d_add_test(CameraMemoryTest SOURCES CameraMemoryTest.cpp LIBS Quboid3DCameraSim)
# Streams wake fetches from other threads and pace frames on their own; events come on the
# library's event thread.
quboid3d_add_test(CameraStreamTest SOURCES CameraStreamTest.cpp LIBS Quboid3DCameraSim Threads::Threads
                  LABELS threading)
quboid3d_add_test(CameraEventTest SOURCES CameraEventTest.cpp LIBS Quboid3DCameraSim Threads::Threads
                  LABELS threading)
quboid3d_add_test(CameraScanSimTest SOURCES CameraScanSimTest.cpp LIBS Quboid3DCameraScanSim)
# The pacing schedule of simulated cameras, an internal unit compiled into the test itself.
quboid3d_add_test(FramePacerTest SOURCES FramePacerTest.cpp ${PROJECT_SOURCE_DIR}/Camera/Backends/Sim/Src/FramePacer.cpp)
target_include_directories(FramePacerTest PRIVATE ${PROJECT_SOURCE_DIR}/Camera/Backends/Sim/Src)
# How the Aravis backend numbers frames from the device's ids; pure, so it runs on every platform.
quboid3d_add_test(FrameNumberingTest SOURCES FrameNumberingTest.cpp
                  ${PROJECT_SOURCE_DIR}/Camera/Backends/Aravis/Src/FrameNumbering.cpp)
target_include_directories(FrameNumberingTest PRIVATE ${PROJECT_SOURCE_DIR}/Camera/Backends/Aravis/Src)
