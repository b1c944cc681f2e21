#include "ScanSim/Scene.h"

#include "Shapes.h"

#include <algorithm>
#include <cmath>

namespace ScanSim {

const char* shapeKindName(ShapeKind kind) {
    switch (kind) {
    case ShapeKind::Box:
        return "box";
    case ShapeKind::CylinderLying:
        return "cylinder-lying";
    case ShapeKind::CylinderStanding:
        return "cylinder-standing";
    case ShapeKind::Bag:
        return "bag";
    }
    return "box";
}

PlacedObject placeObject(const Station& station, const SceneObject& desc, const Vec3& centre) {
    PlacedObject p;
    p.desc = desc;
    p.yawRad = degToRad(desc.yawDeg);
    const double len = Detail::shapeLength(desc);
    const double wid = Detail::shapeWidth(desc);
    const double sn = std::abs(std::sin(p.yawRad));
    const double cs = std::abs(std::cos(p.yawRad));
    p.halfExtentX = sn * len / 2.0 + cs * wid / 2.0;
    p.halfExtentY = cs * len / 2.0 + sn * wid / 2.0;
    p.topZ = station.beltZ() + Detail::shapeTopHeight(desc);
    p.centre = Vec3{centre.x, centre.y, station.beltZ()};
    return p;
}

SceneLayout layoutScene(const Scene& scene) {
    SceneLayout layout;
    const Station& st = scene.station;
    // Where the laser plane meets the belt, along Y (0 for the vertical plane through the origin).
    const double lineY = std::abs(st.laser.normal.y) > 1e-12
                             ? (st.laser.offset - st.laser.normal.z * st.beltZ()) / st.laser.normal.y
                             : 0.0;
    double rearY = lineY; // the scan starts with the belt empty up to the line
    double tallest = 0.0;
    for (const SceneObject& desc : scene.objects) {
        PlacedObject p = placeObject(st, desc, Vec3{desc.x, 0.0, 0.0});
        const double frontY = rearY - desc.gap;
        p.centre.y = frontY - p.halfExtentY;
        rearY = frontY - 2.0 * p.halfExtentY;
        tallest = std::max(tallest, Detail::shapeTopHeight(desc));
        layout.objects.push_back(p);
    }
    // A tilted laser plane meets the top of a tall object away from the belt line.
    const double tiltReach =
        std::abs(st.laser.normal.z / std::max(std::abs(st.laser.normal.y), 1e-12)) * tallest;
    const double travel = (lineY - rearY) + scene.trailingGap + tiltReach;
    const double step = std::max(scene.motion.mmPerFrame, 1e-6);
    layout.frameCount = static_cast<int>(std::ceil(travel / step)) + 1;
    return layout;
}

SceneObject makeBox(const std::string& name, double length, double width, double height, double x,
                    double yawDeg, double gap, double reflectance) {
    SceneObject o;
    o.name = name;
    o.kind = ShapeKind::Box;
    o.length = length;
    o.width = width;
    o.height = height;
    o.x = x;
    o.yawDeg = yawDeg;
    o.gap = gap;
    o.reflectance = reflectance;
    return o;
}

Scene defaultScene() {
    Scene scene;
    scene.objects = {
        makeBox("white-carton", 350.0, 250.0, 200.0, -150.0, 0.0, 150.0, 0.85),
        makeBox("brown-carton", 500.0, 350.0, 300.0, 120.0, 25.0, 150.0, 0.45),
        makeBox("dark-box", 300.0, 200.0, 150.0, -60.0, -40.0, 150.0, 0.10),
        makeBox("tall-grey-box", 300.0, 220.0, 550.0, 180.0, 70.0, 150.0, 0.60),
    };
    scene.trailingGap = 150.0;
    return scene;
}

} // namespace ScanSim
