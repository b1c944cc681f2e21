// The calibration a camera carries, as one JSON text: an object with one string member per
// calibration file, named by the file, holding the file's whole text. Kept apart from the
// camera transfers so that the text alone can be read, written and fuzzed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Orvia::VisionSystem {

inline constexpr int kCalibFileCount = 6;
using CalibFileTexts = std::array<std::string, kCalibFileCount>;

// The file of each cache index, 0 to 5; an empty string for any other index.
std::string calibFileNameAt(int index);

// The text held in a camera's area: up to its first NUL byte, or the whole area if there is none.
std::string calibrationTextOf(const uint8_t* area, std::size_t size);

// Fills `files` from a JSON text: each entry from the string member of its file's name, empty if
// that member is absent or no string. False, with `files` untouched and the parser's message in
// `error`, if the text isn't JSON; any JSON value, object or not, succeeds.
bool parseCalibrationText(const std::string& text, CalibFileTexts& files, std::string& error);

// The JSON text of `files`, members in key order, an empty text written as an empty string.
std::string makeCalibrationText(const CalibFileTexts& files);

} // namespace Orvia::VisionSystem
