// The seam between the camera API and the backends that reach devices. A backend lists
// devices (as an Aravis interface does); a device has a control channel (connect, features by
// name with type, access, range and symbols, register memory, a private data area), stream
// channels with a bounded buffer pool, and reports the loss and return of its connection.
// The API classes implement their semantics once, on top of this; nothing here is public.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "Core/FramePayload.h"

namespace Orvia::Backend {

enum class FeatureType : uint32_t {
    Integer = 0x10000000,
    Float = 0x20000000,
    Enumeration = 0x30000000,
    Boolean = 0x40000000,
    String = 0x50000000,
    Command = 0x60000000,
};

struct EnumEntry {
    std::string symbol;
    int64_t value = 0;
};

// What a device says of one feature. Access is what holds now, while connected.
struct FeatureInfo {
    std::string name;
    FeatureType type = FeatureType::Integer;
    bool readable = true;
    bool writable = true;
    int64_t intMin = INT64_MIN;
    int64_t intMax = INT64_MAX;
    int64_t intIncrement = 1;
    double floatMin = -1e300;
    double floatMax = 1e300;
    uint32_t maxLength = 256; // strings
    std::vector<EnumEntry> entries;
};

// A feature value in its native form: Integer and Enumeration as int64_t (an enumeration may
// also be written by its symbol as a string), Float as double, Boolean as bool, String as
// string.
using FeatureValue = std::variant<std::monostate, int64_t, double, bool, std::string>;

struct DeviceInfo {
    int32_t interfaceKind = 0;
    std::string vendor;
    std::string model;
    std::string identity;
    std::string key; // unique across backends
    std::string displayName;
    std::string gigeIdentity; // empty for devices not on GigE Vision
};

enum class ControlKind { Acquisition, ImageFormat, Analog, Isp, UserSet, Device };

// One stream channel of a device. The device keeps one object per channel.
class IBackendStream {
public:
    virtual ~IBackendStream() = default;
    virtual bool setBufferCount(uint32_t count) = 0;
    virtual uint32_t bufferCount() const = 0;
    virtual bool start(uint64_t frameLimit) = 0;
    virtual bool stop() = 0;
    virtual bool isRunning() const = 0;
    // Oldest waiting frame; null after the timeout, or at once when the stream is not running.
    // Must block without polling.
    virtual std::shared_ptr<const GenICam::Detail::CFramePayload> pop(std::chrono::milliseconds timeout) = 0;
    virtual uint64_t droppedFrames() const = 0;
};

class IBackendDevice {
public:
    virtual ~IBackendDevice() = default;
    virtual const DeviceInfo& info() const = 0;

    virtual bool isConnected() const = 0;
    virtual bool connect(uint32_t accessMode) = 0;
    virtual bool disconnect() = 0;

    // The description of a feature; false if the device has none of that name.
    virtual bool describeFeature(const std::string& name, FeatureInfo& out) const = 0;
    virtual bool readFeature(const std::string& name, FeatureValue& out) = 0;
    // The caller has checked type and range against describeFeature.
    virtual bool writeFeature(const std::string& name, const FeatureValue& value) = 0;
    virtual bool executeCommand(const std::string& name) = 0;

    // Register memory; `length` in: asked, out: moved.
    virtual bool readMemory(uint64_t address, void* buffer, uint64_t& length) = 0;
    virtual bool writeMemory(uint64_t address, const void* buffer, uint64_t& length) = 0;
    // Private data area from its start; bytes moved or a negative value.
    virtual int32_t readPrivateArea(void* buffer, uint64_t count) = 0;
    virtual int32_t writePrivateArea(const void* buffer, uint64_t count) = 0;

    // False when the device refuses the control group.
    virtual bool offersControl(ControlKind kind) const = 0;
    // The stream channel, or null if the device lacks it or it can't be opened.
    virtual std::shared_ptr<IBackendStream> stream(uint16_t channel) = 0;

    // The device reports connection changes through this sink, from any thread: 0 lost,
    // 1 back. The library hands them to its event thread.
    using ConnectionSink = std::function<void(uint32_t state)>;
    virtual void setConnectionSink(ConnectionSink sink) = 0;
    // Asked when the first handler subscribes; false refuses event delivery.
    virtual bool enableConnectionEvents() = 0;
};

class IBackend {
public:
    virtual ~IBackend() = default;
    // Appends the devices reachable now. False if the search failed.
    virtual bool listDevices(std::vector<std::shared_ptr<IBackendDevice>>& out) = 0;
};

} // namespace Orvia::Backend
