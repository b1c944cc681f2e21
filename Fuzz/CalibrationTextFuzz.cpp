// Feeds each input to the reading of a camera's calibration area, as loadFromCamera reads it:
// the input fills the start of a 32 KiB area, and its first byte chooses what fills the rest,
// zeros (a terminated text) or one repeated byte (possibly no terminator at all). Beside the
// sanitizers, it checks that the text stays within the area and holds no NUL, that a refused
// text leaves the files untouched, and that accepted files written back read back the same.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "CalibrationText.h"

namespace {

using namespace Orvia::VisionSystem;

constexpr std::size_t kAreaSize = 32768;

void check(bool condition) {
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const uint8_t filler = (data[0] & 1) ? static_cast<uint8_t>(' ' + (data[0] >> 1) % 64) : 0;
    std::vector<uint8_t> area(kAreaSize, filler);
    const std::size_t used = size - 1 < kAreaSize ? size - 1 : kAreaSize;
    std::memcpy(area.data(), data + 1, used);

    const std::string text = calibrationTextOf(area.data(), area.size());
    check(text.size() <= kAreaSize && text.find('\0') == std::string::npos);

    CalibFileTexts files;
    files.fill("untouched");
    std::string error;
    if (!parseCalibrationText(text, files, error)) {
        check(!error.empty());
        for (const std::string& file : files)
            check(file == "untouched");
        return 0;
    }
    CalibFileTexts reread;
    check(parseCalibrationText(makeCalibrationText(files), reread, error));
    check(reread == files);
    return 0;
}
