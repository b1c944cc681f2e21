# Frames that reach the Aravis backend unfinished or behind a newer one: the test sends them to the
# stream's port on 127.0.0.1 itself, with packets left out (after CameraNetwork.cmake, whose
# quboid3d_add_network_test it uses).
if(TARGET quboid3d-virtual-camera)
    quboid3d_add_network_test(AravisLateFrameTest SOURCES AravisLateFrameTest.cpp Network/GvspSender.cpp
                              Network/SentFramesTest.cpp
                              LIBS Quboid3DCamera Threads::Threads LABELS network threading)
endif()
