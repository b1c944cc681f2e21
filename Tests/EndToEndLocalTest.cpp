// The whole system through its C interface in local mode: a synthesized scan (rendered once by
// the CTest fixture RenderEndToEndScan), the real sheet-of-light library, the site file naming
// the CSV plug-in, and the application's callbacks.
#include "Quboid3DSdk.h"

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

namespace fs = std::filesystem;

const fs::path kScan = QUBOID3D_E2E_SCAN_DIR;
constexpr double kToleranceMm = 2.5;
constexpr double kSlantToleranceDeg = 0.5;
constexpr double kDegreesPerRadian = 57.29577951308232;

struct TrueBox {
    std::string name;
    double length, width, height, slantDeg;
};

std::vector<TrueBox> loadTruth() {
    std::ifstream in(kScan / "truth.json");
    std::stringstream text;
    text << in.rdbuf();
    rapidjson::Document doc;
    doc.Parse(text.str().c_str());
    std::vector<TrueBox> boxes;
    if (doc.HasParseError() || !doc.IsObject())
        return boxes;
    for (const auto& o : doc["objects"].GetArray())
        boxes.push_back({o["name"].GetString(), o["length"].GetDouble(), o["width"].GetDouble(),
                         o["height"].GetDouble(), o["slantAngle"].GetDouble()});
    return boxes;
}

double slantError(double measuredDeg, double trueDeg) {
    double d = std::fmod(measuredDeg - trueDeg, 180.0);
    if (d > 90)
        d -= 180;
    if (d < -90)
        d += 180;
    return std::abs(d);
}

// What the application's callbacks received; they take no context, so each object of a test
// has a channel of its own.
struct Channel {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<VslbVolumeResult> boxes;
    std::vector<std::array<double, 4>> simple;

    void add(const VslbVolumeResult& box) {
        std::lock_guard lock(mutex);
        boxes.push_back(box);
        changed.notify_all();
    }
    bool waitFor(std::size_t count) {
        std::unique_lock lock(mutex);
        // A bound, not a timing: a whole scan measured twice under ThreadSanitizer on a busy
        // machine takes minutes; the test's own limit is 300 s.
        return changed.wait_for(lock, std::chrono::seconds(240),
                                [&] { return boxes.size() + simple.size() >= count; });
    }
    std::vector<VslbVolumeResult> received() {
        std::lock_guard lock(mutex);
        return boxes;
    }
    void clear() {
        std::lock_guard lock(mutex);
        boxes.clear();
        simple.clear();
    }
};
Channel channelA, channelB;
void onBoxA(const VslbVolumeResult* box) {
    channelA.add(*box);
}
void onBoxB(const VslbVolumeResult* box) {
    channelB.add(*box);
}
void onSimpleA(double l, double w, double h, double v) {
    std::lock_guard lock(channelA.mutex);
    channelA.simple.push_back({l, w, h, v});
    channelA.changed.notify_all();
}

// Each test works in a directory of its own that looks like a station in local mode: the mode
// file, the scan's images, and a site file that sends every box to the CSV plug-in.
class EndToEndLocalTest : public TempWorkDirTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(fs::exists(kScan / "truth.json"))
            << "the scan is rendered by the test RenderEndToEndScan";
        truth = loadTruth();
        ASSERT_EQ(truth.size(), 2u);
        workDir.writeFile("LocalMode.dat");
        linkOrCopyImages();
        workDir.writeFile("Quboid3DAdvCfg", "OutputPlugin = CsvOutput&boxes.csv\n");
        channelA.clear();
        channelB.clear();
    }
    // The scan's images, linked as one folder; where the C++ library makes no folder links
    // (MinGW), a folder of file links, which costs nothing like a copy of the scan.
    static void linkOrCopyImages() {
        std::error_code error;
        fs::create_directory_symlink(kScan / "LocalImages", "LocalImages", error);
        if (!error)
            return;
        fs::create_directory("LocalImages");
        for (const auto& entry : fs::directory_iterator(kScan / "LocalImages"))
            fs::copy(entry.path(), fs::path("LocalImages") / entry.path().filename(),
                     fs::copy_options::create_hard_links);
    }
    void TearDown() override {
        for (VslbHandle handle : {a, b})
            if (handle != 0) {
                vslbQuboid3DStop(handle);
                vslbQuboid3DDestroy(handle);
            }
    }

    VslbHandle started(VslbVolumeCallbackEx callback) {
        const VslbHandle handle = vslbQuboid3DCreate();
        EXPECT_EQ(vslbQuboid3DInit(handle, cfgDir.c_str()), VSLB_OK);
        EXPECT_EQ(vslbQuboid3DRunEx(handle, callback), VSLB_OK);
        return handle;
    }
    // The boxes of one pass over the images match the truth, in the order they passed.
    void expectMatchesTruth(const std::vector<VslbVolumeResult>& boxes) {
        ASSERT_EQ(boxes.size(), truth.size());
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            SCOPED_TRACE(truth[i].name);
            EXPECT_EQ(boxes[i].detailed, 1);
            EXPECT_NEAR(boxes[i].length, truth[i].length, kToleranceMm);
            EXPECT_NEAR(boxes[i].width, truth[i].width, kToleranceMm);
            EXPECT_NEAR(boxes[i].height, truth[i].height, kToleranceMm);
            EXPECT_NEAR(boxes[i].volume, boxes[i].length * boxes[i].width * boxes[i].height, 1.0);
            EXPECT_LT(slantError(boxes[i].slantAngle * kDegreesPerRadian, truth[i].slantDeg),
                      kSlantToleranceDeg);
            EXPECT_NEAR(boxes[i].topCenter[2], truth[i].height, kToleranceMm);
            EXPECT_GT(boxes[i].pointCount, 100);
        }
    }

    std::string cfgDir = (kScan / "3DCfg").string();
    std::vector<TrueBox> truth;
    VslbHandle a = 0, b = 0;
};

TEST_F(EndToEndLocalTest, EveryBoxOfAPassIsReportedOnceWithinTheAccuracyGoal) {
    a = started(&onBoxA);
    ASSERT_TRUE(channelA.waitFor(2));
    ASSERT_EQ(vslbQuboid3DStop(a), VSLB_OK);
    auto boxes = channelA.received();
    boxes.resize(std::min<std::size_t>(boxes.size(), 2));
    expectMatchesTruth(boxes);
}

TEST_F(EndToEndLocalTest, TheImagesWrapAroundAndEachPassReportsTheSameBoxesAgain) {
    a = started(&onBoxA);
    ASSERT_TRUE(channelA.waitFor(4));
    ASSERT_EQ(vslbQuboid3DStop(a), VSLB_OK);
    const auto boxes = channelA.received();
    expectMatchesTruth({boxes[0], boxes[1]});
    expectMatchesTruth({boxes[2], boxes[3]});
    EXPECT_GT(boxes[2].objEnterTime, boxes[1].objLeaveTime) << "the stored-image clock runs on";
}

TEST_F(EndToEndLocalTest, SimpleCallbackGetsTheSameNumbers) {
    a = vslbQuboid3DCreate();
    ASSERT_EQ(vslbQuboid3DInit(a, cfgDir.c_str()), VSLB_OK);
    ASSERT_EQ(vslbQuboid3DRun(a, &onSimpleA), VSLB_OK);
    ASSERT_TRUE(channelA.waitFor(2));
    ASSERT_EQ(vslbQuboid3DStop(a), VSLB_OK);
    std::lock_guard lock(channelA.mutex);
    EXPECT_NEAR(channelA.simple[0][0], truth[0].length, kToleranceMm);
    EXPECT_NEAR(channelA.simple[1][2], truth[1].height, kToleranceMm);
}

TEST_F(EndToEndLocalTest, StopThenRunAgainMeasuresAgain) {
    a = started(&onBoxA);
    ASSERT_TRUE(channelA.waitFor(1));
    ASSERT_EQ(vslbQuboid3DStop(a), VSLB_OK);
    channelA.clear();
    ASSERT_EQ(vslbQuboid3DRunEx(a, &onBoxA), VSLB_OK);
    ASSERT_TRUE(channelA.waitFor(2));
    ASSERT_EQ(vslbQuboid3DStop(a), VSLB_OK);
    for (const auto& box : channelA.received())
        EXPECT_EQ(box.detailed, 1);
}

TEST_F(EndToEndLocalTest, FiniThenInitAgainStartsOver) {
    a = started(&onBoxA);
    ASSERT_TRUE(channelA.waitFor(1));
    ASSERT_EQ(vslbQuboid3DStop(a), VSLB_OK);
    ASSERT_EQ(vslbQuboid3DFini(a), VSLB_OK);
    channelA.clear();
    ASSERT_EQ(vslbQuboid3DInit(a, cfgDir.c_str()), VSLB_OK);
    ASSERT_EQ(vslbQuboid3DRunEx(a, &onBoxA), VSLB_OK);
    ASSERT_TRUE(channelA.waitFor(2));
    ASSERT_EQ(vslbQuboid3DStop(a), VSLB_OK);
    EXPECT_EQ(channelA.received().size() >= 2, true);
}

// Two objects draw on one process-wide clock of stored images, so neither sees every stamp and
// each sees the belt run faster than it does: heights stay right, and so does the width of the
// box that lies along the belt, while lengths and turned footprints stretch.
TEST_F(EndToEndLocalTest, TwoObjectsAtOnceShareTheStoredImageClock) {
    a = started(&onBoxA);
    b = started(&onBoxB);
    ASSERT_TRUE(channelA.waitFor(2));
    ASSERT_TRUE(channelB.waitFor(2));
    vslbQuboid3DStop(a);
    vslbQuboid3DStop(b);
    for (Channel* channel : {&channelA, &channelB}) {
        const auto boxes = channel->received();
        ASSERT_GE(boxes.size(), 2u);
        int alongTheBelt = 0;
        for (const auto& box : boxes) {
            const bool first = std::abs(box.height - truth[0].height) < kToleranceMm;
            EXPECT_TRUE(first || std::abs(box.height - truth[1].height) < kToleranceMm) << box.height;
            if (first) {
                EXPECT_NEAR(box.width, truth[0].width, kToleranceMm);
                ++alongTheBelt;
            }
        }
        EXPECT_GE(alongTheBelt, 1);
    }
}

TEST_F(EndToEndLocalTest, TheCsvPluginWritesARowForEveryBoxTheApplicationReceived) {
    a = started(&onBoxA);
    ASSERT_TRUE(channelA.waitFor(2));
    ASSERT_EQ(vslbQuboid3DStop(a), VSLB_OK);
    ASSERT_EQ(vslbQuboid3DFini(a), VSLB_OK);
    const auto boxes = channelA.received();
    std::ifstream in("boxes.csv");
    std::vector<std::string> rows;
    for (std::string line; std::getline(in, line);)
        rows.push_back(line);
    ASSERT_EQ(rows.size(), boxes.size() + 1);
    EXPECT_EQ(rows[0], "time,length_mm,width_mm,height_mm,volume_mm3");
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        char expected[96];
        std::snprintf(expected, sizeof expected, ",%.2f,%.2f,%.2f,%.1f", boxes[i].length, boxes[i].width,
                      boxes[i].height, boxes[i].volume);
        EXPECT_TRUE(rows[i + 1].ends_with(expected)) << rows[i + 1] << " vs " << expected;
    }
}

} // namespace
} // namespace quboid3d::test
