#include "AdvancedConfig.h"

#include "KeyValueCfgParser.h"
#include "VsLog.h"

namespace Orvia::VisionSystem {
namespace {

constexpr const char* kLogSource = "Src/AdvancedConfig.cpp";
constexpr const char* kChannel = "AdvancedConfig";
constexpr const char* kConstructorFn = "AdvancedConfig::AdvancedConfig";
constexpr const char* kSiteFile = "Quboid3DAdvCfg";
constexpr const char* kParentSiteFile = "../Quboid3DAdvCfg";
constexpr int32_t kMinReconnectTimeout = 1000;

} // namespace

AdvancedConfig& AdvancedConfig::instance() {
    static AdvancedConfig config;
    return config;
}

AdvancedConfig::AdvancedConfig() {
    CKeyValueCfgParser parser;
    // A site file that stores no key gives way to the parent directory's as a missing one does.
    if (!parser.parseKeyValueCfg(kSiteFile, true) && !parser.parseKeyValueCfg(kParentSiteFile, true))
        return;

    parser.getVal("EncoderLineInput", EncoderLineInput);
    VS_LOG_INFO(kChannel, kConstructorFn, "EncoderLineInput=%d", EncoderLineInput);
    parser.getVal("FrameBufferCount", FrameBufferCount);
    VS_LOG_INFO(kChannel, kConstructorFn, "FrameBufferCount=%d", FrameBufferCount);
    ModelPatternGige = parser.getVal("ModelPatternGige");
    VS_LOG_INFO(kChannel, kConstructorFn, "ModelPatternGige=%s", ModelPatternGige.c_str());
    ModelPatternAI = parser.getVal("ModelPatternAI");
    VS_LOG_INFO(kChannel, kConstructorFn, "ModelPatternAI=%s", ModelPatternAI.c_str());

    // One temporary serves both switches and is not reset between them, so the reconnection
    // line shows what UseLocalCalibData left in it when its own key has no value.
    int flag = 0;
    if (parser.getVal("UseLocalCalibData", flag))
        UseLocalCalibData = flag != 0;
    VS_LOG_INFO(kChannel, kConstructorFn, "UseLocalCalibData=%d", UseLocalCalibData ? 1 : 0);

    // Read twice on purpose, with a line after each reading: the log shows the line twice.
    OutputPlugin = parser.getVal("OutputPlugin");
    VS_LOG_INFO(kChannel, kConstructorFn, "OutputPlugin=%s", OutputPlugin.c_str());
    OutputPlugin = parser.getVal("OutputPlugin");
    VS_LOG_INFO(kChannel, kConstructorFn, "OutputPlugin=%s", OutputPlugin.c_str());

    if (parser.getVal("EnableCameraReconnect", flag))
        EnableCameraReconnect = flag != 0;
    VS_LOG_INFO(kChannel, kConstructorFn, "EnableCameraReconnect=%d", flag);

    if (parser.getVal("CameraReconnectTimeout", CameraReconnectTimeout) &&
        CameraReconnectTimeout < kMinReconnectTimeout)
        CameraReconnectTimeout = kMinReconnectTimeout;
    VS_LOG_INFO(kChannel, kConstructorFn, "CameraReconnectTimeout=%d", CameraReconnectTimeout);

    parser.getVal("DropFrameCountExp", DropFrameCountExp);
    VS_LOG_INFO(kChannel, kConstructorFn, "DropFrameCountExp=%d", DropFrameCountExp);
}

} // namespace Orvia::VisionSystem
