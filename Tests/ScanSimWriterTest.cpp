// The scan directory of the virtual station: calibration files that the measuring library's
// parser reads back to the scene's numbers, stored images in playback order, the truth file,
// and scene files.
#include "ScanSim/CameraCalibration.h"
#include "ScanSim/ScanWriter.h"
#include "ScanSim/SceneJson.h"

#include "KeyValueCfgParser.h"
#include "TempWorkDir.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <stb_image.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

namespace {

using namespace ScanSim;
using Orvia::VisionSystem::CKeyValueCfgParser;
using quboid3d::test::TempWorkDirTest;
namespace fs = std::filesystem;

class ScanSimWriter : public TempWorkDirTest {};

std::vector<double> list(CKeyValueCfgParser& p, const char* key) {
    double* values = nullptr;
    const int n = p.getVal(key, values);
    return n > 0 ? std::vector<double>(values, values + n) : std::vector<double>{};
}

double number(CKeyValueCfgParser& p, const char* key) {
    double v = std::nan("");
    EXPECT_TRUE(p.getVal(key, v)) << key;
    return v;
}

int integer(CKeyValueCfgParser& p, const char* key) {
    int v = -12345;
    EXPECT_TRUE(p.getVal(key, v)) << key;
    return v;
}

void parse(CKeyValueCfgParser& p, const fs::path& path) {
    ASSERT_TRUE(p.parseKeyValueCfg(path.string().c_str(), true)) << path;
}

Scene tiltedScene() {
    StationDesign d;
    d.laserTiltDeg = 6.0;
    d.chessboardHeight = 12.5;
    Scene s;
    s.station = designStation(d);
    s.station.planeHeightFactor = 1.0;
    s.motion.mmPerFrame = 1.0;
    return s;
}

// The camera and laser plane as the measuring library will rebuild them from the files.
struct ParsedCalibration {
    Camera camera;
    std::array<double, 3> plane{};
};

ParsedCalibration readBack(const fs::path& dir) {
    ParsedCalibration c;
    CKeyValueCfgParser intr;
    parse(intr, dir / "CamInstrinsic0.data");
    const auto k = list(intr, "InstriCamParams");
    const auto dist = list(intr, "InstriCamDistorTion");
    CKeyValueCfgParser extr;
    parse(extr, dir / "CamExtrinsic0.data");
    const auto e = list(extr, "ExtriCamParams");
    CKeyValueCfgParser plane;
    parse(plane, dir / "LightPlaneParam.data");
    EXPECT_EQ(k.size(), 9u);
    EXPECT_EQ(dist.size(), 5u);
    EXPECT_EQ(e.size(), 6u);
    if (k.size() != 9 || dist.size() != 5 || e.size() != 6) {
        return c;
    }
    c.camera.lens.fx = k[0];
    c.camera.lens.cx = k[2];
    c.camera.lens.fy = k[4];
    c.camera.lens.cy = k[5];
    std::copy(dist.begin(), dist.end(), c.camera.lens.distortion.begin());
    c.camera.rotation = rotationFromVector({e[0], e[1], e[2]});
    c.camera.translation = {e[3], e[4], e[5]};
    c.plane = {number(plane, "PlaneA"), number(plane, "PlaneB"), number(plane, "PlaneC")};
    return c;
}

TEST_F(ScanSimWriter, CalibrationFilesParseBackToTheSceneNumbers) {
    const Scene scene = tiltedScene();
    std::string error;
    ASSERT_TRUE(writeCalibrationFiles(scene, "3DCfg", error)) << error;

    CKeyValueCfgParser intr;
    parse(intr, "3DCfg/CamInstrinsic0.data");
    const auto k = list(intr, "InstriCamParams");
    const auto want = scene.station.camera.intrinsicsArray();
    ASSERT_EQ(k.size(), 9u);
    for (size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(k[i], want[i], 1e-9 * std::max(1.0, std::abs(want[i]))) << i;
    }
    EXPECT_EQ(k[8], 1.0);
    const auto dist = list(intr, "InstriCamDistorTion");
    ASSERT_EQ(dist.size(), 5u);
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_NEAR(dist[i], scene.station.camera.lens.distortion[i], 1e-15) << i;
    }

    CKeyValueCfgParser plane;
    parse(plane, "3DCfg/LightPlaneParam.data");
    const auto abc = scene.station.laserPlaneInCamera();
    EXPECT_NEAR(number(plane, "PlaneA"), abc[0], 1e-11 * std::abs(abc[2]));
    EXPECT_NEAR(number(plane, "PlaneB"), abc[1], 1e-11 * std::abs(abc[1]));
    EXPECT_NEAR(number(plane, "PlaneC"), abc[2], 1e-11 * std::abs(abc[2]));
    EXPECT_EQ(number(plane, "PlaneHeightFactor"), 1.0);

    CKeyValueCfgParser move;
    parse(move, "3DCfg/LaserMovePose.data");
    EXPECT_EQ(number(move, "SpeedVx"), 0.0);
    EXPECT_EQ(number(move, "SpeedVy"), 0.5); // 1 mm between stored images stamped 2 apart

    CKeyValueCfgParser scan;
    parse(scan, "3DCfg/CalibScanCfg.cfg");
    EXPECT_EQ(integer(scan, "image_width"), scene.station.camera.width);
    EXPECT_EQ(integer(scan, "image_height"), scene.station.camera.height);
    EXPECT_EQ(number(scan, "scan_chessboard_height"), 12.5);
    EXPECT_EQ(integer(scan, "scan_encode_flag"), 0);
    EXPECT_EQ(number(scan, "scan_max_h"), scene.station.maxHeight);
    EXPECT_EQ(number(scan, "scan_max_w"), scene.station.beltWidth);
    EXPECT_EQ(integer(scan, "thresh"), scene.optics.lineThreshold);
    for (const char* key :
         {"scan_frame_num", "scan_frame_timeout", "laserline_type", "laserline_extract_method",
          "scan_mult_package_flag", "scan_end_frame_num", "scan_min_l", "scan_min_w", "scan_min_h",
          "scan_max_l", "scan_deep_img_w", "scan_deep_img_h", "scan_noise_factor", "scan_volume_finite_flag",
          "scan_package_intime_flag", "scan_package_distance", "scan_encode_step", "scan_gauss_radius"}) {
        EXPECT_FALSE(scan.getVal(key).empty()) << key;
    }
    EXPECT_GT(integer(scan, "scan_frame_num"), 0);
    // The laser fan: apex above the belt's centre line; along the plane, tilted by 6 degrees, it
    // opens over the belt and 10 % beyond each edge.
    const auto fan = list(scan, "scan_laser_fan");
    ASSERT_EQ(fan.size(), 3u);
    EXPECT_NEAR(fan[0], scene.station.laser.source.x, 1e-9);
    EXPECT_NEAR(fan[1], scene.station.heightAboveBelt(scene.station.laser.source), 1e-9);
    const double degree = 3.14159265358979323846 / 180.0;
    const double slantDrop = fan[1] / std::cos(6.0 * degree);
    EXPECT_NEAR(std::tan(fan[2] / 2.0 * degree) * slantDrop, 0.6 * scene.station.beltWidth, 1e-6);

    // An ideal sheet and an instant exposure: the light window's keys stay out.
    EXPECT_TRUE(scan.getVal("scan_laser_sheet").empty());
    EXPECT_TRUE(scan.getVal("scan_exposure_share").empty());

    CKeyValueCfgParser params;
    parse(params, "3DCfg/CameraParams.cfg");
    EXPECT_EQ(params.getVal("PixelFormat"), "Mono8");
}

TEST_F(ScanSimWriter, AStationWithASheetOfSomeThicknessWritesItsLightWindow) {
    Scene scene = tiltedScene();
    scene.station.laserSheetFwhm = 1.2;
    scene.motion.exposureShare = 0.35;
    std::string error;
    ASSERT_TRUE(writeCalibrationFiles(scene, "3DCfg", error)) << error;
    CKeyValueCfgParser scan;
    parse(scan, "3DCfg/CalibScanCfg.cfg");
    EXPECT_EQ(number(scan, "scan_laser_sheet"), 1.2);
    EXPECT_EQ(number(scan, "scan_exposure_share"), 0.35);
}

TEST_F(ScanSimWriter, CalibrationLinesFitTheParsersLineLength) {
    std::string error;
    ASSERT_TRUE(writeCalibrationFiles(tiltedScene(), "3DCfg", error)) << error;
    for (const auto& entry : fs::directory_iterator("3DCfg")) {
        std::ifstream in(entry.path());
        std::string line;
        while (std::getline(in, line)) {
            EXPECT_LT(line.size(), 255u) << entry.path();
        }
    }
}

TEST_F(ScanSimWriter, ParsedCalibrationReproducesProjectionAndTriangulation) {
    const Scene scene = tiltedScene();
    std::string error;
    ASSERT_TRUE(writeCalibrationFiles(scene, "3DCfg", error)) << error;
    const ParsedCalibration parsed = readBack("3DCfg");
    const Station& st = scene.station;
    for (double x = -500.0; x <= 500.0; x += 250.0) {
        for (double h = 0.0; h <= 800.0; h += 200.0) {
            const Vec3 along = normalized(cross(st.laser.normal, Vec3{1.0, 0.0, 0.0}));
            const Vec3 p = Vec3{x, 0.0, 0.0} + ((h - st.chessboardHeight) / along.z) * along;
            const auto want = st.camera.project(p);
            const auto got = parsed.camera.project(p);
            ASSERT_TRUE(want && got);
            EXPECT_NEAR(got->u, want->u, 1e-6);
            EXPECT_NEAR(got->v, want->v, 1e-6);
            // Triangulate from the parsed numbers alone: undistort, intersect with the plane.
            const auto n = parsed.camera.undistort(*got);
            const double s = 1.0 / (parsed.plane[0] * n[0] + parsed.plane[1] * n[1] + parsed.plane[2]);
            const Vec3 back = parsed.camera.toBoard({s * n[0], s * n[1], s});
            EXPECT_NEAR(back.x, p.x, 1e-5);
            EXPECT_NEAR(back.y, p.y, 1e-5);
            EXPECT_NEAR(back.z, p.z, 1e-5);
        }
    }
}

TEST_F(ScanSimWriter, EncoderScanWritesTheStepAndTheFlag) {
    Scene scene = tiltedScene();
    scene.motion.encoder = true;
    scene.motion.mmPerFrame = 2.0;
    std::string error;
    ASSERT_TRUE(writeCalibrationFiles(scene, "3DCfg", error)) << error;
    CKeyValueCfgParser scan;
    parse(scan, "3DCfg/CalibScanCfg.cfg");
    EXPECT_EQ(integer(scan, "scan_encode_flag"), 1);
    EXPECT_EQ(number(scan, "scan_encode_step"), 2.0);
    CKeyValueCfgParser move;
    parse(move, "3DCfg/LaserMovePose.data");
    EXPECT_EQ(number(move, "SpeedVy"), 1.0);
}

Scene tinyScene() {
    StationDesign d;
    d.imageWidth = 160;
    d.imageHeight = 48;
    Scene s;
    s.station = designStation(d);
    s.motion.mmPerFrame = 4.0;
    SceneObject o;
    o.name = "small";
    o.length = 120.0;
    o.width = 80.0;
    o.height = 60.0;
    o.yawDeg = 20.0;
    o.gap = 30.0;
    s.objects = {o};
    s.trailingGap = 30.0;
    s.seed = 9;
    return s;
}

std::vector<uint8_t> loadGrey(const fs::path& path, int& w, int& h) {
    int comp = 0;
    unsigned char* data = stbi_load(path.string().c_str(), &w, &h, &comp, 1);
    if (data == nullptr) {
        return {};
    }
    std::vector<uint8_t> out(data, data + static_cast<size_t>(w) * static_cast<size_t>(h));
    stbi_image_free(data);
    return out;
}

std::vector<std::string> sortedNames(const fs::path& dir) {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir)) {
        names.push_back(e.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST_F(ScanSimWriter, ScanDirectoryHoldsEverythingALocalRunNeedsInPlaybackOrder) {
    const Scene scene = tinyScene();
    workDir.writeFile("scan/LocalImages/999999.png", "stale");
    int lastDone = -1;
    int lastTotal = -1;
    ScanWriteOptions options;
    options.progress = [&](int done, int total) {
        lastDone = done;
        lastTotal = total;
    };
    const ScanWriteResult r = writeScanDirectory(scene, "scan", options);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(lastDone, r.frames);
    EXPECT_EQ(lastTotal, r.frames);

    ASSERT_TRUE(fs::exists("scan/LocalMode.dat"));
    EXPECT_EQ(fs::file_size("scan/LocalMode.dat"), 0u);
    for (const char* f : {"CalibScanCfg.cfg", "CameraParams.cfg", "CamInstrinsic0.data", "CamExtrinsic0.data",
                          "LightPlaneParam.data", "LaserMovePose.data"}) {
        EXPECT_TRUE(fs::exists(fs::path("scan/3DCfg") / f)) << f;
    }
    // What the station's camera carries, on the camera clock.
    std::ifstream cameraText("scan/Camera/CalibrationText.json", std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(cameraText), std::istreambuf_iterator<char>()),
              cameraCalibrationText(scene, TimeBase::CameraMs));
    const DspCalibConfig expected = dspCalibConfig(scene, TimeBase::CameraMs);
    DspCalibConfig record{};
    std::ifstream binary("scan/Camera/DspCalibConfig.bin", std::ios::binary);
    binary.read(reinterpret_cast<char*>(&record), sizeof record);
    EXPECT_EQ(binary.gcount(), static_cast<std::streamsize>(sizeof record));
    EXPECT_EQ(fs::file_size("scan/Camera/DspCalibConfig.bin"), sizeof record);
    EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0);
    const auto names = sortedNames("scan/LocalImages");
    ASSERT_EQ(names.size(), static_cast<size_t>(r.frames));
    const CFrameRenderer renderer(scene);
    ASSERT_EQ(renderer.frameCount(), r.frames);
    for (int k = 0; k < r.frames; ++k) {
        EXPECT_EQ(names[static_cast<size_t>(k)], imageFileName(k, ImageFileFormat::Png));
    }
    ProfileTrace trace;
    std::vector<uint8_t> pixels;
    for (const int k : {0, r.frames / 2, r.frames - 1}) {
        renderer.trace(k, trace);
        renderer.renderMono8(trace, pixels);
        int w = 0;
        int h = 0;
        const auto stored = loadGrey(fs::path("scan/LocalImages") / names[static_cast<size_t>(k)], w, h);
        EXPECT_EQ(w, 160);
        EXPECT_EQ(h, 48);
        EXPECT_EQ(stored, pixels) << "frame " << k;
    }

    std::ifstream in("scan/truth.json");
    std::stringstream text;
    text << in.rdbuf();
    rapidjson::Document doc;
    doc.Parse(text.str().c_str());
    ASSERT_FALSE(doc.HasParseError());
    EXPECT_STREQ(doc["timeBase"].GetString(), "stored-images");
    EXPECT_EQ(doc["frameCount"].GetInt(), r.frames);
    EXPECT_EQ(doc["speedVy"].GetDouble(), 2.0);
    const auto& objects = doc["objects"];
    ASSERT_EQ(objects.Size(), 1u);
    const auto& o = objects[0];
    const ObjectTruth& t = r.truth.objects[0];
    EXPECT_TRUE(o["seen"].GetBool());
    EXPECT_EQ(o["length"].GetDouble(), 120.0);
    EXPECT_EQ(o["width"].GetDouble(), 80.0);
    EXPECT_EQ(o["height"].GetDouble(), 60.0);
    EXPECT_EQ(o["volume"].GetDouble(), 120.0 * 80.0 * 60.0);
    EXPECT_EQ(o["slantAngle"].GetDouble(), 20.0);
    EXPECT_EQ(o["firstFrame"].GetInt(), t.firstFrame);
    EXPECT_EQ(o["lastFrame"].GetInt(), t.lastFrame);
    EXPECT_EQ(o["enterTime"].GetDouble(), 1.0 + 2.0 * t.firstFrame);
    EXPECT_EQ(o["leaveTime"].GetDouble(), 1.0 + 2.0 * t.lastFrame);
    EXPECT_NEAR(o["center"][0].GetDouble(), t.centre.x, 1e-6);
    EXPECT_NEAR(o["center"][1].GetDouble(), t.centre.y, 1e-6);
    EXPECT_EQ(o["center"][2].GetDouble(), 30.0);
    // Empty belt before the first and after the last sight of the object.
    EXPECT_GT(t.firstFrame, 0);
    EXPECT_LT(t.lastFrame, r.frames - 1);
    EXPECT_EQ(r.truth.objects.size(), 1u);
}

TEST_F(ScanSimWriter, BmpImagesDecodeToTheSamePixels) {
    const Scene scene = tinyScene();
    ScanWriteOptions options;
    options.format = ImageFileFormat::Bmp;
    const ScanWriteResult r = writeScanDirectory(scene, "scan", options);
    ASSERT_TRUE(r.ok) << r.error;
    const auto names = sortedNames("scan/LocalImages");
    ASSERT_EQ(names.size(), static_cast<size_t>(r.frames));
    EXPECT_EQ(names[1], "000001.bmp");
    const CFrameRenderer renderer(scene);
    ProfileTrace trace;
    std::vector<uint8_t> pixels;
    const int k = r.truth.objects[0].firstFrame + 3;
    renderer.trace(k, trace);
    renderer.renderMono8(trace, pixels);
    int w = 0;
    int h = 0;
    EXPECT_EQ(loadGrey(fs::path("scan/LocalImages") / names[static_cast<size_t>(k)], w, h), pixels);
}

TEST_F(ScanSimWriter, WritingIntoAnUnwritablePlaceFails) {
    workDir.writeFile("blocker", "a file where a directory should be");
    const ScanWriteResult r = writeScanDirectory(tinyScene(), "blocker/scan", ScanWriteOptions{});
    EXPECT_FALSE(r.ok);
    EXPECT_FALSE(r.error.empty());
}

TEST(ScanSimSceneFile, EveryExampleSceneParses) {
    int count = 0;
    for (const auto& e : fs::directory_iterator(SCANSIM_SCENES_DIR)) {
        Scene scene;
        std::string error;
        EXPECT_TRUE(loadSceneFile(e.path(), scene, error)) << e.path() << ": " << error;
        EXPECT_FALSE(scene.objects.empty()) << e.path();
        ++count;
    }
    EXPECT_GE(count, 3);
}

TEST(ScanSimSceneFile, DefaultSceneFileDescribesTheBuiltInScene) {
    Scene fromFile;
    std::string error;
    ASSERT_TRUE(loadSceneFile(fs::path(SCANSIM_SCENES_DIR) / "default.json", fromFile, error)) << error;
    const Scene builtIn = defaultScene();
    ASSERT_EQ(fromFile.objects.size(), builtIn.objects.size());
    for (size_t i = 0; i < builtIn.objects.size(); ++i) {
        EXPECT_EQ(fromFile.objects[i].name, builtIn.objects[i].name);
        EXPECT_EQ(fromFile.objects[i].length, builtIn.objects[i].length);
        EXPECT_EQ(fromFile.objects[i].yawDeg, builtIn.objects[i].yawDeg);
        EXPECT_EQ(fromFile.objects[i].gap, builtIn.objects[i].gap);
        EXPECT_EQ(fromFile.objects[i].reflectance, builtIn.objects[i].reflectance);
    }
    EXPECT_EQ(layoutScene(fromFile).frameCount, layoutScene(builtIn).frameCount);
}

TEST(ScanSimSceneFile, MembersOverrideTheDefaultsAndAbsentOnesKeepThem) {
    Scene s;
    std::string error;
    ASSERT_TRUE(parseScene(R"({"seed": 99, "motion": {"mmPerFrame": 2.5, "encoder": true},
                               "station": {"imageWidth": 1024, "imageHeight": 256},
                               "objects": [{"kind": "cylinder-standing", "diameter": 120, "height": 300}]})",
                           s, error))
        << error;
    EXPECT_EQ(s.seed, 99u);
    EXPECT_EQ(s.motion.mmPerFrame, 2.5);
    EXPECT_TRUE(s.motion.encoder);
    EXPECT_EQ(s.motion.framePeriodMs, 1.0);
    EXPECT_EQ(s.station.camera.width, 1024);
    EXPECT_EQ(s.station.beltWidth, 1000.0);
    ASSERT_EQ(s.objects.size(), 1u);
    EXPECT_EQ(s.objects[0].kind, ShapeKind::CylinderStanding);
    EXPECT_EQ(s.objects[0].name, "object-0");
}

TEST(ScanSimSceneFile, MistakesAreRefusedWithTheirPlace) {
    Scene s;
    std::string error;
    EXPECT_FALSE(parseScene(R"({"objects": [{"lenght": 300}]})", s, error));
    EXPECT_NE(error.find("objects[0]"), std::string::npos) << error;
    EXPECT_NE(error.find("lenght"), std::string::npos) << error;
    EXPECT_FALSE(parseScene(R"({"motion": {"mmPerFrame": "fast"}})", s, error));
    EXPECT_NE(error.find("mmPerFrame"), std::string::npos) << error;
    EXPECT_FALSE(parseScene(R"({"objects": [{"kind": "sphere"}]})", s, error));
    EXPECT_FALSE(parseScene(R"({"objects": [{"height": -5}]})", s, error));
    EXPECT_FALSE(parseScene("{ not json", s, error));
    EXPECT_NE(error.find("JSON"), std::string::npos) << error;
}

} // namespace

TEST(ScanSimSceneFile, SheetThicknessAndExposureShareAreReadAndChecked) {
    Scene scene;
    std::string error;
    ASSERT_TRUE(parseScene(R"({"description": "a sheet 1 mm thick", "station": {"laserSheetFwhm": 1.2},
                               "motion": {"mmPerFrame": 4, "exposureShare": 0.35}})",
                           scene, error))
        << error;
    EXPECT_DOUBLE_EQ(scene.station.laserSheetFwhm, 1.2);
    EXPECT_DOUBLE_EQ(scene.motion.exposureShare, 0.35);
    ASSERT_TRUE(parseScene("{}", scene, error)) << error;
    EXPECT_EQ(scene.station.laserSheetFwhm, 0.0);
    EXPECT_EQ(scene.motion.exposureShare, 0.0);
    EXPECT_FALSE(parseScene(R"({"motion": {"exposureShare": 1.5}})", scene, error));
    EXPECT_NE(error.find("exposureShare"), std::string::npos);
    EXPECT_FALSE(parseScene(R"({"station": {"laserSheetFwhm": -1}})", scene, error));
    EXPECT_NE(error.find("laserSheetFwhm"), std::string::npos);
}
