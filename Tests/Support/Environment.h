// Environment variables of the test process, set and removed the same way on every platform.
#pragma once

namespace quboid3d::test {

// Sets `name` to `value`; an existing value stays unless `overwrite` is true.
void setEnvironment(const char* name, const char* value, bool overwrite = true);
void unsetEnvironment(const char* name);

// Lets the C runtime take the time zone as the platform's own programs do. On Windows that is
// the system's zone: a TZ variable in the Unix form ("Europe/Berlin"), which sets the system's
// zone of a Wine run, means nothing to the C runtime and is taken out of its view.
void useSystemTimeZone();

} // namespace quboid3d::test
