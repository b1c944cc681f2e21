// Command line of quboid3d-measure.
#pragma once

#include <optional>
#include <string>

namespace quboid3d::measure {

struct Options {
    std::string configDir = "./3DCfg/";
    int count = 0;         // stop after this many boxes; 0: no limit
    double timeout = 0;    // stop after this many seconds; 0: no limit
    bool json = false;     // one JSON object per box instead of text
    std::string truthFile; // truth.json of a synthesized scan to compare with
    std::string simCamera; // a scan directory or scene file a simulated camera serves
    std::string simForm = "mono8";
    bool help = false;
    bool version = false;
};

// The options, or nothing with `error` set when the command line is wrong.
std::optional<Options> parseOptions(int argc, char** argv, std::string& error);

const char* usageText();

} // namespace quboid3d::measure
