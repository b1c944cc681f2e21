// The calibration a camera carries, as a measuring object in camera mode takes it at initialize:
// downloaded into the configuration directory, or passed over for the local files when the camera
// holds none or the site keeps its own (the program built with USE_LOCAL_CALIB_DATA, whose site
// file says so). Simulated laser cameras and the scripted sheet-of-light library.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "AdvancedConfig.h"
#include "CalcQuboid3DMgr.h"
#include "CalibFiles.h"
#include "CalibrationText.h"
#include "CameraTestSupport.h"
#include "ConfigManager.h"
#include "LpmcStub.h"
#include "MvCamera.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

namespace fs = std::filesystem;
using namespace Orvia::VisionSystem;
namespace stub = lpmc_stub;

constexpr const char* kVolume = "Volume";
constexpr const char* kDefault = "Default";
constexpr const char* kInitializeFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::initialize";
constexpr const char* kLoadFn = "CConfigManager::loadFromCamera";
constexpr const char* kFallbackLine = "Failed to download calib data from camera. Try to use local data.";
// A GigE model whose name makes it an AI camera (type 3): the text lives in its memory.
constexpr const char* kAIModel = "MV-DL2048-GAX";

#ifdef USE_LOCAL_CALIB_DATA
constexpr const char* kSiteFile = "UseLocalCalibData = 1\n";
#else
constexpr const char* kSiteFile = "UseLocalCalibData = 0\n";
#endif

class SiteSettings : public ::testing::Environment {
public:
    void SetUp() override {
        workDir = std::make_unique<ScopedTempWorkDir>();
        workDir->writeFile("station/Quboid3DAdvCfg", kSiteFile);
        fs::current_path(workDir->path() / "station");
        AdvancedConfig::instance();
    }
    void TearDown() override { workDir.reset(); }

private:
    std::unique_ptr<ScopedTempWorkDir> workDir;
};
[[maybe_unused]] ::testing::Environment* const kSiteSettings =
    ::testing::AddGlobalTestEnvironment(new SiteSettings);

std::string contentOf(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<uint8_t> terminated(const std::string& text) {
    std::vector<uint8_t> bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

class CalibrationDownloadTest : public TempWorkDirTest {
protected:
    void SetUp() override {
        stub::reset();
        ASSERT_EQ(AdvancedConfig::instance().UseLocalCalibData, kUseLocal);
    }
    void TearDown() override { manager.finalize(); }

    void plug(const std::string& model = "MV-DL2048-G0X") {
        const auto description =
            Orvia::Sim::laserCameraDescription("CD1", Orvia::GenICam::InterfaceKindGigE, model);
        plugged = plugLaserCamera("CD1", false, &description);
        ASSERT_TRUE(plugged.sim && plugged.camera);
    }
    // The camera's calibration: the test station's files with values of its own, so that a file
    // from the camera is told from a local one.
    static CalibFileTexts cameraStation() {
        CalibFileTexts files;
        files[0] = "image_height = 32\nimage_width = 64\nscan_frame_num = 4000\nthresh = 41\n";
        files[1] = "Width = 64\nHeight = 32\n";
        files[2] = "InstriCamParams = [2000,0,1024,0,2000,256,0,0,1]\n"
                   "InstriCamDistorTion = [0.01,-0.02,0.001,0.002,0.0]\n";
        files[3] = "ExtriCamParams = [0.1,0.2,0.3,10,20,1400]\n";
        files[4] = "PlaneA = 0.001\nPlaneB = -0.002\nPlaneC = 0.0015\nPlaneHeightFactor = 1.0\n";
        files[5] = "SpeedVx = 0.0\nSpeedVy = 0.25\n";
        return files;
    }
    // Puts `text` where the plugged camera keeps it: memory for AI cameras, else the private area.
    void holdInCamera(const std::string& text, bool ai = false) {
        const auto bytes = terminated(text);
        if (ai)
            ASSERT_TRUE(
                plugged.sim->pokeMemory(CConfigManager::kCalibStringAddress, bytes.data(), bytes.size()));
        else
            ASSERT_TRUE(plugged.sim->pokePrivateArea(bytes.data(), bytes.size()));
    }
    CalibFileTexts filesIn(const fs::path& dir) const {
        CalibFileTexts files;
        for (int i = 0; i < kCalibFileCount; ++i)
            files[static_cast<std::size_t>(i)] = contentOf(dir / CConfigManager::calibFileName(i));
        return files;
    }
    static double speedVyOfCalculator() {
        const auto received = stub::received();
        return received.calibration.empty() ? -1.0 : received.calibration[0].motion.SpeedVy;
    }
    int reads() const {
        const auto transfers = plugged.sim->transfers();
        return static_cast<int>(
            std::count_if(transfers.begin(), transfers.end(), [](const auto& t) { return !t.write; }));
    }
    int writes() const {
        const auto transfers = plugged.sim->transfers();
        return static_cast<int>(
            std::count_if(transfers.begin(), transfers.end(), [](const auto& t) { return t.write; }));
    }

#ifdef USE_LOCAL_CALIB_DATA
    static constexpr bool kUseLocal = true;
#else
    static constexpr bool kUseLocal = false;
#endif
    CalibFiles local;
    PluggedCamera plugged;
    CCalcQuboid3DMgr manager;
};

#ifndef USE_LOCAL_CALIB_DATA

TEST_F(CalibrationDownloadTest, TheCameraCalibrationReplacesTheFilesOfTheDirectory) {
    local.write("cfg/");
    plug();
    holdInCamera(makeCalibrationText(cameraStation()));
    int error = 0;
    ASSERT_TRUE(manager.initialize(false, "cfg/", &error));
    EXPECT_EQ(filesIn("cfg"), cameraStation());
    EXPECT_TRUE(
        log.has(OVP_LOG_INFO, kDefault, kLoadFn, "loadFromCamera: " + makeCalibrationText(cameraStation())));
    EXPECT_TRUE(log.withText(kFallbackLine).empty());
    EXPECT_EQ(speedVyOfCalculator(), 0.25) << "the calculator measures with the camera's";
    EXPECT_EQ(reads(), 1);
    EXPECT_EQ(writes(), 0);
}

TEST_F(CalibrationDownloadTest, AnEmptyDefaultDirectoryIsMadeAndFilledFromAnAICamera) {
    plug(kAIModel);
    holdInCamera(makeCalibrationText(cameraStation()), true);
    ASSERT_FALSE(fs::exists("3DCfg"));
    ASSERT_TRUE(manager.initialize(false, "", nullptr));
    ASSERT_EQ(manager.cameraList().at(0)->cameraType, CameraTypeAI);
    EXPECT_EQ(filesIn("3DCfg"), cameraStation());
    EXPECT_EQ(manager.configDir(), "./3DCfg/");
    // 32 KiB in chunks of 512 bytes.
    EXPECT_EQ(reads(), 64);
}

TEST_F(CalibrationDownloadTest, ACameraWithoutCalibrationGivesOneInfoLineAndTheLocalFilesAreUsed) {
    local.write("cfg/");
    const CalibFileTexts before = filesIn("cfg");
    plug();
    int error = 0;
    ASSERT_TRUE(manager.initialize(false, "cfg/", &error));
    EXPECT_EQ(error, 0);
    EXPECT_EQ(log.count(OVP_LOG_INFO, kVolume, kInitializeFn, kFallbackLine), 1);
    EXPECT_EQ(log.withText(kFallbackLine).size(), 1u);
    EXPECT_EQ(log.count(OVP_LOG_INFO, kDefault, kLoadFn, "loadFromCamera: "), 1);
    EXPECT_EQ(filesIn("cfg"), before);
    EXPECT_FALSE(fs::exists("cfg/CameraParams.cfg"));
    EXPECT_EQ(speedVyOfCalculator(), 0.5) << "the calculator measures with the local files";
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kVolume, kInitializeFn, "Initialize 3D volume success!\n"));
}

TEST_F(CalibrationDownloadTest, ACameraThatCannotBeReadFallsBackToTheLocalFilesInSilence) {
    local.write("cfg/");
    const CalibFileTexts before = filesIn("cfg");
    plug();
    holdInCamera(makeCalibrationText(cameraStation()));
    Orvia::Sim::SimFaults faults;
    faults.failTransferAt = 0;
    plugged.sim->setFaults(faults);
    ASSERT_TRUE(manager.initialize(false, "cfg/", nullptr));
    EXPECT_EQ(log.count(OVP_LOG_INFO, kVolume, kInitializeFn, kFallbackLine), 1);
    EXPECT_TRUE(log.withText("loadFromCamera: ").empty());
    EXPECT_EQ(filesIn("cfg"), before);
}

// Factory data stays switched off: neither stage is applied, and nothing goes back to the camera.
TEST_F(CalibrationDownloadTest, FactoryDataIsNeitherAppliedNorWrittenBackToTheCamera) {
    writeKeyValueFile("CalibApp/CalibResult/CalibScanCfg.cfg", {{"thresh", "40"}});
    const std::string result = contentOf("CalibApp/CalibResult/CalibScanCfg.cfg");
    workDir.writeFile("FactoryData.json", R"({"CalibData": {"ScanIn": {"CalibScanCfg.cfg": {"thresh": 7}}, )"
                                          R"("ScanOut": {"CalibScanCfg.cfg": {"thresh": 9}}}})");
    plug();
    holdInCamera(makeCalibrationText(cameraStation()));
    ASSERT_TRUE(manager.initialize(false, "cfg/", nullptr));
    manager.finalize();
    EXPECT_EQ(contentOf("CalibApp/CalibResult/CalibScanCfg.cfg"), result);
    EXPECT_EQ(filesIn("cfg"), cameraStation());
    EXPECT_EQ(writes(), 0);
    EXPECT_TRUE(log.withText("Save calib data to camera error.").empty());
}

TEST_F(CalibrationDownloadTest, EveryInitializeDownloadsAgain) {
    plug();
    holdInCamera(makeCalibrationText(cameraStation()));
    ASSERT_TRUE(manager.initialize(false, "cfg/", nullptr));
    manager.finalize();
    CalibFileTexts changed = cameraStation();
    changed[5] = "SpeedVx = 0.0\nSpeedVy = 0.125\n";
    holdInCamera(makeCalibrationText(changed));
    ASSERT_TRUE(manager.initialize(false, "cfg/", nullptr));
    EXPECT_EQ(filesIn("cfg"), changed);
    EXPECT_EQ(reads(), 2);
}

#else

TEST_F(CalibrationDownloadTest, WithUseLocalCalibDataTheCameraIsNotReadAndNoFileIsWritten) {
    local.write("cfg/");
    const CalibFileTexts before = filesIn("cfg");
    const auto stamp = fs::last_write_time("cfg/LaserMovePose.data");
    plug();
    holdInCamera(makeCalibrationText(cameraStation()));
    ASSERT_TRUE(manager.initialize(false, "cfg/", nullptr));
    EXPECT_EQ(reads(), 0);
    EXPECT_TRUE(log.withText("loadFromCamera: ").empty());
    EXPECT_TRUE(log.withText(kFallbackLine).empty());
    EXPECT_EQ(filesIn("cfg"), before);
    EXPECT_FALSE(fs::exists("cfg/CameraParams.cfg"));
    EXPECT_EQ(fs::last_write_time("cfg/LaserMovePose.data"), stamp);
    EXPECT_EQ(speedVyOfCalculator(), 0.5);
}

TEST_F(CalibrationDownloadTest, WithUseLocalCalibDataAnEmptyDirectoryStaysEmptyAndInitializeFails) {
    plug();
    holdInCamera(makeCalibrationText(cameraStation()));
    int error = 0;
    EXPECT_FALSE(manager.initialize(false, "", &error));
    EXPECT_EQ(error, VSLB_ERR_READ_CFG);
    EXPECT_FALSE(fs::exists("3DCfg"));
    EXPECT_EQ(reads(), 0);
}

#endif

} // namespace
} // namespace quboid3d::test
