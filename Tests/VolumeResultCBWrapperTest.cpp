#include "VolumeResultCBWrapper.h"

#include <cmath>
#include <cstring>
#include <ctime>

#include <gtest/gtest.h>

#include "LogCapture.h"
#include "Lpmc.h"

namespace quboid3d::test {
namespace {

using Orvia::VisionSystem::BoxDims;
using Orvia::VisionSystem::CVolumeResultCBWrapper;

constexpr const char* kWrapperFn = "CVolumeResultCBWrapper::onVolumeResult";

// The application's callbacks take no context, so what they receive is kept here.
struct Received {
    std::vector<std::array<double, 4>> simple;
    std::vector<VslbVolumeResult> extended;
    std::vector<const VslbVolumeResult*> addresses;
};
Received received;

void onSimple(double length, double width, double height, double volume) {
    received.simple.push_back({length, width, height, volume});
}
void onExtended(const VslbVolumeResult* result) {
    received.extended.push_back(*result);
    received.addresses.push_back(result);
}

void setStamp(std::uint16_t (&stamp)[8], int year, int month, int day, int hour, int minute, int second,
              int ms) {
    const std::uint16_t values[8] = {static_cast<std::uint16_t>(year),
                                     static_cast<std::uint16_t>(month),
                                     3,
                                     static_cast<std::uint16_t>(day),
                                     static_cast<std::uint16_t>(hour),
                                     static_cast<std::uint16_t>(minute),
                                     static_cast<std::uint16_t>(second),
                                     static_cast<std::uint16_t>(ms)};
    std::copy_n(values, 8, stamp);
}

// A box level with the axes, centred at `center`.
LpmcBox levelBox(float length, float width, float height, std::array<float, 3> center = {100, 200, 50}) {
    LpmcBox box{};
    std::copy_n(center.data(), 3, box.center);
    const float axis0[3] = {1, 0, 0}, axis1[3] = {0, 1, 0}, axis2[3] = {0, 0, 1};
    std::copy_n(axis0, 3, box.axis0);
    std::copy_n(axis1, 3, box.axis1);
    std::copy_n(axis2, 3, box.axis2);
    box.length = length;
    box.width = width;
    box.height = height;
    box.volume = length * width * height;
    box.objEnterTime = 1001.9;
    box.objLeaveTime = 2003.2;
    setStamp(box.enter_sys_time, 2018, 9, 14, 12, 30, 15, 120);
    setStamp(box.leave_sys_time, 2018, 9, 14, 12, 30, 16, 370);
    setStamp(box.output_sys_time, 2018, 9, 14, 12, 30, 17, 5);
    return box;
}

BoxDims dimsOf(const LpmcBox& box) {
    return BoxDims{box.length, box.width, box.height, box.volume, -1.0};
}

class WrapperTest : public LogCaptureTest {
protected:
    void SetUp() override { received = Received{}; }

    // A result that holds `boxes` with state `state`.
    LpmcResult resultOf(std::vector<LpmcBox>& boxes, int state) {
        LpmcResult result{};
        result.resultState = state;
        result.volumeNum = static_cast<int>(boxes.size());
        for (std::size_t i = 0; i < boxes.size(); ++i)
            result.boxes[i] = &boxes[i];
        result.points = points;
        result.pointCount = 2;
        return result;
    }
    std::vector<BoxDims> dims(const std::vector<LpmcBox>& boxes) {
        std::vector<BoxDims> out;
        for (const auto& box : boxes)
            out.push_back(dimsOf(box));
        return out;
    }

    float points[6] = {1, 2, 3, 4, 5, 6};
    CVolumeResultCBWrapper both{&onSimple, &onExtended};
    CVolumeResultCBWrapper simpleOnly{&onSimple, nullptr};
    CVolumeResultCBWrapper extendedOnly{nullptr, &onExtended};
};

TEST_F(WrapperTest, NullResultDoesNothingWhateverTheStatus) {
    std::vector<LpmcBox> boxes{levelBox(300, 200, 100)};
    both.onVolumeResult(dims(boxes), nullptr, 0);
    both.onVolumeResult(dims(boxes), nullptr, VSLB_ERR_RECONNECT_TIMEOUT);
    EXPECT_TRUE(received.simple.empty());
    EXPECT_TRUE(received.extended.empty());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(WrapperTest, NoBoxesWithUnmeasuredStateDoesNothing) {
    std::vector<LpmcBox> none;
    const LpmcResult result = resultOf(none, LPMC_STATE_UNMEASURED);
    both.onVolumeResult({}, &result, 0);
    EXPECT_TRUE(received.extended.empty());
}

TEST_F(WrapperTest, UnmeasuredStateReachesOnlyTheExtendedCallbackAsAShortRecord) {
    std::vector<LpmcBox> boxes{levelBox(300, 200, 100), levelBox(50, 40, 30)};
    const LpmcResult result = resultOf(boxes, LPMC_STATE_UNMEASURED);
    simpleOnly.onVolumeResult(dims(boxes), &result, 0);
    EXPECT_TRUE(received.simple.empty());
    both.onVolumeResult(dims(boxes), &result, 0);
    EXPECT_TRUE(received.simple.empty());
    ASSERT_EQ(received.extended.size(), 1u) << "only the first box is reported";
    VslbVolumeResult expected;
    std::memset(&expected, 0, sizeof expected);
    expected.length = 300;
    expected.width = 200;
    expected.height = 100;
    EXPECT_EQ(std::memcmp(&received.extended[0], &expected, sizeof expected), 0)
        << "detailed 0, the three lengths, and zero everywhere else";
}

TEST_F(WrapperTest, OtherStatesAreIgnored) {
    std::vector<LpmcBox> boxes{levelBox(300, 200, 100)};
    const LpmcResult result = resultOf(boxes, 0);
    both.onVolumeResult(dims(boxes), &result, 0);
    const LpmcResult odd = resultOf(boxes, 7);
    both.onVolumeResult(dims(boxes), &odd, 0);
    EXPECT_TRUE(received.simple.empty());
    EXPECT_TRUE(received.extended.empty());
}

TEST_F(WrapperTest, SimpleCallbackGetsEachBoxInOrder) {
    std::vector<LpmcBox> boxes{levelBox(300, 200, 100), levelBox(50, 40, 30)};
    const LpmcResult result = resultOf(boxes, LPMC_STATE_BOXES);
    simpleOnly.onVolumeResult(dims(boxes), &result, 0);
    ASSERT_EQ(received.simple.size(), 2u);
    EXPECT_EQ(received.simple[0], (std::array<double, 4>{300, 200, 100, 6e6}));
    EXPECT_EQ(received.simple[1], (std::array<double, 4>{50, 40, 30, 60000}));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(WrapperTest, CountMismatchCostsTheExtendedCallbackButNotTheSimpleOne) {
    std::vector<LpmcBox> boxes{levelBox(300, 200, 100), levelBox(50, 40, 30)};
    LpmcResult result = resultOf(boxes, LPMC_STATE_BOXES);
    result.volumeNum = 3;
    both.onVolumeResult(dims(boxes), &result, 0);
    EXPECT_EQ(received.simple.size(), 2u);
    EXPECT_TRUE(received.extended.empty());
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, "Quboid3DSdk", kWrapperFn,
                        "volume num error. pOrigRet->volumeNum=3, boxes size=2"));
}

TEST_F(WrapperTest, FullRecordCarriesDimensionsTimesAxesAndPoints) {
    std::vector<LpmcBox> boxes{levelBox(300, 200, 100)};
    const LpmcResult result = resultOf(boxes, LPMC_STATE_BOXES);
    extendedOnly.onVolumeResult(dims(boxes), &result, 0);
    ASSERT_EQ(received.extended.size(), 1u);
    const VslbVolumeResult& r = received.extended[0];
    EXPECT_EQ(r.detailed, 1);
    EXPECT_EQ(r.length, 300);
    EXPECT_EQ(r.width, 200);
    EXPECT_EQ(r.height, 100);
    EXPECT_EQ(r.volume, 6e6);
    EXPECT_EQ(r.objEnterTime, 1001u);
    EXPECT_EQ(r.objLeaveTime, 2003u);
    EXPECT_EQ(r.points, points);
    EXPECT_EQ(r.pointCount, 2);
    EXPECT_EQ(r.axes[1][1], 1.0f);
    EXPECT_EQ(r.axes[2][2], 1.0f);
    EXPECT_EQ(r.leave_sys_time - r.enter_sys_time, 1250u);
    EXPECT_EQ(r.output_sys_time - r.leave_sys_time, 635u);
    std::tm calendar{};
    calendar.tm_year = 118;
    calendar.tm_mon = 8;
    calendar.tm_mday = 14;
    calendar.tm_hour = 12;
    calendar.tm_min = 30;
    calendar.tm_sec = 15;
    calendar.tm_isdst = -1;
    EXPECT_EQ(r.enter_sys_time, static_cast<std::uint64_t>(std::mktime(&calendar)) * 1000 + 120);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&r);
    EXPECT_TRUE(std::all_of(bytes + 204, bytes + 552, [](unsigned char b) { return b == 0; }));
    EXPECT_TRUE(std::all_of(bytes + 4, bytes + 8, [](unsigned char b) { return b == 0; }));
    EXPECT_TRUE(std::all_of(bytes + 104, bytes + 112, [](unsigned char b) { return b == 0; }));
}

TEST_F(WrapperTest, FieldsSitAtTheirByteOffsets) {
    std::vector<LpmcBox> boxes{levelBox(300, 200, 100)};
    const LpmcResult result = resultOf(boxes, LPMC_STATE_BOXES);
    extendedOnly.onVolumeResult(dims(boxes), &result, 0);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&received.extended.at(0));
    auto at = [bytes](std::size_t offset, auto sample) {
        decltype(sample) value;
        std::memcpy(&value, bytes + offset, sizeof value);
        return value;
    };
    EXPECT_EQ(at(0, std::int32_t{}), 1);
    EXPECT_EQ(at(8, double{}), 300.0);
    EXPECT_EQ(at(32, double{}), 6e6);
    EXPECT_EQ(at(40, float{}), 0.0f) << "corner 0 x";
    EXPECT_EQ(at(88, std::uint64_t{}), 1001u);
    EXPECT_EQ(at(112, static_cast<const float*>(nullptr)), points);
    EXPECT_EQ(at(120, std::int32_t{}), 2);
    EXPECT_EQ(at(128, float{}), 100.0f) << "top centre x";
    EXPECT_EQ(at(136, float{}), 100.0f) << "top centre z";
    EXPECT_EQ(at(168 + 4 * 4, float{}), 1.0f) << "axis1 y";
}

TEST_F(WrapperTest, LevelBoxLongerThanWideHasSlantZero) {
    std::vector<LpmcBox> boxes{levelBox(300, 200, 100)};
    const LpmcResult result = resultOf(boxes, LPMC_STATE_BOXES);
    extendedOnly.onVolumeResult(dims(boxes), &result, 0);
    const VslbVolumeResult& r = received.extended.at(0);
    // Corners 0 and 1 tie on the smallest y, so corner 0 stays first.
    const float expected[4][3] = {{0, 50, 100}, {200, 50, 100}, {200, 350, 100}, {0, 350, 100}};
    for (int k = 0; k < 4; ++k)
        for (int i = 0; i < 3; ++i)
            EXPECT_FLOAT_EQ(r.corners[k][i], expected[k][i]) << k << "," << i;
    EXPECT_FLOAT_EQ(r.slantAngle, 0.0f);
    EXPECT_FLOAT_EQ(r.topCenter[0], 100);
    EXPECT_FLOAT_EQ(r.topCenter[1], 200);
    EXPECT_FLOAT_EQ(r.topCenter[2], 100);
}

TEST_F(WrapperTest, LevelBoxWiderThanLongHasSlantOfAQuarterTurn) {
    std::vector<LpmcBox> boxes{levelBox(200, 300, 100)};
    const LpmcResult result = resultOf(boxes, LPMC_STATE_BOXES);
    extendedOnly.onVolumeResult(dims(boxes), &result, 0);
    EXPECT_NEAR(received.extended.at(0).slantAngle, 1.5708f, 1e-4);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, "VolumeRecord", kWrapperFn, "slant angle: 1.570796, 90.000000"));
}

TEST_F(WrapperTest, EqualSidesKeepCornerOneAsTheReference) {
    std::vector<LpmcBox> boxes{levelBox(200, 200, 100)};
    const LpmcResult result = resultOf(boxes, LPMC_STATE_BOXES);
    extendedOnly.onVolumeResult(dims(boxes), &result, 0);
    EXPECT_NEAR(received.extended.at(0).slantAngle, 1.5708f, 1e-4) << "corner 1 lies in +x from corner 0";
}

TEST_F(WrapperTest, TurnedBoxStartsAtItsLowestCornerAndMeasuresFromTheYAxis) {
    LpmcBox box = levelBox(400, 100, 50, {0, 0, 25});
    const float angle = 0.5236f; // 30 degrees: the long side leans towards +x
    const float axis1[3] = {std::sin(angle), std::cos(angle), 0};
    const float axis0[3] = {std::cos(angle), -std::sin(angle), 0};
    std::copy_n(axis0, 3, box.axis0);
    std::copy_n(axis1, 3, box.axis1);
    std::vector<LpmcBox> boxes{box};
    const LpmcResult result = resultOf(boxes, LPMC_STATE_BOXES);
    extendedOnly.onVolumeResult(dims(boxes), &result, 0);
    const VslbVolumeResult& r = received.extended.at(0);
    for (int k = 1; k < 4; ++k)
        EXPECT_LE(r.corners[0][1], r.corners[k][1]);
    EXPECT_NEAR(r.slantAngle, angle, 1e-4);
    // The log shows the corners in the order of the record.
    for (int k = 0; k < 4; ++k) {
        char line[128];
        std::snprintf(line, sizeof line, "pt%d: %f, %f, %f", k, r.corners[k][0], r.corners[k][1],
                      r.corners[k][2]);
        EXPECT_TRUE(log.has(OVP_LOG_INFO, "VolumeRecord", kWrapperFn, line)) << line;
    }
}

TEST_F(WrapperTest, TopCentreAddsHalfTheHeightToZEvenOnATiltedBox) {
    LpmcBox box = levelBox(300, 200, 100, {10, 20, 30});
    const float tilted[3] = {0, 0.6f, 0.8f};
    std::copy_n(tilted, 3, box.axis2);
    std::vector<LpmcBox> boxes{box};
    const LpmcResult result = resultOf(boxes, LPMC_STATE_BOXES);
    extendedOnly.onVolumeResult(dims(boxes), &result, 0);
    EXPECT_FLOAT_EQ(received.extended.at(0).topCenter[1], 20);
    EXPECT_FLOAT_EQ(received.extended.at(0).topCenter[2], 80);
}

TEST_F(WrapperTest, TwoBoxesGiveTwoCallsWithTheirOwnCornersAndTheSamePoints) {
    std::vector<LpmcBox> boxes{levelBox(300, 200, 100), levelBox(50, 40, 30, {900, 900, 15})};
    const LpmcResult result = resultOf(boxes, LPMC_STATE_BOXES);
    extendedOnly.onVolumeResult(dims(boxes), &result, 0);
    ASSERT_EQ(received.extended.size(), 2u);
    EXPECT_FLOAT_EQ(received.extended[0].corners[0][0], 0);
    EXPECT_FLOAT_EQ(received.extended[1].corners[0][0], 880);
    EXPECT_EQ(received.extended[0].points, received.extended[1].points);
    EXPECT_EQ(received.addresses[0], received.addresses[1]) << "one record serves every box";
}

TEST_F(WrapperTest, EachBoxIsLoggedOnTheRecordChannel) {
    std::vector<LpmcBox> boxes{levelBox(300, 200, 100)};
    const LpmcResult result = resultOf(boxes, LPMC_STATE_BOXES);
    extendedOnly.onVolumeResult(dims(boxes), &result, 0);
    const VslbVolumeResult& r = received.extended.at(0);
    char times[256];
    std::snprintf(times, sizeof times,
                  "objEnterTime: 1001, objLeaveTime: 2003, enter_sys_time: %llu, leave_sys_time: %llu, "
                  "output_sys_time: %llu\n",
                  static_cast<unsigned long long>(r.enter_sys_time),
                  static_cast<unsigned long long>(r.leave_sys_time),
                  static_cast<unsigned long long>(r.output_sys_time));
    const std::vector<std::string> expected{times,
                                            "axis 0: 1.000000, 0.000000, 0.000000",
                                            "axis 1: 0.000000, 1.000000, 0.000000",
                                            "axis 2: 0.000000, 0.000000, 1.000000",
                                            "pt0: 0.000000, 50.000000, 100.000000",
                                            "pt1: 200.000000, 50.000000, 100.000000",
                                            "pt2: 200.000000, 350.000000, 100.000000",
                                            "pt3: 0.000000, 350.000000, 100.000000",
                                            "top center: 100.000000, 200.000000, 100.000000",
                                            "slant angle: 0.000000, 0.000000"};
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), expected.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].text, expected[i]);
        EXPECT_EQ(lines[i].channel, "VolumeRecord");
        EXPECT_EQ(lines[i].function, kWrapperFn);
        EXPECT_EQ(lines[i].level, OVP_LOG_INFO);
        EXPECT_EQ(lines[i].file, "Src/VolumeResultCBWrapper.cpp");
    }
}

} // namespace
} // namespace quboid3d::test
