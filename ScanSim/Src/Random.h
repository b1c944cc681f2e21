// Seeded, repeatable random numbers: one independent stream per (seed, frame, purpose), so a
// frame renders the same whatever was rendered before it.
#pragma once

#include <array>
#include <cstdint>

namespace ScanSim::Detail {

inline uint64_t splitMix(uint64_t& state) {
    uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

enum class Stream : uint64_t { Background = 1, Line = 2, LineForm = 3, Tables = 4 };

class CRandom {
public:
    CRandom(uint64_t seed, uint64_t frame, Stream stream) {
        state_ = seed ^ (frame * 0xD1B54A32D192ED03ull) ^ (static_cast<uint64_t>(stream) << 56);
        splitMix(state_);
    }
    uint64_t next() { return splitMix(state_); }
    // Standard normal deviate, looked up in a fixed table (fast and the same on every run).
    double gaussian();

private:
    uint64_t state_ = 0;
};

} // namespace ScanSim::Detail
