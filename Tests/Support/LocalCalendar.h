// The C library's own view of local time, for checking the system's conversions against it.
#pragma once

#include <cstdint>
#include <ctime>

namespace quboid3d::test {

// The local calendar fields of an instant (seconds since the epoch).
std::tm localCalendarOf(std::int64_t t);

// How far local time is ahead of UTC at an instant, in seconds.
std::int64_t utcOffsetAt(std::int64_t t);

} // namespace quboid3d::test
