#include "LocalStation.h"

#include <filesystem>

#include "CalibFiles.h"
#include "ImageFiles.h"

namespace quboid3d::test {

void writeLocalStation(const std::string& cfgDir) {
    CalibFiles{}.write(cfgDir);
    std::filesystem::create_directories("LocalImages");
    writeGreyPng("LocalImages/0001.png", 8, 4, flatGrey(8, 4, 0));
}

LpmcBox boxOf(float length, float width, float height) {
    LpmcBox box{};
    box.length = length;
    box.width = width;
    box.height = height;
    box.volume = length * width * height;
    return box;
}

} // namespace quboid3d::test
