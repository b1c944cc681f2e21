// The result adapter: turns the boxes of one pass into the application's records, with the top
// corners, the top centre, the slant angle and the time stamps of each box.
#include "VolumeResultCBWrapper.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ctime>

#include "LocalTime.h"
#include "Lpmc.h"
#include "VsLog.h"

using Orvia::VisionSystem::BoxDims;

namespace {

constexpr const char* kLogSource = "Src/VolumeResultCBWrapper.cpp";
constexpr const char* kChannel = "Quboid3DSdk";
constexpr const char* kRecordChannel = "VolumeRecord";
constexpr const char* kWrapperFn = "CVolumeResultCBWrapper::onVolumeResult";
constexpr float kDegreesPerRadian = 57.29578f;

struct Corner {
    float x, y, z;
};

// A wall-clock stamp of eight 16-bit values (year, month, day of week, day, hour, minute,
// second, millisecond) as milliseconds since the epoch, read as local time. Whether daylight
// saving applies is left to the platform.
std::uint64_t epochMilliseconds(const std::uint16_t (&stamp)[8]) {
    std::tm calendar{};
    calendar.tm_year = stamp[0] - 1900;
    calendar.tm_mon = stamp[1] - 1;
    calendar.tm_mday = stamp[3];
    calendar.tm_hour = stamp[4];
    calendar.tm_min = stamp[5];
    calendar.tm_sec = stamp[6];
    const std::int64_t seconds = Orvia::VisionSystem::localTimeToEpochSeconds(calendar);
    return static_cast<std::uint64_t>(seconds * 1000 + stamp[7]);
}

std::uint64_t wholeUnits(double time) {
    return time > 0 ? static_cast<std::uint64_t>(time) : 0;
}

void fillTimes(VslbVolumeResult& record, const LpmcBox& box) {
    record.objEnterTime = wholeUnits(box.objEnterTime);
    record.objLeaveTime = wholeUnits(box.objLeaveTime);
    record.enter_sys_time = epochMilliseconds(box.enter_sys_time);
    record.leave_sys_time = epochMilliseconds(box.leave_sys_time);
    record.output_sys_time = epochMilliseconds(box.output_sys_time);
    VS_LOG_INFO(kRecordChannel, kWrapperFn,
                "objEnterTime: %I64u, objLeaveTime: %I64u, enter_sys_time: %I64u, leave_sys_time: %I64u, "
                "output_sys_time: %I64u\n",
                static_cast<unsigned long long>(record.objEnterTime),
                static_cast<unsigned long long>(record.objLeaveTime),
                static_cast<unsigned long long>(record.enter_sys_time),
                static_cast<unsigned long long>(record.leave_sys_time),
                static_cast<unsigned long long>(record.output_sys_time));
}

void fillAxes(VslbVolumeResult& record, const LpmcBox& box) {
    const float* axes[3] = {box.axis0, box.axis1, box.axis2};
    for (int k = 0; k < 3; ++k) {
        std::copy_n(axes[k], 3, record.axes[k]);
        VS_LOG_INFO(kRecordChannel, kWrapperFn, "axis %d: %f, %f, %f", k, axes[k][0], axes[k][1], axes[k][2]);
    }
}

// The four top corners, going round the rectangle: width goes with axis0 and length with axis1.
std::array<Corner, 4> topCorners(const LpmcBox& box) {
    const float eW = box.width / 2.0f;
    const float eL = box.length / 2.0f;
    const float eH = box.height / 2.0f;
    const float signW[4] = {-1.0f, 1.0f, 1.0f, -1.0f};
    const float signL[4] = {-1.0f, -1.0f, 1.0f, 1.0f};
    std::array<Corner, 4> corners{};
    for (int k = 0; k < 4; ++k) {
        float p[3];
        for (int i = 0; i < 3; ++i)
            p[i] = box.center[i] + signW[k] * eW * box.axis0[i] + signL[k] * eL * box.axis1[i] +
                   eH * box.axis2[i];
        corners[static_cast<std::size_t>(k)] = Corner{p[0], p[1], p[2]};
    }
    return corners;
}

// Rotates the corners so that the one with the smallest y comes first; on a tie the earlier.
std::array<Corner, 4> startAtSmallestY(const std::array<Corner, 4>& corners) {
    std::size_t first = 0;
    for (std::size_t k = 1; k < 4; ++k)
        if (corners[first].y > corners[k].y)
            first = k;
    std::array<Corner, 4> rotated{};
    for (std::size_t k = 0; k < 4; ++k)
        rotated[k] = corners[(first + k) % 4];
    return rotated;
}

// The angle of the longer side from corner 0, measured from the y axis: x goes first into
// atan2f. On equal sides corner 1 is the reference.
float slantAngle(const std::array<Corner, 4>& c) {
    const float d1 = std::sqrt((c[1].x - c[0].x) * (c[1].x - c[0].x) + (c[1].y - c[0].y) * (c[1].y - c[0].y));
    const float d3 = std::sqrt((c[3].x - c[0].x) * (c[3].x - c[0].x) + (c[3].y - c[0].y) * (c[3].y - c[0].y));
    const Corner& reference = d3 > d1 ? c[3] : c[1];
    return std::atan2(reference.x - c[0].x, reference.y - c[0].y);
}

void fillGeometry(VslbVolumeResult& record, const LpmcBox& box) {
    const auto corners = startAtSmallestY(topCorners(box));
    for (int k = 0; k < 4; ++k) {
        const Corner& corner = corners[static_cast<std::size_t>(k)];
        record.corners[k][0] = corner.x;
        record.corners[k][1] = corner.y;
        record.corners[k][2] = corner.z;
        VS_LOG_INFO(kRecordChannel, kWrapperFn, "pt%d: %f, %f, %f", k, corner.x, corner.y, corner.z);
    }
    // The half height is added straight to z, level box or not.
    record.topCenter[0] = box.center[0];
    record.topCenter[1] = box.center[1];
    record.topCenter[2] = box.center[2] + box.height / 2.0f;
    VS_LOG_INFO(kRecordChannel, kWrapperFn, "top center: %f, %f, %f", record.topCenter[0],
                record.topCenter[1], record.topCenter[2]);
    record.slantAngle = slantAngle(corners);
    VS_LOG_INFO(kRecordChannel, kWrapperFn, "slant angle: %f, %f", record.slantAngle,
                record.slantAngle * kDegreesPerRadian);
}

void fillFullRecord(VslbVolumeResult& record, const BoxDims& dims, const LpmcBox& box,
                    const LpmcResult& result) {
    std::memset(&record, 0, sizeof record);
    record.detailed = 1;
    record.length = dims.length;
    record.width = dims.width;
    record.height = dims.height;
    record.volume = dims.volume;
    fillTimes(record, box);
    fillAxes(record, box);
    record.points = result.points;
    record.pointCount = result.pointCount;
    fillGeometry(record, box);
}

} // namespace

namespace Orvia::VisionSystem {

void CVolumeResultCBWrapper::onVolumeResult(const std::vector<BoxDims>& boxes, const LpmcResult* pOrigRet,
                                            int) {
    if (pOrigRet == nullptr || boxes.empty())
        return;
    VslbVolumeResult record;
    if (pOrigRet->resultState == LPMC_STATE_UNMEASURED) {
        if (extendedCallback == nullptr)
            return;
        std::memset(&record, 0, sizeof record);
        record.detailed = 0;
        record.length = boxes[0].length;
        record.width = boxes[0].width;
        record.height = boxes[0].height;
        extendedCallback(&record);
        return;
    }
    if (pOrigRet->resultState != LPMC_STATE_BOXES)
        return;
    if (simpleCallback != nullptr)
        for (const BoxDims& box : boxes)
            simpleCallback(box.length, box.width, box.height, box.volume);
    if (extendedCallback == nullptr)
        return;
    if (pOrigRet->volumeNum != static_cast<int>(boxes.size())) {
        VS_LOG_ERROR(kChannel, kWrapperFn, "volume num error. pOrigRet->volumeNum=%d, boxes size=%d",
                     pOrigRet->volumeNum, static_cast<int>(boxes.size()));
        return;
    }
    // One record on the stack serves every box: a pointer kept past the call sees the next box.
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        fillFullRecord(record, boxes[i], *pOrigRet->boxes[i], *pOrigRet);
        extendedCallback(&record);
    }
}

} // namespace Orvia::VisionSystem
