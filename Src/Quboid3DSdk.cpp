// The twelve exported functions, the table that turns a handle into a measuring object, and the
// table that keeps each running object's result adapter alive until it is stopped. The adapter
// itself is in VolumeResultCBWrapper.cpp.
#include "Quboid3DSdk.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>

#include "CalcQuboid3DMgr.h"
#include "Quboid3DSdkTables.h"
#include "VolumeResultCBWrapper.h"
#include "VsLog.h"

using Orvia::Memory::TSharedPtr;
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
