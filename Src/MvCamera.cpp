#include "MvCamera.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <regex>
#include <string_view>
#include <thread>
#include <vector>

#include "AdvancedConfig.h"
#include "Orvia/GenICam/GigECamera.h"
#include "Orvia/GenICam/Internal.h"
#include "Orvia/GenICam/System.h"
#include "VsLog.h"

namespace Orvia::VisionSystem {
namespace {

using GenICam::CFrame;
using GenICam::CSystem;
using GenICam::ICamera;
using Infra::CString;
using Memory::TSharedPtr;

constexpr const char* kLogSource = "Src/MvCamera.cpp";
constexpr const char* kChannel = "OVCamera";
constexpr const char* kOpenFn = "Orvia::VisionSystem::CMvCamera::open";
constexpr const char* kCloseFn = "Orvia::VisionSystem::CMvCamera::close";
constexpr const char* kConnectEventFn = "Orvia::VisionSystem::CMvCamera::procConnectEvent";
constexpr const char* kOpenTriggerFn = "Orvia::VisionSystem::CMvCamera::openTrigger";
constexpr const char* kCloseTriggerFn = "Orvia::VisionSystem::CMvCamera::closeTrigger";
constexpr const char* kStartGrabbingFn = "Orvia::VisionSystem::CMvCamera::startGrabbing";
constexpr const char* kStopGrabbingFn = "Orvia::VisionSystem::CMvCamera::stopGrabbing";
constexpr const char* kTriggerFn = "Orvia::VisionSystem::CMvCamera::trigger";
constexpr const char* kGetFrameFn = "Orvia::VisionSystem::CMvCamera::getFrame";
constexpr char kReadMemoryFn[] = "Orvia::VisionSystem::CMvCamera::readMemory";
constexpr char kWriteMemoryFn[] = "Orvia::VisionSystem::CMvCamera::writeMemory";
constexpr const char* kGetAllFn = "Orvia::VisionSystem::CCameraManager::getAll3DCameras";

constexpr int32_t kOk = 0;
constexpr int32_t kFailed = -1;
constexpr int32_t kMissing = -2;
constexpr int32_t kDisconnected = -3;
constexpr int32_t kAlready = -4;
constexpr int32_t kTimeout = -5;
constexpr int32_t kWrongMode = -6;

// Between the last trigger feature write and the start of grabbing.
constexpr auto kSettleTime = std::chrono::milliseconds(200);
// Most frames thrown away when a trigger run begins, and the wait for each.
constexpr int32_t kDrainLimit = 32;
constexpr uint32_t kDrainTimeoutMs = 1;
constexpr uint16_t kStreamChannel = 0;
constexpr uint32_t kAccessModeControl = 2;

// The calibration area of the camera's memory and how it travels.
constexpr uint64_t kReadBaseAddress = 0x4E0615E0;
constexpr uint32_t kReadLength = 32768;
constexpr uint32_t kChunkSize = 512;
constexpr uint32_t kSmallestWrite = 16;
constexpr uint32_t kWriteAlignment = 4;

constexpr const char* kGigeVendor = "Orvia Technology 3D";

} // namespace

// ---- construction and connection ----

CMvCamera::CMvCamera(TSharedPtr<ICamera> device, uint32_t type)
    : camera(std::move(device)), triggerSoftwareNode(camera, "TriggerSoftware"),
      params(std::make_shared<CMvCameraParams>(camera)), cameraType(type) {
    if (const auto gige = GenICam::IGigECamera::getInstance(camera))
        gigeIdentity = gige->identityText().str();
    if (camera)
        cameraKey = camera->getKey();
}

CMvCamera::~CMvCamera() = default;

int32_t CMvCamera::open(const TSharedPtr<ICameraObserver>& observer) {
    if (!camera) {
        VS_LOG_ERROR(kChannel, kOpenFn, "Open camera failed, gen-camera is null.\n");
        return kMissing;
    }
    if (camera->isConnected()) {
        VS_LOG_ERROR(kChannel, kOpenFn, "Open camera[%s] failed, it's already opened.\n", cameraKey.c_str());
        return kAlready;
    }
    if (!camera->connect(kAccessModeControl)) {
        VS_LOG_ERROR(kChannel, kOpenFn, "Open camera[%s] failed, connect failed.\n", cameraKey.c_str());
        return kFailed;
    }
    eventSubscribe = CSystem::getInstance().createEventSubscribe(camera);
    // The subscription holds this camera alive until close unsubscribes.
    const GenICam::CConnectArgsProc proc(shared_from_this(), &CMvCamera::procConnectEvent);
    if (!eventSubscribe || !eventSubscribe->subscribeConnectArgs(proc)) {
        VS_LOG_ERROR(kChannel, kOpenFn, "Camera[%s] subscribe connect args failed.\n", cameraKey.c_str());
        camera->disconnect();
        return kFailed;
    }
    connectObserver.store(observer);
    if (cameraType == CameraTypeGige) {
        GenICam::CIntNode frequency(camera, "GevTimestampTickFrequency");
        int64_t ticksPerSecond = 0;
        if (!frequency.isValid() || !frequency.isReadable() || !frequency.getValue(ticksPerSecond)) {
            VS_LOG_ERROR(kChannel, kOpenFn, "Get param[GevTimestampTickFrequency] failed.\n");
            camera->disconnect();
            return kFailed;
        }
        // Kept to its low 32 bits, as the field is.
        timestampTicksPerMs = static_cast<int32_t>(ticksPerSecond / 1000);
        VS_LOG_INFO(kChannel, kOpenFn, "frame frequency: %d", timestampTicksPerMs);
    }
    VS_LOG_INFO(kChannel, kOpenFn, "Open camera[%s], type: %d", cameraKey.c_str(),
                static_cast<int>(cameraType));
    return kOk;
}

int32_t CMvCamera::close() {
    if (!camera) {
        VS_LOG_ERROR(kChannel, kCloseFn, "Camera close failed, camera is null.\n");
        return kMissing;
    }
    stopGrabbing();
    if (eventSubscribe)
        eventSubscribe->unsubscribeConnectArgs(
            GenICam::CConnectArgsProc(shared_from_this(), &CMvCamera::procConnectEvent));
    else
        VS_LOG_ERROR(kChannel, kCloseFn, "No event ptr...\n");
    const bool disconnected = camera->disconnect();
    VS_LOG_INFO(kChannel, kCloseFn, "Camera[%s] close %s.\n", cameraKey.c_str(),
                disconnected ? "success" : "failed");
    return disconnected ? kOk : kFailed;
}

bool CMvCamera::isConnected() {
    return camera && camera->isConnected();
}

void CMvCamera::procConnectEvent(const GenICam::ConnectArgs& args) {
    if (args.state != 0) {
        VS_LOG_DEBUG(kChannel, kConnectEventFn, "Camera is online.\n");
        return;
    }
    VS_LOG_INFO(kChannel, kConnectEventFn, "Camera is disconnect!\n");
    if (const auto observer = connectObserver.load().lock())
        observer->onCameraOffline(cameraKey);
}

// ---- trigger and grabbing ----

int32_t CMvCamera::writeTriggerFeatures(bool hardware) {
    if (cameraType == CameraTypeAI) {
        // Results of these writes are not looked at.
        params->setValue("TriggerType", ParamSelectorEnum, ParamValue(uint64_t{1}));
        params->setValue("TriggerSource", ParamSelectorEnum, ParamValue(uint64_t{hardware ? 2u : 0u}));
        return kOk;
    }
    GenICam::CEnumNode source = acquisitionControl->triggerSourceNode();
    GenICam::CEnumNode selector = acquisitionControl->triggerSelectorNode();
    GenICam::CEnumNode mode = acquisitionControl->triggerModeNode();
    const std::string symbol =
        hardware ? "Line" + std::to_string(AdvancedConfig::instance().EncoderLineInput) : "Software";
    if (!source.setValueBySymbol(CString(symbol)) && hardware) {
        VS_LOG_ERROR(kChannel, kOpenTriggerFn, "Camera[%s] set TriggerSource[%s] failed\n", cameraKey.c_str(),
                     symbol.c_str());
        return kFailed;
    }
    // A camera that refuses any of these still counts as in trigger mode.
    selector.setValueBySymbol(CString("AcquisitionStart"));
    mode.setValueBySymbol(CString("Off"));
    selector.setValueBySymbol(CString("FrameStart"));
    mode.setValueBySymbol(CString("On"));
    return kOk;
}

// Throws away what piled up in the stream before the trigger run, without getFrame's lock or
// callback.
void CMvCamera::drainOldFrames() {
    if (!streamSource)
        return;
    int32_t counter = kDrainLimit;
    do {
        --counter;
        CFrame frame;
        streamSource->getFrame(frame, kDrainTimeoutMs);
        if (!frame.valid())
            return;
        VS_LOG_INFO(kChannel, kOpenTriggerFn, "clear old frame list: %d", counter);
    } while (counter > 0);
}

int32_t CMvCamera::openTrigger(bool hardware) {
    if (!camera) {
        VS_LOG_ERROR(kChannel, kOpenTriggerFn, "Open trigger failed, camera is null.\n");
        return kMissing;
    }
    if (!camera->isConnected()) {
        VS_LOG_ERROR(kChannel, kOpenTriggerFn, "Open trigger failed, camera is not connected.\n");
        return kDisconnected;
    }
    if (triggerOpened) {
        VS_LOG_ERROR(kChannel, kOpenTriggerFn, "Camera[%s] open trigger failed, it's already open.\n",
                     cameraKey.c_str());
        return kAlready;
    }
    acquisitionControl = CSystem::getInstance().createAcquisitionControl(camera);
    if (!acquisitionControl) {
        VS_LOG_ERROR(kChannel, kOpenTriggerFn,
                     "Camera[%s] open trigger failed, create acquisition ctrl failed.\n", cameraKey.c_str());
        return kMissing;
    }
    const int32_t written = writeTriggerFeatures(hardware);
    if (written != kOk)
        return written;
    triggerSoftwareNode = acquisitionControl->triggerCommandNode();
    std::this_thread::sleep_for(kSettleTime);
    // A camera that was grabbing already counts as started.
    const int32_t started = startGrabbing();
    if (started != kOk && started != kAlready) {
        VS_LOG_ERROR(kChannel, kOpenTriggerFn, "Camera[%s] open trigger failed, start grabbing failed.\n",
                     cameraKey.c_str());
        return started;
    }
    drainOldFrames();
    triggerOpened = true;
    VS_LOG_INFO(kChannel, kOpenTriggerFn, "Camera[%s] open trigger success.\n", cameraKey.c_str());
    return kOk;
}

int32_t CMvCamera::closeTrigger() {
    if (!camera) {
        VS_LOG_ERROR(kChannel, kCloseTriggerFn, "Close trigger failed, camera is null.\n");
        return kMissing;
    }
    if (!camera->isConnected()) {
        VS_LOG_ERROR(kChannel, kCloseTriggerFn, "Close trigger failed, camera is not connected.\n");
        return kDisconnected;
    }
    // A camera of type 3 keeps the values openTrigger wrote.
    if (cameraType != CameraTypeAI) {
        if (!acquisitionControl)
            acquisitionControl = CSystem::getInstance().createAcquisitionControl(camera);
        if (!acquisitionControl) {
            VS_LOG_ERROR(kChannel, kCloseTriggerFn,
                         "Camera close trigger failed, create acquisition ctrl failed.\n");
            return kMissing;
        }
        GenICam::CEnumNode selector = acquisitionControl->triggerSelectorNode();
        GenICam::CEnumNode mode = acquisitionControl->triggerModeNode();
        selector.setValueBySymbol(CString("AcquisitionStart"));
        mode.setValueBySymbol(CString("Off"));
        selector.setValueBySymbol(CString("FrameStart"));
        mode.setValueBySymbol(CString("Off"));
        acquisitionControl.reset();
    }
    triggerOpened = false;
    VS_LOG_INFO(kChannel, kCloseTriggerFn, "Camera[%s] close trigger success.\n", cameraKey.c_str());
    return kOk;
}

int32_t CMvCamera::startGrabbing() {
    if (streamSource && streamSource->isGrabbing()) {
        VS_LOG_ERROR(kChannel, kStartGrabbingFn, "Camera[%s] start grabbing failed, it's already starting.\n",
                     cameraKey.c_str());
        return kAlready;
    }
    if (!camera) {
        VS_LOG_ERROR(kChannel, kStartGrabbingFn, "Start grabbing failed, camera is null.\n");
        return kMissing;
    }
    streamSource = CSystem::getInstance().createStreamSource(camera, kStreamChannel);
    if (!streamSource) {
        VS_LOG_ERROR(kChannel, kStartGrabbingFn,
                     "Camera[%s] start grabbing failed, create stream src failed.\n", cameraKey.c_str());
        return kMissing;
    }
    streamSource->setBufferCount(AdvancedConfig::instance().FrameBufferCount);
    if (streamSource->isGrabbing())
        return kAlready;
    const bool started = streamSource->startGrabbing(0, 0);
    VS_LOG_INFO(kChannel, kStartGrabbingFn, "Camera[%s] start grabbing %s.\n", cameraKey.c_str(),
                started ? "success" : "failed");
    if (started)
        return kOk;
    return camera->isConnected() ? kFailed : kDisconnected;
}

int32_t CMvCamera::stopGrabbing() {
    if (!streamSource) {
        VS_LOG_ERROR(kChannel, kStopGrabbingFn, "Camera[%s]  stop grabbing failed, stream src is null.\n",
                     cameraKey.c_str());
        return kMissing;
    }
    const bool stopped = streamSource->stopGrabbing();
    streamSource.reset();
    VS_LOG_INFO(kChannel, kStopGrabbingFn, "Camera[%s] stop grabbing %s.\n", cameraKey.c_str(),
                stopped ? "success" : "failed");
    return stopped ? kOk : kFailed;
}

int32_t CMvCamera::trigger() {
    if (!triggerOpened) {
        VS_LOG_ERROR(kChannel, kTriggerFn, "Trigger failed, not open trigger mode.\n");
        return kWrongMode;
    }
    if (triggerSoftwareNode.execute())
        return kOk;
    VS_LOG_ERROR(kChannel, kTriggerFn, "Trigger error");
    return kFailed;
}

int32_t CMvCamera::getFrame(CFrame& frame, uint32_t timeoutMs) {
    if (!streamSource) {
        VS_LOG_ERROR(kChannel, kGetFrameFn, "Camera[%s] get frame failed, stream src is null.\n",
                     cameraKey.c_str());
        return kMissing;
    }
    int32_t result = kOk;
    {
        std::lock_guard lock(frameMutex);
        // Only the frame's own verdict counts.
        streamSource->getFrame(frame, timeoutMs);
        if (!frame.valid()) {
            if (camera->isConnected()) {
                VS_LOG_ERROR(kChannel, kGetFrameFn, "Camera[%s] get frame timeout!!!\n", cameraKey.c_str());
                result = kTimeout;
            } else {
                VS_LOG_ERROR(kChannel, kGetFrameFn, "Camera[%s] get frame failed, it's disconnect!\n",
                             cameraKey.c_str());
                result = kDisconnected;
            }
        }
    }
    std::lock_guard lock(frameStatusMutex);
    if (frameStatusCallback != nullptr) {
        const FrameStatusInfo info{cameraKey.c_str(), result == kOk ? 1 : 0};
        frameStatusCallback(&info);
    }
    return result;
}

// ---- small accessors ----

void CMvCamera::raiseAbortFlag() {
    std::lock_guard lock(abortMutex);
    abortFlag = true;
}

void CMvCamera::setUserTag(const char* tag) {
    userTag = tag != nullptr ? tag : "";
}

const char* CMvCamera::getUserTag() {
    return userTag.empty() ? nullptr : userTag.c_str();
}

TSharedPtr<CMvCameraParams> CMvCamera::getParams() {
    return params;
}

std::string CMvCamera::getKey() {
    return cameraKey;
}

std::string CMvCamera::getGigeIdentity() {
    return gigeIdentity;
}

std::string CMvCamera::getDeviceLabel() {
    if (!camera)
        return {};
    if (!camera->isConnected())
        return camera->getDisplayName();
    const auto control = CSystem::getInstance().createDeviceControl(camera);
    CString label;
    if (!control || !control->labelNode().getValue(label))
        return {};
    return label.str();
}

bool CMvCamera::setDeviceLabel(const std::string& label) {
    if (!camera)
        return false;
    const auto control = CSystem::getInstance().createDeviceControl(camera);
    return control && control->labelNode().setValue(CString(label));
}

// ---- raw memory ----

namespace {

// The memory assistant of the camera with this key, fetched anew on each transfer; null with an
// error line if the library has no internal camera or no assistant for it.
template <const char* function>
GenICam::CInternalAssistant* assistantOf(const std::string& key) {
    const auto internal = GenICam::CInternalSystem::getInstance().getCameraPtr(CString(key));
    if (!internal) {
        VS_LOG_ERROR(kChannel, function, "interal camera ptr is null");
        return nullptr;
    }
    GenICam::CInternalAssistant* assistant = GenICam::CInternalAssistant::getInstance(internal);
    if (assistant == nullptr)
        VS_LOG_ERROR(kChannel, function, "CInternalAssistant is null");
    return assistant;
}

} // namespace

bool CMvCamera::readMemory(uint64_t address, uint8_t* buffer) {
    (void)address; // the calibration area is read whatever the caller names
    GenICam::CInternalAssistant* assistant = assistantOf<kReadMemoryFn>(cameraKey);
    if (assistant == nullptr)
        return false;
    uint64_t current = kReadBaseAddress;
    uint32_t done = 0;
    while (done < kReadLength) {
        const uint64_t asked = std::min<uint64_t>(kChunkSize, kReadLength - done);
        uint64_t length = asked;
        uint8_t block[kChunkSize] = {};
        if (!assistant->readMemory(current, block, length)) {
            VS_LOG_ERROR(kChannel, kReadMemoryFn, "readMemory error. address: %x",
                         static_cast<unsigned>(current));
            return false;
        }
        // Advance by what the library delivered; the next read starts exactly there.
        length = std::min(length, asked);
        std::memcpy(buffer + done, block, length);
        done += static_cast<uint32_t>(length);
        current += length;
    }
    return true;
}

bool CMvCamera::writeMemory(uint64_t address, const uint8_t* buffer, uint32_t size) {
    GenICam::CInternalAssistant* assistant = assistantOf<kWriteMemoryFn>(cameraKey);
    if (assistant == nullptr)
        return false;
    uint64_t current = address;
    for (uint32_t offset = 0; offset < size; offset += kChunkSize, current += kChunkSize) {
        const uint32_t remainder = size - offset;
        bool written = false;
        if (remainder >= kChunkSize) {
            uint64_t length = kChunkSize;
            written = assistant->writeMemory(current, buffer + offset, length);
        } else {
            // A short last chunk is raised to 16 bytes from the source, then zero-filled to a
            // multiple of 4.
            const uint32_t length = std::max(remainder, kSmallestWrite);
            std::vector<uint8_t> chunk(buffer + offset, buffer + offset + length);
            if (length % kWriteAlignment != 0)
                chunk.resize(length + kWriteAlignment - length % kWriteAlignment, 0);
            uint64_t sent = chunk.size();
            written = assistant->writeMemory(current, chunk.data(), sent);
        }
        if (!written) {
            VS_LOG_ERROR(kChannel, kWriteMemoryFn, "writeMemory error. address: 0x%x",
                         static_cast<unsigned>(current));
            return false;
        }
    }
    return true;
}

// ---- the manager ----

CCameraManager& CCameraManager::getInstance() {
    static CCameraManager manager;
    return manager;
}

int32_t CCameraManager::getAll3DCameras(Infra::TVector<TSharedPtr<CMvCamera>>& out) {
    std::lock_guard lock(mutex);
    Infra::TVector<TSharedPtr<ICamera>> devices;
    // A failed discovery lists what it found, which is treated as the whole list.
    CSystem::getInstance().discovery(devices, GenICam::kInterfaceSelectorAll);
    for (const auto& device : devices) {
        uint32_t type = 0;
        bool laser = false;
        const int32_t kind = device->getInterfaceKind();
        if (kind == GenICam::InterfaceKindUsb3) {
            laser = true;
            type = CameraTypeU3;
        } else if (kind == GenICam::InterfaceKindGigE) {
            laser = is3DCamera(device->getModelName(), device->getVendorName(), type);
        }
        if (laser) {
            const std::string key = device->getKey();
            const auto known = cameraByKey.find(key);
            // A camera is reused only while its device is connected; otherwise it starts anew.
            if (known != cameraByKey.end() && device->isConnected()) {
                out.push_back(known->second);
            } else {
                auto camera = std::make_shared<CMvCamera>(device, type);
                out.push_back(camera);
                cameraByKey[key] = std::move(camera);
            }
        }
        VS_LOG_INFO(kChannel, kGetAllFn, "discovery device: %s, %s, %s. is3DCamera: %d, type: %d",
                    device->getModelName(), device->getVendorName(), device->getDeviceIdentity(),
                    laser ? 1 : 0, static_cast<int>(type));
    }
    return static_cast<int32_t>(out.size());
}

bool CCameraManager::is3DCamera(const char* model, const char* vendor, uint32_t& type) {
    if (vendor != nullptr && std::strcmp(vendor, kGigeVendor) == 0) {
        type = CameraTypeGige;
        return true;
    }
    const AdvancedConfig& config = AdvancedConfig::instance();
    if (config.ModelPatternGige.empty() || config.ModelPatternAI.empty())
        return parseModelType(model, type);
    // Both are compiled on each call, before any match: a bad one spoils every call.
    const std::regex gige(config.ModelPatternGige);
    const std::regex ai(config.ModelPatternAI);
    const std::string name = model != nullptr ? model : "";
    if (std::regex_match(name, gige)) {
        type = CameraTypeGige;
        return true;
    }
    if (std::regex_match(name, ai)) {
        type = CameraTypeAI;
        return true;
    }
    return false;
}

bool CCameraManager::parseModelType(const char* model, uint32_t& type) {
    std::string_view rest = model != nullptr ? model : "";
    // At most one prefix goes, and only from a model longer than it.
    for (const std::string_view prefix : {std::string_view("MV-"), std::string_view("OV-MV-")}) {
        if (rest.size() > prefix.size() && rest.starts_with(prefix)) {
            rest.remove_prefix(prefix.size());
            break;
        }
    }
    if (rest.size() < 9 || rest[0] != 'D')
        return false;
    size_t digit = 0;
    for (size_t i = 1; i <= 3 && digit == 0; ++i)
        if (rest[i] >= '0' && rest[i] <= '9')
            digit = i;
    if (digit == 0 || rest[digit + 5] != 'G')
        return false;
    // The character after the G may be the end of the name, which is not '0'.
    const bool gige = digit + 6 < rest.size() && rest[digit + 6] == '0';
    type = gige ? CameraTypeGige : CameraTypeAI;
    return true;
}

} // namespace Orvia::VisionSystem
