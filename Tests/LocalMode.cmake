# Stored images, directory listing, the calculator and the local mode of the measuring object.
quboid3d_add_test(FileFindTest SOURCES FileFindTest.cpp LIBS Quboid3DCamera)
quboid3d_add_test(LoadImageTest SOURCES LoadImageTest.cpp LIBS Quboid3DSdkCore)
