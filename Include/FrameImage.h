// Camera frames as the calculator sees them: a frame that needs converting becomes an owned
// 8-bit image, and the camera's line-form block is read at its fixed places.
#pragma once

#include <cstddef>
#include <cstdint>

#include "LoadImage.h"
#include "Orvia/GenICam/Frame.h"
#include "Orvia/Memory/SharedPtr.h"

namespace Orvia::VisionSystem {

inline constexpr std::uint32_t kPixelFormatMono8 = 0x1080001;
inline constexpr std::uint32_t kPixelFormatMono4p = 0x1040039;

// The places of the line-form block that the calculator touches; what lies between belongs to
// the camera and the sheet-of-light library.
struct PipelineImageHead {
    std::uint8_t cameraOwn[36];
    std::int32_t count;
    std::uint8_t cameraOwn2[8];
};
static_assert(offsetof(PipelineImageHead, cameraOwn) == 0);
static_assert(offsetof(PipelineImageHead, count) == 36);
static_assert(offsetof(PipelineImageHead, cameraOwn2) == 40);
static_assert(sizeof(PipelineImageHead) == 48);
inline constexpr std::size_t kPipelineFirstOffset = 48;
inline constexpr std::size_t kPipelineSecondOffset = 15408;

// An owned 8-bit image of a frame: Mono4p unpacked (each 4-bit value into the high nibble of its
// pixel, low nibble first), Mono8 copied. Every field stays zero for an invalid frame or any
// other format.
Memory::TSharedPtr<VsImage> imageFromFrame(const GenICam::CFrame& frame);
// The same into `image`, whose buffer is written over when it has the frame's size already, so
// that a stream of frames is converted with no allocation after the first.
void fillImageFromFrame(const GenICam::CFrame& frame, VsImage& image);

// The frame time of a line-form frame from its "PipelineResultTsHigh" and "PipelineResultTsLow"
// chunks: ((high << 32) + low) / 1000, remainder dropped. A missing half counts as 0.
double pipelineTimestamp(const GenICam::CFrame& frame);

} // namespace Orvia::VisionSystem
