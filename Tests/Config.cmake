# Configuration store: the key-value parser and the site settings.
quboid3d_add_test(KeyValueCfgParserTest SOURCES KeyValueCfgParserTest.cpp LIBS Quboid3DInternalHeaders)
# Each case builds the process-wide settings in a child process of its own.
quboid3d_add_test(AdvancedConfigTest SOURCES AdvancedConfigTest.cpp LIBS Quboid3DSdkCore)
