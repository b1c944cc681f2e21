# Stored images, directory listing, the calculator and the local mode of the measuring object.
quboid3d_add_test(FileFindTest SOURCES FileFindTest.cpp LIBS Quboid3DCamera)
quboid3d_add_test(LoadImageTest SOURCES LoadImageTest.cpp LIBS Quboid3DSdkCore LpmcStub)
quboid3d_add_test(CalcQuboid3DMultiInitTest SOURCES CalcQuboid3DMultiInitTest.cpp LIBS Quboid3DSdkCore LpmcStub)
quboid3d_add_test(CalcQuboid3DMultiProcessTest SOURCES CalcQuboid3DMultiProcessTest.cpp
                  LIBS Quboid3DSdkCore LpmcStub LABELS threading)
quboid3d_add_test(VolumeResultCBWrapperTest SOURCES VolumeResultCBWrapperTest.cpp LIBS Quboid3DSdkCore LpmcStub)
quboid3d_add_test(MeasurementThreadTest SOURCES MeasurementThreadTest.cpp LIBS Quboid3DSdkCore LpmcStub
                  LABELS threading)
