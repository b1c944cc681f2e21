// The parameter object of a camera on simulated laser cameras: generic reads and writes by
// selector, ranges, line output, named features, private data, the user set and the failure rule.
#include "MvCameraParams.h"

#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CameraTestSupport.h"
#include "LogCapture.h"

namespace quboid3d::test {
namespace {

using Orvia::Infra::CString;
using Orvia::Sim::SimFaults;
using Orvia::Sim::SimFeatureWrite;
using namespace Orvia::VisionSystem;

constexpr const char* kChannel = "OVCamera";
constexpr const char* kSetValueFn = "Orvia::VisionSystem::CMvCameraParams::setValue";
constexpr const char* kGetValueFn = "Orvia::VisionSystem::CMvCameraParams::getValue";
constexpr const char* kGetBarCodeFn = "Orvia::VisionSystem::CMvCameraParams::getBarCodeType";
constexpr const char* kSetScaleFn = "Orvia::VisionSystem::CMvCameraParams::setScale";
constexpr const char* kReadPrivateFn = "Orvia::VisionSystem::CMvCameraParams::readUserPrivateData";

class MvCameraParamsTest : public LogCaptureTest {
protected:
    void plug(const std::string& serial) {
        plugged = plugLaserCamera(serial);
        ASSERT_TRUE(plugged.sim && plugged.camera && plugged.camera->isConnected());
        params = std::make_unique<CMvCameraParams>(plugged.camera);
        plugged.sim->clearRecords();
    }
    std::string feature(const std::string& name) const {
        std::string text;
        EXPECT_TRUE(plugged.sim->featureText(name, text)) << name;
        return text;
    }
    std::vector<LogLine> cameraLines() const {
        std::vector<LogLine> found;
        for (const LogLine& line : log.lines())
            if (line.channel == kChannel)
                found.push_back(line);
        return found;
    }

    PluggedCamera plugged;
    std::unique_ptr<CMvCameraParams> params;
};

TEST_F(MvCameraParamsTest, SetValueRefusesSelectorZeroAndWritesNothingPastTheKnownKinds) {
    plug("P1");
    EXPECT_EQ(params->setValue("Width", ParamSelectorNone, ParamValue(int64_t{1024})), -6);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kSetValueFn,
                        "Set param value failed, input param error. Name: Width, type: 0\n"));
    EXPECT_EQ(params->setValue(nullptr, ParamSelectorInt, ParamValue(int64_t{1024})), -6);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kSetValueFn,
                        "Set param value failed, input param error. Name: null, type: 1\n"));

    EXPECT_EQ(params->setValue("Width", static_cast<ParamSelector>(7), ParamValue(int64_t{1024})), 0);
    EXPECT_TRUE(plugged.sim->featureWrites().empty());
    EXPECT_EQ(feature("Width"), "2048");
    EXPECT_TRUE(log.has(OVP_LOG_DEBUG, kChannel, kSetValueFn, "Set param[Width] value result[0].\n"));
}

TEST_F(MvCameraParamsTest, SetValueWithAValueOfAnotherKindThrowsBadCast) {
    plug("P2");
    const ParamValue gain(2.5);
    try {
        params->setValue("Gain", ParamSelectorInt, gain);
        FAIL() << "no exception";
    } catch (const std::bad_cast& error) {
        EXPECT_STREQ(error.what(), "bad cast");
    }
    EXPECT_TRUE(plugged.sim->featureWrites().empty());

    EXPECT_EQ(params->setValue("Gain", ParamSelectorFloat, gain), 0);
    EXPECT_EQ(plugged.sim->featureWrites(), (std::vector<SimFeatureWrite>{{"Gain", "2.500000", true}}));
}

TEST_F(MvCameraParamsTest, SetValueWithSelectorSixExecutesWhateverTheValueHolds) {
    plug("P3");
    EXPECT_EQ(params->setValue("UserSetLoad", ParamSelectorCommand, ParamValue(CString("ignored"))), 0);
    EXPECT_EQ(params->setValue("UserSetLoad", ParamSelectorCommand, ParamValue()), 0);
    EXPECT_EQ(plugged.sim->featureWrites(), (std::vector<SimFeatureWrite>{{"UserSetLoad", "execute", true},
                                                                          {"UserSetLoad", "execute", true}}));
}

TEST_F(MvCameraParamsTest, SetValueOfAFeatureTheCameraLacksIsMissing) {
    plug("P4");
    EXPECT_EQ(params->setValue("NoSuchFeature", ParamSelectorInt, ParamValue(int64_t{1})), -2);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kSetValueFn,
                        "Set param value failed, create param[NoSuchFeature] failed!\n"));
}

TEST_F(MvCameraParamsTest, GetValueOfACommandReadsNothingAndResetsTheSelector) {
    plug("P5");
    ParamSelector selector = ParamSelectorString;
    ParamValue value(int64_t{77});
    EXPECT_EQ(params->getValue("UserSetSave", selector, value), 0);
    EXPECT_EQ(selector, ParamSelectorNone);
    ASSERT_TRUE(value.holds<int64_t>());
    EXPECT_EQ(value.get<int64_t>(), 77);
    EXPECT_TRUE(log.has(OVP_LOG_DEBUG, kChannel, kGetValueFn, "Get param[UserSetSave] value result[0].\n"));
}

TEST_F(MvCameraParamsTest, GetValueOfAnIntegerGivesSelectorOneAndASigned64BitValue) {
    plug("P6");
    ParamSelector selector = ParamSelectorNone;
    ParamValue value(CString("old"));
    EXPECT_EQ(params->getValue("Width", selector, value), 0);
    EXPECT_EQ(selector, ParamSelectorInt);
    ASSERT_TRUE(value.holds<int64_t>());
    EXPECT_EQ(value.get<int64_t>(), 2048);
    EXPECT_THROW(value.get<uint64_t>(), std::bad_cast);

    // The other kinds come with their own selectors and tags.
    EXPECT_EQ(params->getValue("Gain", selector, value), 0);
    EXPECT_EQ(selector, ParamSelectorFloat);
    EXPECT_TRUE(value.holds<double>());
    EXPECT_EQ(params->getValue("WorkMode", selector, value), 0);
    EXPECT_EQ(selector, ParamSelectorEnum);
    EXPECT_TRUE(value.holds<uint64_t>());
    EXPECT_EQ(params->getValue("ReverseX", selector, value), 0);
    EXPECT_EQ(selector, ParamSelectorBool);
    EXPECT_TRUE(value.holds<bool>());
    EXPECT_EQ(params->getValue("DeviceUserID", selector, value), 0);
    EXPECT_EQ(selector, ParamSelectorString);
    EXPECT_TRUE(value.holds<CString>());
}

TEST_F(MvCameraParamsTest, FailedReadKeepsTheValueAndGivesTheFailureRule) {
    plug("P7");
    SimFaults faults;
    faults.failingReads = {"Width"};
    plugged.sim->setFaults(faults);
    ParamSelector selector = ParamSelectorFloat;
    ParamValue value(1.5);
    EXPECT_EQ(params->getValue("Width", selector, value), -1);
    EXPECT_EQ(selector, ParamSelectorNone);
    EXPECT_TRUE(value.holds<double>());
    EXPECT_TRUE(log.has(OVP_LOG_DEBUG, kChannel, kGetValueFn, "Get param[Width] value result[-1].\n"));
}

TEST_F(MvCameraParamsTest, FloatRangeOfAnIntegerFeatureIsABadArgumentWithoutAMessage) {
    plug("P8");
    double min = -1.0, max = -1.0;
    EXPECT_EQ(params->getValueRange("Width", min, max), -6);
    EXPECT_EQ(min, -1.0);
    EXPECT_TRUE(cameraLines().empty());

    int64_t imin = 0, imax = 0, increment = 0;
    EXPECT_EQ(params->getValueRange("Width", imin, imax, increment), 0);
    EXPECT_EQ(imin, 16);
    EXPECT_EQ(imax, 2048);
    EXPECT_EQ(increment, 8);
    EXPECT_EQ(params->getValueRange("Gain", min, max), 0);
    EXPECT_LT(min, max);
}

TEST_F(MvCameraParamsTest, LineOutputOfALineDrivenByAnotherSourceIsFalseWithoutTouchingTheOutput) {
    plug("P9");
    // Line 2 is driven by the exposure; its output nodes would fail if they were read.
    ASSERT_EQ(params->setLineOutput(2, true), 0);
    auto internal = Orvia::GenICam::CInternalSystem::getInstance().getCameraPtr(CString(plugged.sim->key()));
    Orvia::GenICam::CInternalParameterNode source(internal, CString("LineSource"));
    ASSERT_TRUE(source.setEnumValueBySymbol(CString("ExposureActive")));
    SimFaults faults;
    faults.failingReads = {"LineOutput", "UserOutputValue"};
    plugged.sim->setFaults(faults);

    bool value = true;
    EXPECT_EQ(params->getLineOutput(2, value), 0);
    EXPECT_FALSE(value);
    EXPECT_TRUE(cameraLines().empty());
}

TEST_F(MvCameraParamsTest, SetLineOutputTakesTheLineOverBeforeWritingTheValue) {
    plug("P10");
    EXPECT_EQ(params->setLineOutput(1, true), 0);
    EXPECT_EQ(plugged.sim->featureWrites(), (std::vector<SimFeatureWrite>{{"LineSelector", "Line1", true},
                                                                          {"LineSource", "UserOutput0", true},
                                                                          {"LineOutput", "true", true}}));
    bool value = false;
    EXPECT_EQ(params->getLineOutput(1, value), 0);
    EXPECT_TRUE(value);
    // Line 0 keeps its own source and value.
    EXPECT_EQ(params->getLineOutput(0, value), 0);
    EXPECT_FALSE(value);
}

TEST_F(MvCameraParamsTest, LineOutputWorksThroughUserOutputValueWhenTheCameraLacksLineOutput) {
    plug("P11");
    ASSERT_TRUE(plugged.sim->removeFeature("LineOutput"));
    EXPECT_EQ(params->setLineOutput(3, true), 0);
    EXPECT_EQ(plugged.sim->featureWrites().back(), (SimFeatureWrite{"UserOutputValue", "true", true}));
    bool value = false;
    EXPECT_EQ(params->getLineOutput(3, value), 0);
    EXPECT_TRUE(value);

    ASSERT_TRUE(plugged.sim->removeFeature("UserOutputValue"));
    EXPECT_EQ(params->getLineOutput(3, value), -2);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, "Orvia::VisionSystem::CMvCameraParams::getLineOutput",
                        "Get line output failed, create param[LineOutput] or [UserOutputValue] failed!\n"));
}

TEST_F(MvCameraParamsTest, FailedBarCodeTypeReadGivesAllOnesAndStillLogsItsResult) {
    plug("P12");
    SimFaults faults;
    faults.failingReads = {"BarCodeType"};
    plugged.sim->setFaults(faults);
    uint32_t type = 5;
    EXPECT_EQ(params->getBarCodeType(type), -1);
    EXPECT_EQ(type, 0xFFFFFFFFu);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kGetBarCodeFn, "Get barcode type result[-1].\n"));

    plugged.sim->setFaults(SimFaults{});
    ASSERT_TRUE(plugged.camera->disconnect());
    EXPECT_EQ(params->getBarCodeType(type), -3);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kGetBarCodeFn, "Get barcode type result[-3].\n"));
}

TEST_F(MvCameraParamsTest, SetScaleOnACameraWithoutScaleIsMissing) {
    plug("P13");
    ASSERT_TRUE(plugged.sim->removeFeature("Scale"));
    EXPECT_EQ(params->setScale(2), -2);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kSetScaleFn,
                        "Set barcode scale failed, create param[Scale] failed!\n"));
    int32_t scale = 9;
    EXPECT_EQ(params->getScale(scale), -2);
    EXPECT_EQ(scale, 9);
    EXPECT_TRUE(plugged.sim->featureWrites().empty());
}

TEST_F(MvCameraParamsTest, ReadingPrivateDataOfNoBytesIsRefusedBeforeTheDevice) {
    plug("P14");
    uint8_t buffer[16] = {};
    EXPECT_EQ(params->readUserPrivateData(buffer, 0), -6);
    char expected[96];
    std::snprintf(expected, sizeof expected, "readUserPrivateData failed, pBuffer=%p, nCount=0.",
                  static_cast<void*>(buffer));
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kChannel, kReadPrivateFn, expected));
    EXPECT_TRUE(plugged.sim->transfers().empty());

    EXPECT_EQ(params->readUserPrivateData(buffer, 16), 16);
    ASSERT_EQ(plugged.sim->transfers().size(), 1u);
    EXPECT_TRUE(plugged.sim->transfers()[0].privateArea);
}

TEST_F(MvCameraParamsTest, UserSetSaveGivesZeroWhenTheCameraRefusesBothCalls) {
    plug("P15");
    SimFaults faults;
    faults.refusedWrites = {"UserSetSelector", "UserSetSave"};
    plugged.sim->setFaults(faults);
    EXPECT_EQ(params->userSetSave(), 0);
    const auto writes = plugged.sim->featureWrites();
    ASSERT_FALSE(writes.empty());
    for (const SimFeatureWrite& write : writes)
        EXPECT_FALSE(write.accepted) << write.name;
    EXPECT_TRUE(cameraLines().empty());

    plugged.sim->setFaults(SimFaults{});
    plugged.sim->clearRecords();
    EXPECT_EQ(params->userSetSave(), 0);
    EXPECT_EQ(plugged.sim->featureWrites().back(), (SimFeatureWrite{"UserSetSave", "execute", true}));
}

TEST_F(MvCameraParamsTest, ReservedOperationsGiveMinusOneInEveryState) {
    CMvCameraParams empty(nullptr);
    EXPECT_EQ(empty.reservedOperationA(), -1);
    EXPECT_EQ(empty.reservedOperationB(), -1);
    plug("P16");
    EXPECT_EQ(params->reservedOperationA(), -1);
    EXPECT_EQ(params->reservedOperationB(), -1);
    ASSERT_TRUE(plugged.camera->disconnect());
    EXPECT_EQ(params->reservedOperationA(), -1);
    EXPECT_EQ(params->reservedOperationB(), -1);
}

TEST_F(MvCameraParamsTest, ControlAccessorsFollowTheFailureRuleAndLogNothing) {
    plug("P17");
    double rate = 0.0;
    EXPECT_EQ(params->getAcquisitionDouble(rate), 0);
    EXPECT_EQ(rate, 1000.0);
    int32_t first = 0, second = 0;
    EXPECT_EQ(params->getImageFormatPair(first, second), 0);
    EXPECT_EQ(first, 512); // Height
    EXPECT_EQ(second, 2048);
    EXPECT_EQ(params->setImageFormatPair(256, 1024), 0);
    EXPECT_EQ(feature("Height"), "256");
    EXPECT_EQ(feature("Width"), "1024");

    ASSERT_TRUE(plugged.camera->disconnect());
    int32_t brightness = 7;
    EXPECT_EQ(params->getIspInt1(brightness), -3);
    EXPECT_EQ(brightness, 0);
    EXPECT_EQ(params->setAnalogDouble1(1.0), -3);
    EXPECT_TRUE(cameraLines().empty());

    CMvCameraParams empty(nullptr);
    EXPECT_EQ(empty.getAcquisitionDouble(rate), -2);
    EXPECT_EQ(empty.userSetSave(), -2);
    EXPECT_TRUE(cameraLines().empty());
}

} // namespace
} // namespace quboid3d::test
