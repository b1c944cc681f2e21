#include "LocalTime.h"

#include <mutex>

namespace Orvia::VisionSystem {

#if defined(_WIN32)

// The C runtime of Windows converts under its own lock and keeps the time zone it read.
std::int64_t localTimeToEpochSeconds(const std::tm& local) {
    std::tm calendar = local;
    calendar.tm_isdst = -1;
    return static_cast<std::int64_t>(_mktime64(&calendar));
}

void prepareLocalTime() {}

#else

namespace {

// Days from 1970-01-01 to the given civil date of the proleptic Gregorian calendar; months
// and days out of their range carry over as they do for mktime.
std::int64_t daysFromCivil(std::int64_t year, std::int64_t month, std::int64_t day) {
    year += (month >= 0 ? month : month - 11) / 12;
    month = ((month % 12) + 12) % 12; // 0 = January
    const std::int64_t y = month < 2 ? year - 1 : year;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const std::int64_t yearOfEra = y - era * 400;
    const std::int64_t shiftedMonth = (month + 10) % 12; // 0 = March
    const std::int64_t dayOfYear = (153 * shiftedMonth + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

// The offset of local time from UTC at instant `t`, in seconds.
std::int64_t utcOffsetAt(std::int64_t t) {
    const auto instant = static_cast<std::time_t>(t);
    std::tm local{};
    if (localtime_r(&instant, &local) == nullptr)
        return 0;
    return local.tm_gmtoff;
}

// mktime re-reads the time zone on every call (freeing and copying its name), and two threads
// doing that at once write the C library's time zone state concurrently. localtime_r reads the
// state that tzset set up and only initialises it when no one has: reading it once, before any
// conversion, leaves it read-only afterwards.
std::once_flag timeZoneRead;

} // namespace

void prepareLocalTime() {
    std::call_once(timeZoneRead, [] { tzset(); });
}

std::int64_t localTimeToEpochSeconds(const std::tm& local) {
    prepareLocalTime();
    const std::int64_t asUtc =
        (daysFromCivil(local.tm_year + 1900LL, local.tm_mon, local.tm_mday) * 24 + local.tm_hour) * 3600LL +
        local.tm_min * 60LL + local.tm_sec;
    // The offset depends on the instant it is asked for; asking again at the corrected instant
    // settles it on either side of a clock change.
    std::int64_t guess = asUtc - utcOffsetAt(asUtc);
    guess = asUtc - utcOffsetAt(guess);
    return guess;
}

#endif

} // namespace Orvia::VisionSystem
