// The calibration a camera carries: the six files between simulated cameras (AI cameras through
// their memory, the others through their private area) and a local directory, the binary record
// of AI cameras, and what happens with empty, partial, odd and oversized texts. The cache is
// process-wide, so every case fills it itself before it relies on it.
#include "ConfigManager.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CameraTestSupport.h"
#include "Json.h"
#include "Orvia/Sim/ScanSimCalibration.h"
#include "ScanSim/CameraCalibration.h"
#include "ScanSim/ScanWriter.h"
#include "ScanSim/SceneJson.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

namespace fs = std::filesystem;
using namespace Orvia::VisionSystem;

constexpr const char* kChannel = "Default";
constexpr const char* kLoadFn = "CConfigManager::loadFromCamera";
constexpr const char* kSaveFn = "CConfigManager::saveToCamera";
constexpr uint64_t kStringArea = 0x4E0615E0;
constexpr uint64_t kBinaryArea = 0x4E05D198;
constexpr std::size_t kAreaSize = 32768;

const CalibFileTexts kStation = {
    "scan_min_l = 10\nscan_max_l = 1500\nscan_min_w = 20\nscan_max_w = 1000\nscan_min_h = 5\n"
    "scan_max_h = 900\nscan_noise_factor = 0.5\nscan_chessboard_height = 12.5\n",
    "Width = 2048\nHeight = 512\n",
    "InstriCamParams = [1000,0,1024,0,1000,256,0,0,1]\nInstriCamDistorTion = [0.1,-0.2,0.001,0.002,0.3]\n",
    "ExtriCamParams = [0.5,0.25,0.125,10,20,1500]\n",
    "PlaneA = 0.1\nPlaneB = -0.2\nPlaneC = 0.3\nPlaneHeightFactor = 1.5\n",
    "SpeedVx = 0.01\nSpeedVy = 2.5\n",
};

std::string contentOf(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Private data that keeps whatever is written, of any length, and reads back at most what is
// asked, zero-filled; stands in for a camera without the simulator's 32 KiB limit.
class CFakeParams : public CMvCameraParams {
public:
    CFakeParams() : CMvCameraParams(nullptr) {}
    int32_t readUserPrivateData(uint8_t* buffer, int32_t count) override {
        std::memset(buffer, 0, static_cast<std::size_t>(count));
        std::memcpy(buffer, stored.data(), std::min(stored.size(), static_cast<std::size_t>(count)));
        return count;
    }
    int32_t writeUserPrivateData(uint8_t* buffer, int32_t count) override {
        stored.assign(buffer, buffer + count);
        ++writes;
        return count;
    }
    std::vector<uint8_t> stored;
    int writes = 0;
};

class CFakeCamera : public CMvCamera {
public:
    explicit CFakeCamera(uint32_t type) : CMvCamera(nullptr, type) {}
    bool isConnected() override { return true; }
    TSharedPtr<CMvCameraParams> getParams() override { return params; }
    std::shared_ptr<CFakeParams> params = std::make_shared<CFakeParams>();
};

std::vector<uint8_t> terminated(const std::string& text) {
    std::vector<uint8_t> bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

class ConfigManagerTest : public TempWorkDirTest {
protected:
    // A simulated camera of `type`, connected, with no CMvCamera::open needed for memory.
    TSharedPtr<CMvCamera> simulated(const std::string& serial, uint32_t type) {
        plugged = plugLaserCamera(serial);
        EXPECT_TRUE(plugged.sim && plugged.camera);
        return std::make_shared<CMvCamera>(plugged.camera, type);
    }
    // Puts `text` where a camera of this type keeps it.
    void holdInCamera(const TSharedPtr<CMvCamera>& camera, const std::string& text) {
        auto bytes = terminated(text);
        if (camera->cameraType == CameraTypeAI)
            ASSERT_TRUE(plugged.sim->pokeMemory(kStringArea, bytes.data(), bytes.size()));
        else
            ASSERT_GT(
                camera->getParams()->writeUserPrivateData(bytes.data(), static_cast<int32_t>(bytes.size())),
                0);
        plugged.sim->clearRecords();
    }
    // Fills the cache with `files` through a camera, as a download would.
    void cacheFiles(const CalibFileTexts& files) {
        auto camera = std::make_shared<CFakeCamera>(CameraTypeU3);
        camera->params->stored = terminated(makeCalibrationText(files));
        ASSERT_TRUE(manager.loadFromCamera(camera));
        log.clear();
    }
    CalibFileTexts cachedFiles() const {
        CalibFileTexts files;
        for (int i = 0; i < kCalibFileCount; ++i)
            files[static_cast<std::size_t>(i)] = manager.cached(i);
        return files;
    }
    CalibFileTexts filesIn(const fs::path& dir) const {
        CalibFileTexts files;
        for (int i = 0; i < kCalibFileCount; ++i)
            files[static_cast<std::size_t>(i)] = contentOf(dir / CConfigManager::calibFileName(i));
        return files;
    }
    DspCalibConfig recordOf(const CalibFileTexts& files) {
        cacheFiles(files);
        DspCalibConfig record{};
        EXPECT_TRUE(manager.readDspCalibConfig(record));
        return record;
    }

    CConfigManager& manager = CConfigManager::instance();
    PluggedCamera plugged;
};

TEST_F(ConfigManagerTest, FileNamesByIndexAndEmptyOutside) {
    const char* names[] = {"CalibScanCfg.cfg",   "CameraParams.cfg",     "CamInstrinsic0.data",
                           "CamExtrinsic0.data", "LightPlaneParam.data", "LaserMovePose.data"};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(CConfigManager::calibFileName(i), names[i]);
    EXPECT_EQ(CConfigManager::calibFileName(-1), "");
    EXPECT_EQ(CConfigManager::calibFileName(6), "");
}

TEST_F(ConfigManagerTest, TheTextNamesEveryFileInKeyOrder) {
    cacheFiles({"a", "b", "c", "d", "e", "f"});
    auto camera = std::make_shared<CFakeCamera>(CameraTypeGige);
    ASSERT_TRUE(manager.saveToCamera(camera));
    const std::string expected =
        R"({"CalibScanCfg.cfg": "a", "CamExtrinsic0.data": "d", "CamInstrinsic0.data": "c", )"
        R"("CameraParams.cfg": "b", "LaserMovePose.data": "f", "LightPlaneParam.data": "e"})";
    EXPECT_EQ(camera->params->stored, std::vector<uint8_t>(terminated(expected + '\0')));
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kSaveFn, "saveToCamera: " + expected));
}

TEST_F(ConfigManagerTest, AICameraCalibrationComesDownIntoTheDirectory) {
    auto camera = simulated("CM1", CameraTypeAI);
    const std::string text = makeCalibrationText(kStation);
    holdInCamera(camera, text);
    ASSERT_TRUE(manager.loadFromCamera(camera));
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kLoadFn, "loadFromCamera: " + text));
    EXPECT_EQ(plugged.sim->transfers().size(), 64u);
    ASSERT_TRUE(manager.saveToLocal("3DCfg"));
    EXPECT_EQ(filesIn("3DCfg"), kStation);
}

// The calibration of a station that ScanSim writes, carried by a camera of each type, comes
// down into an empty directory byte for byte.
TEST_F(ConfigManagerTest, AScanSimStationCarriedByTheCameraComesDownUnchanged) {
    ScanSim::Scene scene;
    std::string error;
    ASSERT_TRUE(ScanSim::loadSceneFile(fs::path(SCANSIM_SCENES_DIR) / "default.json", scene, error)) << error;
    ASSERT_TRUE(ScanSim::writeCalibrationFiles(scene, "station", error)) << error;
    const CalibFileTexts station = filesIn("station");
    for (const std::string& file : station)
        ASSERT_FALSE(file.empty());
    for (uint32_t type : {CameraTypeU3, CameraTypeGige, CameraTypeAI}) {
        auto camera = simulated("CMS-" + std::to_string(type), type);
        holdInCamera(camera, makeCalibrationText(station));
        cacheFiles({});
        ASSERT_TRUE(manager.loadFromCamera(camera)) << type;
        const std::string dir = "3DCfg-" + std::to_string(type);
        ASSERT_TRUE(manager.saveToLocal(dir));
        EXPECT_EQ(filesIn(dir), station) << type;
    }
}

ScanSim::Scene sceneNamed(const std::string& name) {
    ScanSim::Scene scene;
    std::string error;
    EXPECT_TRUE(ScanSim::loadSceneFile(fs::path(SCANSIM_SCENES_DIR) / name, scene, error)) << error;
    return scene;
}

// Files read back in text mode end their lines as the platform does; the camera's text always
// ends them in a bare line feed.
CalibFileTexts withLineFeeds(CalibFileTexts files) {
    for (std::string& file : files)
        std::erase(file, '\r');
    return files;
}

TEST_F(ConfigManagerTest, ScanSimWritesTheStationTextAsTheLibraryWouldOnEitherClock) {
    const ScanSim::Scene scene = sceneNamed("default.json");
    for (auto base : {ScanSim::TimeBase::StoredImages, ScanSim::TimeBase::CameraMs}) {
        const std::string dir = "station-" + std::to_string(static_cast<int>(base));
        std::string error;
        ASSERT_TRUE(ScanSim::writeCalibrationFiles(scene, dir, error, base)) << error;
        const CalibFileTexts files = withLineFeeds(filesIn(dir));
        EXPECT_EQ(ScanSim::cameraCalibrationText(scene, base), makeCalibrationText(files));
    }
    EXPECT_NE(ScanSim::cameraCalibrationText(scene, ScanSim::TimeBase::StoredImages),
              ScanSim::cameraCalibrationText(scene, ScanSim::TimeBase::CameraMs));
}

TEST_F(ConfigManagerTest, ScanSimEscapesStringsAsTheJsonLayerDoes) {
    std::string text = "quote \" backslash \\ slash / high \x7f";
    for (char c = 1; c < 0x20; ++c)
        text += c;
    EXPECT_EQ(ScanSim::jsonString(text), Json(text).dump());
}

TEST_F(ConfigManagerTest, ScanSimRecordIsTheOneTheLibraryReadsFromTheSameFiles) {
    for (const char* name : {"default.json", "harsh.json", "encoder.json"}) {
        const ScanSim::Scene scene = sceneNamed(name);
        CalibFileTexts files;
        std::string error;
        ASSERT_TRUE(parseCalibrationText(ScanSim::cameraCalibrationText(scene), files, error)) << error;
        const DspCalibConfig read = recordOf(files);
        const DspCalibConfig written = ScanSim::dspCalibConfig(scene);
        EXPECT_EQ(std::memcmp(&read, &written, sizeof read), 0) << name;
        EXPECT_NE(written.speedVy, 0.0f) << name;
        EXPECT_NE(written.planeC, 0.0f) << name;
    }
}

TEST_F(ConfigManagerTest, ASimulatedAICameraServesTheStationAndItsRecordFromMemory) {
    const ScanSim::Scene scene = sceneNamed("default.json");
    auto camera = simulated("CMS-AI", CameraTypeAI);
    ASSERT_TRUE(Orvia::Sim::holdStationCalibration(*plugged.sim, scene, Orvia::Sim::CalibrationArea::Memory));
    ASSERT_TRUE(manager.loadFromCamera(camera));
    CalibFileTexts expected;
    std::string error;
    ASSERT_TRUE(parseCalibrationText(ScanSim::cameraCalibrationText(scene), expected, error));
    EXPECT_EQ(cachedFiles(), expected);
    DspCalibConfig record{};
    ASSERT_TRUE(plugged.sim->peekMemory(kBinaryArea, &record, sizeof record));
    const DspCalibConfig written = ScanSim::dspCalibConfig(scene);
    EXPECT_EQ(std::memcmp(&record, &written, sizeof record), 0);
    EXPECT_TRUE(plugged.sim->privateArea() == std::vector<uint8_t>(plugged.sim->privateArea().size(), 0));
}

TEST_F(ConfigManagerTest, ASimulatedCameraOfAnotherTypeServesTheStationFromItsPrivateArea) {
    const ScanSim::Scene scene = sceneNamed("default.json");
    auto camera = simulated("CMS-P", CameraTypeGige);
    ASSERT_TRUE(
        Orvia::Sim::holdStationCalibration(*plugged.sim, scene, Orvia::Sim::CalibrationArea::PrivateArea));
    const std::string text = ScanSim::cameraCalibrationText(scene);
    const auto area = plugged.sim->privateArea();
    ASSERT_GT(area.size(), text.size() + 2);
    EXPECT_EQ(std::string(area.begin(), area.begin() + static_cast<std::ptrdiff_t>(text.size())), text);
    EXPECT_EQ(area[text.size()], 0);
    EXPECT_EQ(area[text.size() + 1], 0);
    EXPECT_TRUE(plugged.sim->transfers().empty());
    ASSERT_TRUE(manager.loadFromCamera(camera));
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kLoadFn, "loadFromCamera: " + text));
}

TEST_F(ConfigManagerTest, U3AndGigeCamerasKeepTheTextInTheirPrivateArea) {
    for (uint32_t type : {CameraTypeU3, CameraTypeGige}) {
        auto camera = simulated("CM2-" + std::to_string(type), type);
        holdInCamera(camera, makeCalibrationText(kStation));
        cacheFiles({});
        ASSERT_TRUE(manager.loadFromCamera(camera));
        EXPECT_EQ(cachedFiles(), kStation);
        const auto transfers = plugged.sim->transfers();
        ASSERT_EQ(transfers.size(), 1u);
        EXPECT_TRUE(transfers[0].privateArea);
        EXPECT_EQ(transfers[0].asked, kAreaSize);
    }
}

TEST_F(ConfigManagerTest, AMissingOrOfflineCameraIsRefusedWithoutAWord) {
    EXPECT_FALSE(manager.loadFromCamera(nullptr));
    EXPECT_FALSE(manager.saveToCamera(nullptr));
    plugged = plugLaserCamera("CM3", false);
    auto offline = std::make_shared<CMvCamera>(plugged.camera, CameraTypeAI);
    EXPECT_FALSE(manager.loadFromCamera(offline));
    EXPECT_FALSE(manager.saveToCamera(offline));
    EXPECT_TRUE(plugged.sim->transfers().empty());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(ConfigManagerTest, AnAreaOfZerosLeavesTheCacheAndTheFilesAsTheyWere) {
    cacheFiles(kStation);
    ASSERT_TRUE(manager.saveToLocal("3DCfg"));
    auto camera = simulated("CM4", CameraTypeAI);
    EXPECT_FALSE(manager.loadFromCamera(camera));
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kLoadFn, "loadFromCamera: "));
    EXPECT_TRUE(
        log.has(OVP_LOG_ERROR, kChannel, kLoadFn, "config parse error. The document is empty. (offset 0)"));
    EXPECT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(cachedFiles(), kStation);
    EXPECT_EQ(filesIn("3DCfg"), kStation);
}

TEST_F(ConfigManagerTest, AnAreaThatCannotBeReadLeavesTheCache) {
    cacheFiles(kStation);
    auto camera = simulated("CM5", CameraTypeAI);
    holdInCamera(camera, makeCalibrationText({}));
    Orvia::Sim::SimFaults faults;
    faults.failTransferAt = 3;
    plugged.sim->setFaults(faults);
    EXPECT_FALSE(manager.loadFromCamera(camera));
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kLoadFn, "read calib string from camera error."));
    EXPECT_EQ(cachedFiles(), kStation);
}

TEST_F(ConfigManagerTest, TextWithoutLaserMovePoseLeavesThatFileEmpty) {
    auto camera = std::make_shared<CFakeCamera>(CameraTypeU3);
    CalibFileTexts partial = kStation;
    partial[5].clear();
    Json::object members;
    for (int i = 0; i < 5; ++i)
        members[CConfigManager::calibFileName(i)] = Json(kStation[static_cast<std::size_t>(i)]);
    camera->params->stored = terminated(Json(members).dump());
    fs::create_directory("3DCfg");
    std::ofstream("3DCfg/LaserMovePose.data") << kStation[5];
    ASSERT_TRUE(manager.loadFromCamera(camera));
    ASSERT_TRUE(manager.saveToLocal("3DCfg"));
    EXPECT_EQ(filesIn("3DCfg"), partial);
    EXPECT_TRUE(fs::exists("3DCfg/LaserMovePose.data"));
}

TEST_F(ConfigManagerTest, AnyJsonValueSucceedsAndGivesSixEmptyFiles) {
    for (const char* text : {"[1]", "3", R"({"CalibScanCfg.cfg": 5})"}) {
        cacheFiles(kStation);
        auto camera = std::make_shared<CFakeCamera>(CameraTypeGige);
        camera->params->stored = terminated(text);
        ASSERT_TRUE(manager.loadFromCamera(camera)) << text;
        ASSERT_TRUE(manager.saveToLocal("out"));
        EXPECT_EQ(filesIn("out"), CalibFileTexts{}) << text;
        for (int i = 0; i < 6; ++i)
            EXPECT_TRUE(fs::exists(fs::path("out") / CConfigManager::calibFileName(i)));
    }
}

TEST_F(ConfigManagerTest, EmptyCacheGivesSixEmptyStringsAndARecordOfTheMagicAlone) {
    cacheFiles({});
    auto camera = simulated("CM6", CameraTypeAI);
    const std::vector<uint8_t> dirt(176, 0xEE);
    ASSERT_TRUE(plugged.sim->pokeMemory(kBinaryArea, dirt.data(), dirt.size()));
    ASSERT_TRUE(manager.saveToCamera(camera));

    const std::string expected =
        R"({"CalibScanCfg.cfg": "", "CamExtrinsic0.data": "", "CamInstrinsic0.data": "", )"
        R"("CameraParams.cfg": "", "LaserMovePose.data": "", "LightPlaneParam.data": ""})";
    std::vector<uint8_t> text(expected.size() + 1, 0xFF);
    ASSERT_TRUE(plugged.sim->peekMemory(kStringArea, text.data(), text.size()));
    EXPECT_EQ(text, terminated(expected));
    std::vector<uint8_t> record(176, 0xFF);
    ASSERT_TRUE(plugged.sim->peekMemory(kBinaryArea, record.data(), record.size()));
    std::vector<uint8_t> magicAlone(176, 0);
    std::memcpy(magicAlone.data(), "3DPt", 4);
    EXPECT_EQ(record, magicAlone);
    // The string first, then the record.
    const auto transfers = plugged.sim->transfers();
    ASSERT_GE(transfers.size(), 2u);
    EXPECT_EQ(transfers.front().address, kStringArea);
    EXPECT_EQ(transfers.back().address, kBinaryArea);
    EXPECT_EQ(transfers.back().asked, 176u);

    char line[160];
    std::snprintf(line, sizeof line,
                  "write memory. addr: 4e0615e0, len: %d, data: ", static_cast<int>(expected.size() + 1));
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kSaveFn, line + expected));
    // The record's address as the C library prints a pointer: "0x..." on Linux, bare hex digits
    // on Windows.
    const std::string recordLine = "write memory. addr: 4e05d198, len: 176, data: ";
    int binaryLines = 0;
    for (const LogLine& l : log.lines()) {
        void* address = nullptr;
        binaryLines += l.text.starts_with(recordLine) &&
                               std::sscanf(l.text.c_str() + recordLine.size(), "%p", &address) == 1 &&
                               address != nullptr
                           ? 1
                           : 0;
    }
    EXPECT_EQ(binaryLines, 1);
}

TEST_F(ConfigManagerTest, OtherCamerasGetTheTextWithTwoNulBytesAndNoRecord) {
    cacheFiles({});
    auto camera = std::make_shared<CFakeCamera>(CameraTypeU3);
    ASSERT_TRUE(manager.saveToCamera(camera));
    const std::string text = makeCalibrationText({});
    std::vector<uint8_t> expected(text.begin(), text.end());
    expected.push_back(0);
    expected.push_back(0);
    EXPECT_EQ(camera->params->stored, expected);
    EXPECT_EQ(camera->params->writes, 1);
}

TEST_F(ConfigManagerTest, TheRecordHoldsEveryValueAtItsPlace) {
    auto camera = simulated("CM7", CameraTypeAI);
    cacheFiles(kStation);
    ASSERT_TRUE(manager.saveToCamera(camera));
    std::vector<uint8_t> bytes(176);
    ASSERT_TRUE(plugged.sim->peekMemory(kBinaryArea, bytes.data(), bytes.size()));
    const auto at = [&](std::size_t offset) {
        float value;
        std::memcpy(&value, bytes.data() + offset, 4);
        return value;
    };
    EXPECT_EQ(std::memcmp(bytes.data(), "3DPt", 4), 0);
    const float intrinsics[] = {1000, 0, 1024, 0, 1000, 256, 0, 0, 1};
    for (std::size_t i = 0; i < 9; ++i)
        EXPECT_EQ(at(0x04 + 4 * i), intrinsics[i]);
    const float distortion[] = {0.1f, -0.2f, 0.001f, 0.002f, 0.3f};
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(at(0x28 + 4 * i), distortion[i]);
    const float pose[] = {0.5f, 0.25f, 0.125f, 10, 20, 1500};
    for (std::size_t i = 0; i < 6; ++i)
        EXPECT_EQ(at(0x3C + 4 * i), pose[i]);
    for (std::size_t offset = 0x54; offset < 0x78; ++offset)
        EXPECT_EQ(bytes[offset], 0) << offset;
    const float tail[] = {0.1f, -0.2f, 0.3f, 1.5f, 0.01f, 2.5f, 900, 1500, 1000, 5, 10, 20, 0.5f, 12.5f};
    for (std::size_t i = 0; i < 14; ++i)
        EXPECT_EQ(at(0x78 + 4 * i), tail[i]) << std::hex << 0x78 + 4 * i;
}

TEST_F(ConfigManagerTest, NineIntrinsicsReachTheRecordAndMissingOnesStayZero) {
    CalibFileTexts files = kStation;
    files[2] = "InstriCamParams = [1,2,3,4,5,6,7,8,9,10,11,12]\nInstriCamDistorTion = [1,2,3,4,5,6]\n";
    DspCalibConfig record = recordOf(files);
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(record.instriCamParams[i], static_cast<float>(i + 1));
    EXPECT_EQ(record.instriCamDistortion[4], 5.0f);
    EXPECT_EQ(record.extriCamParams[0], 0.5f);

    files[2] = "InstriCamParams = [1,2,3,4]\n";
    record = recordOf(files);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(record.instriCamParams[i], static_cast<float>(i + 1));
    for (int i = 4; i < 9; ++i)
        EXPECT_EQ(record.instriCamParams[i], 0.0f);
    for (float value : record.instriCamDistortion)
        EXPECT_EQ(value, 0.0f);
}

TEST_F(ConfigManagerTest, CrlfTextsReadTheirListsAndNumbers) {
    CalibFileTexts files = kStation;
    files[0] = "scan_max_h = 900\r\nscan_noise_factor = 0.5\r\n";
    files[2] = "InstriCamParams = [1,2,3,4,5,6,7,8,9]\r\n";
    files[4] = "PlaneA = 0.1\r\nPlaneHeightFactor = 1.5\r\n";
    const DspCalibConfig record = recordOf(files);
    EXPECT_EQ(record.scanMaxH, 900.0f);
    EXPECT_EQ(record.scanNoiseFactor, 0.5f);
    EXPECT_EQ(record.instriCamParams[8], 9.0f);
    EXPECT_EQ(record.planeA, 0.1f);
    EXPECT_EQ(record.planeHeightFactor, 1.5f);
    EXPECT_EQ(record.scanMinL, 0.0f);
}

TEST_F(ConfigManagerTest, ADirectoryWithoutATrailingSeparatorIsStillWrittenInside) {
    cacheFiles(kStation);
    ASSERT_TRUE(manager.saveToLocal("./3DCfg"));
    EXPECT_EQ(filesIn("3DCfg"), kStation);
    EXPECT_FALSE(fs::exists("./3DCfgCalibScanCfg.cfg"));
    // One level only: a missing parent is not made, and nothing is written.
    EXPECT_TRUE(manager.saveToLocal("missing/3DCfg"));
    EXPECT_FALSE(fs::exists("missing"));
}

TEST_F(ConfigManagerTest, OneMissingLocalFileGivesFalseWithTheOtherFiveCached) {
    cacheFiles(kStation);
    ASSERT_TRUE(manager.saveToLocal("3DCfg"));
    fs::remove("3DCfg/CamExtrinsic0.data");
    cacheFiles({"x", "x", "x", "x", "x", "x"});
    EXPECT_FALSE(manager.loadFromLocal("3DCfg"));
    CalibFileTexts expected = kStation;
    expected[3].clear();
    EXPECT_EQ(cachedFiles(), expected);
    std::ofstream("3DCfg/CamExtrinsic0.data") << kStation[3];
    EXPECT_TRUE(manager.loadFromLocal("3DCfg"));
    EXPECT_EQ(cachedFiles(), kStation);
}

TEST_F(ConfigManagerTest, ATextOf32KiBOrMoreIsWrittenWholeButCannotBeReadBack) {
    CalibFileTexts big = kStation;
    big[1] = std::string(40000, 'w');
    fs::create_directory("big");
    for (int i = 0; i < kCalibFileCount; ++i)
        std::ofstream(fs::path("big") / CConfigManager::calibFileName(i)) << big[static_cast<std::size_t>(i)];
    ASSERT_TRUE(manager.loadFromLocal("big"));
    auto camera = std::make_shared<CFakeCamera>(CameraTypeGige);
    ASSERT_TRUE(manager.saveToCamera(camera));
    const std::string text = makeCalibrationText(big);
    ASSERT_EQ(camera->params->stored.size(), text.size() + 2);
    EXPECT_TRUE(std::equal(text.begin(), text.end(), camera->params->stored.begin()));
    log.clear();
    EXPECT_FALSE(manager.loadFromCamera(camera));
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kLoadFn,
                        "config parse error. Missing a closing quotation mark in string. (offset 32768)"));
    EXPECT_TRUE(cachedFiles() == big);
}

TEST_F(ConfigManagerTest, AFullAreaWithoutTerminatorIsReadWithinItsBounds) {
    cacheFiles(kStation);
    auto camera = std::make_shared<CFakeCamera>(CameraTypeU3);
    camera->params->stored.assign(kAreaSize, '7');
    EXPECT_FALSE(manager.loadFromCamera(camera));
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kLoadFn, "loadFromCamera: " + std::string(kAreaSize, '7')));
    EXPECT_EQ(cachedFiles(), kStation);
}

TEST_F(ConfigManagerTest, AFailedStringWriteStopsBeforeTheRecord) {
    auto camera = simulated("CM8", CameraTypeAI);
    cacheFiles(kStation);
    Orvia::Sim::SimFaults faults;
    faults.failTransferAt = 0;
    plugged.sim->setFaults(faults);
    EXPECT_FALSE(manager.saveToCamera(camera));
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kSaveFn, "write calib string to camera failed."));
    for (const auto& transfer : plugged.sim->transfers())
        EXPECT_NE(transfer.address, kBinaryArea);
}

TEST_F(ConfigManagerTest, AFailedRecordWriteComesAfterTheString) {
    auto camera = simulated("CM9", CameraTypeAI);
    cacheFiles({});
    Orvia::Sim::SimFaults faults;
    faults.failTransferAt = 1; // the empty texts fit in one transfer
    plugged.sim->setFaults(faults);
    EXPECT_FALSE(manager.saveToCamera(camera));
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kSaveFn, "write calib binary to camera failed."));
}

} // namespace
} // namespace quboid3d::test
