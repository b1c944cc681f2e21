// The main of every test program: logs go to standard error unless the caller chose otherwise,
// and death tests re-run the program, which is safe with the threads the system starts.
#include <cstdlib>

#include <gtest/gtest.h>

#include "Environment.h"

namespace {

void setDefaultEnvironment(const char* name, const char* value) {
#if defined(_WIN32)
    if (std::getenv(name) == nullptr)
        _putenv_s(name, value);
#else
    setenv(name, value, 0);
#endif
}

} // namespace

int main(int argc, char** argv) {
    setDefaultEnvironment("OVP_LOG_FILE", "stderr");
    setDefaultEnvironment("OVP_LOG_LEVEL", "warn");
    // Real-device discovery would search every network; tests that want it name their addresses.
    setDefaultEnvironment("QUBOID3D_ARAVIS_DISCOVERY", "off");
    ::testing::InitGoogleTest(&argc, argv);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    quboid3d::test::useSystemTimeZone();
    return RUN_ALL_TESTS();
}
