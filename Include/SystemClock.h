// The computer's wall clock in 100 ns ticks since 1970. The measuring object times a camera
// outage on it, so a change of the clock moves the deadline. It is read in one place so that a
// test can stand in a clock of its own and set it as an operator would set the computer's clock.
#pragma once

#include <cstdint>

namespace Orvia::VisionSystem {

using ClockTicksSource = std::int64_t (*)();

std::int64_t systemClockTicks();
// Replaces the clock for the whole process; null puts the computer's clock back. Thread-safe.
void setSystemClockSource(ClockTicksSource source);

} // namespace Orvia::VisionSystem
