#include "SystemClock.h"

#include <atomic>
#include <chrono>
#include <ratio>

namespace Orvia::VisionSystem {
namespace {

// The standard clock is the system clock on both platforms (on Windows it reads the same time as
// GetSystemTimePreciseAsFileTime, from another epoch).
std::int64_t computerClockTicks() {
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10000000>>;
    return std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::atomic<ClockTicksSource> clockSource{&computerClockTicks};

} // namespace

std::int64_t systemClockTicks() {
    return clockSource.load()();
}

void setSystemClockSource(ClockTicksSource source) {
    clockSource.store(source != nullptr ? source : &computerClockTicks);
}

} // namespace Orvia::VisionSystem
