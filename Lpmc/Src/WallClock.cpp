#include "WallClock.h"

#include <chrono>
#include <ctime>

namespace lpmc {

int64_t wallClockNowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

void toLocalSysTime(int64_t ms, uint16_t out[8]) {
    int64_t seconds = ms / 1000;
    int64_t milli = ms % 1000;
    if (milli < 0) {
        milli += 1000;
        --seconds;
    }
    const std::time_t t = static_cast<std::time_t>(seconds);
    std::tm local{};
#if defined(_WIN32)
    localtime_s(&local, &t);
#else
    localtime_r(&t, &local);
#endif
    out[0] = static_cast<uint16_t>(local.tm_year + 1900);
    out[1] = static_cast<uint16_t>(local.tm_mon + 1);
    out[2] = static_cast<uint16_t>(local.tm_wday);
    out[3] = static_cast<uint16_t>(local.tm_mday);
    out[4] = static_cast<uint16_t>(local.tm_hour);
    out[5] = static_cast<uint16_t>(local.tm_min);
    out[6] = static_cast<uint16_t>(local.tm_sec);
    out[7] = static_cast<uint16_t>(milli);
}

} // namespace lpmc
