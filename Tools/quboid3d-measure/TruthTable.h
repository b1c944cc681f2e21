// Compares the measured boxes with the truth file of a synthesized scan, and prints the table.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "Quboid3DSdk.h"

namespace quboid3d::measure {

struct TruthObject {
    std::string name;
    double length = 0, width = 0, height = 0;
    double slantDeg = 0;
    double enterTime = 0;
};

// The objects of truth.json that the scan shows; false with `error` set if it can't be read.
bool loadTruth(const std::string& path, std::vector<TruthObject>& objects, std::string& error);

struct MeasuredBox {
    double length = 0, width = 0, height = 0;
    double slantDeg = 0;
    double enterTime = 0;
};

MeasuredBox measuredFrom(const VslbVolumeResult& result);

// Pairs each true object with the measured box that entered nearest in time, prints a row per
// object and the largest differences. Returns the number of objects left without a box.
int printComparison(std::FILE* out, const std::vector<TruthObject>& truth,
                    const std::vector<MeasuredBox>& measured);

} // namespace quboid3d::measure
