# Camera access: the parameter object, the camera (connection, trigger, grabbing, frames, memory)
# and the process-wide camera manager, all on simulated cameras.
quboid3d_add_test(MvCameraParamsTest SOURCES MvCameraParamsTest.cpp LIBS Quboid3DSdkCore Quboid3DCameraSim)
# Connection events come on the camera library's event thread.
quboid3d_add_test(MvCameraTest SOURCES MvCameraTest.cpp LIBS Quboid3DSdkCore Quboid3DCameraSim Threads::Threads
                  LABELS threading)
# Several threads call the manager at once; connection events come on the library's event thread.
# The cases with site patterns run in child processes (death tests, left to the AddressSanitizer run).
quboid3d_add_test(CameraManagerTest SOURCES CameraManagerTest.cpp LIBS Quboid3DSdkCore Quboid3DCameraSim Threads::Threads
                  LABELS threading)
# Frames lost on the way, told from their numbers.
quboid3d_add_test(FrameLossTrackerTest SOURCES FrameLossTrackerTest.cpp LIBS Quboid3DSdkCore LpmcStub)
# The camera form of the calculator's process, on simulated cameras and the scripted library.
quboid3d_add_test(CameraIntakeTest SOURCES CameraIntakeTest.cpp LIBS Quboid3DSdkCore LpmcStub Quboid3DCameraSim
                  Threads::Threads)
quboid3d_add_test(CameraIntakeAllocationTest SOURCES CameraIntakeAllocationTest.cpp Support/AllocationCounter.cpp
                  LIBS Quboid3DSdkCore LpmcStub Quboid3DCameraSim Threads::Threads)
# A measuring object in camera mode: loss and reconnection with a short timeout, and (a second
# program, from the same source) with reconnection switched off.
quboid3d_add_test(CameraModeTest SOURCES CameraModeTest.cpp LIBS Quboid3DSdkCore LpmcStub Quboid3DCameraSim
                  Threads::Threads LABELS threading)
quboid3d_add_test(CameraModeReconnectOffTest SOURCES CameraModeTest.cpp
                  LIBS Quboid3DSdkCore LpmcStub Quboid3DCameraSim Threads::Threads LABELS threading)
target_compile_definitions(CameraModeReconnectOffTest PRIVATE CAMERA_RECONNECT_OFF)
