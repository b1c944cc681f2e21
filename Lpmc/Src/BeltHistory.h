// For every 1 mm of board X, the last frame that showed the belt there. When an object appears,
// this tells in which frame its front began to hide the line from the camera.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Profile.h"

namespace lpmc {

class CBeltHistory {
public:
    // False on allocation failure.
    bool configure();
    void clear();
    // Notes the bins where frame `seq` showed the belt.
    void update(const CBeltBins& belt, uint64_t seq);
    // Over the middle half of [x0, x1] (the ends may see past a side), the median of the last
    // frame that showed the belt, plus one; 0 where it never showed.
    uint64_t lastSeenPlusOne(float x0, float x1);

private:
    std::unique_ptr<uint64_t[]> seen_; // per bin: seq + 1 of the last frame with belt, 0: never
    std::vector<uint64_t> scratch_;
};

} // namespace lpmc
