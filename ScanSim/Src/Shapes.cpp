#include "Shapes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ScanSim::Detail {
namespace {

constexpr double kBumpDepth = 0.12;

// A smooth periodic wave of period 2 pi and amplitude 1, made of parabolic halves: close to a
// sine, with a continuous slope, and much cheaper to evaluate.
double wave(double x) {
    const double u = x / (2.0 * kPi);
    const double f = u - std::floor(u); // 0 .. 1
    const double t = f < 0.5 ? 2.0 * f : 2.0 * f - 1.0;
    const double half = 4.0 * t * (1.0 - t);
    return f < 0.5 ? half : -half;
}

struct Local {
    Vec3 o;
    Vec3 d;
};

Local toLocal(const ObjectPose& obj, const Vec3& o, const Vec3& d) {
    const Vec3 r = o - obj.centre;
    return {{dot(r, obj.alongShort), dot(r, obj.alongLong), r.z},
            {dot(d, obj.alongShort), dot(d, obj.alongLong), d.z}};
}

Vec3 toBoardNormal(const ObjectPose& obj, const Vec3& n) {
    return normalized(n.x * obj.alongShort + n.y * obj.alongLong + Vec3{0.0, 0.0, n.z});
}

// Keeps the nearest candidate in (tMin, tMax).
struct Nearest {
    double tMin = 0.0;
    double tMax = 0.0;
    bool found = false;
    RayHit hit;
    void offer(double t, const Vec3& localNormal, int surface) {
        if (t > tMin && t < tMax && (!found || t < hit.t)) {
            found = true;
            hit.t = t;
            hit.normal = localNormal;
            hit.surface = surface;
        }
    }
};

void castBox(const SceneObject& s, const Local& r, Nearest& best) {
    const double lo[3] = {-s.width / 2.0, -s.length / 2.0, 0.0};
    const double hi[3] = {s.width / 2.0, s.length / 2.0, s.height};
    const double o[3] = {r.o.x, r.o.y, r.o.z};
    const double d[3] = {r.d.x, r.d.y, r.d.z};
    double tEnter = -std::numeric_limits<double>::infinity();
    double tExit = std::numeric_limits<double>::infinity();
    int enterAxis = -1;
    double enterSign = 0.0;
    for (int a = 0; a < 3; ++a) {
        if (std::abs(d[a]) < 1e-300) {
            if (o[a] < lo[a] || o[a] > hi[a]) {
                return;
            }
            continue;
        }
        double t0 = (lo[a] - o[a]) / d[a];
        double t1 = (hi[a] - o[a]) / d[a];
        double sign = -1.0; // entering through the low face: its normal points to -axis
        if (t0 > t1) {
            std::swap(t0, t1);
            sign = 1.0;
        }
        if (t0 > tEnter) {
            tEnter = t0;
            enterAxis = a;
            enterSign = sign;
        }
        tExit = std::min(tExit, t1);
    }
    if (enterAxis < 0 || tEnter > tExit) {
        return;
    }
    Vec3 n;
    (enterAxis == 0 ? n.x : enterAxis == 1 ? n.y : n.z) = enterSign;
    best.offer(tEnter, n, enterAxis * 2 + (enterSign > 0 ? 1 : 0));
}

// A box with rounded edges and corners: every point within edgeRadius of the box shrunk by
// that radius. Its distance function is exact, so marching by it never steps through the
// surface (sphere tracing).
struct RoundedBox {
    double half[3]; // half sides of the shrunk box
    double centre[3];
    double radius;

    RoundedBox(const SceneObject& s)
        : half{s.width / 2.0 - s.edgeRadius, s.length / 2.0 - s.edgeRadius, s.height / 2.0 - s.edgeRadius},
          centre{0.0, 0.0, s.height / 2.0}, radius(s.edgeRadius) {}

    // Signed distance to the surface; q gets the offsets from the shrunk box per axis.
    double distance(const double p[3], double q[3]) const {
        double outside = 0.0, inside = -1e300;
        for (int a = 0; a < 3; ++a) {
            q[a] = std::abs(p[a] - centre[a]) - half[a];
            outside += q[a] > 0.0 ? q[a] * q[a] : 0.0;
            inside = std::max(inside, q[a]);
        }
        return std::sqrt(outside) + std::min(inside, 0.0) - radius;
    }

    // Outward normal and a surface index: 0..5 for the flat faces (as a sharp box), 6 and above
    // for the rounded edges and corners.
    Vec3 normal(const double p[3], const double q[3], int& surface) const {
        double n[3] = {0.0, 0.0, 0.0};
        int rounded = 0, code = 0, weight = 1, axis = 0;
        for (int a = 0; a < 3; ++a, weight *= 3) {
            const double sign = p[a] >= centre[a] ? 1.0 : -1.0;
            if (q[a] > 0.0) {
                n[a] = sign * q[a];
                ++rounded;
                code += weight * (sign > 0.0 ? 1 : 2);
            }
            axis = q[a] > q[axis] ? a : axis;
        }
        const double sign = p[axis] >= centre[axis] ? 1.0 : -1.0;
        if (rounded <= 1) { // a flat face: the one of the largest offset
            n[0] = n[1] = n[2] = 0.0;
            n[axis] = sign;
            surface = axis * 2 + (sign > 0.0 ? 1 : 0);
        } else {
            surface = 6 + code;
        }
        return normalized(Vec3{n[0], n[1], n[2]});
    }
};

// The part of the ray inside the object's bounding box that can still beat the nearest hit;
// false if there is none.
bool clipToBounds(const SceneObject& s, const Local& r, const Nearest& best, double& tEnter, double& tExit) {
    const double lo[3] = {-s.width / 2.0, -s.length / 2.0, 0.0};
    const double hi[3] = {s.width / 2.0, s.length / 2.0, s.height};
    const double o[3] = {r.o.x, r.o.y, r.o.z};
    const double d[3] = {r.d.x, r.d.y, r.d.z};
    tEnter = best.tMin;
    tExit = best.found ? best.hit.t : best.tMax;
    for (int a = 0; a < 3; ++a) {
        if (std::abs(d[a]) < 1e-300) {
            if (o[a] < lo[a] || o[a] > hi[a]) {
                return false;
            }
            continue;
        }
        const double t0 = (lo[a] - o[a]) / d[a];
        const double t1 = (hi[a] - o[a]) / d[a];
        tEnter = std::max(tEnter, std::min(t0, t1));
        tExit = std::min(tExit, std::max(t0, t1));
    }
    return tEnter <= tExit;
}

void castRoundedBox(const SceneObject& s, const Local& r, Nearest& best) {
    double tEnter = 0.0;
    double tExit = 0.0;
    if (!clipToBounds(s, r, best, tEnter, tExit)) {
        return;
    }
    const RoundedBox box(s);
    const double speed = std::max(norm(r.d), 1e-300);
    const double eps = 1e-6;
    double t = tEnter;
    for (int i = 0; i < 400 && t <= tExit; ++i) {
        const double p[3] = {r.o.x + t * r.d.x, r.o.y + t * r.d.y, r.o.z + t * r.d.z};
        double q[3];
        const double dist = box.distance(p, q);
        if (dist < eps) {
            int surface = 0;
            const Vec3 n = box.normal(p, q, surface);
            if (dot(n, r.d) < 0.0) {
                best.offer(std::max(t, std::nextafter(best.tMin, 1e300)), n, surface);
                return;
            }
            t += 0.05 / speed; // leaving the surface it starts on: step off it
            continue;
        }
        t += dist / speed;
    }
}

// Circle of radius r in the (a, b) plane of the local frame, bounded along the third axis.
// axes: index of a, b and the bounded axis in (s, l, h); bOffset shifts b (cylinder lying).
void castCylinder(const Local& r, int ia, int ib, int ic, double radius, double bOffset, double cLo,
                  double cHi, Nearest& best) {
    const double o[3] = {r.o.x, r.o.y, r.o.z};
    const double d[3] = {r.d.x, r.d.y, r.d.z};
    const double oa = o[ia];
    const double ob = o[ib] - bOffset;
    const double qa = d[ia] * d[ia] + d[ib] * d[ib];
    const auto normalOf = [&](double va, double vb, double vc) {
        double n[3] = {0, 0, 0};
        n[ia] = va;
        n[ib] = vb;
        n[ic] = vc;
        return Vec3{n[0], n[1], n[2]};
    };
    if (qa > 1e-300) {
        const double qb = 2.0 * (oa * d[ia] + ob * d[ib]);
        const double qc = oa * oa + ob * ob - radius * radius;
        const double disc = qb * qb - 4.0 * qa * qc;
        if (disc >= 0.0) {
            const double sq = std::sqrt(disc);
            for (const double t : {(-qb - sq) / (2.0 * qa), (-qb + sq) / (2.0 * qa)}) {
                const double c = o[ic] + t * d[ic];
                if (c >= cLo && c <= cHi) {
                    const double pa = oa + t * d[ia];
                    const double pb = ob + t * d[ib];
                    best.offer(t, normalOf(pa / radius, pb / radius, 0.0), 0);
                }
            }
        }
    }
    if (std::abs(d[ic]) > 1e-300) {
        const double caps[2] = {cLo, cHi};
        for (int k = 0; k < 2; ++k) {
            const double t = (caps[k] - o[ic]) / d[ic];
            const double pa = oa + t * d[ia];
            const double pb = ob + t * d[ib];
            if (pa * pa + pb * pb <= radius * radius) {
                best.offer(t, normalOf(0.0, 0.0, k == 0 ? -1.0 : 1.0), 1 + k);
            }
        }
    }
}

void castBag(const SceneObject& s, const BagShape& bag, const Local& r, Nearest& best) {
    // Clip the ray to the bounding box, then step down onto the height field; each step is
    // safe because the height changes at most slopeBound mm per mm across the footprint.
    double tEnter = 0.0;
    double tExit = 0.0;
    if (!clipToBounds(s, r, best, tEnter, tExit)) {
        return;
    }
    const double horizontal = std::hypot(r.d.x, r.d.y);
    const double rate = std::abs(r.d.z) + bag.slopeBound * horizontal;
    // Bumps are hundreds of mm long: stepping 0.05 mm at least misses nothing of them.
    const double minStep = 0.05 / std::max(norm(r.d), 1e-300);
    const auto gapAt = [&](double t) {
        return (r.o.z + t * r.d.z) - bag.heightAt(s, r.o.x + t * r.d.x, r.o.y + t * r.d.y);
    };
    const auto hitAt = [&](double t) {
        const double ps = r.o.x + t * r.d.x;
        const double pl = r.o.y + t * r.d.y;
        if (bag.heightAt(s, ps, pl) <= 1e-6) {
            return; // reached the belt beside the bag
        }
        const double e = 0.05;
        const double gs = (bag.heightAt(s, ps + e, pl) - bag.heightAt(s, ps - e, pl)) / (2 * e);
        const double gl = (bag.heightAt(s, ps, pl + e) - bag.heightAt(s, ps, pl - e)) / (2 * e);
        best.offer(std::max(t, std::nextafter(best.tMin, 1e300)), normalized(Vec3{-gs, -gl, 1.0}), 0);
    };
    double t = tEnter;
    for (int i = 0; i < 2000 && t <= tExit; ++i) {
        const double gap = gapAt(t);
        if (gap < 1e-4) {
            hitAt(t);
            return;
        }
        // Close above the surface on a descending ray: bracket the crossing and close in on it
        // (regula falsi, Illinois variant) instead of creeping down by safe steps.
        if (gap < 2.0 && r.d.z < 0.0) {
            double tb = std::min(t + 2.0 * gap / -r.d.z, tExit);
            double gb = gapAt(tb);
            if (gb < 0.0) {
                double ta = t;
                double ga = gap;
                for (int k = 0; k < 60 && tb - ta > minStep * 1e-3; ++k) {
                    const double tm = ta - ga * (tb - ta) / (gb - ga);
                    const double gm = gapAt(tm);
                    if (gm >= 0.0) {
                        ta = tm;
                        ga = gm;
                        gb *= 0.5;
                    } else {
                        tb = tm;
                        gb = gm;
                        ga *= 0.5;
                    }
                    if (std::abs(gm) < 1e-6) {
                        break;
                    }
                }
                hitAt(ta);
                return;
            }
        }
        t += std::max(gap / rate, minStep);
    }
}

} // namespace

double BagShape::heightAt(const SceneObject& o, double s, double l) const {
    // Footprint a^4 + b^4 < 1: a rounded rectangle; the dome 1 - (a^4 + b^4) has a flat top and
    // soft sides, like a filled sack.
    const double a = 2.0 * s / o.width;
    const double b = 2.0 * l / o.length;
    const double a2 = a * a;
    const double b2 = b * b;
    const double q = a2 * a2 + b2 * b2;
    if (q >= 1.0) {
        return 0.0;
    }
    const double bump = 1.0 + kBumpDepth * wave(waveS * s + phaseS) * wave(waveL * l + phaseL);
    return scale * (1.0 - q) * bump;
}

BagShape makeBagShape(const SceneObject& o) {
    BagShape bag;
    // Phases and wavelengths from the object's seed, so two bags differ but each is repeatable.
    uint32_t x = o.shapeSeed * 2654435761u + 12345u;
    const auto next = [&x]() {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        return (x & 0xFFFFFF) / double(0x1000000);
    };
    bag.phaseS = 2.0 * kPi * next();
    bag.phaseL = 2.0 * kPi * next();
    bag.waveS = 2.0 * kPi / (o.width * (0.5 + 0.4 * next()));
    bag.waveL = 2.0 * kPi / (o.length * (0.5 + 0.4 * next()));
    double peak = 0.0;
    const int n = 240;
    for (int i = 0; i <= n; ++i) {
        for (int j = 0; j <= n; ++j) {
            const double s = (i / double(n) - 0.5) * o.width;
            const double l = (j / double(n) - 0.5) * o.length;
            peak = std::max(peak, bag.heightAt(o, s, l));
        }
    }
    bag.scale = peak > 0.0 ? o.height / peak : 1.0; // heightAt then peaks at o.height
    // Slope bound: the steepest gradient on a fine grid, with a wide safety margin.
    double steepest = 0.0;
    const double e = 0.01;
    for (int i = 0; i <= n; ++i) {
        for (int j = 0; j <= n; ++j) {
            const double s = (i / double(n) - 0.5) * o.width;
            const double l = (j / double(n) - 0.5) * o.length;
            const double gs = (bag.heightAt(o, s + e, l) - bag.heightAt(o, s - e, l)) / (2 * e);
            const double gl = (bag.heightAt(o, s, l + e) - bag.heightAt(o, s, l - e)) / (2 * e);
            steepest = std::max(steepest, std::hypot(gs, gl));
        }
    }
    bag.slopeBound = 2.0 * steepest + 1e-3;
    return bag;
}

double bagSolidVolume(const SceneObject& o, const BagShape& bag) {
    const int n = 400;
    double sum = 0.0;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            const double s = ((i + 0.5) / n - 0.5) * o.width;
            const double l = ((j + 0.5) / n - 0.5) * o.length;
            sum += bag.heightAt(o, s, l);
        }
    }
    return sum * (o.width / n) * (o.length / n);
}

double shapeTopHeight(const SceneObject& o) {
    return o.kind == ShapeKind::CylinderLying ? o.diameter : o.height;
}

double shapeLength(const SceneObject& o) {
    return o.kind == ShapeKind::CylinderStanding ? o.diameter : o.length;
}

double shapeWidth(const SceneObject& o) {
    return (o.kind == ShapeKind::CylinderStanding || o.kind == ShapeKind::CylinderLying) ? o.diameter
                                                                                         : o.width;
}

bool castRay(const ObjectPose& obj, const Vec3& o, const Vec3& d, double tMin, double tMax, RayHit& hit) {
    const Local r = toLocal(obj, o, d);
    Nearest best;
    best.tMin = tMin;
    best.tMax = tMax;
    const SceneObject& s = *obj.desc;
    switch (s.kind) {
    case ShapeKind::Box:
        if (s.edgeRadius > 0.0) {
            castRoundedBox(s, r, best);
        } else {
            castBox(s, r, best);
        }
        break;
    case ShapeKind::CylinderLying:
        // circle in (s, h), centred at h = radius, bounded along l
        castCylinder(r, 0, 2, 1, s.diameter / 2.0, s.diameter / 2.0, -s.length / 2.0, s.length / 2.0, best);
        break;
    case ShapeKind::CylinderStanding:
        castCylinder(r, 0, 1, 2, s.diameter / 2.0, 0.0, 0.0, s.height, best);
        break;
    case ShapeKind::Bag:
        castBag(s, *obj.bag, r, best);
        break;
    }
    if (!best.found) {
        return false;
    }
    hit = best.hit;
    hit.normal = toBoardNormal(obj, hit.normal);
    if (dot(hit.normal, d) > 0.0) {
        hit.normal = -hit.normal;
    }
    return true;
}

} // namespace ScanSim::Detail
