// Codes shared by the camera API: pixel formats, feature types, interface kinds, access modes.
#pragma once

#include <cstdint>

namespace Orvia::GenICam {

// Pixel formats by their GenICam Pixel Format Naming Convention codes.
enum PixelFormatCode : uint32_t {
    PixelFormatMono8 = 0x01080001,
    PixelFormatMono10 = 0x01100003,
    PixelFormatMono4p = 0x01040039,
    // A block produced by the camera's own line extraction (see CFrame::getImage).
    PixelFormatPipelineResult = 0x81000001,
};

// Type of a feature as CInternalParameterNode::getType reports it.
enum ParameterType : uint32_t {
    ParameterTypeUnknown = 0,
    ParameterTypeInt = 0x10000000,
    ParameterTypeFloat = 0x20000000,
    ParameterTypeEnum = 0x30000000,
    ParameterTypeBool = 0x40000000,
    ParameterTypeString = 0x50000000,
    ParameterTypeCommand = 0x60000000,
};

// What ICamera::getInterfaceKind reports: the transport the device sits on.
enum InterfaceKind : int32_t {
    InterfaceKindGigE = 0,
    InterfaceKindUsb3 = 1,
};

// ICamera::connect access modes. Control (2) lets others read while this process writes.
enum AccessMode : uint32_t {
    AccessModeExclusive = 1,
    AccessModeControl = 2,
    AccessModeMonitor = 3,
};

// CSystem::discovery: every interface. Otherwise a bit mask of (1 << InterfaceKind).
constexpr uint32_t kInterfaceSelectorAll = 255;

} // namespace Orvia::GenICam
