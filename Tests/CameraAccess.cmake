# Camera access: the parameter object, the camera (connection, trigger, grabbing, frames, memory)
# and the process-wide camera manager, all on simulated cameras.
quboid3d_add_test(MvCameraParamsTest SOURCES MvCameraParamsTest.cpp LIBS Quboid3DSdkCore Quboid3DCameraSim)
