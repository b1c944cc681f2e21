// Factory data: values from FactoryData.json laid over the key-value files of a directory, one
// stage at a time. An editor of existing files: it adds and overwrites keys, never creates a file.
// One object of process lifetime; the JSON file is read anew on every write.
#pragma once

#include <string>

#include "Json.h"

namespace Orvia::VisionSystem {

class FactoryData {
public:
    // The stage a call works on, by its number.
    enum FactoryDataType { CalibIn = 0, CalibOut = 1, ScanIn = 2, ScanOut = 3 };

    static FactoryData& instance();

    // The stage's name in the file, or null for an unknown number.
    const char* getTypeName(int type) const;
    // True if `out` now holds the root object of the JSON file at `path`.
    bool parseFile(const std::string& path, Json& out);
    // `out` becomes the stage `type` of `section` from FactoryData.json here or in the parent
    // directory (null if absent); true if a file was read.
    bool readConfig(const char* section, int type, Json& out);
    // Applies the calibration section's stage `type` to the files of `dir`; the number of values
    // applied, 0 if nothing was done.
    int write(int type, const char* dir);

    const char* const calibSection = "CalibData";
    const char* const uiSection = "UiData";
    const char* const fileName = "FactoryData.json";

    FactoryData(const FactoryData&) = delete;
    FactoryData& operator=(const FactoryData&) = delete;

private:
    FactoryData() = default;
};

// The text a JSON value takes in a key-value file: strings as they are, integers as "%d", other
// numbers with six decimals, booleans as 1 or 0, anything else empty.
std::string factoryValueText(const Json& value);

} // namespace Orvia::VisionSystem
