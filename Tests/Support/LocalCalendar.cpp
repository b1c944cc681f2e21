#include "LocalCalendar.h"

namespace quboid3d::test {

#if defined(_WIN32)
std::tm localCalendarOf(std::int64_t t) {
    const auto instant = static_cast<__time64_t>(t);
    std::tm local{};
    _localtime64_s(&local, &instant);
    return local;
}
std::int64_t utcOffsetAt(std::int64_t t) {
    std::tm local = localCalendarOf(t);
    return static_cast<std::int64_t>(_mkgmtime64(&local)) - t;
}
#else
std::tm localCalendarOf(std::int64_t t) {
    const auto instant = static_cast<std::time_t>(t);
    std::tm local{};
    localtime_r(&instant, &local);
    return local;
}
std::int64_t utcOffsetAt(std::int64_t t) {
    return localCalendarOf(t).tm_gmtoff;
}
#endif

} // namespace quboid3d::test
