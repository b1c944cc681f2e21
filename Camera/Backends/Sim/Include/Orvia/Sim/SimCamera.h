// Simulated cameras for tests, tools and an integrator's own programs. A process plugs a
// device in; from then on discovery lists it beside the real ones, and the control API below
// drives its frames, injects faults and records what reached it. A process that plugs in
// nothing sees no simulated camera.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Orvia/CameraApi.h"
#include "Orvia/Sim/Description.h"
#include "Orvia/Sim/FrameGenerator.h"

namespace Orvia::Sim {

namespace Detail {
class CSimDevice;
}

// Faults the device shows until changed. Setting them restarts the transfer count.
struct SimFaults {
    bool failConnect = false;
    bool failDisconnect = false; // the device stays connected
    bool failSubscribe = false;  // subscribeConnectArgs gives false
    bool failStreamStart = false;
    bool failStreamCreate = false;       // createStreamSource gives empty
    bool failControlCreate = false;      // every create...Control gives empty
    bool stallFrames = false;            // frames stop arriving while connected
    uint64_t readLimit = 0;              // a read reports at most this many bytes; 0: all asked
    int64_t failTransferAt = -1;         // the transfer of this number (from 0) fails
    std::set<std::string> refusedWrites; // writes and commands the device refuses
    std::set<std::string> unreadable;    // features that report no read access
    std::set<std::string> failingReads;  // readable features whose reads fail
    // Frames whose ids (from 0 at each stream start) lie in [loseFramesFrom, loseFramesFrom +
    // loseFrameCount) are lost on the way, as on a network that drops them: they are made (the
    // scene moves on) and use up their ids, but never reach the pool; the next frame is made at
    // once in their place.
    uint64_t loseFramesFrom = 0;
    uint64_t loseFrameCount = 0;
};

// One register memory transfer as it reached the device.
struct SimTransfer {
    bool write = false;
    uint64_t address = 0;
    uint64_t asked = 0;
    uint64_t done = 0;
    bool ok = false;
    std::vector<uint8_t> bytes; // what was written, or what the read delivered
    bool privateArea = false;   // a transfer of the private data area (address 0 is its start)
    bool operator==(const SimTransfer&) const = default;
};

// One feature write or command as it reached the device (after the library's checks of type,
// access and range). Values as text: numbers in decimal, enumerations by symbol or number as
// written, booleans "true"/"false", commands "execute".
struct SimFeatureWrite {
    std::string name;
    std::string value;
    bool accepted = false;
    bool operator==(const SimFeatureWrite&) const = default;
};

enum class DeliveryMode {
    Manual,   // frames only from emitFrames and software triggers
    OnDemand, // a fetch that finds nothing waiting makes the next frame on the fetching thread
    Paced,    // the stream's own thread makes frames at a fixed rate while grabbing
};

// How late a Paced camera's thread may make the frame of a slot that passed while the host held
// it up: about what a link's interrupt moderation bunches together. Slots older than that are
// skipped and counted, not sent as a burst.
inline constexpr std::chrono::microseconds kDefaultCatchUpWindow{1000};

// How many of the latest entries each of a camera's records (transfers, feature writes, fetch
// timeouts) keeps, so that a camera serving a station for hours does not grow.
inline constexpr std::size_t kRecordLimit = 4096;

struct SimStreamCounters {
    uint64_t captured = 0;  // frames that entered the pool
    uint64_t dropped = 0;   // frames lost to a full pool
    uint64_t delivered = 0; // frames handed to consumers
    uint32_t waiting = 0;   // frames in the pool not yet fetched
    uint32_t held = 0;      // frames fetched and still held by a CFrame
    uint64_t lost = 0;      // frames lost on the way (SimFaults::loseFramesFrom)
};

class ORVIA_CAMERA_API CSimCamera {
public:
    // Plugs a device in. Its key is "sim:" + serial; a serial already plugged in is refused
    // (empty result). Thread-safe.
    static std::shared_ptr<CSimCamera> plugIn(const SimDeviceDescription& description);
    // Unplugs and removes the device: discovery no longer lists it, and objects that still
    // hold it see a lost device.
    ~CSimCamera();
    CSimCamera(const CSimCamera&) = delete;
    CSimCamera& operator=(const CSimCamera&) = delete;

    std::string key() const;

    // Pulls the cable: the device leaves discovery, drops its connection and stream, and, if it
    // was connected, its subscribers get a connection event with state 0.
    void unplug();
    // Puts it back: listed again, not connected; subscribers get state 1.
    void replug();
    bool isPlugged() const;
    bool isConnected() const;

    void setFaults(const SimFaults& faults);
    SimFaults faults() const;

    void setFrameGenerator(std::shared_ptr<IFrameGenerator> generator);
    // `framesPerSecond` and `catchUpWindow` are used by Paced, from the next stream start. A
    // window wider than the default stands for a host whose receive thread stalls while the
    // network card and socket hold the frames: they arrive late, in a burst, instead of never.
    void setDeliveryMode(DeliveryMode mode, double framesPerSecond = 0.0,
                         std::chrono::microseconds catchUpWindow = kDefaultCatchUpWindow);
    // Makes up to `count` frames now, on this thread, and offers them to the stream. Result:
    // frames that entered the pool (not dropped, not stalled, stream running).
    uint32_t emitFrames(uint32_t count);
    SimStreamCounters streamCounters() const;

    // The records, oldest first, each its latest kRecordLimit entries.
    std::vector<SimTransfer> transfers() const;
    std::vector<SimFeatureWrite> featureWrites() const;
    // The timeout, in milliseconds, of each frame fetch of the stream, in order, as it reached
    // the device.
    std::vector<uint32_t> fetchTimeouts() const;
    void clearRecords();

    // Adds a feature or replaces the one of that name, value and all, as a firmware change
    // would; and takes one away. No record.
    void setFeature(const SimFeature& feature);
    bool removeFeature(const std::string& name);

    // The device's state seen from outside, without a transfer or a record.
    bool peekMemory(uint64_t address, void* buffer, uint64_t length) const;
    bool pokeMemory(uint64_t address, const void* buffer, uint64_t length);
    std::vector<uint8_t> privateArea() const;
    // Writes from the start of the private area; false past its end.
    bool pokePrivateArea(const void* buffer, uint64_t length);
    // The feature's present value as getValueAsString would give it; false if there is none.
    bool featureText(const std::string& name, std::string& text) const;

    // Makes every discovery fail (the sim backend reports a failed search, listing nothing).
    static void setDiscoveryFails(bool fails);

private:
    explicit CSimCamera(std::shared_ptr<Detail::CSimDevice> device);
    std::shared_ptr<Detail::CSimDevice> device_;
};

} // namespace Orvia::Sim
