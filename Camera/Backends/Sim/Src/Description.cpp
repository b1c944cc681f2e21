#include "Orvia/Sim/Description.h"

#include "Orvia/GenICam/FeatureNames.h"

namespace Orvia::Sim {

namespace Names = GenICam::FeatureNames;

SimFeature SimFeature::integer(std::string name, int64_t value, int64_t min, int64_t max, int64_t increment) {
    SimFeature f;
    f.name = std::move(name);
    f.type = GenICam::ParameterTypeInt;
    f.intValue = value;
    f.intMin = min;
    f.intMax = max;
    f.intIncrement = increment;
    return f;
}

SimFeature SimFeature::floating(std::string name, double value, double min, double max) {
    SimFeature f;
    f.name = std::move(name);
    f.type = GenICam::ParameterTypeFloat;
    f.floatValue = value;
    f.floatMin = min;
    f.floatMax = max;
    return f;
}

SimFeature SimFeature::enumeration(std::string name, std::vector<std::string> symbols,
                                   const std::string& current) {
    std::vector<std::pair<std::string, int64_t>> entries;
    int64_t currentValue = 0;
    for (size_t i = 0; i < symbols.size(); ++i) {
        if (symbols[i] == current) {
            currentValue = static_cast<int64_t>(i);
        }
        entries.emplace_back(std::move(symbols[i]), static_cast<int64_t>(i));
    }
    return enumeration(std::move(name), std::move(entries), currentValue);
}

SimFeature SimFeature::enumeration(std::string name, std::vector<std::pair<std::string, int64_t>> entries,
                                   int64_t current) {
    SimFeature f;
    f.name = std::move(name);
    f.type = GenICam::ParameterTypeEnum;
    f.entries = std::move(entries);
    f.intValue = current;
    return f;
}

SimFeature SimFeature::boolean(std::string name, bool value) {
    SimFeature f;
    f.name = std::move(name);
    f.type = GenICam::ParameterTypeBool;
    f.boolValue = value;
    return f;
}

SimFeature SimFeature::string(std::string name, std::string value, uint32_t maxLength) {
    SimFeature f;
    f.name = std::move(name);
    f.type = GenICam::ParameterTypeString;
    f.stringValue = std::move(value);
    f.maxLength = maxLength;
    return f;
}

SimFeature SimFeature::command(std::string name) {
    SimFeature f;
    f.name = std::move(name);
    f.type = GenICam::ParameterTypeCommand;
    f.readable = false;
    return f;
}

namespace {

SimFeature selected(SimFeature feature, const char* selector) {
    feature.selectedBy = selector;
    return feature;
}

SimFeature readOnly(SimFeature feature) {
    feature.writable = false;
    return feature;
}

std::vector<SimFeature> laserCameraFeatures() {
    const std::vector<std::string> lines{"Line0", "Line1", "Line2", "Line3"};
    return {
        readOnly(SimFeature::integer(Names::kTimestampTickFrequency, 1000000000, 0, INT64_MAX)),
        SimFeature::enumeration(Names::kTriggerSelector, {"AcquisitionStart", "FrameStart"}, "FrameStart"),
        selected(SimFeature::enumeration(Names::kTriggerMode, {"Off", "On"}, "Off"), Names::kTriggerSelector),
        selected(SimFeature::enumeration(
                     Names::kTriggerSource,
                     {{"Software", 0}, {"Line0", 1}, {"Line1", 2}, {"Line2", 3}, {"Line3", 4}}, 0),
                 Names::kTriggerSelector),
        SimFeature::command(Names::kTriggerSoftware),
        SimFeature::enumeration("TriggerType", {"FrameTrigger", "LineTrigger"}, "FrameTrigger"),
        SimFeature::enumeration("LineSelector", lines, "Line0"),
        selected(SimFeature::enumeration("LineSource", {"Off", "UserOutput0", "ExposureActive"}, "Off"),
                 "LineSelector"),
        selected(SimFeature::boolean("LineOutput", false), "LineSelector"),
        selected(SimFeature::boolean("UserOutputValue", false), "LineSelector"),
        SimFeature::enumeration("BarCodeType", {"None", "Code128", "QRCode", "DataMatrix"}, "None"),
        SimFeature::enumeration("WorkMode", {"Measure", "Barcode", "MeasureAndBarcode"}, "Measure"),
        SimFeature::enumeration("EnableConfig", {"Off", "On"}, "Off"),
        SimFeature::integer("Scale", 1, 1, 16),
        SimFeature::integer("MinFactor", 1, 0, 100),
        SimFeature::integer("StopAfterResultNum", 0, 0, 100000),
        SimFeature::enumeration(Names::kPixelFormat,
                                {{"Mono8", GenICam::PixelFormatMono8},
                                 {"Mono4p", GenICam::PixelFormatMono4p},
                                 {"Mono10", GenICam::PixelFormatMono10}},
                                GenICam::PixelFormatMono8),
        SimFeature::integer(Names::kWidth, 2048, 16, 2048, 8),
        SimFeature::integer(Names::kHeight, 512, 1, 2048),
        SimFeature::integer(Names::kOffsetX, 0, 0, 2032, 8),
        SimFeature::integer(Names::kOffsetY, 0, 0, 2047),
        SimFeature::floating(Names::kAcquisitionFrameRate, 1000.0, 1.0, 100000.0),
        SimFeature::floating("ExposureTime", 100.0, 1.0, 1000000.0),
        SimFeature::floating(Names::kGain, 0.0, 0.0, 24.0),
        SimFeature::floating(Names::kBlackLevel, 0.0, 0.0, 255.0),
        SimFeature::integer(Names::kBrightness, 50, 0, 100),
        SimFeature::integer(Names::kSharpness, 0, 0, 100),
        SimFeature::enumeration(Names::kUserSetSelector, {"Default", "UserSet1", "UserSet2", "UserSet3"},
                                "Default"),
        SimFeature::command(Names::kUserSetSave),
        SimFeature::command("UserSetLoad"),
        SimFeature::string(Names::kDeviceUserId, "", 16),
        SimFeature::boolean("ReverseX", false),
        SimFeature::command("AcquisitionStart"),
        SimFeature::command("AcquisitionStop"),
    };
}

} // namespace

SimDeviceDescription laserCameraDescription(const std::string& serial, int32_t interfaceKind,
                                            const std::string& model) {
    SimDeviceDescription d;
    d.interfaceKind = interfaceKind;
    d.vendor = "Quboid3D Simulated";
    d.model = model;
    d.serial = serial;
    if (interfaceKind == GenICam::InterfaceKindGigE) {
        d.gigeIdentity = "127.0.0.2 / 02:00:00:00:00:02 (" + serial + ")";
    }
    d.features = laserCameraFeatures();
    return d;
}

} // namespace Orvia::Sim
