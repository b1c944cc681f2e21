// Features: typed nodes, control objects and their feature table, internal parameter nodes,
// enumeration symbols, ranges, access, selectors, refused and failing accesses, the record of
// writes, and devices described in JSON.
#include <gtest/gtest.h>

#include "CameraTestSupport.h"
#include "Orvia/GenICam/FeatureNames.h"
#include "Orvia/GenICam/Internal.h"
#include "Orvia/GenICam/Node.h"

namespace quboid3d::test {
namespace {

using namespace Orvia::GenICam;
using Orvia::Infra::CString;
using Orvia::Sim::parseDescriptionJson;
using Orvia::Sim::SimDeviceDescription;
using Orvia::Sim::SimFaults;
using Orvia::Sim::SimFeatureWrite;

TSharedPtr<CInternalCamera> internalOf(const PluggedCamera& plugged) {
    return CInternalSystem::getInstance().getCameraPtr(CString(plugged.sim->key()));
}

TEST(CameraFeatureTest, IntegerNodeReadsWritesAndKeepsToRangeAndIncrement) {
    auto plugged = plugLaserCamera("I1");
    CIntNode width(plugged.camera, "Width");
    ASSERT_TRUE(width.isValid());
    EXPECT_TRUE(width.isReadable());
    EXPECT_TRUE(width.isWritable());
    int64_t value = 0;
    ASSERT_TRUE(width.getValue(value));
    EXPECT_EQ(value, 2048);
    EXPECT_TRUE(width.setValue(1024));
    EXPECT_FALSE(width.setValue(1020)); // off the increment of 8
    EXPECT_FALSE(width.setValue(4096)); // above the maximum
    EXPECT_FALSE(width.setValue(8));    // below the minimum
    ASSERT_TRUE(width.getValue(value));
    EXPECT_EQ(value, 1024);
    int64_t min = 0, max = 0, inc = 0;
    ASSERT_TRUE(width.getMin(min) && width.getMax(max) && width.getIncrement(inc));
    EXPECT_EQ(min, 16);
    EXPECT_EQ(max, 2048);
    EXPECT_EQ(inc, 8);
    EXPECT_EQ(width.getName(), CString("Width"));
}

TEST(CameraFeatureTest, NodeOfTheWrongKindOrUnknownNameOrNoDeviceIsInvalid) {
    auto plugged = plugLaserCamera("I2");
    EXPECT_FALSE(CIntNode(plugged.camera, "Gain").isValid()); // a float
    EXPECT_FALSE(CDoubleNode(plugged.camera, "Width").isValid());
    EXPECT_FALSE(CIntNode(plugged.camera, "NoSuchFeature").isValid());
    EXPECT_FALSE(CIntNode(plugged.camera, nullptr).isValid());
    EXPECT_FALSE(CIntNode(nullptr, "Width").isValid());
    CIntNode invalid(plugged.camera, "NoSuchFeature");
    int64_t value = 5;
    EXPECT_FALSE(invalid.getValue(value));
    EXPECT_EQ(value, 5);
    EXPECT_FALSE(invalid.setValue(1));
    EXPECT_FALSE(invalid.isReadable());
}

TEST(CameraFeatureTest, NodesNeedAConnectedDevice) {
    auto plugged = plugLaserCamera("I3", false);
    CIntNode width(plugged.camera, "Width");
    EXPECT_TRUE(width.isValid()); // the feature table is known before connecting
    EXPECT_FALSE(width.isReadable());
    int64_t value = 0;
    EXPECT_FALSE(width.getValue(value));
    EXPECT_FALSE(width.setValue(1024));
}

TEST(CameraFeatureTest, DoubleEnumCommandAndStringNodes) {
    auto plugged = plugLaserCamera("I4");
    CDoubleNode gain(plugged.camera, "Gain");
    EXPECT_TRUE(gain.setValue(12.5));
    EXPECT_FALSE(gain.setValue(30.0));
    double g = 0;
    ASSERT_TRUE(gain.getValue(g));
    EXPECT_EQ(g, 12.5);

    CEnumNode mode(plugged.camera, "TriggerMode");
    EXPECT_TRUE(mode.setValueBySymbol(CString("On")));
    EXPECT_FALSE(mode.setValueBySymbol(CString("Maybe")));
    CString symbol;
    ASSERT_TRUE(mode.getValueSymbol(symbol));
    EXPECT_EQ(symbol, CString("On"));
    int64_t number = -1;
    ASSERT_TRUE(mode.getValue(number));
    EXPECT_EQ(number, 1);
    EXPECT_TRUE(mode.setValue(0));
    EXPECT_FALSE(mode.setValue(9));

    CCmdNode save(plugged.camera, "UserSetSave");
    EXPECT_TRUE(save.execute());
    EXPECT_FALSE(save.isReadable());

    CStringNode label(plugged.camera, "DeviceUserID");
    EXPECT_TRUE(label.setValue(CString("left")));
    EXPECT_FALSE(label.setValue(CString("seventeen chars!!"))); // longer than 16
    CString text;
    ASSERT_TRUE(label.getValue(text));
    EXPECT_EQ(text, CString("left"));
}

TEST(CameraFeatureTest, ReadOnlyFeatureRefusesWrites) {
    auto plugged = plugLaserCamera("I5");
    CIntNode frequency(plugged.camera, "GevTimestampTickFrequency");
    EXPECT_TRUE(frequency.isReadable());
    EXPECT_FALSE(frequency.isWritable());
    int64_t value = 0;
    ASSERT_TRUE(frequency.getValue(value));
    EXPECT_EQ(value, 1000000000);
    EXPECT_FALSE(frequency.setValue(1));
}

TEST(CameraFeatureTest, AssignedNodeStandsForTheOtherFeature) {
    auto plugged = plugLaserCamera("I6");
    CCmdNode command(plugged.camera, "NoSuchCommand");
    EXPECT_FALSE(command.isValid());
    command = CSystem::getInstance().createAcquisitionControl(plugged.camera)->triggerCommandNode();
    EXPECT_TRUE(command.isValid());
    EXPECT_EQ(command.getName(), CString("TriggerSoftware"));
    EXPECT_TRUE(command.execute());
}

TEST(CameraFeatureTest, ControlAccessorsStandForTheirStandardFeatures) {
    auto plugged = plugLaserCamera("T1");
    auto& system = CSystem::getInstance();
    auto acquisition = system.createAcquisitionControl(plugged.camera);
    auto format = system.createImageFormatControl(plugged.camera);
    auto analog = system.createAnalogControl(plugged.camera);
    auto isp = system.createISPControl(plugged.camera);
    auto device = system.createDeviceControl(plugged.camera);
    ASSERT_TRUE(acquisition && format && analog && isp && device);

    const std::vector<std::pair<CNodeBase, const char*>> table{
        {acquisition->acquisitionDoubleNode(), FeatureNames::kAcquisitionFrameRate},
        {acquisition->triggerSelectorNode(), "TriggerSelector"},
        {acquisition->triggerModeNode(), "TriggerMode"},
        {acquisition->triggerSourceNode(), "TriggerSource"},
        {acquisition->triggerCommandNode(), "TriggerSoftware"},
        {format->imageFormatIntNode1(), "Width"},
        {format->imageFormatIntNode2(), "Height"},
        {format->imageFormatIntNode3(), "OffsetX"},
        {format->imageFormatIntNode4(), "OffsetY"},
        {format->pixelFormatNode(), "PixelFormat"},
        {analog->analogDoubleNode1(), "Gain"},
        {analog->analogDoubleNode2(), "BlackLevel"},
        {isp->ispIntNode1(), "Brightness"},
        {isp->ispIntNode2(), "Sharpness"},
        {device->labelNode(), "DeviceUserID"},
    };
    for (const auto& [node, name] : table) {
        EXPECT_TRUE(node.isValid()) << name;
        EXPECT_EQ(node.getName(), CString(name));
    }
    // A write through an accessor is a write of the named feature.
    auto height = format->imageFormatIntNode2();
    ASSERT_TRUE(height.setValue(256));
    CInternalParameterNode byName(internalOf(plugged), CString("Height"));
    int64_t value = 0;
    ASSERT_TRUE(byName.getIntValue(value));
    EXPECT_EQ(value, 256);
}

TEST(CameraFeatureTest, UserSetCallsSelectThenSave) {
    auto plugged = plugLaserCamera("US1");
    auto userSet = CSystem::getInstance().createUserSetControl(plugged.camera);
    ASSERT_TRUE(userSet);
    plugged.sim->clearRecords();
    EXPECT_TRUE(userSet->userSetCallOne(1));
    EXPECT_TRUE(userSet->userSetCallTwo(1));
    const std::vector<SimFeatureWrite> expected{{"UserSetSelector", "UserSet1", true},
                                                {"UserSetSelector", "UserSet1", true},
                                                {"UserSetSave", "execute", true}};
    EXPECT_EQ(plugged.sim->featureWrites(), expected);
    EXPECT_FALSE(userSet->userSetCallOne(9)); // no such user set

    SimFaults faults;
    faults.refusedWrites = {"UserSetSave"};
    plugged.sim->setFaults(faults);
    EXPECT_FALSE(userSet->userSetCallTwo(1));
}

TEST(CameraFeatureTest, InternalCameraIsFoundByKeyOnly) {
    auto plugged = plugLaserCamera("K1", false);
    auto internal = internalOf(plugged);
    ASSERT_TRUE(internal);
    EXPECT_STREQ(internal->getKey(), "sim:K1");
    EXPECT_FALSE(internal->isConnected());
    EXPECT_FALSE(CInternalSystem::getInstance().getCameraPtr(CString("sim:unknown")));
    EXPECT_EQ(CInternalSystem::getInstance().getCameraPtr(CString("sim:K1")), internal);
}

TEST(CameraFeatureTest, ParameterNodeReportsTheTypeCodes) {
    auto plugged = plugLaserCamera("P1");
    auto internal = internalOf(plugged);
    const std::vector<std::pair<const char*, uint32_t>> types{
        {"Scale", 0x10000000u},        {"Gain", 0x20000000u},
        {"WorkMode", 0x30000000u},     {"LineOutput", 0x40000000u},
        {"DeviceUserID", 0x50000000u}, {"TriggerSoftware", ParameterTypeCommand}};
    for (const auto& [name, type] : types) {
        CInternalParameterNode node(internal, CString(name));
        EXPECT_TRUE(node.isValid()) << name;
        EXPECT_EQ(node.getType(), type) << name;
    }
    CInternalParameterNode missing(internal, CString("NoSuchFeature"));
    EXPECT_FALSE(missing.isValid());
    EXPECT_EQ(missing.getType(), 0u);
    CInternalParameterNode noCamera(nullptr, CString("Scale"));
    EXPECT_FALSE(noCamera.isValid());
}

TEST(CameraFeatureTest, ParameterNodeTypedAccessAndTypeMismatch) {
    auto plugged = plugLaserCamera("P2");
    auto internal = internalOf(plugged);
    CInternalParameterNode scale(internal, CString("Scale"));
    EXPECT_TRUE(scale.setIntValue(4));
    int64_t i = 0;
    ASSERT_TRUE(scale.getIntValue(i));
    EXPECT_EQ(i, 4);
    double d = 0;
    EXPECT_FALSE(scale.getFloatValue(d));
    EXPECT_FALSE(scale.setFloatValue(4.0));
    EXPECT_FALSE(scale.execute());
    EXPECT_FALSE(scale.setIntValue(17)); // above the maximum

    CInternalParameterNode gain(internal, CString("Gain"));
    EXPECT_TRUE(gain.setFloatValue(3.5));
    ASSERT_TRUE(gain.getFloatValue(d));
    EXPECT_EQ(d, 3.5);

    CInternalParameterNode workMode(internal, CString("WorkMode"));
    EXPECT_TRUE(workMode.setEnumValue(2));
    uint64_t e = 0;
    ASSERT_TRUE(workMode.getEnumValue(e));
    EXPECT_EQ(e, 2u);
    EXPECT_FALSE(workMode.setEnumValue(3)); // no such entry
    EXPECT_TRUE(workMode.setEnumValueBySymbol(CString("Barcode")));
    CString text;
    ASSERT_TRUE(workMode.getValueAsString(text));
    EXPECT_EQ(text, CString("Barcode"));
    EXPECT_FALSE(workMode.setEnumValueBySymbol(CString("barcode"))); // symbols are exact
    EXPECT_FALSE(scale.setEnumValueBySymbol(CString("Barcode")));

    CInternalParameterNode reverse(internal, CString("ReverseX"));
    EXPECT_TRUE(reverse.setBoolValue(true));
    bool b = false;
    ASSERT_TRUE(reverse.getBoolValue(b));
    EXPECT_TRUE(b);
    ASSERT_TRUE(reverse.getValueAsString(text));
    EXPECT_EQ(text, CString("true"));

    CInternalParameterNode label(internal, CString("DeviceUserID"));
    EXPECT_TRUE(label.setStringValue(CString("right")));
    ASSERT_TRUE(label.getStringValue(text));
    EXPECT_EQ(text, CString("right"));

    ASSERT_TRUE(scale.getValueAsString(text));
    EXPECT_EQ(text, CString("4"));
    ASSERT_TRUE(gain.getValueAsString(text));
    EXPECT_EQ(text, CString("3.5"));
    CInternalParameterNode trigger(internal, CString("TriggerSoftware"));
    EXPECT_FALSE(trigger.getValueAsString(text));
    EXPECT_TRUE(trigger.execute());
}

TEST(CameraFeatureTest, ParameterNodeRangesGiveMaximumThenMinimum) {
    auto plugged = plugLaserCamera("P3");
    auto internal = internalOf(plugged);
    CInternalParameterNode width(internal, CString("Width"));
    int64_t max = 0, min = 0, inc = 0;
    ASSERT_TRUE(width.getIntMaxMin(max, min));
    EXPECT_EQ(max, 2048);
    EXPECT_EQ(min, 16);
    ASSERT_TRUE(width.getIntIncrement(inc));
    EXPECT_EQ(inc, 8);
    double fmax = 0, fmin = 0;
    EXPECT_FALSE(width.getFloatMaxMin(fmax, fmin));
    CInternalParameterNode gain(internal, CString("Gain"));
    ASSERT_TRUE(gain.getFloatMaxMin(fmax, fmin));
    EXPECT_EQ(fmax, 24.0);
    EXPECT_EQ(fmin, 0.0);
    EXPECT_FALSE(gain.getIntMaxMin(max, min));
    EXPECT_FALSE(gain.getIntIncrement(inc));
}

TEST(CameraFeatureTest, SelectorPicksTheInstanceOfSelectedFeatures) {
    auto plugged = plugLaserCamera("S1");
    auto internal = internalOf(plugged);
    CInternalParameterNode selector(internal, CString("LineSelector"));
    CInternalParameterNode source(internal, CString("LineSource"));
    CInternalParameterNode output(internal, CString("LineOutput"));
    ASSERT_TRUE(selector.setEnumValueBySymbol(CString("Line2")));
    ASSERT_TRUE(source.setEnumValueBySymbol(CString("UserOutput0")));
    ASSERT_TRUE(output.setBoolValue(true));
    ASSERT_TRUE(selector.setEnumValueBySymbol(CString("Line1")));
    CString text;
    ASSERT_TRUE(source.getValueAsString(text));
    EXPECT_EQ(text, CString("Off"));
    bool on = true;
    ASSERT_TRUE(output.getBoolValue(on));
    EXPECT_FALSE(on);
    ASSERT_TRUE(selector.setEnumValueBySymbol(CString("Line2")));
    ASSERT_TRUE(source.getValueAsString(text));
    EXPECT_EQ(text, CString("UserOutput0"));
    ASSERT_TRUE(output.getBoolValue(on));
    EXPECT_TRUE(on);
}

TEST(CameraFeatureTest, ParameterNodesNeedAConnectedDevice) {
    auto plugged = plugLaserCamera("P4");
    auto internal = internalOf(plugged);
    plugged.camera->disconnect();
    CInternalParameterNode scale(internal, CString("Scale"));
    EXPECT_TRUE(scale.isValid());
    int64_t value = 0;
    EXPECT_FALSE(scale.getIntValue(value));
    EXPECT_FALSE(scale.setIntValue(2));
}

TEST(CameraFeatureTest, UnreadableAndFailingReadsAndRefusedWrites) {
    auto plugged = plugLaserCamera("F1");
    SimFaults faults;
    faults.unreadable = {"GevTimestampTickFrequency"};
    faults.failingReads = {"Scale"};
    faults.refusedWrites = {"TriggerMode", "TriggerSoftware"};
    plugged.sim->setFaults(faults);

    CIntNode frequency(plugged.camera, "GevTimestampTickFrequency");
    EXPECT_TRUE(frequency.isValid());
    EXPECT_FALSE(frequency.isReadable());
    int64_t value = 0;
    EXPECT_FALSE(frequency.getValue(value));

    CIntNode scale(plugged.camera, "Scale");
    EXPECT_TRUE(scale.isReadable());
    EXPECT_FALSE(scale.getValue(value));
    EXPECT_TRUE(scale.setValue(3));

    plugged.sim->clearRecords();
    CEnumNode mode(plugged.camera, "TriggerMode");
    EXPECT_FALSE(mode.setValueBySymbol(CString("On")));
    CCmdNode trigger(plugged.camera, "TriggerSoftware");
    EXPECT_FALSE(trigger.execute());
    const std::vector<SimFeatureWrite> expected{{"TriggerMode", "On", false},
                                                {"TriggerSoftware", "execute", false}};
    EXPECT_EQ(plugged.sim->featureWrites(), expected);
    std::string text;
    ASSERT_TRUE(plugged.sim->featureText("TriggerMode", text));
    EXPECT_EQ(text, "Off");
}

TEST(CameraFeatureTest, EveryWriteIsRecordedInOrderWithItsValue) {
    auto plugged = plugLaserCamera("W1");
    plugged.sim->clearRecords();
    auto internal = internalOf(plugged);
    CInternalParameterNode(internal, CString("TriggerType")).setEnumValue(1);
    CInternalParameterNode(internal, CString("TriggerSource")).setEnumValue(2);
    CDoubleNode(plugged.camera, "Gain").setValue(2.0);
    CStringNode(plugged.camera, "DeviceUserID").setValue(CString("x"));
    CInternalParameterNode(internal, CString("ReverseX")).setBoolValue(true);
    CIntNode(plugged.camera, "Width").setValue(3000); // out of range: never reaches the device
    const std::vector<SimFeatureWrite> expected{{"TriggerType", "1", true},
                                                {"TriggerSource", "2", true},
                                                {"Gain", "2.000000", true},
                                                {"DeviceUserID", "x", true},
                                                {"ReverseX", "true", true}};
    EXPECT_EQ(plugged.sim->featureWrites(), expected);
}

TEST(CameraFeatureTest, FeaturesCanBeChangedAndRemovedWhilePluggedIn) {
    auto plugged = plugLaserCamera("FC1");
    auto frequency = Orvia::Sim::SimFeature::integer("GevTimestampTickFrequency", 999, 0, INT64_MAX);
    frequency.writable = false;
    plugged.sim->setFeature(frequency);
    CIntNode node(plugged.camera, "GevTimestampTickFrequency");
    int64_t value = 0;
    ASSERT_TRUE(node.getValue(value));
    EXPECT_EQ(value, 999);
    EXPECT_TRUE(plugged.sim->removeFeature("LineOutput"));
    EXPECT_FALSE(plugged.sim->removeFeature("LineOutput"));
    EXPECT_FALSE(CInternalParameterNode(internalOf(plugged), CString("LineOutput")).isValid());
    EXPECT_TRUE(plugged.sim->featureWrites().empty());
}

TEST(CameraFeatureTest, DescriptionFromJsonReplacesAddsAndRemovesFeatures) {
    SimDeviceDescription description;
    std::string error;
    ASSERT_TRUE(parseDescriptionJson(R"({
        "serial": "J1", "interfaceKind": 1, "vendor": "Orvia Technology 3D", "model": "X",
        "dropPolicy": "oldest",
        "removeFeatures": ["LineOutput"],
        "features": [
            {"name": "Scale", "type": "int", "value": 3, "min": 1, "max": 5},
            {"name": "Mood", "type": "enum", "entries": {"Calm": 4, "Busy": 9}, "value": "Busy"},
            {"name": "Ratio", "type": "float", "value": 0.5, "min": 0, "max": 1, "writable": false}
        ]})",
                                     description, error))
        << error;
    EXPECT_EQ(description.interfaceKind, 1);
    EXPECT_EQ(description.vendor, "Orvia Technology 3D");
    EXPECT_EQ(description.dropPolicy, Orvia::Sim::DropPolicy::DropOldest);
    auto plugged = plugLaserCamera("J1", true, &description);
    ASSERT_TRUE(plugged.camera);
    EXPECT_FALSE(CNodeBase(CIntNode(plugged.camera, "LineOutput")).isValid());
    EXPECT_TRUE(CInternalParameterNode(internalOf(plugged), CString("UserOutputValue")).isValid());
    EXPECT_FALSE(CInternalParameterNode(internalOf(plugged), CString("LineOutput")).isValid());
    CIntNode scale(plugged.camera, "Scale");
    EXPECT_FALSE(scale.setValue(6));
    int64_t value = 0;
    ASSERT_TRUE(scale.getValue(value));
    EXPECT_EQ(value, 3);
    CEnumNode mood(plugged.camera, "Mood");
    ASSERT_TRUE(mood.getValue(value));
    EXPECT_EQ(value, 9);
    EXPECT_FALSE(CDoubleNode(plugged.camera, "Ratio").setValue(0.25));

    EXPECT_FALSE(parseDescriptionJson("{", description, error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(parseDescriptionJson(R"({"vendor": "no serial"})", description, error));
    EXPECT_FALSE(parseDescriptionJson(R"({"serial": "x", "features": [{"name": "A", "type": "blob"}]})",
                                      description, error));
    EXPECT_EQ(error, "feature A: unknown type blob");
}

} // namespace
} // namespace quboid3d::test
