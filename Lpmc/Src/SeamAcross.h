// The mean height of an object's profiles along the belt. Two cartons touching end to end leave
// a groove across their tops where their rounded edges meet: a profile or two lower than the
// flat tops before and after. Such a dip can't be told from the profiles' own order, so it
// makes the object unmeasurable rather than parting it.
#pragma once

#include <cstdint>

namespace lpmc {

class CSeamAcross {
public:
    // One profile of the object: belt travel (mm) and the mean height of its points.
    void add(float travel, float height);
    // A dip between flat stretches was seen.
    bool seen() const { return seen_; }
    // How far the last profile lies below the flat top 5 to 15 mm before it (0 when that top
    // isn't flat or not there): a carton's rounded rear edge, where a dark band across a single
    // top leaves the top flat up to where the line vanishes.
    float endDrop() const;

private:
    static constexpr uint32_t kCapacity = 48; // 15 mm either side at 1 mm between profiles
    struct Level {
        float travel, height;
    };
    void check(uint32_t centre);
    // Mean height of the profiles `near` to `far` mm before profile `at` (travel), if flat.
    bool flatBefore(uint32_t at, float& mean) const;

    Level levels_[kCapacity] = {};
    uint32_t count_ = 0;   // profiles added
    uint32_t checked_ = 0; // profiles whose both sides have been looked at
    bool seen_ = false;
};

} // namespace lpmc
