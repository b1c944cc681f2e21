// One instance of the library: the calibration and tables of its cameras, its settings, and
// the state that carries objects from frame to frame. The C functions are thin calls of this.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "BoxFit.h"
#include "CameraModel.h"
#include "Config.h"
#include "FanReach.h"
#include "FrameStore.h"
#include "HoleTracker.h"
#include "LineExtraction.h"
#include "Lpmc.h"
#include "ObjectTracker.h"
#include "TriangulationTable.h"

namespace lpmc {

// Frames an object may span when scan_frame_num is 0.
constexpr int32_t kDefaultFrameNum = 2000;
// Most columns of an image, and of the line form.
constexpr int32_t kMaxImageWidth = 16384;
constexpr int32_t kMaxImageHeight = 16384;
constexpr int32_t kMaxLineFormCount = 3840;

class CScanner {
public:
    int32_t create(const LpmcCreateParam& param);
    int32_t getConfig(LpmcConfig& config) const;
    int32_t setConfig(const LpmcConfig& config);
    int32_t process(const LpmcInput& input, LpmcResult& result);

    // For tests: what the instance holds.
    const ScanSettings& settings() const { return settings_; }
    const CTriangulationTable& table(int32_t camera) const { return tables_[static_cast<size_t>(camera)]; }
    const CameraModel& model(int32_t camera) const { return models_[static_cast<size_t>(camera)]; }
    int32_t frameNum() const { return frameNum_; }
    int32_t openObjects() const { return tracker_.openCount(); }
    size_t queuedObjects() const { return queue_.size(); }

private:
    struct Queued {
        FittedBox fit;
        bool reportable = false;
        int64_t enterMs = 0, leaveMs = 0;
    };
    int32_t checkInput(const LpmcInput& input) const;
    void noteLostFrames(int32_t missingFrames, uint64_t seq);
    void advanceTravel(const LpmcInput& input, FrameInfo& info);
    void takeProfiles(const LpmcInput& input, FrameSlot& slot);
    void finishObjects(uint64_t seq);
    void queueBlind(const BlindTrack& track);
    void holdForRear(const Queued& q, const TrackedObject& o);
    void decideRears(uint64_t seq);
    void addEdgeHoles(const ProfileOutput& out);
    void markOwnShadows(FrameSlot& slot) const;
    void partShadowedGaps(FrameSlot& slot) const;
    bool emitDue(uint64_t seq) const;
    void emit(LpmcResult& result);
    bool isReportable(const FittedBox& fit) const;

    int32_t cameraCount_ = 0;
    int32_t frameNum_ = 0;
    std::array<LpmcImageSize, LPMC_MAX_CAMERAS> sizes_{};
    std::array<CameraModel, LPMC_MAX_CAMERAS> models_{};
    std::array<CTriangulationTable, LPMC_MAX_CAMERAS> tables_{};
    ScanSettings settings_{};
    bool configured_ = false;

    std::array<CLineExtractor, LPMC_MAX_CAMERAS> extractors_{};
    std::array<std::unique_ptr<float[]>, LPMC_MAX_CAMERAS> rows_{};
    std::array<std::unique_ptr<uint8_t[]>, LPMC_MAX_CAMERAS> peaks_{};
    std::array<ProfileSettings, LPMC_MAX_CAMERAS> profile_{};
    std::unique_ptr<CBeltBins> belt_;       // where the current frame shows the belt
    std::unique_ptr<CBeltBins> beltBefore_; // and where the frame before showed it
    CBeltHistory beltHistory_;              // and the last frame that showed it, per mm
    static constexpr uint32_t kHolesPerFrame = 64;
    std::array<ProfileHole, kHolesPerFrame> frameHoles_{};
    uint32_t frameHoleCount_ = 0;
    CHoleTracker holes_;
    float beltMinX_ = 1e30f, beltMaxX_ = -1e30f; // the widest the belt has shown
    CFanReach fan_;
    std::vector<BlindTrack> blind_;
    CFrameStore store_;
    CObjectTracker tracker_;
    CBoxFitter fitter_;
    std::vector<TrackedObject> completed_;
    std::vector<Queued> queue_;
    // Objects that would be measured but for the belt not showing behind them yet: a package
    // close behind may hide the belt from the camera, and maybe the rear of this one too.
    struct PendingRear {
        Queued q;
        float x0 = 0.0f, x1 = 0.0f; // board X of its last profile
        double lineY = 0.0;         // board Y of the line there
        double topZ = 0.0;          // board Z of its top there
        uint64_t lastSeq = 0, deadline = 0;
    };
    std::vector<PendingRear> pending_;
    Vec3 cameraCentre_{}; // camera 0's centre in board coordinates
    static constexpr size_t kQueueCapacity = 64;

    std::array<LpmcBox, LPMC_MAX_BOXES> boxes_{};
    std::unique_ptr<float[]> points_, aux_;
    size_t pointCapacity_ = 0;

    uint64_t nextSeq_ = 0;
    // Objects that began before this frame were being scanned when frames were lost (0: none lost).
    uint64_t scannedBeforeLoss_ = 0;
    bool haveFrame_ = false;
    double lastTimestamp_ = 0.0;
    Travel travel_{};
};

} // namespace lpmc
