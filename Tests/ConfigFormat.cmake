# The shared names and keys of the configuration directory and the one key-value writer.
quboid3d_add_test(KeyValueWriterTest SOURCES KeyValueWriterTest.cpp LIBS ConfigFormat)
