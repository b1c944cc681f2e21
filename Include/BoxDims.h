// One measured box as the calculator hands it to the measurement thread.
#pragma once

namespace Orvia::VisionSystem {

struct BoxDims {
    double length; // mm
    double width;  // mm
    double height; // mm
    double volume; // mm^3
    double reserved;
};
static_assert(sizeof(BoxDims) == 40);

} // namespace Orvia::VisionSystem
