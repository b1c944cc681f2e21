#include "LpmcMatrix.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "LpmcScanSim.h"

namespace {

using namespace lpmctest;

constexpr double kPi = 3.14159265358979323846;

struct Footprint {
    double cx, cy, ax, ay, length, width; // centre, unit long axis, sides
    bool holds(double x, double y, double margin) const {
        const double dx = x - cx, dy = y - cy;
        const double along = dx * ax + dy * ay, across = -dx * ay + dy * ax;
        return std::fabs(along) <= 0.5 * length + margin && std::fabs(across) <= 0.5 * width + margin;
    }
};

Footprint truthFootprint(const ScanSim::ObjectTruth& t) {
    const double a = t.slantAngleDeg * kPi / 180.0;
    return {t.centre.x, t.centre.y, std::sin(a), std::cos(a), t.length, t.width};
}

// The box in the belt-fixed frame of the object's enter time.
Footprint boxFootprint(const LpmcBox& b, const ScanSim::ObjectTruth& t, const ScanSim::Vec3& speed) {
    const double dt = b.objEnterTime - t.enterTime;
    return {
        b.center[0] - speed.x * dt, b.center[1] - speed.y * dt, b.axis1[0], b.axis1[1], b.length, b.width};
}

bool matches(const LpmcBox& b, const ScanSim::ObjectTruth& t, const ScanSim::Vec3& speed) {
    const Footprint box = boxFootprint(b, t, speed), truth = truthFootprint(t);
    return box.holds(truth.cx, truth.cy, 0.0) || truth.holds(box.cx, box.cy, 10.0);
}

bool isSoft(const ScanSim::ObjectTruth& t) {
    return t.kind != ScanSim::ShapeKind::Box;
}

struct Row {
    std::string name;
    double spacing = 1.0;
    int objects = 0, found = 0, wrong = 0, flagged = 0, missed = 0, merged = 0, split = 0, invented = 0,
        stray = 0;
    double maxL = 0, maxW = 0, maxH = 0;

    void add(const Row& o) {
        objects += o.objects;
        found += o.found;
        wrong += o.wrong;
        flagged += o.flagged;
        missed += o.missed;
        merged += o.merged;
        split += o.split;
        invented += o.invented;
        stray += o.stray;
        maxL = std::max(maxL, o.maxL);
        maxW = std::max(maxW, o.maxW);
        maxH = std::max(maxH, o.maxH);
    }
    int wrongBoxes() const { return wrong + merged + split + invented; }
};

void printRow(const Row& r) {
    std::printf(
        "| %-28s | %4.1f | %3d | %3d | %3d | %3d | %3d | %3d | %3d | %3d | %3d | %6.2f | %6.2f | %6.2f |\n",
        r.name.c_str(), r.spacing, r.objects, r.found, r.wrong, r.flagged, r.missed, r.merged, r.split,
        r.invented, r.stray, r.maxL, r.maxW, r.maxH);
}

Row measureScene(const std::string& name, const ScanSim::Scene& scene, const SimResult& r) {
    Row row;
    row.name = name;
    row.spacing = scene.motion.mmPerFrame;
    const double lengthTol = std::max(2.5, 0.5 * row.spacing + 1.0);
    std::vector<int> boxObjects(r.boxes.size(), 0);
    std::vector<int> flagObjects(r.unmeasured.size(), 0);
    for (const ScanSim::ObjectTruth& t : r.truth.objects) {
        for (size_t i = 0; i < r.boxes.size(); ++i) {
            boxObjects[i] += t.seen && matches(r.boxes[i], t, r.speed) ? 1 : 0;
        }
        for (size_t i = 0; i < r.unmeasured.size(); ++i) {
            flagObjects[i] += t.seen && matches(r.unmeasured[i], t, r.speed) ? 1 : 0;
        }
    }
    for (const ScanSim::ObjectTruth& t : r.truth.objects) {
        if (!t.seen) {
            continue;
        }
        ++row.objects;
        int measured = 0, flagged = 0;
        bool merged = false;
        const LpmcBox* box = nullptr;
        for (size_t i = 0; i < r.boxes.size(); ++i) {
            if (matches(r.boxes[i], t, r.speed)) {
                ++measured;
                merged = merged || boxObjects[i] > 1;
                box = &r.boxes[i];
            }
        }
        for (size_t i = 0; i < r.unmeasured.size(); ++i) {
            flagged += matches(r.unmeasured[i], t, r.speed) ? 1 : 0;
        }
        const char* verdict = nullptr;
        if (merged) {
            ++row.merged;
            verdict = "merged";
        } else if (measured > 1) {
            ++row.split;
            verdict = "split";
        } else if (measured == 1) {
            const double soft = isSoft(t) ? 5.0 : 0.0;
            const double dL = std::fabs(box->length - t.length), dW = std::fabs(box->width - t.width),
                         dH = std::fabs(box->height - t.height);
            row.maxL = std::max(row.maxL, dL);
            row.maxW = std::max(row.maxW, dW);
            row.maxH = std::max(row.maxH, dH);
            if (dL <= std::max(lengthTol, soft) && dW <= std::max(2.5, soft) && dH <= std::max(2.5, soft)) {
                ++row.found;
            } else {
                ++row.wrong;
                std::printf("    %s: wrong box, length %+.2f width %+.2f height %+.2f mm\n", t.name.c_str(),
                            box->length - t.length, box->width - t.width, box->height - t.height);
            }
        } else if (flagged > 0) {
            ++row.flagged;
            verdict = "flagged";
        } else {
            ++row.missed;
            verdict = "missed";
        }
        if (verdict != nullptr) {
            std::printf("    %s: %s\n", t.name.c_str(), verdict);
        }
    }
    for (int n : boxObjects) {
        row.invented += n == 0 ? 1 : 0;
    }
    for (int n : flagObjects) {
        row.stray += n == 0 ? 1 : 0;
    }
    return row;
}

} // namespace

int runMatrix(const std::string& sceneDir, const std::string& filter) {
    std::vector<std::filesystem::path> scenes;
    for (const auto& entry : std::filesystem::directory_iterator(sceneDir)) {
        const std::string file = entry.path().filename().string();
        if (file.rfind("belt-", 0) == 0 && entry.path().extension() == ".json" &&
            file.find(filter) != std::string::npos) {
            scenes.push_back(entry.path());
        }
    }
    std::sort(scenes.begin(), scenes.end());
    std::vector<Row> rows;
    for (const auto& path : scenes) {
        const ScanSim::Scene scene = loadScene(path.string());
        std::printf("%s\n", path.filename().string().c_str());
        const SimResult r = runScene(scene, {});
        if (!r.ok) {
            std::printf("scene %s failed: %s\n", path.string().c_str(), r.error.c_str());
            return -1;
        }
        rows.push_back(measureScene(path.stem().string(), scene, r));
    }
    std::printf("\n| %-28s | mm/p | obj | fnd | wrg | flg | mis | mrg | spl | inv | str | max dL | max dW | "
                "max dH |\n",
                "case");
    std::printf(
        "|%s|------|-----|-----|-----|-----|-----|-----|-----|-----|-----|--------|--------|--------|\n",
        std::string(30, '-').c_str());
    Row total;
    total.name = "all";
    total.spacing = 0.0;
    for (const Row& r : rows) {
        printRow(r);
        total.add(r);
    }
    printRow(total);
    std::printf("\nwrong boxes reported as measured (wrong + merged + split + invented): %d\n",
                total.wrongBoxes());
    return total.wrongBoxes();
}
