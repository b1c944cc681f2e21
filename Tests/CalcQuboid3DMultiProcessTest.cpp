// Feeding stored images to the library until a result, a failure or a stop.
#include "CalcQuboid3DMulti.h"

#include <gtest/gtest.h>

#include "CalibFiles.h"
#include "ImageFiles.h"
#include "LoadImage.h"
#include "LocalStation.h"
#include "LpmcStub.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

using Orvia::Memory::TSharedPtr;
using Orvia::VisionSystem::BoxDims;
using Orvia::VisionSystem::CCalcQuboid3DMulti;
using Orvia::VisionSystem::CLoadImage;
namespace stub = lpmc_stub;

constexpr const char* kProcessFn = "Orvia::VisionSystem::CCalcQuboid3DMulti::process";

class CalcProcessTest : public TempWorkDirTest {
protected:
    void SetUp() override {
        stub::reset();
        stub::script([](stub::Script& s) { s.reportedRegion = LpmcImageRegion{0, 0, 8, 4}; });
        CalibFiles{}.write("cfg/");
        ASSERT_TRUE(calc.initialize("cfg/", nullptr));
        std::filesystem::create_directories("LocalImages");
        for (int i = 0; i < 3; ++i)
            ASSERT_TRUE(writeGreyPng("LocalImages/" + std::to_string(i) + ".png", 8, 4,
                                     flatGrey(8, 4, static_cast<std::uint8_t>(10 * (i + 1)))));
        loader = std::make_shared<CLoadImage>("./LocalImages/*");
        ASSERT_TRUE(loader->openDir());
    }
    void TearDown() override { calc.release(); }

    bool runProcess() { return calc.process({loader}, boxes, connected, outResult, outRet); }

    CCalcQuboid3DMulti calc;
    TSharedPtr<CLoadImage> loader;
    std::vector<BoxDims> boxes;
    bool connected = true;
    const LpmcResult* outResult = nullptr;
    int outRet = 4242;
};

TEST_F(CalcProcessTest, StopBeforeTheFirstPassReturnsAtOnce) {
    const LpmcResult sentinel{};
    outResult = &sentinel;
    calc.stopRequested = true;
    EXPECT_TRUE(runProcess());
    EXPECT_TRUE(boxes.empty());
    EXPECT_EQ(outRet, -1);
    EXPECT_EQ(outResult, &sentinel);
    EXPECT_EQ(stub::received().processCalls, 0);
}

TEST_F(CalcProcessTest, ResultInTheFirstPassTakesOneCall) {
    stub::script([](stub::Script& s) { s.results.push_back({0, 1, {boxOf(300, 200, 100)}, {}, -1}); });
    EXPECT_TRUE(runProcess());
    EXPECT_EQ(stub::received().processCalls, 1);
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_DOUBLE_EQ(boxes[0].length, 300);
    EXPECT_DOUBLE_EQ(boxes[0].width, 200);
    EXPECT_DOUBLE_EQ(boxes[0].height, 100);
    EXPECT_DOUBLE_EQ(boxes[0].volume, 6e6);
    EXPECT_EQ(outResult, &calc.result);
    EXPECT_EQ(outRet, 0);
}

TEST_F(CalcProcessTest, FramesAreFedUntilTheLibraryHasAResult) {
    stub::script([](stub::Script& s) {
        s.results.push_back({});
        s.results.push_back({});
        s.results.push_back({0, 1, {boxOf(1, 1, 1)}, {}, -1});
    });
    EXPECT_TRUE(runProcess());
    const auto got = stub::received();
    ASSERT_EQ(got.processCalls, 3);
    EXPECT_EQ(got.inputs[0].pixels.at(0), 10);
    EXPECT_EQ(got.inputs[1].pixels.at(0), 20);
    EXPECT_EQ(got.inputs[2].pixels.at(0), 30);
    EXPECT_EQ(got.inputs[1].input.timestamp[0] - got.inputs[0].input.timestamp[0], 2.0);
}

TEST_F(CalcProcessTest, UnmeasuredResultWithoutBoxesStillHandsOutTheResult) {
    stub::script([](stub::Script& s) { s.results.push_back({0, 2, {}, {}, -1}); });
    EXPECT_TRUE(runProcess());
    EXPECT_TRUE(boxes.empty());
    EXPECT_EQ(outResult, &calc.result);
    EXPECT_EQ(calc.result.resultState, 2);
}

TEST_F(CalcProcessTest, TwoBoxesComeInTheLibrarysOrder) {
    stub::script([](stub::Script& s) {
        s.results.push_back({0, 1, {boxOf(5, 4, 3), boxOf(9, 8, 7)}, {}, -1});
    });
    EXPECT_TRUE(runProcess());
    ASSERT_EQ(boxes.size(), 2u);
    EXPECT_DOUBLE_EQ(boxes[0].length, 5);
    EXPECT_DOUBLE_EQ(boxes[1].length, 9);
    EXPECT_DOUBLE_EQ(boxes[1].volume, 504);
}

TEST_F(CalcProcessTest, LibraryFailureAfterGoodPassesEndsWithItsCode) {
    const LpmcResult sentinel{};
    outResult = &sentinel;
    stub::script([](stub::Script& s) {
        s.results.push_back({});
        s.results.push_back({-17, 0, {}, {}, -1});
    });
    EXPECT_TRUE(runProcess());
    EXPECT_EQ(outRet, -17);
    EXPECT_EQ(outResult, &sentinel);
    EXPECT_TRUE(boxes.empty());
    EXPECT_TRUE(log.has(OVP_LOG_WARN, "Volume", kProcessFn, "lpmcProcess run result is not 0. ret[-17]\n"));
}

TEST_F(CalcProcessTest, NextCallGoesOnWithTheNextImage) {
    stub::script([](stub::Script& s) {
        s.results.push_back({-1, 0, {}, {}, -1});
        s.results.push_back({0, 1, {boxOf(1, 1, 1)}, {}, -1});
    });
    runProcess();
    boxes.clear();
    runProcess();
    const auto got = stub::received();
    ASSERT_EQ(got.processCalls, 2);
    EXPECT_EQ(got.inputs[1].pixels.at(0), 20);
}

TEST_F(CalcProcessTest, EachFrameIsDescribedAsAStoredImage) {
    stub::script([](stub::Script& s) { s.results.push_back({0, 1, {boxOf(1, 1, 1)}, {}, -1}); });
    runProcess();
    const auto in = stub::received().inputs.at(0);
    EXPECT_EQ(in.input.imageType[0], LPMC_IMAGE_MONO8);
    EXPECT_EQ(in.desc.sourceTag, 256u);
    EXPECT_EQ(in.desc.width, 8);
    EXPECT_EQ(in.desc.height, 4);
    // The region is the configured one, whatever the size of the stored image.
    EXPECT_EQ(in.desc.region.width, calc.config.region[0]->width);
    EXPECT_EQ(in.desc.region.width, 64);
    EXPECT_EQ(in.desc.region.height, 32);
    EXPECT_EQ(in.pixels.size(), 32u);
    EXPECT_EQ(in.input.image[0], calc.input.image[0]);
    EXPECT_EQ(in.input.missingFrames, 0); // stored images are never lost on the way
}

TEST_F(CalcProcessTest, ImageThatFailsIsLoggedAndTheNextOneIsTried) {
    std::filesystem::remove("LocalImages/0.png");
    stub::script([](stub::Script& s) { s.results.push_back({0, 1, {boxOf(1, 1, 1)}, {}, -1}); });
    EXPECT_TRUE(runProcess());
    EXPECT_TRUE(log.has(OVP_LOG_WARN, "Volume", kProcessFn, "Get dir[0] image failed.\n"));
    const auto got = stub::received();
    ASSERT_EQ(got.processCalls, 1);
    EXPECT_EQ(got.inputs[0].pixels.at(0), 20);
}

TEST_F(CalcProcessTest, WhatTheLastResultLeftIsClearedButNotFreed) {
    stub::script([](stub::Script& s) {
        s.results.push_back({0, 1, {boxOf(1, 1, 1)}, {1, 2, 3, 4, 5, 6}, -1});
    });
    runProcess();
    ASSERT_EQ(calc.result.pointCount, 2);
    float* points = calc.result.points;
    calc.result.boxAux[3] = 9;
    calc.stopRequested = true;
    boxes.clear();
    runProcess();
    EXPECT_EQ(calc.result.points, points);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(points[i], 0.0f);
    EXPECT_EQ(calc.result.pointCount, 0);
    EXPECT_EQ(calc.result.resultState, 0);
    EXPECT_EQ(calc.result.volumeNum, 0);
    EXPECT_EQ(calc.result.boxAux[3], 0);
}

TEST_F(CalcProcessTest, StopRequestedFromAnotherThreadEndsAnEndlessWait) {
    std::filesystem::remove_all("LocalImages");
    std::thread stopper([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        calc.stopRequested = true;
    });
    EXPECT_TRUE(runProcess());
    stopper.join();
    EXPECT_EQ(outRet, -1);
    EXPECT_FALSE(log.withText("Get dir[0] image failed.\n").empty());
}

// The counter of stored images belongs to the process: a child process starts it afresh.
TEST_F(CalcProcessTest, StoredImagesAreStampedOneThreeFiveAcrossObjects) {
    EXPECT_EXIT(
        {
            stub::script([](stub::Script& s) { s.results.push_back({0, 1, {boxOf(1, 1, 1)}, {}, -1}); });
            runProcess();
            CCalcQuboid3DMulti other;
            bool ok = other.initialize("cfg/", nullptr);
            stub::script([](stub::Script& s) { s.results.push_back({0, 1, {boxOf(1, 1, 1)}, {}, -1}); });
            std::vector<BoxDims> more;
            other.process({loader}, more, connected, outResult, outRet);
            const auto got = stub::received();
            ok = ok && got.inputs.size() == 2 && got.inputs[0].input.timestamp[0] == 1.0 &&
                 got.inputs[1].input.timestamp[0] == 3.0;
            other.release();
            std::exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace quboid3d::test
