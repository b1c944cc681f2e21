// What a simulated camera is: its identity, its features, its memory and its stream policy.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "Orvia/CameraApi.h"
#include "Orvia/GenICam/Defs.h"

namespace Orvia::Sim {

// One feature. `type` is a GenICam::ParameterType. Integers and enumerations keep their value
// in intValue (an enumeration the number of its current entry).
struct ORVIA_CAMERA_API SimFeature {
    std::string name;
    uint32_t type = GenICam::ParameterTypeInt;
    bool readable = true;
    bool writable = true;
    int64_t intValue = 0;
    int64_t intMin = 0;
    int64_t intMax = INT64_MAX;
    int64_t intIncrement = 1;
    double floatValue = 0.0;
    double floatMin = 0.0;
    double floatMax = 1e9;
    bool boolValue = false;
    std::string stringValue;
    uint32_t maxLength = 64;
    std::vector<std::pair<std::string, int64_t>> entries; // symbol, number
    // The name of an enumeration that selects which instance of this feature is meant (as
    // LineSelector selects the line of LineSource): each entry of the selector has a value of
    // its own, starting as given here.
    std::string selectedBy;

    static SimFeature integer(std::string name, int64_t value, int64_t min, int64_t max,
                              int64_t increment = 1);
    static SimFeature floating(std::string name, double value, double min, double max);
    // `entries` numbered 0, 1, 2, ... unless given numbers; starts on `current`.
    static SimFeature enumeration(std::string name, std::vector<std::string> symbols,
                                  const std::string& current);
    static SimFeature enumeration(std::string name, std::vector<std::pair<std::string, int64_t>> entries,
                                  int64_t current);
    static SimFeature boolean(std::string name, bool value);
    static SimFeature string(std::string name, std::string value, uint32_t maxLength = 64);
    static SimFeature command(std::string name);
};

// What a stream does with a frame that finds every buffer busy (waiting or held by a
// consumer). Either way the lost frame is counted in IStreamSource::getDroppedFrameCount.
enum class DropPolicy {
    DropNewest, // the arriving frame is lost; what waits is kept (a camera with an empty pool)
    DropOldest, // the oldest waiting frame is lost and the new one queued; if none waits
                // (all buffers held by consumers) the arriving frame is lost
};

// Register memory: the area from 0x4E05D198 to 0x4E0615E0 + 32 KiB.
constexpr uint64_t kRegisterBase = 0x4E05D198;
constexpr uint64_t kRegisterEnd = 0x4E0615E0 + 0x8000;
constexpr uint64_t kPrivateAreaSize = 32768;
constexpr uint32_t kMaxTransfer = 512;

struct SimDeviceDescription {
    int32_t interfaceKind = GenICam::InterfaceKindGigE; // 0 GigE, 1 USB3, or another transport
    std::string vendor;
    std::string model;
    std::string serial;      // the identity; the key is "sim:" + serial
    std::string displayName; // empty: vendor, model and serial
    std::string gigeIdentity;
    std::vector<SimFeature> features;
    uint64_t registerBase = kRegisterBase;
    uint64_t registerEnd = kRegisterEnd;
    uint64_t privateAreaSize = kPrivateAreaSize;
    uint32_t maxTransfer = kMaxTransfer;
    DropPolicy dropPolicy = DropPolicy::DropNewest;
};

// A laser line camera with every feature the measuring library uses: GevTimestampTickFrequency
// (1 GHz), the trigger and line features, TriggerType, BarCodeType, WorkMode, EnableConfig,
// Scale, MinFactor, StopAfterResultNum, PixelFormat (Mono8, Mono4p, Mono10), Width 2048,
// Height 512, the image format, analog, ISP and user set features, and DeviceUserID.
ORVIA_CAMERA_API SimDeviceDescription
laserCameraDescription(const std::string& serial, int32_t interfaceKind = GenICam::InterfaceKindGigE,
                       const std::string& model = "MV-DL2048-G0X");

// The same from a small JSON object (see Camera/Backends/Sim/README.md): the laser camera's
// defaults, with the members given replacing them. False with a reason on a malformed text.
ORVIA_CAMERA_API bool parseDescriptionJson(const std::string& json, SimDeviceDescription& out,
                                           std::string& error);

} // namespace Orvia::Sim
