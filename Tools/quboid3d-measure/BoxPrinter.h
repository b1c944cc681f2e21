// Prints the boxes and camera status changes that the library reports.
#pragma once

#include <cstdio>

#include "Quboid3DSdk.h"

namespace quboid3d::measure {

// Text: a few lines per box. `index` counts from 1.
void printBoxText(std::FILE* out, int index, const VslbVolumeResult& box);
// One JSON object on one line.
void printBoxJson(std::FILE* out, int index, const VslbVolumeResult& box);
void printCameraStatus(std::FILE* out, int status, bool json);
// The name and meaning of a return code of the library.
const char* codeName(int code);
const char* codeMeaning(int code);

} // namespace quboid3d::measure
