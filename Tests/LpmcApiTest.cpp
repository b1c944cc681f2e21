// The five exported functions of the shared library: the code of every refused argument, the
// order of calls, repeated create and release, and two handles used from two threads at once.
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "LpmcBoxScan.h"

namespace {

using namespace lpmctest;

struct Api {
    ScanSim::Station station = testStation();
    std::unique_ptr<Calibration> cal = calibrationOf(station, 0.0, 0.5);
    LpmcCreateParam param{};
    Api() {
        param.frameNum = 500;
        param.cameraCount = 1;
        param.imageSize[0] = {station.camera.width, station.camera.height};
        param.calib[0] = &cal->calib;
        param.reserved1 = 2;
    }
    int32_t create(void** h) { return lpmcCreate(h, &param); }
};

TEST(LpmcApiTest, CreateRefusesBadArgumentsWithTheirCodes) {
    Api a;
    void* h = reinterpret_cast<void*>(0x1);
    EXPECT_EQ(lpmcCreate(nullptr, &a.param), LPMC_ERR_NULL_HANDLE);
    EXPECT_EQ(lpmcCreate(&h, nullptr), LPMC_ERR_NULL_ARGUMENT);
    EXPECT_EQ(h, nullptr);
    auto expectCode = [&](int32_t code, auto edit) {
        Api b;
        edit(b);
        void* handle = reinterpret_cast<void*>(0x1);
        EXPECT_EQ(b.create(&handle), code);
        EXPECT_EQ(handle, nullptr);
    };
    expectCode(LPMC_ERR_CREATE_PARAM, [](Api& b) { b.param.cameraCount = 0; });
    expectCode(LPMC_ERR_CREATE_PARAM, [](Api& b) { b.param.cameraCount = 4; });
    expectCode(LPMC_ERR_CREATE_PARAM, [](Api& b) { b.param.frameNum = -1; });
    expectCode(LPMC_ERR_CREATE_PARAM, [](Api& b) { b.param.imageSize[0].width = 0; });
    expectCode(LPMC_ERR_CREATE_PARAM, [](Api& b) { b.param.imageSize[0].height = 20000; });
    expectCode(LPMC_ERR_NULL_ARGUMENT, [](Api& b) { b.param.calib[0] = nullptr; });
    expectCode(LPMC_ERR_NULL_ARGUMENT, [](Api& b) { b.cal->lens.intrinsics = nullptr; });
    expectCode(LPMC_ERR_NULL_ARGUMENT, [](Api& b) { // slot 1 has a size but no calibration
        b.param.cameraCount = 2;
        b.param.imageSize[1] = b.param.imageSize[0];
    });
    expectCode(LPMC_ERR_CALIBRATION, [](Api& b) { b.cal->intrinsics.fill(0.0); });
    expectCode(LPMC_ERR_CALIBRATION, [](Api& b) { b.cal->plane = {0.0, 0.0, 0.0, 1.0}; });
    // A plane that no pixel sees in front of the camera.
    expectCode(LPMC_ERR_CALIBRATION, [](Api& b) {
        b.cal->plane.PlaneA = 0.0;
        b.cal->plane.PlaneB = 0.0;
        b.cal->plane.PlaneC = -1.0 / 500.0;
    });
}

TEST(LpmcApiTest, AbsentFrameCountAndReservedValuesAreAccepted) {
    Api a;
    a.param.frameNum = 0;
    a.param.reserved0 = 7;
    a.param.reserved1 = 0;
    void* h = nullptr;
    ASSERT_EQ(a.create(&h), LPMC_OK);
    EXPECT_NE(h, nullptr);
    EXPECT_EQ(lpmcRelease(h), LPMC_OK);
}

TEST(LpmcApiTest, ConfigurationCallsCheckTheirArguments) {
    Api a;
    Instance inst;
    ASSERT_EQ(a.create(&inst.handle), LPMC_OK);
    LpmcImageRegion region{};
    LpmcConfig cfg{};
    EXPECT_EQ(lpmcGetConfig(nullptr, &cfg), LPMC_ERR_NULL_HANDLE);
    EXPECT_EQ(lpmcGetConfig(inst.handle, nullptr), LPMC_ERR_NULL_ARGUMENT);
    EXPECT_EQ(lpmcGetConfig(inst.handle, &cfg), LPMC_ERR_NULL_ARGUMENT); // no region record
    cfg.region[0] = &region;
    ASSERT_EQ(lpmcGetConfig(inst.handle, &cfg), LPMC_OK);
    EXPECT_EQ(region.width, a.station.camera.width);
    EXPECT_EQ(cfg.cameraCount, 1);
    EXPECT_EQ(lpmcSetConfig(nullptr, &cfg), LPMC_ERR_NULL_HANDLE);
    EXPECT_EQ(lpmcSetConfig(inst.handle, nullptr), LPMC_ERR_NULL_ARGUMENT);
    LpmcConfig bad = cfg;
    bad.thresh[0] = 0;
    EXPECT_EQ(lpmcSetConfig(inst.handle, &bad), LPMC_ERR_CONFIG);
    ASSERT_EQ(lpmcSetConfig(inst.handle, &cfg), LPMC_OK);
    // The accepted values come back.
    LpmcConfig again{};
    LpmcImageRegion region2{};
    again.region[0] = &region2;
    cfg.scan_end_frame_num = 17;
    ASSERT_EQ(lpmcSetConfig(inst.handle, &cfg), LPMC_OK);
    ASSERT_EQ(lpmcGetConfig(inst.handle, &again), LPMC_OK);
    EXPECT_EQ(again.scan_end_frame_num, 17);
    EXPECT_EQ(std::memcmp(again.libraryOwn, cfg.libraryOwn, sizeof cfg.libraryOwn), 0);
}

TEST(LpmcApiTest, ProcessChecksItsArgumentsAndNeedsAConfiguration) {
    Api a;
    Instance inst;
    ASSERT_EQ(a.create(&inst.handle), LPMC_OK);
    std::vector<uint8_t> pixels(static_cast<size_t>(a.station.camera.width * a.station.camera.height), 0);
    LpmcImageDesc desc{};
    desc.width = a.station.camera.width;
    desc.height = a.station.camera.height;
    desc.pixels = pixels.data();
    LpmcInput in{};
    in.imageType[0] = LPMC_IMAGE_MONO8;
    in.image[0] = &desc;
    in.timestamp[0] = 1.0;
    LpmcResult r{};
    EXPECT_EQ(lpmcProcess(inst.handle, &in, &r), LPMC_ERR_NOT_CONFIGURED);
    inst.region = {};
    inst.config = LpmcConfig{};
    inst.config.region[0] = &inst.region;
    ASSERT_EQ(lpmcGetConfig(inst.handle, &inst.config), LPMC_OK);
    ASSERT_EQ(lpmcSetConfig(inst.handle, &inst.config), LPMC_OK);
    EXPECT_EQ(lpmcProcess(nullptr, &in, &r), LPMC_ERR_NULL_HANDLE);
    EXPECT_EQ(lpmcProcess(inst.handle, nullptr, &r), LPMC_ERR_NULL_ARGUMENT);
    EXPECT_EQ(lpmcProcess(inst.handle, &in, nullptr), LPMC_ERR_NULL_ARGUMENT);
    EXPECT_EQ(lpmcProcess(inst.handle, &in, &r), LPMC_OK);
    EXPECT_EQ(r.resultState, LPMC_STATE_NONE);
    EXPECT_EQ(r.volumeNum, 0);
    in.imageType[0] = 1;
    EXPECT_EQ(lpmcProcess(inst.handle, &in, &r), LPMC_ERR_INPUT);
    in.imageType[0] = LPMC_IMAGE_MONO8;
    desc.width -= 1;
    EXPECT_EQ(lpmcProcess(inst.handle, &in, &r), LPMC_ERR_INPUT);
    desc.width += 1;
    desc.pixels = nullptr;
    EXPECT_EQ(lpmcProcess(inst.handle, &in, &r), LPMC_ERR_NULL_ARGUMENT);
    in.image[0] = nullptr;
    EXPECT_EQ(lpmcProcess(inst.handle, &in, &r), LPMC_ERR_NULL_ARGUMENT);
    std::vector<float> rows(4000, -1.0f);
    in.imageType[0] = LPMC_IMAGE_LINE;
    in.pipelineFirst[0] = rows.data();
    in.pipelineCount[0] = 3841;
    EXPECT_EQ(lpmcProcess(inst.handle, &in, &r), LPMC_ERR_INPUT);
    in.pipelineCount[0] = 3840; // more columns than the image: the extra ones are ignored
    EXPECT_EQ(lpmcProcess(inst.handle, &in, &r), LPMC_OK);
    in.pipelineFirst[0] = nullptr;
    EXPECT_EQ(lpmcProcess(inst.handle, &in, &r), LPMC_ERR_NULL_ARGUMENT);
    // A refused configuration leaves the instance unconfigured.
    LpmcConfig bad = inst.config;
    bad.scan_deep_img_w = 0;
    EXPECT_EQ(lpmcSetConfig(inst.handle, &bad), LPMC_ERR_CONFIG);
    in.pipelineFirst[0] = rows.data();
    EXPECT_EQ(lpmcProcess(inst.handle, &in, &r), LPMC_ERR_NOT_CONFIGURED);
}

TEST(LpmcApiTest, ReleaseTakesNullAndRepeatedCreateReleaseLeaksNothing) {
    EXPECT_EQ(lpmcRelease(nullptr), LPMC_OK);
    Api a;
    for (int i = 0; i < 20; ++i) {
        Instance inst;
        ASSERT_EQ(openInstance(a.station, *a.cal, 300, inst, [](LpmcConfig&) {}), 0);
        const Box box{120, 90, 60, 0, -60.3, 10, 0.8};
        if (i % 5 == 0) { // now and then a box runs through before the release
            const auto results = runLineScan(inst.handle, a.station, {box}, 160);
            ASSERT_EQ(results.size(), 1u);
        }
    }
}

TEST(LpmcApiTest, TwoHandlesMeasureOnTwoThreadsAtOnce) {
    Api a;
    const std::vector<Box> boxes = {{220, 150, 120, -100, -120.3, 20, 0.8},
                                    {180, 160, 90, 150, -500.7, -35, 0.4}};
    const int frames = 700;
    std::vector<Result> alone[2], together[2];
    for (int i = 0; i < 2; ++i) {
        Instance inst;
        ASSERT_EQ(openInstance(a.station, *a.cal, 500, inst, [](LpmcConfig&) {}), 0);
        alone[i] = runLineScan(inst.handle, a.station, {boxes[static_cast<size_t>(i)]}, frames);
        ASSERT_EQ(alone[i].size(), 1u);
    }
    Instance inst[2];
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(openInstance(a.station, *a.cal, 500, inst[i], [](LpmcConfig&) {}), 0);
    }
    std::thread workers[2];
    for (int i = 0; i < 2; ++i) {
        workers[i] = std::thread([&, i] {
            together[i] = runLineScan(inst[i].handle, a.station, {boxes[static_cast<size_t>(i)]}, frames);
        });
    }
    for (auto& w : workers) {
        w.join();
    }
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(together[i].size(), 1u);
        const LpmcBox& x = alone[i][0].boxes.at(0);
        const LpmcBox& y = together[i][0].boxes.at(0);
        EXPECT_EQ(x.length, y.length);
        EXPECT_EQ(x.width, y.width);
        EXPECT_EQ(x.height, y.height);
        EXPECT_EQ(x.center[1], y.center[1]);
        EXPECT_EQ(x.objEnterTime, y.objEnterTime);
    }
}

} // namespace
