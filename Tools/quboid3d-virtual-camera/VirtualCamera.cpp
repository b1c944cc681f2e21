#include "VirtualCamera.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include <unistd.h>

#include "GenicamXml.h"
#include "ScanSim/CameraCalibration.h"
#include "ScanSim/Renderer.h"
#include "ScanSim/SceneJson.h"
#include "StreamThreadPriority.h"
#include "ThreadHandover.h"

namespace quboid3d::virtualcamera {

namespace fs = std::filesystem;

namespace {

// Bootstrap registers of GigE Vision, as the server's discovery answer repeats them.
constexpr guint32 kManufacturerName = 0x48;
constexpr guint32 kModelName = 0x68;
constexpr guint32 kNameBytes = 32;
constexpr guint32 kStreamPacketSize = 0xD04;
// The private data area of the GenICam description.
constexpr guint32 kPrivateArea = 0x7000;
constexpr guint32 kPrivateAreaBytes = 0x8000;
// How often the server looks for a software trigger.
constexpr double kTriggerPollHz = 2000.0;
constexpr double kDefaultFramesPerSecond = 100.0;
constexpr uint64_t kAcquisitionGapNs = 500'000'000;
constexpr uint32_t kPfncMono8 = 0x01080001;
constexpr uint32_t kPfncMono4p = 0x01040039;

bool writeRegister(ArvFakeCamera* camera, guint32 address, guint32 value) {
    return arv_fake_camera_write_register(camera, address, value);
}

bool writeText(ArvFakeCamera* camera, guint32 address, const std::string& text, guint32 size) {
    std::vector<char> field(size, '\0');
    std::memcpy(field.data(), text.data(), std::min<size_t>(text.size(), size - 1));
    return arv_fake_camera_write_memory(camera, address, size, field.data());
}

std::string genicamXml(const Options& options) {
    std::string xml = kGenicamXml;
    const auto end = xml.rfind("</RegisterDescription>");
    if (options.chunks && end != std::string::npos) {
        xml.insert(end, kChunkFeaturesXml);
    }
    return xml;
}

} // namespace

CVirtualCamera::~CVirtualCamera() {
    stop();
}

bool CVirtualCamera::loadScene(const Options& options, std::string& error) {
    scene_ = ScanSim::defaultScene();
    if (!options.scenePath.empty() && !ScanSim::loadSceneFile(options.scenePath, scene_, error)) {
        return false;
    }
    width_ = scene_.station.camera.width;
    height_ = scene_.station.camera.height;
    framesPerSecond_ = options.framesPerSecond > 0.0 ? options.framesPerSecond : kDefaultFramesPerSecond;
    // Frames carry the server's clock, so the belt moves by the scene's step per frame period.
    scene_.motion.framePeriodMs = 1000.0 / framesPerSecond_;
    return true;
}

bool CVirtualCamera::writeIdentity(const Options& options) {
    ArvFakeCamera* camera = arv_gv_fake_camera_get_fake_camera(server_);
    const auto width = static_cast<guint32>(width_);
    const auto height = static_cast<guint32>(height_);
    return writeText(camera, kManufacturerName, options.vendor, kNameBytes) &&
           writeText(camera, kModelName, options.model, kNameBytes) &&
           writeRegister(camera, ARV_FAKE_CAMERA_REGISTER_SENSOR_WIDTH, width) &&
           writeRegister(camera, ARV_FAKE_CAMERA_REGISTER_SENSOR_HEIGHT, height) &&
           writeRegister(camera, ARV_FAKE_CAMERA_REGISTER_WIDTH, width) &&
           writeRegister(camera, ARV_FAKE_CAMERA_REGISTER_HEIGHT, height) &&
           writeRegister(camera, ARV_FAKE_CAMERA_REGISTER_PIXEL_FORMAT,
                         options.mono4p ? kPfncMono4p : kPfncMono8) &&
           writeRegister(camera, ARV_FAKE_CAMERA_REGISTER_ACQUISITION_FRAME_PERIOD_US,
                         static_cast<guint32>(1e6 / framesPerSecond_)) &&
           writeRegister(camera, kStreamPacketSize, options.packetSize);
}

bool CVirtualCamera::writeCalibration(std::string& error) {
    // The station's own writer makes the text, so the network camera carries exactly what a
    // simulated camera does, with belt travel per millisecond of camera time.
    const std::string text = ScanSim::cameraCalibrationText(scene_, ScanSim::TimeBase::CameraMs);
    if (text.size() + 2 > kPrivateAreaBytes) {
        error = "the calibration text does not fit the private data area";
        return false;
    }
    std::vector<char> area(kPrivateAreaBytes - 1, '\0'); // the server's last byte stays unused
    std::memcpy(area.data(), text.data(), text.size());
    ArvFakeCamera* camera = arv_gv_fake_camera_get_fake_camera(server_);
    return arv_fake_camera_write_memory(camera, kPrivateArea, static_cast<guint32>(area.size()), area.data());
}

bool CVirtualCamera::start(const Options& options, std::string& error) {
    options_ = options;
    if (!loadScene(options, error)) {
        return false;
    }
    frames_ = std::make_unique<CSceneFrames>(scene_, framesPerSecond_, options.ringFrames, options.mono4p);
    xmlPath_ =
        (fs::temp_directory_path() / ("quboid3d-virtual-camera-" + std::to_string(::getpid()) + ".xml"))
            .string();
    std::ofstream(xmlPath_) << genicamXml(options);
    server_ = arv_gv_fake_camera_new_full(options.address.c_str(), options.serial.c_str(), xmlPath_.c_str());
    if (!server_ || !arv_gv_fake_camera_is_running(server_)) {
        error = "the fake-camera server does not run on " + options.address + " (address taken?)";
        stop();
        return false;
    }
    ArvFakeCamera* camera = arv_gv_fake_camera_get_fake_camera(server_);
    arv_fake_camera_set_trigger_frequency(camera, kTriggerPollHz);
    // The server's thread renders from here on, with what this one set up.
    Orvia::Aravis::Detail::handOver(this);
    arv_fake_camera_set_fill_pattern(camera, &CVirtualCamera::fill, this);
    if (!writeIdentity(options) || !writeCalibration(error)) {
        error = error.empty() ? "cannot set the camera's registers" : error;
        stop();
        return false;
    }
    return true;
}

void CVirtualCamera::stop() {
    if (server_) {
        g_object_unref(server_); // joins the server's thread
        server_ = nullptr;
        Orvia::Aravis::Detail::takeOver(this);
    }
    if (!xmlPath_.empty()) {
        std::error_code ec;
        fs::remove(xmlPath_, ec);
        xmlPath_.clear();
    }
}

std::string CVirtualCamera::description() const {
    return options_.vendor + " " + options_.model + " (" + options_.serial + ") on " + options_.address +
           ", " + std::to_string(width_) + " x " + std::to_string(height_) +
           (options_.mono4p ? " Mono4p" : " Mono8") + " at " + std::to_string(framesPerSecond_) +
           " frames/s free-running, or on software trigger";
}

void CVirtualCamera::fill(ArvBuffer* buffer, void* self, guint32, guint32, ArvPixelFormat format) {
    Orvia::Aravis::Detail::takeOver(self);
    static_cast<CVirtualCamera*>(self)->fillBuffer(buffer, format);
    Orvia::Aravis::Detail::handOver(self); // to stop(), once the server's thread has ended
}

// Runs on the server's thread for each frame it sends.
void CVirtualCamera::fillBuffer(ArvBuffer* buffer, ArvPixelFormat format) {
    // A camera's sensor keeps its rate whatever the host does; the server's thread, when
    // preempted past a frame period, skips that frame.
    if (!serverThreadRaised_) {
        serverThreadRaised_ = true;
        Orvia::Aravis::Detail::raiseStreamThreadPriority();
    }
    const bool mono4p = format == kPfncMono4p;
    const auto width = static_cast<uint64_t>(arv_buffer_get_image_width(buffer));
    const auto height = static_cast<uint64_t>(arv_buffer_get_image_height(buffer));
    const uint64_t payload = mono4p ? width * height / 2 : width * height;
    // The server allocated the buffer for this payload; Aravis hands out its bytes as const.
    auto* bytes = static_cast<uint8_t*>(const_cast<void*>(arv_buffer_get_data(buffer, nullptr)));
    if (!bytes) {
        return;
    }
    // A new acquisition shows the scene from its start: the server makes a new buffer for it,
    // and frames stop coming in between.
    const uint64_t timestamp = arv_buffer_get_timestamp(buffer);
    if (buffer != lastBuffer_ || timestamp > lastTimestamp_ + kAcquisitionGapNs) {
        frames_->restart();
    }
    lastBuffer_ = buffer;
    lastTimestamp_ = timestamp;
    frames_->fill(timestamp, mono4p, bytes, payload);
    ++framesSent_; // the server sends every buffer it has had filled
}

} // namespace quboid3d::virtualcamera
