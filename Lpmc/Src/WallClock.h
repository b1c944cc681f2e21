// The wall clock: milliseconds since 1970, and their local-time form in the 8 x u16 layout of
// LpmcBox (year, month, day of week, day, hour, minute, second, millisecond).
#pragma once

#include <cstdint>

namespace lpmc {

int64_t wallClockNowMs();
void toLocalSysTime(int64_t msSinceEpoch, uint16_t out[8]);

} // namespace lpmc
