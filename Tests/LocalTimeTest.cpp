// Local calendar time to seconds since the epoch, in a zone with daylight saving (the program
// runs with TZ=Europe/Berlin), against the C library's own conversions, and from many threads.
#include "LocalTime.h"

#include <atomic>
#include <ctime>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "LocalCalendar.h"

namespace quboid3d::test {
namespace {

using Orvia::VisionSystem::localTimeToEpochSeconds;

// Calendar fields as a caller fills them: nothing but the date and the time of day.
std::tm fieldsOnly(int year, int month, int day, int hour, int minute, int second) {
    std::tm calendar{};
    calendar.tm_year = year - 1900;
    calendar.tm_mon = month - 1;
    calendar.tm_mday = day;
    calendar.tm_hour = hour;
    calendar.tm_min = minute;
    calendar.tm_sec = second;
    calendar.tm_isdst = -1;
    return calendar;
}

std::int64_t platformMktime(std::tm calendar) {
    calendar.tm_isdst = -1;
    return static_cast<std::int64_t>(std::mktime(&calendar));
}

TEST(LocalTimeTest, TheZoneOfThisProgramHasDaylightSaving) {
    // 2024-01-15 and 2024-07-15 at noon UTC.
    EXPECT_EQ(utcOffsetAt(1705320000), 3600);
    EXPECT_EQ(utcOffsetAt(1721044800), 7200);
}

// Every 37 minutes over two years, both clock changes included: the local calendar of an
// instant converts back to that instant, as mktime converts it. In the hour that the autumn
// change repeats, either reading of the calendar is right.
TEST(LocalTimeTest, AgreesWithTheCLibraryOverTwoYears) {
    const std::int64_t start = 1672531200; // 2023-01-01 00:00 UTC
    const std::int64_t end = start + 2LL * 366 * 24 * 3600;
    int repeatedHour = 0;
    for (std::int64_t t = start; t < end; t += 37 * 60 + 11) {
        const std::tm local = localCalendarOf(t);
        const std::int64_t converted = localTimeToEpochSeconds(local);
        const std::int64_t byMktime = platformMktime(local);
        if (converted != t) {
            ++repeatedHour;
            EXPECT_EQ(std::llabs(converted - t), 3600) << "at " << t;
            EXPECT_EQ(local.tm_hour, 2) << "only the repeated hour may differ, at " << t;
        }
        if (byMktime == t)
            continue;
        EXPECT_EQ(std::llabs(byMktime - t), 3600) << "at " << t;
    }
    EXPECT_LT(repeatedHour, 8);
}

TEST(LocalTimeTest, ReadsTheFieldsOfAStampAsACallerGivesThem) {
    // Winter and summer: one and two hours ahead of UTC.
    EXPECT_EQ(localTimeToEpochSeconds(fieldsOnly(2024, 1, 15, 13, 0, 0)), 1705320000);
    EXPECT_EQ(localTimeToEpochSeconds(fieldsOnly(2024, 7, 15, 14, 0, 0)), 1721044800);
    EXPECT_EQ(localTimeToEpochSeconds(fieldsOnly(2024, 2, 29, 23, 59, 59)),
              platformMktime(fieldsOnly(2024, 2, 29, 23, 59, 59)));
    EXPECT_EQ(localTimeToEpochSeconds(fieldsOnly(1970, 1, 1, 1, 0, 0)), 0);
}

TEST(LocalTimeTest, FieldsOutOfRangeCarryOverAsInMktime) {
    const std::tm overflowing = fieldsOnly(2024, 13, 32, 25, 61, 61); // 2025-02-02 02:02:01
    EXPECT_EQ(localTimeToEpochSeconds(overflowing), platformMktime(fieldsOnly(2025, 2, 2, 2, 2, 1)));
    const std::tm zeroes = fieldsOnly(2024, 0, 0, 0, 0, 0); // the day before 2023-12-01
    EXPECT_EQ(localTimeToEpochSeconds(zeroes), platformMktime(fieldsOnly(2023, 11, 30, 0, 0, 0)));
}

TEST(LocalTimeTest, HourSkippedInSpringLandsWithinAnHourOfMktime) {
    const std::tm skipped = fieldsOnly(2024, 3, 31, 2, 30, 0);
    EXPECT_LE(std::llabs(localTimeToEpochSeconds(skipped) - platformMktime(skipped)), 3600);
}

// Measurement threads convert the stamps of their boxes at the same time.
TEST(LocalTimeTest, ManyThreadsConvertAtOnceAndAgree) {
    Orvia::VisionSystem::prepareLocalTime();
    std::vector<std::tm> calendars;
    std::vector<std::int64_t> expected;
    for (std::int64_t t = 1700000000; calendars.size() < 500; t += 86399) {
        calendars.push_back(localCalendarOf(t));
        expected.push_back(localTimeToEpochSeconds(calendars.back()));
    }
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int k = 0; k < 4; ++k)
        threads.emplace_back([&] {
            for (int round = 0; round < 10; ++round)
                for (std::size_t i = 0; i < calendars.size(); ++i)
                    if (localTimeToEpochSeconds(calendars[i]) != expected[i])
                        ++mismatches;
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
}

} // namespace
} // namespace quboid3d::test
