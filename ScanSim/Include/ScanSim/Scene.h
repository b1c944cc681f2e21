// A scene: the station, how the belt moves, how the sensor forms the image, and the objects
// that pass, one after another, with a gap of empty belt ahead of each.
#pragma once

#include "ScanSim/Station.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ScanSim {

enum class ShapeKind {
    Box,              // length x width x height
    CylinderLying,    // axis along the long side (yaw): length, diameter
    CylinderStanding, // axis vertical: diameter, height
    Bag               // soft rounded shape with bumps on a length x width footprint, peak height
};

struct SceneObject {
    std::string name;
    ShapeKind kind = ShapeKind::Box;
    double length = 400.0;   // along the long side, mm (Box, Bag, CylinderLying)
    double width = 300.0;    // across the long side, mm (Box, Bag)
    double height = 200.0;   // mm above the belt (Box, Bag, CylinderStanding)
    double diameter = 200.0; // cylinders
    double x = 0.0;          // centre across the belt, board X
    double yawDeg = 0.0;     // slant of the long side from +Y, atan2(dx, dy), positive towards +X
    double gap = 300.0;      // empty belt ahead of the object: from the previous object's rear
                             // (or the scan start) to this object's front, mm
    double reflectance = 0.8;
    uint32_t shapeSeed = 1; // the bumps of a Bag
    // Box: radius of every edge and corner, mm. Real cartons are rounded and crushed along their
    // edges, so two that touch leave a groove between their tops; 0 is a sharp box.
    double edgeRadius = 0.0;
};

// How far the belt moves per frame and how frames are stamped.
struct Motion {
    double mmPerFrame = 1.0;     // travel along +Y between profiles
    double driftXPerFrame = 0.0; // sideways drift between profiles (SpeedVx), usually 0
    double framePeriodMs = 1.0;  // camera frame period; belt speed = mmPerFrame / framePeriodMs
    bool encoder = false;        // frames triggered by an encoder: scan_encode_flag 1
    // Exposure time as a share of the frame period: the belt travels exposureShare * mmPerFrame
    // while a frame is exposed, centred on the frame's position. 0 is an instant.
    double exposureShare = 0.0;
};

// How the sensor turns the lit line into grey levels.
struct Optics {
    double lineSigmaPx = 1.2;      // Gaussian sigma of the line across rows, pixels
    double laserGain = 320.0;      // peak grey of reflectance 1 at normal incidence (clips at 255)
    double beltReflectance = 0.35; // the belt's own reflectance
    double ambient = 2.0;          // grey level of the unlit scene
    double sensorNoise = 0.0;      // sigma of the read noise over the whole image, grey levels
                                   // (0 keeps stored PNG scans small and quick to write)
    double shotNoise = 0.3;        // on lit pixels: sigma = shotNoise * sqrt(signal)
    double speckle = 0.15;         // relative sigma of the multiplicative speckle on the line
    double ghostFraction = 0.0;    // 0: no ghost; else a second, weaker line off object surfaces
    double ghostOffsetRows = 24.0;
    double lineJitterPx = 0.03; // sigma of the row noise of the on-camera line form
    int lineThreshold = 20;     // peaks below this give no line in the line form
};

struct Scene {
    Station station = defaultStation();
    Motion motion;
    Optics optics;
    std::vector<SceneObject> objects;
    double trailingGap = 300.0; // empty belt after the last object's rear has passed the line
    uint64_t seed = 1;
};

// One object placed on the belt: its pose in the board frame at frame 0. At frame k it has
// moved by (k * driftXPerFrame, k * mmPerFrame, 0).
struct PlacedObject {
    SceneObject desc; // the object as the scene describes it
    Vec3 centre;      // footprint centre, on the belt surface (board Z = beltZ)
    double yawRad = 0.0;
    double halfExtentX = 0.0; // half extents of its axis-aligned footprint in the board frame
    double halfExtentY = 0.0;
    double topZ = 0.0; // board Z of its highest point
};

struct SceneLayout {
    std::vector<PlacedObject> objects;
    int frameCount = 0;
};

// One object with its footprint centre at `centre` (board X, Y at frame 0; Z is set to the belt).
PlacedObject placeObject(const Station& station, const SceneObject& desc, const Vec3& centre);

// Places the objects one after another upstream of the laser line and sizes the scan so that
// the last one has passed, with trailingGap of empty belt behind it.
SceneLayout layoutScene(const Scene& scene);

// Several boxes of different sizes, yaws and colours, one dark (reflectance 0.1).
Scene defaultScene();

// A box of length x width x height mm at `x` across the belt, turned by `yawDeg`, with `gap` mm of
// empty belt ahead of it.
SceneObject makeBox(const std::string& name, double length, double width, double height, double x,
                    double yawDeg, double gap, double reflectance);

const char* shapeKindName(ShapeKind kind);

} // namespace ScanSim
