// One virtual laser camera on the network: Aravis's GigE Vision fake-camera server with this
// tool's GenICam description, the identity of a laser camera, frames of the virtual station
// rendered into each buffer the server sends, and the calibration in its private data area.
#pragma once

#include <arv.h>

#include <memory>
#include <string>

#include "Options.h"
#include "ScanSim/Scene.h"
#include "SceneFrames.h"

namespace quboid3d::virtualcamera {

class CVirtualCamera {
public:
    CVirtualCamera() = default;
    ~CVirtualCamera();
    CVirtualCamera(const CVirtualCamera&) = delete;
    CVirtualCamera& operator=(const CVirtualCamera&) = delete;

    // Answers on the network once this returns true.
    bool start(const Options& options, std::string& error);
    void stop();
    std::string description() const;
    // What the server's thread did; read once stop() has joined it.
    uint64_t framesSent() const { return framesSent_; }
    uint64_t periodsShown() const { return frames_ ? frames_->periodsShown() : 0; }

private:
    static void fill(ArvBuffer* buffer, void* self, guint32 exposureUs, guint32 gain, ArvPixelFormat format);
    void fillBuffer(ArvBuffer* buffer, ArvPixelFormat format);
    bool loadScene(const Options& options, std::string& error);
    bool writeIdentity(const Options& options);
    bool writeCalibration(std::string& error);

    Options options_;
    ScanSim::Scene scene_;
    int width_ = 0;
    int height_ = 0;
    double framesPerSecond_ = 0.0;
    std::string xmlPath_;
    ArvGvFakeCamera* server_ = nullptr;

    std::unique_ptr<CSceneFrames> frames_; // used by the server's thread alone while it runs
    const ArvBuffer* lastBuffer_ = nullptr;
    bool serverThreadRaised_ = false;
    uint64_t lastTimestamp_ = 0;
    uint64_t framesSent_ = 0;
};

} // namespace quboid3d::virtualcamera
