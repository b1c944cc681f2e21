// Local calendar time to seconds since the epoch, the platform's way.
#pragma once

#include <cstdint>
#include <ctime>

namespace Orvia::VisionSystem {

// Reads the calendar fields of `local` (year, month, day, hour, minute, second; the day of week
// and day of year are ignored) as local time and returns seconds since the epoch. Whether
// daylight saving applies is worked out by the platform, as for a calendar time whose
// daylight-saving flag is unset. Safe on any number of threads at once: the time zone is read
// once per process, on the first call, and never reset by a conversion.
std::int64_t localTimeToEpochSeconds(const std::tm& local);

// Reads the time zone now if no conversion has yet. Called before a measurement thread starts,
// so that the threads only ever read the C library's time zone state.
void prepareLocalTime();

} // namespace Orvia::VisionSystem
