#include "MvCameraParams.h"

#include <cstdio>

#include "Orvia/GenICam/System.h"
#include "VsLog.h"

namespace Orvia::VisionSystem {
namespace {

using GenICam::CInternalParameterNode;
using GenICam::CSystem;
using GenICam::ICamera;
using Infra::CString;
using Memory::TSharedPtr;

constexpr const char* kLogSource = "Src/MvCameraParams.cpp";
constexpr const char* kChannel = "OVCamera";
constexpr const char* kSetValueFn = "Orvia::VisionSystem::CMvCameraParams::setValue";
constexpr const char* kGetValueFn = "Orvia::VisionSystem::CMvCameraParams::getValue";
constexpr const char* kGetRangeFn = "Orvia::VisionSystem::CMvCameraParams::getValueRange";
constexpr const char* kGetLineFn = "Orvia::VisionSystem::CMvCameraParams::getLineOutput";
constexpr const char* kSetLineFn = "Orvia::VisionSystem::CMvCameraParams::setLineOutput";
constexpr const char* kReadPrivateFn = "Orvia::VisionSystem::CMvCameraParams::readUserPrivateData";
constexpr const char* kWritePrivateFn = "Orvia::VisionSystem::CMvCameraParams::writeUserPrivateData";
constexpr const char* kUserSetSaveFn = "Orvia::VisionSystem::CMvCameraParams::userSetSave";
constexpr const char* kUserOutput = "UserOutput0";

constexpr int32_t kOk = 0;
constexpr int32_t kMissing = -2;
constexpr int32_t kBadArgument = -6;

int32_t failureOf(const TSharedPtr<ICamera>& camera) {
    return camera->isConnected() ? -1 : -3;
}

// One call of a control accessor: the control is made for the call and dropped after it.
template <typename Control, typename Visit>
int32_t onControl(const TSharedPtr<ICamera>& camera,
                  TSharedPtr<Control> (CSystem::*create)(const TSharedPtr<ICamera>&), Visit visit) {
    if (!camera)
        return kMissing;
    TSharedPtr<Control> control = (CSystem::getInstance().*create)(camera);
    if (!control)
        return kMissing;
    return visit(*control) ? kOk : failureOf(camera);
}

// Reads an integer node through a local that starts at 0, so a failed read leaves 0.
template <typename Node>
bool readInt(const Node& node, int32_t& value) {
    int64_t local = 0;
    const bool ok = node.getValue(local);
    value = static_cast<int32_t>(local);
    return ok;
}

// The first of "LineOutput" and "UserOutputValue" that the camera offers; null if neither.
CInternalParameterNode* lineValueNode(CInternalParameterNode& lineOutput,
                                      CInternalParameterNode& userOutputValue) {
    if (lineOutput.isValid())
        return &lineOutput;
    if (userOutputValue.isValid())
        return &userOutputValue;
    return nullptr;
}

CString lineSymbol(int32_t line) {
    char symbol[32];
    std::snprintf(symbol, sizeof symbol, "Line%d", line);
    return CString(symbol);
}

// ---- named features: the texts of each operation's lines ----

struct NamedTexts {
    const char* feature;
    const char* function;
    const char* missingDevice;
    const char* invalidNode;
    const char* result;
};

constexpr NamedTexts kGetBarCodeType{"BarCodeType", "Orvia::VisionSystem::CMvCameraParams::getBarCodeType",
                                     "Get barcode type failed, gen-camera is null!\n",
                                     "Get barcode type failed, create param[BarCodeType] failed!\n",
                                     "Get barcode type result[%d].\n"};
constexpr NamedTexts kSetBarCodeType{"BarCodeType", "Orvia::VisionSystem::CMvCameraParams::setBarCodeType",
                                     "Set barcode type failed, gen-camera is null!\n",
                                     "Set barcode type failed, create param[BarCodeType] failed!\n",
                                     "Set barcode type result[%d].\n"};
constexpr NamedTexts kGetWorkMode{"WorkMode", "Orvia::VisionSystem::CMvCameraParams::getWorkMode",
                                  "Get workmode type failed, gen-camera is null!\n",
                                  "Get workmode type failed, create param[WorkMode] failed!\n",
                                  "Get workmode type result[%d].\n"};
constexpr NamedTexts kSetWorkMode{"WorkMode", "Orvia::VisionSystem::CMvCameraParams::setWorkMode",
                                  "Set workmode failed, gen-camera is null!\n",
                                  "Set workmode failed, create param[WorkMode] failed!\n",
                                  "Set workmode result[%d].\n"};
constexpr NamedTexts kGetEnableConfig{"EnableConfig", "Orvia::VisionSystem::CMvCameraParams::getEnableConfig",
                                      "Get EnableConfig type failed, gen-camera is null!\n",
                                      "Get EnableConfig type failed, create param[EnableConfig] failed!\n",
                                      "Get EnableConfig type result[%d].\n"};
constexpr NamedTexts kSetEnableConfig{"EnableConfig", "Orvia::VisionSystem::CMvCameraParams::setEnableConfig",
                                      "Set EnableConfig failed, gen-camera is null!\n",
                                      "Set EnableConfig failed, create param[EnableConfig] failed!\n",
                                      "Set EnableConfig result[%d].\n"};
constexpr NamedTexts kSetScale{"Scale", "Orvia::VisionSystem::CMvCameraParams::setScale",
                               "Set barcode scal failed, gen-camera is null!\n",
                               "Set barcode scale failed, create param[Scale] failed!\n",
                               "Set barcode scale result[%d].\n"};
constexpr NamedTexts kSetMinFactor{"MinFactor", "Orvia::VisionSystem::CMvCameraParams::setMinFactor",
                                   "Set barcode minFactor failed, gen-camera is null!\n",
                                   "Set barcode minFactor failed, create param[MinFactor] failed!\n",
                                   "Set barcode minFactor result[%d].\n"};
constexpr NamedTexts kSetStopAfterResultNum{
    "StopAfterResultNum", "Orvia::VisionSystem::CMvCameraParams::setStopAfterResultNum",
    "Set barcode stopAfterResultNum failed, gen-camera is null!\n",
    "Set barcode stopAfterResultNum failed, create param[StopAfterResultNum] failed!\n",
    "Set barcode stopAfterResultNum result[%d].\n"};

TSharedPtr<GenICam::CInternalCamera> internalOf(const TSharedPtr<ICamera>& camera) {
    return GenICam::CInternalSystem::getInstance().getCameraPtr(CString(camera->getKey()));
}

// The checks every named enumeration makes before its read or write, with their lines.
template <const NamedTexts& texts, typename Access>
int32_t onNamedEnum(const TSharedPtr<ICamera>& camera, Access access) {
    if (!camera) {
        VS_LOG_ERROR(kChannel, texts.function, "%s", texts.missingDevice);
        return kMissing;
    }
    const auto internal = internalOf(camera);
    if (!internal)
        return kMissing;
    CInternalParameterNode node(internal, CString(texts.feature));
    if (!node.isValid()) {
        VS_LOG_ERROR(kChannel, texts.function, "%s", texts.invalidNode);
        return kMissing;
    }
    const int32_t result = access(node) ? kOk : failureOf(camera);
    VS_LOG_INFO(kChannel, texts.function, texts.result, result);
    return result;
}

template <const NamedTexts& texts>
int32_t getNamedEnum(const TSharedPtr<ICamera>& camera, uint32_t& value) {
    return onNamedEnum<texts>(camera, [&](CInternalParameterNode& node) {
        // A failed read leaves all ones in the output.
        uint64_t local = static_cast<uint64_t>(-1);
        const bool ok = node.getEnumValue(local);
        value = static_cast<uint32_t>(local);
        return ok;
    });
}

template <const NamedTexts& texts>
int32_t setNamedEnum(const TSharedPtr<ICamera>& camera, uint32_t value) {
    return onNamedEnum<texts>(camera, [&](CInternalParameterNode& node) { return node.setEnumValue(value); });
}

// Named integers go through a node built straight on the device; their getters log nothing.
int32_t getNamedInt(const TSharedPtr<ICamera>& camera, const char* feature, int32_t& value) {
    if (!camera)
        return kMissing;
    GenICam::CIntNode node(camera, feature);
    if (!node.isValid())
        return kMissing;
    int64_t local = -1;
    const int32_t result = node.getValue(local) ? kOk : failureOf(camera);
    value = static_cast<int32_t>(local);
    return result;
}

template <const NamedTexts& texts>
int32_t setNamedInt(const TSharedPtr<ICamera>& camera, int32_t value) {
    if (!camera) {
        VS_LOG_ERROR(kChannel, texts.function, "%s", texts.missingDevice);
        return kMissing;
    }
    GenICam::CIntNode node(camera, texts.feature);
    if (!node.isValid()) {
        VS_LOG_ERROR(kChannel, texts.function, "%s", texts.invalidNode);
        return kMissing;
    }
    const int32_t result = node.setValue(value) ? kOk : failureOf(camera);
    VS_LOG_INFO(kChannel, texts.function, texts.result, result);
    return result;
}

} // namespace

CMvCameraParams::CMvCameraParams(TSharedPtr<ICamera> device) : camera(std::move(device)) {}

CMvCameraParams::~CMvCameraParams() = default;

int32_t CMvCameraParams::failureCode() const {
    return failureOf(camera);
}

TSharedPtr<GenICam::CInternalCamera> CMvCameraParams::internalCamera() const {
    return internalOf(camera);
}

int32_t CMvCameraParams::reservedOperationA() {
    return -1;
}

int32_t CMvCameraParams::reservedOperationB() {
    return -1;
}

// ---- control accessors: they log nothing ----

int32_t CMvCameraParams::getAcquisitionDouble(double& value) {
    return onControl(camera, &CSystem::createAcquisitionControl, [&](GenICam::IAcquisitionControl& c) {
        return c.acquisitionDoubleNode().getValue(value);
    });
}

int32_t CMvCameraParams::setAcquisitionDouble(double value) {
    return onControl(camera, &CSystem::createAcquisitionControl, [&](GenICam::IAcquisitionControl& c) {
        return c.acquisitionDoubleNode().setValue(value);
    });
}

int32_t CMvCameraParams::getImageFormatPair(int32_t& first, int32_t& second) {
    return onControl(camera, &CSystem::createImageFormatControl, [&](GenICam::IImageFormatControl& c) {
        const bool firstOk = readInt(c.imageFormatIntNode2(), first);
        const bool secondOk = readInt(c.imageFormatIntNode1(), second);
        return firstOk && secondOk;
    });
}

int32_t CMvCameraParams::setImageFormatPair(int32_t first, int32_t second) {
    return onControl(camera, &CSystem::createImageFormatControl, [&](GenICam::IImageFormatControl& c) {
        const bool firstOk = c.imageFormatIntNode2().setValue(first);
        const bool secondOk = c.imageFormatIntNode1().setValue(second);
        return firstOk && secondOk;
    });
}

int32_t CMvCameraParams::getAnalogDouble1(double& value) {
    return onControl(camera, &CSystem::createAnalogControl,
                     [&](GenICam::IAnalogControl& c) { return c.analogDoubleNode1().getValue(value); });
}

int32_t CMvCameraParams::setAnalogDouble1(double value) {
    return onControl(camera, &CSystem::createAnalogControl,
                     [&](GenICam::IAnalogControl& c) { return c.analogDoubleNode1().setValue(value); });
}

int32_t CMvCameraParams::getAnalogDouble2(double& value) {
    return onControl(camera, &CSystem::createAnalogControl,
                     [&](GenICam::IAnalogControl& c) { return c.analogDoubleNode2().getValue(value); });
}

int32_t CMvCameraParams::setAnalogDouble2(double value) {
    return onControl(camera, &CSystem::createAnalogControl,
                     [&](GenICam::IAnalogControl& c) { return c.analogDoubleNode2().setValue(value); });
}

int32_t CMvCameraParams::getIspInt1(int32_t& value) {
    return onControl(camera, &CSystem::createISPControl,
                     [&](GenICam::IISPControl& c) { return readInt(c.ispIntNode1(), value); });
}

int32_t CMvCameraParams::setIspInt1(int32_t value) {
    return onControl(camera, &CSystem::createISPControl,
                     [&](GenICam::IISPControl& c) { return c.ispIntNode1().setValue(value); });
}

int32_t CMvCameraParams::getIspInt2(int32_t& value) {
    return onControl(camera, &CSystem::createISPControl,
                     [&](GenICam::IISPControl& c) { return readInt(c.ispIntNode2(), value); });
}

int32_t CMvCameraParams::setIspInt2(int32_t value) {
    return onControl(camera, &CSystem::createISPControl,
                     [&](GenICam::IISPControl& c) { return c.ispIntNode2().setValue(value); });
}

int32_t CMvCameraParams::getImageFormatInt3(int32_t& value) {
    return onControl(camera, &CSystem::createImageFormatControl, [&](GenICam::IImageFormatControl& c) {
        return readInt(c.imageFormatIntNode3(), value);
    });
}

int32_t CMvCameraParams::setImageFormatInt3(int32_t value) {
    return onControl(camera, &CSystem::createImageFormatControl, [&](GenICam::IImageFormatControl& c) {
        return c.imageFormatIntNode3().setValue(value);
    });
}

int32_t CMvCameraParams::getImageFormatInt4(int32_t& value) {
    return onControl(camera, &CSystem::createImageFormatControl, [&](GenICam::IImageFormatControl& c) {
        return readInt(c.imageFormatIntNode4(), value);
    });
}

int32_t CMvCameraParams::setImageFormatInt4(int32_t value) {
    return onControl(camera, &CSystem::createImageFormatControl, [&](GenICam::IImageFormatControl& c) {
        return c.imageFormatIntNode4().setValue(value);
    });
}

// ---- line output ----

namespace {

// The two line operations share their steps; their log lines differ only in the leading verb.
struct LineOperation {
    const char* verb;
    const char* function;
};
constexpr LineOperation kGetLine{"Get", kGetLineFn};
constexpr LineOperation kSetLine{"Set", kSetLineFn};

// What the operation does with the line's source before the output value is touched.
enum class SourceStep { failed, done, goOn };

// Selects the line, lets the operation use its source, then its output value node. `failure` gives
// the code of a node call that failed (it depends on whether the camera is still connected).
// The operation is a template argument because every log call needs its function name at compile time.
template <const LineOperation& op, typename Failure, typename UseSource, typename UseOutput>
int32_t onLine(const TSharedPtr<GenICam::CInternalCamera>& internal, int32_t line, Failure failure,
               UseSource useSource, UseOutput useOutput) {
    CInternalParameterNode selector(internal, CString("LineSelector"));
    if (!selector.isValid()) {
        VS_LOG_ERROR(kChannel, op.function, "%s line selector failed, create param[LineSelector] failed!\n",
                     op.verb);
        return kMissing;
    }
    if (!selector.setEnumValueBySymbol(lineSymbol(line))) {
        const int32_t result = failure();
        VS_LOG_ERROR(kChannel, op.function, "%s line selector result[%d].\n", op.verb, result);
        return result;
    }
    CInternalParameterNode source(internal, CString("LineSource"));
    if (!source.isValid()) {
        VS_LOG_ERROR(kChannel, op.function, "%s line source failed, create param[lineSource] failed!\n",
                     op.verb);
        return kMissing;
    }
    const SourceStep step = useSource(source);
    if (step != SourceStep::goOn) {
        if (step == SourceStep::done)
            return kOk;
        const int32_t result = failure();
        VS_LOG_ERROR(kChannel, op.function, "%s line source result[%d].\n", op.verb, result);
        return result;
    }
    CInternalParameterNode lineOutput(internal, CString("LineOutput"));
    CInternalParameterNode userOutputValue(internal, CString("UserOutputValue"));
    CInternalParameterNode* output = lineValueNode(lineOutput, userOutputValue);
    if (output == nullptr) {
        VS_LOG_ERROR(kChannel, op.function,
                     "%s line output failed, create param[LineOutput] or [UserOutputValue] failed!\n",
                     op.verb);
        return kMissing;
    }
    if (!useOutput(*output)) {
        const int32_t result = failure();
        VS_LOG_ERROR(kChannel, op.function, "%s line output result[%d].\n", op.verb, result);
        return result;
    }
    return kOk;
}

} // namespace

int32_t CMvCameraParams::getLineOutput(int32_t line, bool& value) {
    if (!camera) {
        VS_LOG_ERROR(kChannel, kGetLineFn, "Get line output failed, gen-camera is null!\n");
        return kMissing;
    }
    const auto internal = internalCamera();
    if (!internal)
        return kMissing;
    const auto failure = [this] { return failureCode(); };
    const auto readSource = [&](CInternalParameterNode& source) {
        CString sourceText;
        if (!source.getValueAsString(sourceText))
            return SourceStep::failed;
        // A line driven by anything but the user output is not under user control.
        if (!(sourceText == kUserOutput)) {
            value = false;
            return SourceStep::done;
        }
        return SourceStep::goOn;
    };
    return onLine<kGetLine>(internal, line, failure, readSource,
                            [&](CInternalParameterNode& output) { return output.getBoolValue(value); });
}

int32_t CMvCameraParams::setLineOutput(int32_t line, bool value) {
    if (!camera) {
        VS_LOG_ERROR(kChannel, kSetLineFn, "Set line output failed, gen-camera is null!\n");
        return kMissing;
    }
    const auto internal = internalCamera();
    if (!internal)
        return kMissing;
    const auto failure = [this] { return failureCode(); };
    // The line is taken over by the user output before its value is written.
    const auto takeOver = [](CInternalParameterNode& source) {
        return source.setEnumValueBySymbol(CString(kUserOutput)) ? SourceStep::goOn : SourceStep::failed;
    };
    return onLine<kSetLine>(internal, line, failure, takeOver,
                            [&](CInternalParameterNode& output) { return output.setBoolValue(value); });
}

// ---- user set ----

int32_t CMvCameraParams::userSetSave() {
    if (!camera)
        return kMissing;
    const auto control = CSystem::getInstance().createUserSetControl(camera);
    if (!control)
        return kMissing;
    // The verdict starts true and is only OR-ed, so a refused save still gives 0: the caller
    // learns of it from the log alone.
    bool verdict = true;
    const int32_t result = kOk;
    try {
        verdict |= control->userSetCallOne(1);
        verdict |= control->userSetCallTwo(1);
    } catch (...) {
        VS_LOG_ERROR(kChannel, kUserSetSaveFn, "userSetSave error");
    }
    if (!verdict)
        return failureCode();
    return result;
}

// ---- generic access by name ----

int32_t CMvCameraParams::writeByKind(CInternalParameterNode& node, ParamSelector selector,
                                     const ParamValue& value) {
    switch (selector) {
    case ParamSelectorInt:
        return node.setIntValue(value.get<int64_t>()) ? kOk : failureCode();
    case ParamSelectorFloat:
        return node.setFloatValue(value.get<double>()) ? kOk : failureCode();
    case ParamSelectorEnum:
        return node.setEnumValue(value.get<uint64_t>()) ? kOk : failureCode();
    case ParamSelectorBool:
        return node.setBoolValue(value.get<bool>()) ? kOk : failureCode();
    case ParamSelectorString:
        return node.setStringValue(value.get<CString>()) ? kOk : failureCode();
    case ParamSelectorCommand:
        return node.execute() ? kOk : failureCode();
    default:
        return kOk; // a selector past the known kinds writes nothing
    }
}

int32_t CMvCameraParams::setValue(const char* name, ParamSelector selector, const ParamValue& value) {
    if (name == nullptr || selector == ParamSelectorNone) {
        VS_LOG_ERROR(kChannel, kSetValueFn, "Set param value failed, input param error. Name: %s, type: %d\n",
                     name ? name : "null", static_cast<int>(selector));
        return kBadArgument;
    }
    if (!camera) {
        VS_LOG_ERROR(kChannel, kSetValueFn, "Set param value failed, gen-camera is null!\n");
        return kMissing;
    }
    const auto internal = internalCamera();
    if (!internal)
        return kMissing;
    CInternalParameterNode node(internal, CString(name));
    if (!node.isValid()) {
        VS_LOG_ERROR(kChannel, kSetValueFn, "Set param value failed, create param[%s] failed!\n", name);
        return kMissing;
    }
    const int32_t result = writeByKind(node, selector, value);
    VS_LOG_DEBUG(kChannel, kSetValueFn, "Set param[%s] value result[%d].\n", name, result);
    return result;
}

namespace {

// Reads by the feature's own type; false for a failed read. A type outside the table, such as a
// command, reads nothing and counts as success with the selector left at 0.
bool readByType(CInternalParameterNode& node, ParamSelector& selector, ParamValue& value) {
    switch (node.getType()) {
    case GenICam::ParameterTypeInt: {
        int64_t read = 0;
        if (!node.getIntValue(read))
            return false;
        value.set(read);
        selector = ParamSelectorInt;
        return true;
    }
    case GenICam::ParameterTypeFloat: {
        double read = 0.0;
        if (!node.getFloatValue(read))
            return false;
        value.set(read);
        selector = ParamSelectorFloat;
        return true;
    }
    case GenICam::ParameterTypeEnum: {
        uint64_t read = 0;
        if (!node.getEnumValue(read))
            return false;
        value.set(read);
        selector = ParamSelectorEnum;
        return true;
    }
    case GenICam::ParameterTypeBool: {
        bool read = false;
        if (!node.getBoolValue(read))
            return false;
        value.set(read);
        selector = ParamSelectorBool;
        return true;
    }
    case GenICam::ParameterTypeString: {
        CString read;
        if (!node.getStringValue(read))
            return false;
        value.set(std::move(read));
        selector = ParamSelectorString;
        return true;
    }
    default:
        return true;
    }
}

} // namespace

int32_t CMvCameraParams::getValue(const char* name, ParamSelector& selector, ParamValue& value) {
    if (name == nullptr) {
        VS_LOG_ERROR(kChannel, kGetValueFn, "Get param value failed, name is null.");
        return kBadArgument;
    }
    if (!camera) {
        VS_LOG_ERROR(kChannel, kGetValueFn, "Get param value failed, gen-camera is null!\n");
        return kMissing;
    }
    const auto internal = internalCamera();
    if (!internal)
        return kMissing;
    CInternalParameterNode node(internal, CString(name));
    if (!node.isValid()) {
        VS_LOG_ERROR(kChannel, kGetValueFn, "Get param value failed, create param[%s] failed!\n", name);
        return kMissing;
    }
    selector = ParamSelectorNone;
    const int32_t result = readByType(node, selector, value) ? kOk : failureCode();
    VS_LOG_DEBUG(kChannel, kGetValueFn, "Get param[%s] value result[%d].\n", name, result);
    return result;
}

int32_t CMvCameraParams::getValueRange(const char* name, double& min, double& max) {
    if (name == nullptr) {
        VS_LOG_ERROR(kChannel, kGetRangeFn, "Get param value range failed, name is null.");
        return kBadArgument;
    }
    if (!camera) {
        VS_LOG_ERROR(kChannel, kGetRangeFn, "Get param value range failed, gen-camera is null!\n");
        return kMissing;
    }
    const auto internal = internalCamera();
    if (!internal)
        return kMissing;
    CInternalParameterNode node(internal, CString(name));
    if (!node.isValid()) {
        VS_LOG_ERROR(kChannel, kGetRangeFn, "Get param value failed, create param[%s] failed!\n", name);
        return kMissing;
    }
    if (node.getType() != GenICam::ParameterTypeFloat)
        return kBadArgument;
    // The library gives the maximum first.
    return node.getFloatMaxMin(max, min) ? kOk : failureCode();
}

int32_t CMvCameraParams::getValueRange(const char* name, int64_t& min, int64_t& max, int64_t& increment) {
    if (name == nullptr) {
        VS_LOG_ERROR(kChannel, kGetRangeFn, "Get param value range failed, name is null.");
        return kBadArgument;
    }
    if (!camera) {
        VS_LOG_ERROR(kChannel, kGetRangeFn, "Get param value range failed, gen-camera is null!\n");
        return kMissing;
    }
    const auto internal = internalCamera();
    if (!internal)
        return kMissing;
    CInternalParameterNode node(internal, CString(name));
    if (!node.isValid()) {
        VS_LOG_ERROR(kChannel, kGetRangeFn, "Get param value failed, create param[%s] failed!\n", name);
        return kMissing;
    }
    if (node.getType() != GenICam::ParameterTypeInt)
        return kBadArgument;
    if (!node.getIntMaxMin(max, min))
        return failureCode();
    return node.getIntIncrement(increment) ? kOk : failureCode();
}

// ---- private data ----

int32_t CMvCameraParams::readUserPrivateData(uint8_t* buffer, int32_t count) {
    if (buffer == nullptr || count < 1) {
        VS_LOG_ERROR(kChannel, kReadPrivateFn, "readUserPrivateData failed, pBuffer=%p, nCount=%d.",
                     static_cast<void*>(buffer), count);
        return kBadArgument;
    }
    if (!camera) {
        VS_LOG_ERROR(kChannel, kReadPrivateFn, "readUserPrivateData failed, gen-camera is null!\n");
        return kMissing;
    }
    return camera->readPrivateArea(buffer, static_cast<uint64_t>(count));
}

int32_t CMvCameraParams::writeUserPrivateData(uint8_t* buffer, int32_t count) {
    if (buffer == nullptr || count < 1) {
        VS_LOG_ERROR(kChannel, kWritePrivateFn, "writeUserPrivateData failed, pBuffer=%p, nCount=%d.",
                     static_cast<void*>(buffer), count);
        return kBadArgument;
    }
    if (!camera) {
        VS_LOG_ERROR(kChannel, kWritePrivateFn, "writeUserPrivateData failed, gen-camera is null!\n");
        return kMissing;
    }
    return camera->writePrivateArea(buffer, static_cast<uint64_t>(count));
}

// ---- named enumerations and integers ----

int32_t CMvCameraParams::getBarCodeType(uint32_t& value) {
    return getNamedEnum<kGetBarCodeType>(camera, value);
}

int32_t CMvCameraParams::setBarCodeType(uint32_t value) {
    return setNamedEnum<kSetBarCodeType>(camera, value);
}

int32_t CMvCameraParams::getWorkMode(uint32_t& value) {
    return getNamedEnum<kGetWorkMode>(camera, value);
}

int32_t CMvCameraParams::setWorkMode(uint32_t value) {
    return setNamedEnum<kSetWorkMode>(camera, value);
}

int32_t CMvCameraParams::getEnableConfig(uint32_t& value) {
    return getNamedEnum<kGetEnableConfig>(camera, value);
}

int32_t CMvCameraParams::setEnableConfig(uint32_t value) {
    return setNamedEnum<kSetEnableConfig>(camera, value);
}

int32_t CMvCameraParams::getScale(int32_t& value) {
    return getNamedInt(camera, "Scale", value);
}

int32_t CMvCameraParams::setScale(int32_t value) {
    return setNamedInt<kSetScale>(camera, value);
}

int32_t CMvCameraParams::getMinFactor(int32_t& value) {
    return getNamedInt(camera, "MinFactor", value);
}

int32_t CMvCameraParams::setMinFactor(int32_t value) {
    return setNamedInt<kSetMinFactor>(camera, value);
}

int32_t CMvCameraParams::getStopAfterResultNum(int32_t& value) {
    return getNamedInt(camera, "StopAfterResultNum", value);
}

int32_t CMvCameraParams::setStopAfterResultNum(int32_t value) {
    return setNamedInt<kSetStopAfterResultNum>(camera, value);
}

} // namespace Orvia::VisionSystem
