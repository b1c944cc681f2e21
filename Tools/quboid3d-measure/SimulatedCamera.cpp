#include "SimulatedCamera.h"

#include <filesystem>
#include <memory>

#include "Orvia/GenICam/System.h"
#include "Orvia/Sim/FrameGenerator.h"
#include "Orvia/Sim/ScanSimFrames.h"
#include "Orvia/Sim/SimCamera.h"
#include "ScanSim/SceneJson.h"

namespace quboid3d::measure {
namespace {

namespace fs = std::filesystem;
using Orvia::Sim::ScanSimForm;

// The simulated camera's clock runs at 1 GHz: 2 ms of it per frame.
constexpr std::uint64_t kCameraTicksPerMs = 1000000;
constexpr double kMsPerFrame = 2.0;
constexpr std::uint64_t kTicksPerFrame = 2 * kCameraTicksPerMs;
constexpr const char* kPlainModel = "MV-DL2048-G0X"; // plain images
constexpr const char* kLineModel = "MV-DL2048-G1X";  // the camera's own line form

std::shared_ptr<Orvia::Sim::CSimCamera> plugged;

bool formNamed(const std::string& name, ScanSimForm& form) {
    if (name == "mono8")
        form = ScanSimForm::Mono8;
    else if (name == "mono4p")
        form = ScanSimForm::Mono4p;
    else if (name == "line")
        form = ScanSimForm::LineForm;
    else
        return false;
    return true;
}

std::shared_ptr<Orvia::Sim::IFrameGenerator> imagesOf(const fs::path& directory, std::string& error) {
    const fs::path images =
        fs::is_directory(directory / "LocalImages") ? directory / "LocalImages" : directory;
    auto frames = std::make_shared<Orvia::Sim::CImageDirectoryFrames>(images, kTicksPerFrame);
    if (frames->imageCount() == 0) {
        error = "no bmp, jpg or png image in " + images.string();
        return nullptr;
    }
    return frames;
}

std::shared_ptr<Orvia::Sim::IFrameGenerator> sceneOf(const fs::path& file, ScanSimForm form,
                                                     std::string& error) {
    ScanSim::Scene scene;
    if (!ScanSim::loadSceneFile(file, scene, error))
        return nullptr;
    // The belt moves by frames; only the stamps follow the frame period.
    scene.motion.framePeriodMs = kMsPerFrame;
    Orvia::Sim::ScanSimFramesOptions options;
    options.form = form;
    options.ticksPerMs = kCameraTicksPerMs;
    return std::make_shared<Orvia::Sim::CScanSimFrames>(std::move(scene), options);
}

} // namespace

bool plugSimulatedCamera(const std::string& source, const std::string& formName, std::string& error) {
    ScanSimForm form = ScanSimForm::Mono8;
    if (!formNamed(formName, form)) {
        error = "unknown form " + formName + " (mono8, mono4p or line)";
        return false;
    }
    const bool scan = fs::is_directory(source);
    if (scan && form != ScanSimForm::Mono8) {
        error = "stored images are served as mono8 only; give a scene file for " + formName;
        return false;
    }
    auto frames = scan ? imagesOf(source, error) : sceneOf(source, form, error);
    if (!frames)
        return false;
    const char* model = form == ScanSimForm::LineForm ? kLineModel : kPlainModel;
    plugged = Orvia::Sim::CSimCamera::plugIn(Orvia::Sim::laserCameraDescription("MEASURE", 0, model));
    if (!plugged) {
        error = "the simulated camera could not be plugged in";
        return false;
    }
    plugged->setFrameGenerator(std::move(frames));
    plugged->setDeliveryMode(Orvia::Sim::DeliveryMode::OnDemand);
    // Real devices would come first in discovery; the simulated camera is the one measured here.
    Orvia::GenICam::CSystem::getInstance().setBackendEnabled("aravis", false);
    return true;
}

void unplugSimulatedCamera() {
    plugged.reset();
}

} // namespace quboid3d::measure
