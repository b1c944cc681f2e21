// Bringing the calculator up from the files of a configuration directory.
#include "CalcQuboid3DMulti.h"

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <ostream>

#include <gtest/gtest.h>

#include "CalibFiles.h"
#include "LpmcStub.h"
#include "Quboid3DSdk.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

using Orvia::VisionSystem::CCalcQuboid3DMulti;
namespace stub = lpmc_stub;

constexpr const char* kVolume = "Volume";
constexpr const char* kInitFn = "Orvia::VisionSystem::CCalcQuboid3DMulti::initialize";
constexpr const char* kReadCalibFn = "Orvia::VisionSystem::CCalcQuboid3DMulti::readCalibData";
constexpr const char* kReadConfigFn = "Orvia::VisionSystem::CCalcQuboid3DMulti::readConfig";
constexpr const char* kSetConfigFn = "Orvia::VisionSystem::CCalcQuboid3DMulti::setConfig";

// The double at byte `at` of the library's own block of what lpmcSetConfig last received.
double ownDoubleAt(std::size_t at) {
    double value = 0.0;
    std::memcpy(&value, stub::received().configAtSet.libraryOwn + at, sizeof value);
    return value;
}

class CalcInitTest : public TempWorkDirTest {
protected:
    void SetUp() override {
        stub::reset();
        stub::script([](stub::Script& s) {
            s.reportedConfig.scan_max_l = 1234.5;
            s.reportedConfig.scan_min_w = 7.0;
            s.reportedConfig.thresh[0] = 99;
            s.reportedConfig.libraryOwn[0] = 0x5A;
            s.reportedRegion = LpmcImageRegion{5, 6, 111, 222};
        });
    }
    void TearDown() override { calc.release(); }

    bool init(const std::string& dir = "cfg/") {
        files.write(dir.empty() ? "./3DCfg/" : dir);
        return calc.initialize(dir, &error);
    }
    bool hasError(const std::string& function, const std::string& text) const {
        return log.has(OVP_LOG_ERROR, kVolume, function, text);
    }

    CalibFiles files;
    CCalcQuboid3DMulti calc;
    int error = 12345;
};

TEST_F(CalcInitTest, SuccessLogsEveryStepAndConfiguresTheLibrary) {
    ASSERT_TRUE(init());
    EXPECT_EQ(error, 12345) << "the error output is written only on failure";
    std::vector<std::string> infos;
    for (const auto& line : log.lines())
        if (line.function == kInitFn && line.level == OVP_LOG_INFO)
            infos.push_back(line.text);
    EXPECT_EQ(infos, (std::vector<std::string>{"3DVolume do initialize starting...\n",
                                               "Read calib data success.\n", "laserPlaneInit success.\n",
                                               "Set config success.\n", "3DVolume do initialize finish.\n"}));
    const auto got = stub::received();
    EXPECT_EQ(got.createCalls, 1);
    EXPECT_EQ(got.getConfigCalls, 1);
    EXPECT_EQ(got.setConfigCalls, 1);
    EXPECT_EQ(calc.handle, stub::stubHandle());
    EXPECT_EQ(got.createParam.frameNum, 4000);
    EXPECT_EQ(got.createParam.cameraCount, 1);
    EXPECT_EQ(got.createParam.imageSize[0].width, 64);
    EXPECT_EQ(got.createParam.imageSize[0].height, 32);
    EXPECT_EQ(got.createParam.reserved0, 0);
    EXPECT_EQ(got.createParam.reserved1, 2);
    EXPECT_EQ(got.createParam.calib[1], nullptr);
    ASSERT_EQ(got.calibration.size(), 1u);
    EXPECT_DOUBLE_EQ(got.calibration[0].intrinsics[0], 2000);
    EXPECT_DOUBLE_EQ(got.calibration[0].intrinsics[8], 1);
    EXPECT_DOUBLE_EQ(got.calibration[0].distortion[1], -0.02);
    EXPECT_DOUBLE_EQ(got.calibration[0].extrinsics[5], 1500);
    EXPECT_DOUBLE_EQ(got.calibration[0].plane.PlaneB, -0.002);
    EXPECT_DOUBLE_EQ(got.calibration[0].plane.PlaneHeightFactor, 1.0);
    EXPECT_DOUBLE_EQ(got.calibration[0].motion.SpeedVy, 0.5);
    EXPECT_EQ(got.calibration[0].lensReserved, nullptr);
    EXPECT_EQ(got.configAtSet.cameraCount, 1);
    EXPECT_EQ(got.configAtSet.thresh[0], 40);
    EXPECT_EQ(got.configAtSet.libraryOwn[0], 0x5A) << "the library's own bytes go back unchanged";
    ASSERT_EQ(got.regionsAtSet.size(), 1u);
    EXPECT_EQ(got.regionsAtSet[0].x, 0);
    EXPECT_EQ(got.regionsAtSet[0].y, 0);
    EXPECT_EQ(got.regionsAtSet[0].width, 64);
    EXPECT_EQ(got.regionsAtSet[0].height, 32);
    EXPECT_NE(calc.input.image[0], nullptr);
    EXPECT_EQ(calc.input.image[1], nullptr);
    EXPECT_EQ(calc.result.points, nullptr);
}

TEST_F(CalcInitTest, TheLaserFanOfTheScanFileGoesIntoTheLibrarysOwnBytes) {
    ASSERT_TRUE(init());
    EXPECT_EQ(ownDoubleAt(LPMC_OWN_FAN_ANGLE), 0.0)
        << "without the key the library's own bytes stay as reported";
    calc.release();
    files.scan[Format::ScanKey::kLaserFan] = "[-12.5,1900,35.5]";
    ASSERT_TRUE(init());
    EXPECT_EQ(ownDoubleAt(LPMC_OWN_FAN_APEX_X), -12.5);
    EXPECT_EQ(ownDoubleAt(LPMC_OWN_FAN_APEX_HEIGHT), 1900.0);
    EXPECT_EQ(ownDoubleAt(LPMC_OWN_FAN_ANGLE), 35.5);
    EXPECT_EQ(stub::received().configAtSet.libraryOwn[0], 0x5A)
        << "the rest of the library's own bytes go back unchanged";
}

TEST_F(CalcInitTest, TheLightWindowOfTheScanFileGoesIntoTheLibrarysOwnBytes) {
    ASSERT_TRUE(init());
    EXPECT_EQ(ownDoubleAt(LPMC_OWN_SHEET_FWHM), 0.0)
        << "without the keys the library's own bytes stay as reported";
    calc.release();
    files.scan[Format::ScanKey::kLaserSheet] = "1.25";
    files.scan[Format::ScanKey::kExposureShare] = "0.4";
    ASSERT_TRUE(init());
    EXPECT_EQ(ownDoubleAt(LPMC_OWN_SHEET_FWHM), 1.25);
    EXPECT_EQ(ownDoubleAt(LPMC_OWN_EXPOSURE_SHARE), 0.4);
    EXPECT_EQ(stub::received().configAtSet.libraryOwn[0], 0x5A)
        << "the rest of the library's own bytes go back unchanged";
}

TEST_F(CalcInitTest, GetConfigReceivesAllocatedRegionsAndAClearedRecord) {
    ASSERT_TRUE(init());
    const auto got = stub::received();
    EXPECT_NE(got.configAtGet.region[0], nullptr);
    EXPECT_EQ(got.configAtGet.thresh[0], 0);
    EXPECT_EQ(got.configAtGet.scan_max_l, 0.0);
}

TEST_F(CalcInitTest, EmptyDirectoryReadsFromTheDefaultOne) {
    ASSERT_TRUE(init(""));
    EXPECT_EQ(stub::received().createCalls, 1);
}

TEST_F(CalcInitTest, DirectoryWithoutSeparatorIsGluedToTheFileNames) {
    ASSERT_TRUE(init("cfg"));
    EXPECT_TRUE(std::filesystem::exists(workDir.path() / "cfgCalibScanCfg.cfg"));
}

TEST_F(CalcInitTest, DirectoryWithoutSeparatorNamesTheGluedFileWhenMissing) {
    files.write("cfg/");
    EXPECT_FALSE(calc.initialize("cfg", &error));
    EXPECT_TRUE(hasError(kReadCalibFn, "Open cfg file[cfgLightPlaneParam.data] failed.\n"));
}

TEST_F(CalcInitTest, FrameTimeoutDefaultsTo3000) {
    ASSERT_TRUE(init());
    EXPECT_EQ(calc.frameTimeout, 3000);
}

TEST_F(CalcInitTest, FrameTimeoutThatIsNoNumberReadsAsZero) {
    files.scan["scan_frame_timeout"] = "soon";
    ASSERT_TRUE(init());
    EXPECT_EQ(calc.frameTimeout, 0);
}

TEST_F(CalcInitTest, FrameTimeoutIsTakenFromTheScanFile) {
    files.scan["scan_frame_timeout"] = "500";
    ASSERT_TRUE(init());
    EXPECT_EQ(calc.frameTimeout, 500);
}

TEST_F(CalcInitTest, MissingSizesReachTheLibraryAsZero) {
    files.scan.erase("scan_frame_num");
    files.scan.erase("image_width");
    files.scan.erase("image_height");
    ASSERT_TRUE(init());
    const auto got = stub::received();
    EXPECT_EQ(got.createParam.frameNum, 0);
    EXPECT_EQ(got.createParam.imageSize[0].width, 0);
    EXPECT_EQ(got.createParam.imageSize[0].height, 0);
    ASSERT_EQ(got.regionsAtSet.size(), 1u);
    EXPECT_EQ(got.regionsAtSet[0].width, 111) << "the region keeps what the library gave";
    EXPECT_EQ(got.regionsAtSet[0].height, 222);
}

TEST_F(CalcInitTest, CalibrationRefusedByTheLibraryIsReportedAs996WithTheLibrarysCodeInTheLog) {
    stub::script([](stub::Script& s) { s.createCode = -1110; });
    EXPECT_FALSE(init());
    EXPECT_EQ(error, VSLB_ERR_LPMC_REFUSED);
    EXPECT_TRUE(hasError(kInitFn, "lpmcCreate run failed, error code: -1110\n"));
    EXPECT_EQ(calc.handle, nullptr);
}

TEST_F(CalcInitTest, AnyOtherCreationFailureIsReportedAs994) {
    stub::script([](stub::Script& s) { s.createCode = 7; });
    EXPECT_FALSE(init());
    EXPECT_EQ(error, VSLB_ERR_LPMC_CREATE);
    EXPECT_TRUE(hasError(kInitFn, "lpmcCreate run failed, error code: 7\n"));
}

TEST_F(CalcInitTest, NullErrorOutputIsLeftAloneOnFailure) {
    stub::script([](stub::Script& s) { s.createCode = -1110; });
    files.write("cfg/");
    EXPECT_FALSE(calc.initialize("cfg/", nullptr));
}

// Each way initialize can fail, with no place for the code: the failure is still reported by
// the result and the log, and nothing is written through the null pointer.
struct InitFailure {
    const char* name;
    const char* fileToRemove; // from the written configuration directory, or null
    stub::Script script;
    const char* function;
    const char* line;
};

void PrintTo(const InitFailure& failure, std::ostream* out) {
    *out << failure.name;
}

stub::Script createCodeScript(int code) {
    stub::Script s;
    s.createCode = code;
    return s;
}

stub::Script setConfigCodeScript(int code) {
    stub::Script s;
    s.setConfigCode = code;
    return s;
}

class NullErrorOutputTest : public CalcInitTest, public ::testing::WithParamInterface<InitFailure> {};

TEST_P(NullErrorOutputTest, FailsWithItsLineAndWritesNothing) {
    const InitFailure& failure = GetParam();
    stub::script([&](stub::Script& s) { s = failure.script; });
    files.write("cfg/");
    if (failure.fileToRemove != nullptr) {
        ASSERT_TRUE(std::filesystem::remove(failure.fileToRemove));
    }
    EXPECT_FALSE(calc.initialize("cfg/", nullptr));
    EXPECT_TRUE(hasError(failure.function, failure.line));
}

INSTANTIATE_TEST_SUITE_P(
    EveryFailurePath, NullErrorOutputTest,
    ::testing::Values(InitFailure{"CalibrationFileMissing", "cfg/LaserMovePose.data", stub::Script{}, kInitFn,
                                  "Read calib data failed.\n"},
                      InitFailure{"ScanFileMissing", "cfg/CalibScanCfg.cfg", stub::Script{}, kInitFn,
                                  "Open cfg file[cfg/CalibScanCfg.cfg] failed.\n"},
                      InitFailure{"LibraryRefusesTheCalibration", nullptr, createCodeScript(-1110), kInitFn,
                                  "lpmcCreate run failed, error code: -1110\n"},
                      InitFailure{"LibraryCannotBeCreated", nullptr, createCodeScript(7), kInitFn,
                                  "lpmcCreate run failed, error code: 7\n"},
                      InitFailure{"SetConfigFails", nullptr, setConfigCodeScript(-8), kInitFn,
                                  "Set config failed.\n"}),
    [](const ::testing::TestParamInfo<InitFailure>& info) { return std::string(info.param.name); });

TEST_F(CalcInitTest, IntrinsicsListWithTwelveElementsKeepsTheFirstNine) {
    files.intrinsics["InstriCamParams"] = "[1,2,3,4,5,6,7,8,9,10,11,12]";
    ASSERT_TRUE(init());
    const auto calib = stub::received().calibration.at(0);
    EXPECT_DOUBLE_EQ(calib.intrinsics[8], 9);
    EXPECT_DOUBLE_EQ(calib.distortion[0], 0.01) << "the extra elements go nowhere else";
}

TEST_F(CalcInitTest, IntrinsicsListWithFourElementsLeavesTheRestZero) {
    files.intrinsics["InstriCamParams"] = "[1,2,3,4]";
    ASSERT_TRUE(init());
    const auto calib = stub::received().calibration.at(0);
    EXPECT_DOUBLE_EQ(calib.intrinsics[3], 4);
    for (int i = 4; i < 9; ++i)
        EXPECT_DOUBLE_EQ(calib.intrinsics[i], 0) << i;
}

TEST_F(CalcInitTest, MissingDistortionLeavesZerosAndIsNoFailure) {
    files.intrinsics.erase("InstriCamDistorTion");
    ASSERT_TRUE(init());
    const auto calib = stub::received().calibration.at(0);
    for (double value : calib.distortion)
        EXPECT_DOUBLE_EQ(value, 0);
}

TEST_F(CalcInitTest, PlaneValueThatIsNoNumberReadsAsZero) {
    files.plane["PlaneA"] = "abc";
    ASSERT_TRUE(init());
    EXPECT_DOUBLE_EQ(stub::received().calibration.at(0).plane.PlaneA, 0.0);
}

TEST_F(CalcInitTest, MotionFileWithOnlyCommentsFailsAsMissing) {
    files.write("cfg/");
    writeKeyValueFile("cfg/LaserMovePose.data", {});
    EXPECT_FALSE(calc.initialize("cfg/", &error));
    EXPECT_EQ(error, VSLB_ERR_READ_CFG);
    EXPECT_TRUE(hasError(kReadCalibFn, "Open cfg file[cfg/LaserMovePose.data] failed.\n"));
    EXPECT_TRUE(hasError(kInitFn, "Read calib data failed.\n"));
    EXPECT_EQ(stub::received().createCalls, 0);
}

TEST_F(CalcInitTest, MissingExtrinsicsFileIsNamedAfterTheIntrinsicsWereRead) {
    files.write("cfg/");
    std::filesystem::remove("cfg/CamExtrinsic0.data");
    EXPECT_FALSE(calc.initialize("cfg/", &error));
    EXPECT_EQ(error, VSLB_ERR_READ_CFG);
    EXPECT_TRUE(hasError(kReadCalibFn, "Open cfg file[cfg/CamExtrinsic0.data] failed.\n"));
    EXPECT_TRUE(log.withText("Open cfg file[cfg/CamInstrinsic0.data] failed.\n").empty());
}

TEST_F(CalcInitTest, ForcedUnitSpeedOverridesTheFile) {
    files.motion["SpeedVy"] = "0.25";
    calc.forceUnitSpeedVy = true;
    ASSERT_TRUE(init());
    EXPECT_DOUBLE_EQ(stub::received().calibration.at(0).motion.SpeedVy, 1.0);
}

TEST_F(CalcInitTest, AbsentScanKeyKeepsTheLibrarysValue) {
    ASSERT_TRUE(init());
    const auto got = stub::received();
    EXPECT_DOUBLE_EQ(got.configAtSet.scan_max_l, 1234.5);
    EXPECT_DOUBLE_EQ(got.configAtSet.scan_min_w, 7.0);
}

TEST_F(CalcInitTest, ScanKeyThatIsNoNumberOverwritesTheLibrarysValueWithZero) {
    files.scan["scan_min_w"] = "wide";
    ASSERT_TRUE(init());
    EXPECT_DOUBLE_EQ(stub::received().configAtSet.scan_min_w, 0.0);
}

TEST_F(CalcInitTest, NoiseFactorIsReadAsAnInteger) {
    files.scan["scan_noise_factor"] = "2.5";
    ASSERT_TRUE(init());
    EXPECT_EQ(stub::received().configAtSet.scan_noise_factor, 2);
}

TEST_F(CalcInitTest, EveryScanKeyReachesItsField) {
    files.scan.insert({{"laserline_type", "1"},
                       {"laserline_extract_method", "3"},
                       {"scan_chessboard_height", "12.5"},
                       {"scan_mult_package_flag", "1"},
                       {"scan_end_frame_num", "8"},
                       {"scan_min_l", "10"},
                       {"scan_min_h", "11"},
                       {"scan_max_w", "900"},
                       {"scan_max_h", "800"},
                       {"scan_deep_img_w", "256"},
                       {"scan_deep_img_h", "128"},
                       {"scan_volume_finite_flag", "1"},
                       {"scan_package_intime_flag", "1"},
                       {"scan_package_distance", "30.5"},
                       {"scan_encode_flag", "1"},
                       {"scan_encode_step", "0.75"},
                       {"scan_gauss_radius", "2"}});
    ASSERT_TRUE(init());
    const LpmcConfig c = stub::received().configAtSet;
    EXPECT_EQ(c.laserline_type, 1);
    EXPECT_EQ(c.laserline_extract_method, 3);
    EXPECT_DOUBLE_EQ(c.scan_chessboard_height, 12.5);
    EXPECT_EQ(c.scan_mult_package_flag, 1);
    EXPECT_EQ(c.scan_end_frame_num, 8);
    EXPECT_DOUBLE_EQ(c.scan_min_l, 10);
    EXPECT_DOUBLE_EQ(c.scan_min_h, 11);
    EXPECT_DOUBLE_EQ(c.scan_max_w, 900);
    EXPECT_DOUBLE_EQ(c.scan_max_h, 800);
    EXPECT_EQ(c.scan_deep_img_w, 256);
    EXPECT_EQ(c.scan_deep_img_h, 128);
    EXPECT_EQ(c.scan_volume_finite_flag, 1);
    EXPECT_EQ(c.scan_package_intime_flag, 1);
    EXPECT_DOUBLE_EQ(c.scan_package_distance, 30.5);
    EXPECT_EQ(c.scan_encode_flag[0], 1);
    EXPECT_DOUBLE_EQ(c.scan_encode_step[0], 0.75);
    EXPECT_EQ(c.scan_gauss_radius[0], 2);
    EXPECT_EQ(c.scan_encode_flag[1], 0) << "only the camera in use is filled";
}

TEST_F(CalcInitTest, MissingScanFileFailsWith995) {
    files.write("cfg/");
    std::filesystem::remove("cfg/CalibScanCfg.cfg");
    EXPECT_FALSE(calc.initialize("cfg/", &error));
    EXPECT_EQ(error, VSLB_ERR_READ_CFG);
    EXPECT_TRUE(hasError(kInitFn, "Open cfg file[cfg/CalibScanCfg.cfg] failed.\n"));
}

TEST_F(CalcInitTest, RefusedGetConfigFailsWith993) {
    stub::script([](stub::Script& s) { s.getConfigCode = -3; });
    EXPECT_FALSE(init());
    EXPECT_EQ(error, VSLB_ERR_SET_CONFIG);
    EXPECT_TRUE(hasError(kSetConfigFn, "lpmcGetConfig run failed. flag[-3]\n"));
    EXPECT_TRUE(hasError(kInitFn, "Set config failed.\n"));
}

TEST_F(CalcInitTest, RefusedSetConfigFailsWith993) {
    stub::script([](stub::Script& s) { s.setConfigCode = -8; });
    EXPECT_FALSE(init());
    EXPECT_EQ(error, VSLB_ERR_SET_CONFIG);
    EXPECT_TRUE(hasError(kSetConfigFn, "lpmcSetConfig run failed. flag[-8]\n"));
}

TEST_F(CalcInitTest, PositiveConfigCodesAreNoFailure) {
    stub::script([](stub::Script& s) {
        s.getConfigCode = 4;
        s.setConfigCode = 5;
    });
    EXPECT_TRUE(init());
}

TEST_F(CalcInitTest, ScanFileWithoutEntriesFailsSetConfigWithTheQuotedName) {
    // readConfig reads the scan file on its own: once the library is live, a scan file that holds
    // only comments fails the configuration step.
    ASSERT_TRUE(init());
    writeKeyValueFile("cfg/CalibScanCfg.cfg", {});
    log.clear();
    EXPECT_FALSE(calc.setConfig("cfg/"));
    EXPECT_TRUE(hasError(kReadConfigFn, "Open cfg file[cfg/CalibScanCfg.cfg] failed.\n"));
    EXPECT_TRUE(hasError(kSetConfigFn, "Read cfg ScanConfig.yml failed.\n"));
}

TEST_F(CalcInitTest, ReleaseAfterCalibrationFailureFreesWithoutCallingTheLibrary) {
    files.write("cfg/");
    std::filesystem::remove("cfg/LightPlaneParam.data");
    ASSERT_FALSE(calc.initialize("cfg/", &error));
    ASSERT_NE(calc.createParam.calib[0], nullptr);
    EXPECT_TRUE(calc.release());
    EXPECT_EQ(stub::received().releaseCalls, 0);
    EXPECT_EQ(calc.createParam.calib[0], nullptr);
}

TEST_F(CalcInitTest, ReleaseTwiceDoesNothingTheSecondTime) {
    ASSERT_TRUE(init());
    EXPECT_TRUE(calc.release());
    EXPECT_EQ(stub::received().releaseCalls, 1);
    EXPECT_EQ(stub::received().releasedHandle, stub::stubHandle());
    EXPECT_EQ(calc.handle, nullptr);
    EXPECT_EQ(calc.input.image[0], nullptr);
    EXPECT_TRUE(calc.release());
    EXPECT_EQ(stub::received().releaseCalls, 1);
}

TEST(CalcConstruction, StartsWithOneCameraNoHandleAndTheDefaultTimeout) {
    CCalcQuboid3DMulti calc;
    EXPECT_EQ(calc.cameraCount, 1u);
    EXPECT_EQ(calc.handle, nullptr);
    EXPECT_FALSE(calc.stopRequested.load());
    EXPECT_EQ(calc.frameTimeout, 3000);
    EXPECT_FALSE(calc.forceUnitSpeedVy);
    EXPECT_TRUE(calc.pendingList.empty());
    for (int i = 0; i < LPMC_MAX_CAMERAS; ++i) {
        EXPECT_EQ(calc.createParam.calib[i], nullptr);
        EXPECT_EQ(calc.input.image[i], nullptr);
    }
}

} // namespace
} // namespace quboid3d::test
