// The wall clock as local time with milliseconds, "YYYY-MM-DD hh:mm:ss.mmm".
#pragma once

#include <string>

namespace quboid3d::csv {

std::string localTimeWithMilliseconds();

} // namespace quboid3d::csv
