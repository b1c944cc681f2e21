#include "Quboid3DSdk.h"

#include <atomic>
#include <ostream>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "CalcQuboid3DMgr.h"
#include "CalibFiles.h"
#include "ImageFiles.h"
#include "LocalStation.h"
#include "LpmcStub.h"
#include "Orvia/Sim/SimCamera.h"
#include "Quboid3DSdkTables.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

using Orvia::VisionSystem::CCalcQuboid3DMgr;
using Orvia::VisionSystem::volumeObjectCount;
using Orvia::VisionSystem::volumeSinkOf;

constexpr const char* kSdk = "Quboid3DSdk";
constexpr const char* kVolume = "Volume";
constexpr VslbHandle kUnknownHandle = 0x1234;
const std::string kLookupLine = "CAPI cant't find obj by handle[1234]\n";

const CCalcQuboid3DMgr* objectOf(VslbHandle handle) {
    return reinterpret_cast<const CCalcQuboid3DMgr*>(handle);
}

// Creates an object for the test and destroys it afterwards. The working directory holds a
// configuration directory "cfg/" that the scripted sheet-of-light library accepts, and a
// simulated laser camera is plugged in for camera mode.
class Quboid3DSdkTest : public TempWorkDirTest {
protected:
    void SetUp() override {
        lpmc_stub::reset();
        CalibFiles{}.write("cfg/");
    }
    void TearDown() override {
        if (handle != 0)
            vslbQuboid3DDestroy(handle);
    }
    // Local mode: the mode file and one stored image.
    void enterLocalMode() const {
        workDir.writeFile("LocalMode.dat");
        std::filesystem::create_directories("LocalImages");
        ASSERT_TRUE(writeGreyPng("LocalImages/0001.png", 8, 4, flatGrey(8, 4, 0)));
    }

    std::shared_ptr<Orvia::Sim::CSimCamera> camera =
        Orvia::Sim::CSimCamera::plugIn(Orvia::Sim::laserCameraDescription("SDK1"));
    VslbHandle handle = vslbQuboid3DCreate();
};

void expectBadHandleLines(const LogCapture& log, const std::string& function, const std::string& text) {
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].level, OVP_LOG_ERROR);
    EXPECT_EQ(lines[0].channel, kSdk);
    EXPECT_EQ(lines[0].function, "getVolumeObjByHandle");
    EXPECT_EQ(lines[0].text, kLookupLine);
    EXPECT_EQ(lines[1].level, OVP_LOG_ERROR);
    EXPECT_EQ(lines[1].channel, kSdk);
    EXPECT_EQ(lines[1].function, function);
    EXPECT_EQ(lines[1].text, text);
    EXPECT_EQ(lines[1].file, "Src/Quboid3DSdk.cpp");
}

TEST_F(Quboid3DSdkTest, BadHandleInitGivesTwoErrorLines) {
    EXPECT_EQ(vslbQuboid3DInit(kUnknownHandle, "cfg"), VSLB_ERR_BAD_HANDLE);
    expectBadHandleLines(log, "vslbQuboid3DInit", "vslbQuboid3DInit failed, volumeObj is null!\n");
}

TEST_F(Quboid3DSdkTest, BadHandleFiniGivesTwoErrorLines) {
    EXPECT_EQ(vslbQuboid3DFini(kUnknownHandle), VSLB_ERR_BAD_HANDLE);
    expectBadHandleLines(log, "vslbQuboid3DFini", "vslbQuboid3DFini failed, volumeObj is null!\n");
}

TEST_F(Quboid3DSdkTest, BadHandleRunGivesTwoErrorLines) {
    EXPECT_EQ(vslbQuboid3DRun(kUnknownHandle, nullptr), VSLB_ERR_BAD_HANDLE);
    expectBadHandleLines(log, "vslbQuboid3DRun", "vslbQuboid3DRun failed, volumeObj is null!\n");
}

TEST_F(Quboid3DSdkTest, BadHandleRunExUsesTheRunTextWithItsOwnFunctionName) {
    EXPECT_EQ(vslbQuboid3DRunEx(kUnknownHandle, nullptr), VSLB_ERR_BAD_HANDLE);
    expectBadHandleLines(log, "vslbQuboid3DRunEx", "vslbQuboid3DRun failed, volumeObj is null!\n");
}

TEST_F(Quboid3DSdkTest, BadHandleStopGivesTwoErrorLines) {
    EXPECT_EQ(vslbQuboid3DStop(kUnknownHandle), VSLB_ERR_BAD_HANDLE);
    expectBadHandleLines(log, "vslbQuboid3DStop", "vslbQuboid3DStop failed, volumeObj is null!\n");
}

TEST_F(Quboid3DSdkTest, BadHandleFrameStatusCallbackGivesTwoErrorLines) {
    EXPECT_EQ(vslbSetFrameStatusCallback(kUnknownHandle, nullptr), VSLB_ERR_BAD_HANDLE);
    expectBadHandleLines(log, "vslbSetFrameStatusCallback",
                         "vslbSetFrameStatusCallback failed, volumeObj is null!\n");
}

TEST_F(Quboid3DSdkTest, BadHandleCameraStatusCallbackGivesTwoErrorLines) {
    EXPECT_EQ(vslbSetCameraStatusCallback(kUnknownHandle, nullptr), VSLB_ERR_BAD_HANDLE);
    expectBadHandleLines(log, "vslbSetCameraStatusCallback",
                         "vslbSetCameraStatusCallback failed, volumeObj is null!\n");
}

TEST_F(Quboid3DSdkTest, BadHandleImageOutputFunctionsGiveTwoErrorLines) {
    EXPECT_EQ(vslbEnableImageOutput(kUnknownHandle, 1), VSLB_ERR_BAD_HANDLE);
    expectBadHandleLines(log, "vslbEnableImageOutput", "vslbEnableImageOutput failed, volumeObj is null!\n");
    log.clear();
    EXPECT_EQ(vslbSetImageOutputOption(kUnknownHandle, 1), VSLB_ERR_BAD_HANDLE);
    expectBadHandleLines(log, "vslbSetImageOutputOption",
                         "vslbSetImageOutputOption failed, volumeObj is null!\n");
}

TEST_F(Quboid3DSdkTest, ImageOutputFunctionsAreNotImplemented) {
    EXPECT_EQ(vslbEnableImageOutput(handle, 1, 2, 3), VSLB_ERR_NOT_IMPLEMENTED);
    EXPECT_TRUE(
        log.has(OVP_LOG_ERROR, kSdk, "vslbEnableImageOutput", "vslbEnableImageOutput is not implemented."));
    EXPECT_EQ(vslbSetImageOutputOption(handle), VSLB_ERR_NOT_IMPLEMENTED);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kSdk, "vslbSetImageOutputOption",
                        "vslbSetImageOutputOption is not implemented."));
    EXPECT_EQ(log.lines().size(), 2u);
}

TEST_F(Quboid3DSdkTest, DestroyOfUnknownHandleOrZeroDoesNothingAndLogsNothing) {
    const auto before = volumeObjectCount();
    vslbQuboid3DDestroy(kUnknownHandle);
    vslbQuboid3DDestroy(0);
    EXPECT_EQ(volumeObjectCount(), before);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Quboid3DSdkTest, DestroyFinalisesAndForgetsTheHandle) {
    const auto before = volumeObjectCount();
    vslbQuboid3DDestroy(handle);
    EXPECT_EQ(volumeObjectCount(), before - 1);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kVolume, "Orvia::VisionSystem::CCalcQuboid3DMgr::finalize",
                        "Finalize 3D volume success!\n"));
    EXPECT_EQ(vslbQuboid3DFini(handle), VSLB_ERR_BAD_HANDLE);
    handle = 0;
}

TEST_F(Quboid3DSdkTest, CreateGivesTheObjectsAddressAndDistinctHandles) {
    VslbHandle other = vslbQuboid3DCreate();
    EXPECT_NE(handle, 0u);
    EXPECT_NE(other, handle);
    EXPECT_EQ(vslbQuboid3DFini(other), VSLB_OK);
    vslbQuboid3DDestroy(other);
}

TEST_F(Quboid3DSdkTest, NullCfgDirIsRefusedBeforeTheHandleIsLookedAt) {
    EXPECT_EQ(vslbQuboid3DInit(kUnknownHandle, nullptr), VSLB_ERR_NULL_ARGUMENT);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, OVP_LOG_ERROR);
    EXPECT_EQ(lines[0].channel, kSdk);
    EXPECT_EQ(lines[0].function, "vslbQuboid3DInit");
    EXPECT_EQ(lines[0].text, "vslbQuboid3DInit failed, cfgDir is null!\n");
}

TEST_F(Quboid3DSdkTest, EmptyCfgDirRaisesInvalidStringPosition) {
    try {
        vslbQuboid3DInit(handle, "");
        FAIL() << "an empty directory must not return";
    } catch (const std::out_of_range& failure) {
        EXPECT_STREQ(failure.what(), "invalid string position");
    }
}

TEST_F(Quboid3DSdkTest, BackslashesBecomeSlashesAndATrailingSlashIsAdded) {
    CalibFiles{}.write("C:/cfg/");
    ASSERT_EQ(vslbQuboid3DInit(handle, "C:\\cfg"), VSLB_OK);
    EXPECT_EQ(objectOf(handle)->configDir(), "C:/cfg/");
}

TEST_F(Quboid3DSdkTest, DirectoryEndingInASlashStaysAsItIs) {
    CalibFiles{}.write("some/dir/");
    CalibFiles{}.write("back/slash/");
    ASSERT_EQ(vslbQuboid3DInit(handle, "some/dir/"), VSLB_OK);
    EXPECT_EQ(objectOf(handle)->configDir(), "some/dir/");
    ASSERT_EQ(vslbQuboid3DFini(handle), VSLB_OK); // the camera is open until Fini
    ASSERT_EQ(vslbQuboid3DInit(handle, "back\\slash\\"), VSLB_OK);
    EXPECT_EQ(objectOf(handle)->configDir(), "back/slash/");
}

TEST_F(Quboid3DSdkTest, InitLogsSuccessOnTheVolumeChannel) {
    ASSERT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_OK);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kVolume, "Orvia::VisionSystem::CCalcQuboid3DMgr::initialize",
                        "Initialize 3D volume success!\n"));
}

TEST_F(Quboid3DSdkTest, WithoutLocalModeFileCameraModeIsChosen) {
    ASSERT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_OK);
    EXPECT_FALSE(objectOf(handle)->localModeEnabled());
}

TEST_F(Quboid3DSdkTest, EmptyLocalModeFileTurnsLocalModeOn) {
    enterLocalMode();
    ASSERT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_OK);
    EXPECT_TRUE(objectOf(handle)->localModeEnabled());
}

TEST_F(Quboid3DSdkTest, LocalModeFileContentIsNeverRead) {
    enterLocalMode();
    workDir.writeFile("LocalMode.dat", std::string("\0\xff\x01 not a setting\n", 18));
    ASSERT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_OK);
    EXPECT_TRUE(objectOf(handle)->localModeEnabled());
}

TEST_F(Quboid3DSdkTest, LocalModeFileElsewhereThanTheWorkingDirectoryIsIgnored) {
    workDir.writeFile("cfg/LocalMode.dat", "");
    ASSERT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_OK);
    EXPECT_FALSE(objectOf(handle)->localModeEnabled());
}

TEST_F(Quboid3DSdkTest, LocalModeWithoutImageDirectoryFailsWith997) {
    workDir.writeFile("LocalMode.dat");
    EXPECT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_ERR_OPEN_LOCAL_DIR);
}

TEST_F(Quboid3DSdkTest, CalculatorFailureCodeReachesTheCaller) {
    EXPECT_EQ(vslbQuboid3DInit(handle, "nowhere"), VSLB_ERR_READ_CFG);
    ASSERT_EQ(vslbQuboid3DFini(handle), VSLB_OK); // the camera is open until Fini
    lpmc_stub::script([](lpmc_stub::Script& s) { s.createCode = -1110; });
    EXPECT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_ERR_LPMC_REFUSED);
}

TEST_F(Quboid3DSdkTest, VersionTextAndCode) {
    const char* version = nullptr;
    EXPECT_EQ(vslbQuboid3DGetVersion(&version), VSLB_OK);
    EXPECT_STREQ(version, "1.3.5.62917(2018/09/14)");
}

TEST_F(Quboid3DSdkTest, RunBeforeInitReturnsOkAndTheThreadReportsNoCalculator) {
    EXPECT_EQ(vslbQuboid3DRun(handle, nullptr), VSLB_OK);
    EXPECT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    // Starting the (absent) cameras reads the scan file of an empty directory, which the parser
    // reports on its own channel.
    std::vector<LogLine> lines;
    for (const LogLine& line : log.lines())
        if (line.channel != "KeyValParser")
            lines.push_back(line);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, OVP_LOG_ERROR);
    EXPECT_EQ(lines[0].channel, kVolume);
    EXPECT_EQ(lines[0].function, "Orvia::VisionSystem::CCalcQuboid3DMgr::threadCalcQuboid3D");
    EXPECT_EQ(lines[0].text, "Can't start calc3DProc thread, calc3DVolume obj is null!\n");
}

TEST_F(Quboid3DSdkTest, RunKeepsTheAdapterUntilStop) {
    EXPECT_EQ(volumeSinkOf(objectOf(handle)), nullptr);
    ASSERT_EQ(vslbQuboid3DRunEx(handle, nullptr), VSLB_OK);
    EXPECT_NE(volumeSinkOf(objectOf(handle)), nullptr);
    ASSERT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    EXPECT_EQ(volumeSinkOf(objectOf(handle)), nullptr);
}

TEST_F(Quboid3DSdkTest, StopTwiceReturnsOkBothTimes) {
    ASSERT_EQ(vslbQuboid3DRun(handle, nullptr), VSLB_OK);
    EXPECT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    EXPECT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
}

TEST_F(Quboid3DSdkTest, StopWithoutRunReturnsOk) {
    EXPECT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
}

TEST_F(Quboid3DSdkTest, RunAgainAfterStopStartsAFreshThread) {
    ASSERT_EQ(vslbQuboid3DRun(handle, nullptr), VSLB_OK);
    ASSERT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    ASSERT_EQ(vslbQuboid3DRunEx(handle, nullptr), VSLB_OK);
    ASSERT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    EXPECT_EQ(log.withText("Can't start calc3DProc thread, calc3DVolume obj is null!\n").size(), 2u);
}

TEST_F(Quboid3DSdkTest, FrameStatusCallbackBeforeInitFailsForWantOfCameras) {
    EXPECT_EQ(vslbSetFrameStatusCallback(handle, nullptr), VSLB_ERR_FAILED);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kVolume,
                        "Orvia::VisionSystem::CCalcQuboid3DMgr::setFrameStatusCallback",
                        "setFrameStatusCallback error, no camera is valid."));
}

TEST_F(Quboid3DSdkTest, FrameStatusCallbackInLocalModeFailsForWantOfCameras) {
    enterLocalMode();
    ASSERT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_OK);
    EXPECT_EQ(vslbSetFrameStatusCallback(handle, nullptr), VSLB_ERR_FAILED);
}

void cameraStatusSink(const VslbCameraStatus*) {}
void otherCameraStatusSink(const VslbCameraStatus*) {}

TEST_F(Quboid3DSdkTest, CameraStatusCallbackIsAcceptedBeforeInitAndMayBeCleared) {
    EXPECT_EQ(vslbSetCameraStatusCallback(handle, &cameraStatusSink), VSLB_OK);
    EXPECT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_OK);
    EXPECT_EQ(vslbSetCameraStatusCallback(handle, nullptr), VSLB_OK);
    EXPECT_TRUE(log.withText("vslbSetCameraStatusCallback failed, volumeObj is null!\n").empty());
}

TEST_F(Quboid3DSdkTest, CameraStatusCallbackStaysInForceThroughInitRunStopAndFini) {
    const CCalcQuboid3DMgr& object = *objectOf(handle);
    ASSERT_EQ(vslbSetCameraStatusCallback(handle, &cameraStatusSink), VSLB_OK);
    ASSERT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_OK);
    EXPECT_EQ(object.cameraStatusCallbackInForce(), &cameraStatusSink) << "after Init";
    ASSERT_EQ(vslbQuboid3DRun(handle, nullptr), VSLB_OK);
    EXPECT_EQ(object.cameraStatusCallbackInForce(), &cameraStatusSink) << "while running";
    ASSERT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    EXPECT_EQ(object.cameraStatusCallbackInForce(), &cameraStatusSink) << "after Stop";
    ASSERT_EQ(vslbQuboid3DRunEx(handle, nullptr), VSLB_OK);
    ASSERT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    EXPECT_EQ(object.cameraStatusCallbackInForce(), &cameraStatusSink) << "after a second run";
    ASSERT_EQ(vslbQuboid3DFini(handle), VSLB_OK);
    EXPECT_EQ(object.cameraStatusCallbackInForce(), &cameraStatusSink) << "after Fini";
    ASSERT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_OK);
    EXPECT_EQ(object.cameraStatusCallbackInForce(), &cameraStatusSink) << "after a fresh Init";
    ASSERT_EQ(vslbSetCameraStatusCallback(handle, &otherCameraStatusSink), VSLB_OK);
    EXPECT_EQ(object.cameraStatusCallbackInForce(), &otherCameraStatusSink) << "until it is replaced";
}

TEST_F(Quboid3DSdkTest, FiniThenInitStartsOver) {
    CalibFiles{}.write("first/");
    CalibFiles{}.write("second/");
    ASSERT_EQ(vslbQuboid3DInit(handle, "first"), VSLB_OK);
    ASSERT_EQ(vslbQuboid3DFini(handle), VSLB_OK);
    ASSERT_EQ(vslbQuboid3DInit(handle, "second"), VSLB_OK);
    EXPECT_EQ(objectOf(handle)->configDir(), "second/");
}

TEST_F(Quboid3DSdkTest, FiniBeforeInitSucceeds) {
    EXPECT_EQ(vslbQuboid3DFini(handle), VSLB_OK);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kVolume, "Orvia::VisionSystem::CCalcQuboid3DMgr::finalize",
                        "Finalize 3D volume success!\n"));
}

// Many objects at once need a source each: the stored images serve them all.
TEST_F(Quboid3DSdkTest, ConcurrentCallersOnManyObjectsAndOneShared) {
    enterLocalMode();
    constexpr int kThreads = 4;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i) {
                VslbHandle own = vslbQuboid3DCreate();
                if (vslbQuboid3DInit(own, "cfg") != VSLB_OK || vslbQuboid3DRun(own, nullptr) != VSLB_OK ||
                    vslbQuboid3DStop(own) != VSLB_OK)
                    ++failures;
                if (vslbSetCameraStatusCallback(handle, &cameraStatusSink) != VSLB_OK)
                    ++failures;
                vslbQuboid3DDestroy(own);
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(failures.load(), 0);
}

// Run after an Init that failed in the calculator: the thread finds a calculator that never
// finished initialising, which must neither crash nor reach the sheet-of-light library. Each
// pass ends at once (the thread goes on until stop), and the log says why, once.
struct FailedCalculatorInit {
    const char* name;
    const char* cfgDir;
    lpmc_stub::Script script;
    int code;
};

void PrintTo(const FailedCalculatorInit& failure, std::ostream* out) {
    *out << failure.name;
}

lpmc_stub::Script scriptWith(int createCode, int getConfigCode, int setConfigCode) {
    lpmc_stub::Script s;
    s.createCode = createCode;
    s.getConfigCode = getConfigCode;
    s.setConfigCode = setConfigCode;
    return s;
}

class RunAfterFailedInitTest : public Quboid3DSdkTest,
                               public ::testing::WithParamInterface<FailedCalculatorInit> {};

TEST_P(RunAfterFailedInitTest, EveryPassEndsAtOnceWithOneErrorLineAndStopStillSucceeds) {
    const FailedCalculatorInit& failure = GetParam();
    enterLocalMode();
    lpmc_stub::script([&](lpmc_stub::Script& s) { s = failure.script; });
    ASSERT_EQ(vslbQuboid3DInit(handle, failure.cfgDir), failure.code);
    log.clear();

    ASSERT_EQ(vslbQuboid3DRun(handle, nullptr), VSLB_OK);
    const std::string notInitialised = "3DVolume is not initialized, no image is processed.\n";
    ASSERT_TRUE(log.waitFor(notInitialised));
    EXPECT_EQ(vslbQuboid3DStop(handle), VSLB_OK);

    EXPECT_EQ(
        log.count(OVP_LOG_ERROR, kVolume, "Orvia::VisionSystem::CCalcQuboid3DMulti::process", notInitialised),
        1);
    EXPECT_EQ(log.withText("Start 3D volume proc thread success.\n").size(), 1u);
    EXPECT_EQ(log.withText("Exit 3D volume proc thread success.\n").size(), 1u);
    EXPECT_EQ(lpmc_stub::received().processCalls, 0);
}

INSTANTIATE_TEST_SUITE_P(
    EachCalculatorFailure, RunAfterFailedInitTest,
    ::testing::Values(
        FailedCalculatorInit{"MissingDirectory", "nowhere", scriptWith(0, 0, 0), VSLB_ERR_READ_CFG},
        FailedCalculatorInit{"LibraryRefusesTheCalibration", "cfg", scriptWith(-1110, 0, 0),
                             VSLB_ERR_LPMC_REFUSED},
        FailedCalculatorInit{"LibraryCannotBeCreated", "cfg", scriptWith(7, 0, 0), VSLB_ERR_LPMC_CREATE},
        FailedCalculatorInit{"GetConfigRefused", "cfg", scriptWith(0, -3, 0), VSLB_ERR_SET_CONFIG},
        FailedCalculatorInit{"SetConfigRefused", "cfg", scriptWith(0, 0, -8), VSLB_ERR_SET_CONFIG}),
    [](const ::testing::TestParamInfo<FailedCalculatorInit>& info) { return std::string(info.param.name); });

TEST_F(Quboid3DSdkTest, RunAfterInitFailedForWantOfStoredImagesFindsNoCalculator) {
    workDir.writeFile("LocalMode.dat");
    ASSERT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_ERR_OPEN_LOCAL_DIR);
    log.clear();
    ASSERT_EQ(vslbQuboid3DRun(handle, nullptr), VSLB_OK);
    EXPECT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    // Starting the (absent) cameras reads the scan file of an empty directory, which the parser
    // reports on its own channel.
    std::vector<LogLine> lines;
    for (const LogLine& line : log.lines())
        if (line.channel != "KeyValParser")
            lines.push_back(line);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, OVP_LOG_ERROR);
    EXPECT_EQ(lines[0].function, "Orvia::VisionSystem::CCalcQuboid3DMgr::threadCalcQuboid3D");
    EXPECT_EQ(lines[0].text, "Can't start calc3DProc thread, calc3DVolume obj is null!\n");
}

using Quboid3DSdkDeathTest = Quboid3DSdkTest;

TEST_F(Quboid3DSdkDeathTest, RunTwiceWithoutStopInLocalModeEndsTheProcess) {
    enterLocalMode();
    ASSERT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_OK);
    EXPECT_DEATH(
        {
            vslbQuboid3DRun(handle, nullptr);
            vslbQuboid3DRun(handle, nullptr);
        },
        "");
}

VslbHandle handleToStopFromCallback = 0;
void stopFromInsideTheCallback(const VslbVolumeResult*) {
    vslbQuboid3DStop(handleToStopFromCallback);
}

TEST_F(Quboid3DSdkDeathTest, StopFromInsideAResultCallbackEndsTheProcess) {
    enterLocalMode();
    ASSERT_EQ(vslbQuboid3DInit(handle, "cfg"), VSLB_OK);
    EXPECT_DEATH(
        {
            lpmc_stub::script([](lpmc_stub::Script& s) {
                s.results.push_back({0, 1, {boxOf(3, 2, 1)}, {}, -1});
            });
            handleToStopFromCallback = handle;
            vslbQuboid3DRunEx(handle, &stopFromInsideTheCallback);
            std::this_thread::sleep_for(std::chrono::seconds(30));
        },
        "Resource deadlock");
}

TEST_F(Quboid3DSdkDeathTest, DestroyingARunningObjectEndsTheProcess) {
    EXPECT_DEATH(
        {
            vslbQuboid3DRun(handle, nullptr);
            vslbQuboid3DDestroy(handle);
        },
        "");
}

} // namespace
} // namespace quboid3d::test
