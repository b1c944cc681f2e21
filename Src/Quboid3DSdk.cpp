// The twelve exported functions, the table that turns a handle into a measuring object, and the
// table that keeps each running object's result adapter alive until it is stopped.
#include "Quboid3DSdk.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>

#include "CalcQuboid3DMgr.h"
#include "Lpmc.h"
#include "Quboid3DSdkTables.h"
#include "VolumeResultCBWrapper.h"
#include "VsLog.h"

using Orvia::Memory::TSharedPtr;
using Orvia::VisionSystem::BoxDims;
using Orvia::VisionSystem::CCalcQuboid3DMgr;
using Orvia::VisionSystem::CVolumeResultCBWrapper;

namespace {

constexpr const char* kLogSource = "Src/Quboid3DSdk.cpp";
constexpr const char* kChannel = "Quboid3DSdk";
constexpr const char* kVersion = "1.3.5.62917(2018/09/14)";
constexpr const char* kLocalModeFile = "./LocalMode.dat";

struct VolumeObjEntry {
    CCalcQuboid3DMgr* object = nullptr;
    TSharedPtr<CCalcQuboid3DMgr> owner;
};

std::map<VslbHandle, VolumeObjEntry> volumeObjTable;
std::map<const CCalcQuboid3DMgr*, TSharedPtr<CVolumeResultCBWrapper>> volumeSinkTable;
std::mutex volumeTableMutex;

TSharedPtr<CCalcQuboid3DMgr> getVolumeObjByHandle(VslbHandle handle) {
    {
        std::lock_guard lock(volumeTableMutex);
        auto found = volumeObjTable.find(handle);
        if (found != volumeObjTable.end())
            return found->second.owner;
    }
    VS_LOG_ERROR(kChannel, "getVolumeObjByHandle", "CAPI cant't find obj by handle[%x]\n",
                 static_cast<unsigned>(handle));
    return nullptr;
}

// Backslashes become slashes and the directory gets a trailing slash. An empty text has no
// last character to look at: that is an out-of-range failure, which leaves the library.
std::string normaliseCfgDir(const char* cfgDir) {
    std::string dir(cfgDir);
    std::replace(dir.begin(), dir.end(), '\\', '/');
    if (dir.empty())
        throw std::out_of_range("invalid string position");
    if (dir.back() != '/')
        dir += '/';
    return dir;
}

// Local mode is chosen by the mere presence of the file; its content is never read.
bool localModeFilePresent() {
    std::FILE* file = std::fopen(kLocalModeFile, "r");
    if (file == nullptr)
        return false;
    std::fclose(file);
    return true;
}

// The adapter is owned by the sink table from here until the object is stopped; the object
// only borrows it. It stays in the table even when the run fails.
int32_t runWithAdapter(const TSharedPtr<CCalcQuboid3DMgr>& object, VslbVolumeCallback simple,
                       VslbVolumeCallbackEx extended) {
    auto adapter = std::make_shared<CVolumeResultCBWrapper>(simple, extended);
    {
        std::lock_guard lock(volumeTableMutex);
        volumeSinkTable[object.get()] = adapter;
    }
    return object->run(adapter.get()) ? VSLB_OK : VSLB_ERR_FAILED;
}

} // namespace

namespace Orvia::VisionSystem {

std::size_t volumeObjectCount() {
    std::lock_guard lock(volumeTableMutex);
    return volumeObjTable.size();
}

ICalcVolumeSink* volumeSinkOf(const CCalcQuboid3DMgr* object) {
    std::lock_guard lock(volumeTableMutex);
    auto found = volumeSinkTable.find(object);
    return found != volumeSinkTable.end() ? found->second.get() : nullptr;
}

} // namespace Orvia::VisionSystem

extern "C" {

VslbHandle vslbQuboid3DCreate(void) {
    auto object = std::make_shared<CCalcQuboid3DMgr>();
    const auto handle = reinterpret_cast<VslbHandle>(object.get());
    std::lock_guard lock(volumeTableMutex);
    volumeObjTable[handle] = VolumeObjEntry{object.get(), object};
    return handle;
}

void vslbQuboid3DDestroy(VslbHandle handle) {
    std::lock_guard lock(volumeTableMutex);
    auto found = volumeObjTable.find(handle);
    if (found == volumeObjTable.end())
        return;
    // Finalised under the table lock, so no other call can reach the object while it closes.
    found->second.object->finalize();
    volumeObjTable.erase(found);
}

int32_t vslbQuboid3DInit(VslbHandle handle, const char* cfgDir) {
    if (cfgDir == nullptr) {
        VS_LOG_ERROR(kChannel, "vslbQuboid3DInit", "vslbQuboid3DInit failed, cfgDir is null!\n");
        return VSLB_ERR_NULL_ARGUMENT;
    }
    auto object = getVolumeObjByHandle(handle);
    if (!object) {
        VS_LOG_ERROR(kChannel, "vslbQuboid3DInit", "vslbQuboid3DInit failed, volumeObj is null!\n");
        return VSLB_ERR_BAD_HANDLE;
    }
    const std::string dir = normaliseCfgDir(cfgDir);
    const bool localMode = localModeFilePresent();
    int error = VSLB_ERR_FAILED;
    return object->initialize(localMode, dir, &error) ? VSLB_OK : error;
}

int32_t vslbQuboid3DFini(VslbHandle handle) {
    auto object = getVolumeObjByHandle(handle);
    if (!object) {
        VS_LOG_ERROR(kChannel, "vslbQuboid3DFini", "vslbQuboid3DFini failed, volumeObj is null!\n");
        return VSLB_ERR_BAD_HANDLE;
    }
    return object->finalize() ? VSLB_OK : VSLB_ERR_FAILED;
}

int32_t vslbQuboid3DRun(VslbHandle handle, VslbVolumeCallback callback) {
    auto object = getVolumeObjByHandle(handle);
    if (!object) {
        VS_LOG_ERROR(kChannel, "vslbQuboid3DRun", "vslbQuboid3DRun failed, volumeObj is null!\n");
        return VSLB_ERR_BAD_HANDLE;
    }
    return runWithAdapter(object, callback, nullptr);
}

int32_t vslbQuboid3DRunEx(VslbHandle handle, VslbVolumeCallbackEx callback) {
    auto object = getVolumeObjByHandle(handle);
    if (!object) {
        VS_LOG_ERROR(kChannel, "vslbQuboid3DRunEx", "vslbQuboid3DRun failed, volumeObj is null!\n");
        return VSLB_ERR_BAD_HANDLE;
    }
    return runWithAdapter(object, nullptr, callback);
}

int32_t vslbQuboid3DStop(VslbHandle handle) {
    auto object = getVolumeObjByHandle(handle);
    if (!object) {
        VS_LOG_ERROR(kChannel, "vslbQuboid3DStop", "vslbQuboid3DStop failed, volumeObj is null!\n");
        return VSLB_ERR_BAD_HANDLE;
    }
    const bool stopped = object->stop();
    // The adapter goes only now, after the thread that used it has ended.
    TSharedPtr<CVolumeResultCBWrapper> adapter;
    {
        std::lock_guard lock(volumeTableMutex);
        auto found = volumeSinkTable.find(object.get());
        if (found != volumeSinkTable.end()) {
            adapter = std::move(found->second);
            volumeSinkTable.erase(found);
        }
    }
    return stopped ? VSLB_OK : VSLB_ERR_FAILED;
}

int32_t vslbQuboid3DGetVersion(const char** version) {
    *version = kVersion;
    return VSLB_OK;
}

int32_t vslbSetFrameStatusCallback(VslbHandle handle, VslbFrameStatusCallback callback) {
    auto object = getVolumeObjByHandle(handle);
    if (!object) {
        VS_LOG_ERROR(kChannel, "vslbSetFrameStatusCallback",
                     "vslbSetFrameStatusCallback failed, volumeObj is null!\n");
        return VSLB_ERR_BAD_HANDLE;
    }
    return object->setFrameStatusCallback(callback) ? VSLB_OK : VSLB_ERR_FAILED;
}

int32_t vslbSetCameraStatusCallback(VslbHandle handle, VslbCameraStatusCallback callback) {
    auto object = getVolumeObjByHandle(handle);
    if (!object) {
        VS_LOG_ERROR(kChannel, "vslbSetCameraStatusCallback",
                     "vslbSetCameraStatusCallback failed, volumeObj is null!\n");
        return VSLB_ERR_BAD_HANDLE;
    }
    object->setCameraStatusCallback(callback);
    return VSLB_OK;
}

int32_t vslbEnableImageOutput(VslbHandle handle, ...) {
    if (!getVolumeObjByHandle(handle)) {
        VS_LOG_ERROR(kChannel, "vslbEnableImageOutput", "vslbEnableImageOutput failed, volumeObj is null!\n");
        return VSLB_ERR_BAD_HANDLE;
    }
    VS_LOG_ERROR(kChannel, "vslbEnableImageOutput", "vslbEnableImageOutput is not implemented.");
    return VSLB_ERR_NOT_IMPLEMENTED;
}

int32_t vslbSetImageOutputOption(VslbHandle handle, ...) {
    if (!getVolumeObjByHandle(handle)) {
        VS_LOG_ERROR(kChannel, "vslbSetImageOutputOption",
                     "vslbSetImageOutputOption failed, volumeObj is null!\n");
        return VSLB_ERR_BAD_HANDLE;
    }
    VS_LOG_ERROR(kChannel, "vslbSetImageOutputOption", "vslbSetImageOutputOption is not implemented.");
    return VSLB_ERR_NOT_IMPLEMENTED;
}

} // extern "C"

// ---- Results for the application --------------------------------------------------------------

namespace {

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
    calendar.tm_isdst = -1;
    const auto seconds = static_cast<std::int64_t>(std::mktime(&calendar));
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
