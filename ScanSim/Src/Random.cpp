#include "Random.h"

#include <cmath>
#include <vector>

namespace ScanSim::Detail {
namespace {

constexpr int kTableBits = 16;

std::vector<float> makeGaussianTable() {
    // Inverse of the normal distribution at the midpoints of 2^16 equal-probability bins,
    // by bisection on erfc: exact in distribution up to the bin width, and repeatable.
    std::vector<float> table(size_t{1} << kTableBits);
    const double n = static_cast<double>(table.size());
    for (size_t i = 0; i < table.size(); ++i) {
        const double p = (static_cast<double>(i) + 0.5) / n;
        double lo = -10.0;
        double hi = 10.0;
        for (int k = 0; k < 40; ++k) {
            const double mid = 0.5 * (lo + hi);
            if (0.5 * std::erfc(-mid / std::sqrt(2.0)) < p) {
                lo = mid;
            } else {
                hi = mid;
            }
        }
        table[i] = static_cast<float>(0.5 * (lo + hi));
    }
    return table;
}

} // namespace

double CRandom::gaussian() {
    static const std::vector<float> table = makeGaussianTable();
    return table[next() >> (64 - kTableBits)];
}

} // namespace ScanSim::Detail
