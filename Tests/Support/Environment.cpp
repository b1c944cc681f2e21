#include "Environment.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

namespace quboid3d::test {

#if defined(_WIN32)
void setEnvironment(const char* name, const char* value, bool overwrite) {
    if (overwrite || std::getenv(name) == nullptr)
        _putenv_s(name, value);
}
void unsetEnvironment(const char* name) {
    // An empty value removes the variable from the C runtime's environment.
    _putenv_s(name, "");
}
void useSystemTimeZone() {
    const char* zone = std::getenv("TZ");
    if (zone == nullptr || std::strchr(zone, '/') == nullptr)
        return;
    unsetEnvironment("TZ");
    _tzset();
}
#else
void setEnvironment(const char* name, const char* value, bool overwrite) {
    ::setenv(name, value, overwrite ? 1 : 0);
}
void unsetEnvironment(const char* name) {
    ::unsetenv(name);
}
void useSystemTimeZone() {}
#endif

} // namespace quboid3d::test
