// Accuracy of the sheet-of-light library over a matrix of ScanSim scenes on the default station
// (1 mm between profiles, stored-image timestamps, Mono8 frames): boxes from 50 to 1000 mm, yaw 0
// to 45 degrees, several positions across the belt, dark (0.1) and white (0.85) boxes, two noise
// levels, side-by-side pairs, and an empty noisy belt. Prints per axis the largest, 99.7th
// percentile and mean absolute error, the slant-angle error, and boxes missed, split and phantom.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "LpmcMatrix.h"
#include "LpmcScanSim.h"

namespace {

using namespace lpmctest;

struct Errors {
    std::vector<double> length, width, height, slant, centre;
    int objects = 0, missed = 0, split = 0, phantoms = 0, unmeasured = 0;
    void add(const SimResult& r) {
        const SimComparison c = compare(r);
        phantoms += c.phantoms;
        unmeasured += static_cast<int>(r.unmeasured.size());
        for (const SimMatch& m : c.objects) {
            ++objects;
            if (m.found == 0) {
                ++missed;
                std::printf("  missed %s\n", m.truth->name.c_str());
                continue;
            }
            split += m.found > 1 ? 1 : 0;
            length.push_back(std::fabs(m.dLength));
            width.push_back(std::fabs(m.dWidth));
            height.push_back(std::fabs(m.dHeight));
            slant.push_back(std::fabs(m.dSlant));
            centre.push_back(std::hypot(m.dCentreX, m.dCentreY));
        }
    }
};

void printAxis(const char* name, std::vector<double> v, const char* unit) {
    if (v.empty()) {
        return;
    }
    std::sort(v.begin(), v.end());
    double sum = 0.0;
    for (double x : v) {
        sum += x;
    }
    const size_t k = std::min(v.size() - 1, static_cast<size_t>(std::ceil(0.997 * v.size())) - 1);
    const size_t within = static_cast<size_t>(std::count_if(
        v.begin(), v.end(), [&](double x) { return x <= (std::strcmp(unit, "deg") == 0 ? 0.5 : 2.5); }));
    std::printf("  %-8s max %6.3f  p99.7 %6.3f  mean %6.3f %s   within goal %zu/%zu\n", name, v.back(), v[k],
                sum / v.size(), unit, within, v.size());
}

void report(const char* title, const Errors& e) {
    std::printf("%s: %d objects, %d missed, %d split, %d phantom, %d unmeasured\n", title, e.objects,
                e.missed, e.split, e.phantoms, e.unmeasured);
    printAxis("length", e.length, "mm");
    printAxis("width", e.width, "mm");
    printAxis("height", e.height, "mm");
    printAxis("slant", e.slant, "deg");
    printAxis("centre", e.centre, "mm");
}

std::string label(char prefix, int n) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%c%d", prefix, n);
    return buf;
}

ScanSim::Scene sceneWith(double noise, uint64_t seed) {
    ScanSim::Scene s;
    s.optics.sensorNoise = noise;
    s.seed = seed;
    s.trailingGap = 150.0;
    return s;
}

} // namespace

int main(int argc, char** argv) {
    // --matrix [filter [dir]]: only the belt cases of ScanSim/scenes/belt-*.json (or of dir) whose
    // name holds filter.
    if (argc > 1 && std::strcmp(argv[1], "--matrix") == 0) {
        return runMatrix(argc > 3 ? argv[3] : QUBOID3D_SOURCE_DIR "/ScanSim/scenes",
                         argc > 2 ? argv[2] : "") < 0
                   ? 1
                   : 0;
    }
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    const double lengths[] = {50, 120, 300, 600, 1000};
    const double yaws[] = {0, 15, 30, 45};
    const double positions[] = {-300, 0, 300};
    const double heights[] = {50, 180, 420, 760};
    const double noises[] = {1.5, 4.0};
    const double reflectances[] = {0.1, 0.85};
    Errors all, dark, white, pairs;
    int sceneIndex = 0;
    for (double noise : noises) {
        for (double refl : reflectances) {
            ScanSim::Scene scene = sceneWith(noise, static_cast<uint64_t>(++sceneIndex));
            int n = 0;
            for (double l : lengths) {
                for (double yaw : yaws) {
                    for (double x : positions) {
                        const double w = std::max(50.0, std::round(0.62 * l));
                        const double h = heights[static_cast<size_t>(n) % 4];
                        const double yr = yaw * 3.14159265358979323846 / 180.0;
                        const double halfX = 0.5 * (l * std::sin(yr) + w * std::cos(yr));
                        if (std::fabs(x) + halfX > 470.0) {
                            continue; // would leave the belt
                        }
                        // Sizes off the round numbers so that edges fall anywhere between samples.
                        const double jitter = 0.37 * (n % 7);
                        scene.objects.push_back(ScanSim::makeBox(label('b', n), l + jitter, w + 0.5 * jitter,
                                                                 h + jitter, x + 0.3 * jitter, yaw,
                                                                 120.0 + 3.3 * (n % 5), refl));
                        ++n;
                        if (quick && n >= 6) {
                            break;
                        }
                    }
                }
            }
            const SimResult r = runScene(scene, {});
            if (!r.ok) {
                std::printf("scene failed: %s\n", r.error.c_str());
                return 1;
            }
            std::printf("scene noise %.1f reflectance %.2f: %zu boxes, %zu measured\n", noise, refl,
                        scene.objects.size(), r.boxes.size());
            all.add(r);
            (refl < 0.5 ? dark : white).add(r);
        }
    }
    // Side-by-side pairs: the second box starts alongside the first (negative gap).
    for (double noise : noises) {
        ScanSim::Scene scene = sceneWith(noise, static_cast<uint64_t>(++sceneIndex));
        int n = 0;
        for (double l : {120.0, 300.0, 500.0}) {
            for (double yaw : {0.0, 20.0, 45.0}) {
                const double w = std::round(0.6 * l);
                scene.objects.push_back(
                    ScanSim::makeBox(label('L', n), l, w, 150 + 0.5 * l, -250, yaw, 150.0, 0.85));
                scene.objects.push_back(
                    ScanSim::makeBox(label('R', n), 0.8 * l, 0.8 * w, 300, 250, -yaw, -0.8 * l, 0.1));
                ++n;
            }
        }
        const SimResult r = runScene(scene, {});
        if (!r.ok) {
            std::printf("scene failed: %s\n", r.error.c_str());
            return 1;
        }
        std::printf("side-by-side scene noise %.1f: %zu boxes, %zu measured\n", noise, scene.objects.size(),
                    r.boxes.size());
        all.add(r);
        pairs.add(r);
    }
    // An empty belt with strong noise: nothing may be found.
    ScanSim::Scene empty = sceneWith(5.0, 99);
    empty.optics.ambient = 16.0;
    empty.optics.speckle = 0.4;
    empty.trailingGap = 3000.0;
    const SimResult e = runScene(empty, {});
    const int emptyFound = static_cast<int>(e.boxes.size() + e.unmeasured.size());
    std::printf("\nempty noisy belt, 3000 frames: %d boxes found\n\n", emptyFound);

    report("all boxes", all);
    report("dark boxes (reflectance 0.1)", dark);
    report("white boxes (reflectance 0.85)", white);
    report("side-by-side pairs", pairs);
    std::printf("\nbelt cases\n");
    return runMatrix(QUBOID3D_SOURCE_DIR "/ScanSim/scenes", "") < 0 ? 1 : 0;
}
