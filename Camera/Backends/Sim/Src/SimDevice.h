// One simulated device behind the backend seam: its features, register memory, private area,
// stream, faults and records.
#pragma once

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Backend/DeviceBase.h"
#include "Core/FrameQueue.h"
#include "Orvia/Sim/SimCamera.h"
#include "RecentRecords.h"

namespace Orvia::Sim::Detail {

class CSimStream;

class CSimDevice : public Backend::CBackendDeviceBase, public std::enable_shared_from_this<CSimDevice> {
public:
    explicit CSimDevice(const SimDeviceDescription& description);
    ~CSimDevice() override;

    // ---- the seam ----
    bool isConnected() const override;
    bool connect(uint32_t accessMode) override;
    bool disconnect() override;
    bool describeFeature(const std::string& name, Backend::FeatureInfo& out) const override;
    bool readFeature(const std::string& name, Backend::FeatureValue& out) override;
    bool writeFeature(const std::string& name, const Backend::FeatureValue& value) override;
    bool executeCommand(const std::string& name) override;
    bool readMemory(uint64_t address, void* buffer, uint64_t& length) override;
    bool writeMemory(uint64_t address, const void* buffer, uint64_t& length) override;
    int32_t readPrivateArea(void* buffer, uint64_t count) override;
    int32_t writePrivateArea(const void* buffer, uint64_t count) override;
    bool offersControl(Backend::ControlKind kind) const override;
    std::shared_ptr<Backend::IBackendStream> stream(uint16_t channel) override;
    bool enableConnectionEvents() override;

    // ---- the control API ----
    bool isPlugged() const;
    void unplug();
    void replug();
    void setFaults(const SimFaults& faults);
    SimFaults faults() const;
    void setFrameGenerator(std::shared_ptr<IFrameGenerator> generator);
    void setDeliveryMode(DeliveryMode mode, double framesPerSecond, std::chrono::microseconds catchUpWindow);
    DeliveryMode deliveryMode() const;
    double framesPerSecond() const;
    std::chrono::microseconds catchUpWindow() const;
    uint32_t emitFrames(uint32_t count);
    // One frame from the generator into the stream; false if none was made or it was not taken.
    // Frames that the faults lose on the way are made and lost first.
    bool emitOne();
    bool losesFrame(uint64_t frameId) const;
    SimStreamCounters streamCounters() const;
    std::vector<SimTransfer> transfers() const;
    std::vector<SimFeatureWrite> featureWrites() const;
    std::vector<uint32_t> fetchTimeouts() const;
    void recordFetch(uint32_t timeoutMs);
    void clearRecords();
    void setFeature(const SimFeature& feature);
    bool removeFeature(const std::string& name);
    bool peekMemory(uint64_t address, void* buffer, uint64_t length) const;
    bool pokeMemory(uint64_t address, const void* buffer, uint64_t length);
    std::vector<uint8_t> privateArea() const;
    bool pokePrivateArea(const void* buffer, uint64_t length);
    bool featureText(const std::string& name, std::string& text) const;

private:
    // The instance of a feature that its selector (if any) points at now; null if none.
    SimFeature* slotLocked(const std::string& name);
    const SimFeature* slotLocked(const std::string& name) const;
    bool inRegisters(uint64_t address, uint64_t length) const;
    // Counts a transfer; false if the fault says this one fails.
    bool transferFailsLocked();
    void recordWrite(const std::string& name, std::string value, bool accepted);
    std::shared_ptr<CSimStream> streamLocked();
    // The generator's next frame as the stream carries it; null when it has none.
    std::shared_ptr<GenICam::Detail::CFramePayload> nextPayload();

    SimDeviceDescription description_;

    mutable std::mutex mutex_; // guards everything below
    std::map<std::string, SimFeature> features_;
    mutable std::map<std::string, SimFeature> selected_; // "Name[selector value]" -> instance
    std::vector<uint8_t> registers_;
    std::vector<uint8_t> privateArea_;
    bool plugged_ = true;
    bool connected_ = false;
    SimFaults faults_;
    uint64_t transferCount_ = 0;
    CRecentRecords<SimTransfer> transfers_{kRecordLimit};
    CRecentRecords<SimFeatureWrite> writes_{kRecordLimit};
    CRecentRecords<uint32_t> fetchTimeouts_{kRecordLimit};
    std::shared_ptr<CSimStream> stream_;
    DeliveryMode mode_ = DeliveryMode::Manual;
    double framesPerSecond_ = 0.0;
    std::chrono::microseconds catchUpWindow_ = kDefaultCatchUpWindow;

    std::mutex generatorMutex_; // one frame maker at a time
    std::shared_ptr<IFrameGenerator> generator_;
    uint64_t frameIds_ = 0;
};

} // namespace Orvia::Sim::Detail
