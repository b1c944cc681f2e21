// One laser camera of the camera library (CMvCamera): connection, trigger, grabbing, frames and raw
// memory; and the process-wide CCameraManager that finds the laser cameras among the devices
// and gives out one CMvCamera per device.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "MvCameraParams.h"
#include "Orvia/GenICam/Camera.h"
#include "Orvia/GenICam/Controls.h"
#include "Orvia/GenICam/EventSubscribe.h"
#include "Orvia/GenICam/Frame.h"
#include "Orvia/GenICam/Node.h"
#include "Orvia/GenICam/StreamSource.h"
#include "Orvia/Infra/Vector.h"
#include "Orvia/Memory/SharedPtr.h"
#include "Quboid3DSdk.h"

namespace Orvia::VisionSystem {

// Camera types, decided at discovery and kept for the camera's life.
enum : uint32_t {
    CameraTypeU3 = 1,
    CameraTypeGige = 2,
    CameraTypeAI = 3,
};

// What an owner may be told about its camera.
class ICameraObserver {
public:
    virtual ~ICameraObserver() = default;
    // Called on the camera library's event thread when the device goes offline.
    virtual void onCameraOffline(const std::string& key) = 0;
};

// Results of the camera operations: 0 success, -1 failed with the device connected, -2 a needed
// object is missing, -3 the device is disconnected, -4 already in the wanted state, -5 timeout,
// -6 bad argument or wrong mode.
class CMvCamera : public Memory::TEnableSharedFromThis<CMvCamera> {
public:
    // Does not connect. Always owned through a TSharedPtr.
    CMvCamera(Memory::TSharedPtr<GenICam::ICamera> device, uint32_t type);
    virtual ~CMvCamera();
    CMvCamera(const CMvCamera&) = delete;
    CMvCamera& operator=(const CMvCamera&) = delete;

    // `observer` may be empty; it is held weakly.
    virtual int32_t open(const Memory::TSharedPtr<ICameraObserver>& observer);
    virtual int32_t close();
    // Asks the device each time; false without a device.
    virtual bool isConnected();
    // Trigger from the encoder line (hardware) or by software; starts grabbing and drops the
    // frames that waited before.
    virtual int32_t openTrigger(bool hardware);
    virtual int32_t closeTrigger();
    virtual int32_t startGrabbing();
    virtual int32_t stopGrabbing();
    // One software trigger; only while the trigger is open.
    virtual int32_t trigger();
    // The next frame of the stream, waiting at most `timeoutMs`. -5 on timeout while connected,
    // -3 once the device is lost. Calls the frame status callback after each attempt.
    virtual int32_t getFrame(GenICam::CFrame& frame, uint32_t timeoutMs);
    virtual void raiseAbortFlag();
    // Null empties the tag.
    virtual void setUserTag(const char* tag);
    // Null while the tag is empty.
    virtual const char* getUserTag();
    virtual Memory::TSharedPtr<CMvCameraParams> getParams();
    virtual std::string getKey();
    virtual std::string getGigeIdentity();
    virtual std::string getDeviceLabel();
    virtual bool setDeviceLabel(const std::string& label);

    // Connection events, on the camera library's event thread. Changes no field.
    void procConnectEvent(const GenICam::ConnectArgs& args);
    // The 32 KiB calibration area, whatever `address` says; `buffer` holds 32768 bytes.
    bool readMemory(uint64_t address, uint8_t* buffer);
    // `size` bytes from `buffer` at `address`, in chunks of 512. A last chunk shorter than 16
    // bytes is sent as 16, reading past `size`: callers keep their buffers at least that long.
    bool writeMemory(uint64_t address, const uint8_t* buffer, uint32_t size);

private:
    int32_t writeTriggerFeatures(bool hardware);
    void drainOldFrames();

    std::string gigeIdentity;
    std::string cameraKey;
    std::string userTag;
    Memory::TSharedPtr<GenICam::ICamera> camera;
    Memory::TSharedPtr<GenICam::IStreamSource> streamSource;
    Memory::TSharedPtr<GenICam::IEventSubscribe> eventSubscribe;
    Memory::TSharedPtr<GenICam::IAcquisitionControl> acquisitionControl;
    GenICam::CCmdNode triggerSoftwareNode;
    bool triggerOpened = false;
    Memory::TSharedPtr<CMvCameraParams> params;
    // Written by open, locked by the event thread.
    std::atomic<Memory::TWeakPtr<ICameraObserver>> connectObserver;
    std::mutex abortMutex;
    bool abortFlag = false;
    std::mutex frameMutex;

public:
    // Guards frameStatusCallback, which the owner sets under it; held while the callback runs.
    std::mutex frameStatusMutex;
    VslbFrameStatusCallback frameStatusCallback = nullptr;
    // Device timestamp ticks in one millisecond.
    int32_t timestampTicksPerMs = 1000000;
    uint32_t cameraType = 0;
};

// The laser cameras of the process, one CMvCamera per device key, kept for the process's life.
class CCameraManager {
public:
    // The single instance, made on first use.
    static CCameraManager& getInstance();

    // Appends the laser cameras found now to `out`, in discovery order, and gives the count of
    // entries `out` holds at the end. A camera is reused while its device says it is connected;
    // otherwise it is built anew and replaces the old one under its key. Serialised by the
    // manager's mutex, discovery included. A bad model pattern in the site settings leaves as
    // std::regex_error.
    int32_t getAll3DCameras(Infra::TVector<Memory::TSharedPtr<CMvCamera>>& out);
    // Vendor literal, then both site patterns if both are set, else the built-in grammar. The
    // type is written only when the result is true.
    bool is3DCamera(const char* model, const char* vendor, uint32_t& type);
    // The built-in grammar of model names alone.
    bool parseModelType(const char* model, uint32_t& type);

    CCameraManager(const CCameraManager&) = delete;
    CCameraManager& operator=(const CCameraManager&) = delete;

private:
    CCameraManager() = default;

    std::mutex mutex;
    std::map<std::string, Memory::TSharedPtr<CMvCamera>> cameraByKey;
};

} // namespace Orvia::VisionSystem
