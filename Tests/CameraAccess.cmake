# Camera access: the parameter object, the camera (connection, trigger, grabbing, frames, memory)
# and the process-wide camera manager, all on simulated cameras.
quboid3d_add_test(MvCameraParamsTest SOURCES MvCameraParamsTest.cpp LIBS Quboid3DSdkCore Quboid3DCameraSim)
# Connection events come on the camera library's event thread.
quboid3d_add_test(MvCameraTest SOURCES MvCameraTest.cpp LIBS Quboid3DSdkCore Quboid3DCameraSim Threads::Threads
                  LABELS threading)
