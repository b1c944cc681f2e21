# Chunk data through the Aravis backend: the test sends frames with chunks to the stream's port on
# 127.0.0.1 itself, since the virtual camera's server sends none (after CameraNetwork.cmake, whose
# quboid3d_add_network_test it uses).
if(TARGET quboid3d-virtual-camera)
    quboid3d_add_network_test(AravisChunkTest SOURCES AravisChunkTest.cpp Network/GvspSender.cpp
                              Network/SentFramesTest.cpp
                              LIBS Quboid3DCamera Threads::Threads LABELS network threading)
endif()
