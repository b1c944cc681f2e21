// Ray casting against the objects of a scene. Each object is cast in its own frame: origin at
// its footprint centre on the belt, s across its long side, l along it, h up from the belt.
#pragma once

#include "ScanSim/Scene.h"

namespace ScanSim::Detail {

// What a Bag needs beyond its SceneObject: the bumps and the scale that makes its peak
// exactly the object's height.
struct BagShape {
    double phaseS = 0.0;
    double phaseL = 0.0;
    double waveS = 1.0; // radians per mm
    double waveL = 1.0;
    double scale = 1.0;
    double slopeBound = 1.0; // Lipschitz bound of the height over the footprint
    double heightAt(const SceneObject& o, double s, double l) const;
};

BagShape makeBagShape(const SceneObject& o);
double bagSolidVolume(const SceneObject& o, const BagShape& bag);

// One object at one frame.
struct ObjectPose {
    int index = 0;
    const SceneObject* desc = nullptr;
    const BagShape* bag = nullptr;
    Vec3 centre;       // board, on the belt surface
    Vec3 alongLong;    // unit long-side direction (board)
    Vec3 alongShort;   // unit short-side direction (board)
    Vec3 sphereCentre; // bounding sphere
    double sphereRadius = 0.0;
};

struct RayHit {
    double t = 0.0;
    Vec3 normal; // board, unit, facing the ray
    int surface = 0;
};

// First surface of the object along o + t d with tMin < t < tMax (d need not be unit).
bool castRay(const ObjectPose& obj, const Vec3& o, const Vec3& d, double tMin, double tMax, RayHit& hit);

// Height of the object's shape (box height, cylinder top) used for bounds.
double shapeTopHeight(const SceneObject& o);
// Footprint of the shape: long and short extents.
double shapeLength(const SceneObject& o);
double shapeWidth(const SceneObject& o);

} // namespace ScanSim::Detail
