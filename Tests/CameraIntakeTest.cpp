// The camera form of the calculator's process: frames of simulated cameras fed to the scripted
// library, with their pixel formats, timestamps and the line form's chunks.
#include <cstring>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "CalcQuboid3DMulti.h"
#include "CalibFiles.h"
#include "CameraTestSupport.h"
#include "FrameImage.h"
#include "LocalStation.h"
#include "LogCapture.h"
#include "LpmcStub.h"
#include "MvCamera.h"
#include "Orvia/Sim/FrameGenerator.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

using Orvia::Sim::CScriptedFrames;
using Orvia::Sim::SimChunk;
using Orvia::Sim::SimFrame;
using namespace Orvia::VisionSystem;
namespace stub = lpmc_stub;

constexpr const char* kProcessFn = "Orvia::VisionSystem::CCalcQuboid3DMulti::process";
constexpr std::uint32_t kMono10 = 0x1100003;
constexpr std::uint32_t kLineForm = 0x81000001;

std::vector<std::uint8_t> lineBlock(std::int32_t count) {
    std::vector<std::uint8_t> block(kPipelineSecondOffset + 64, 0);
    std::memcpy(block.data() + 36, &count, sizeof count);
    return block;
}

SimFrame lineFrame(std::vector<std::string> chunkTexts) {
    SimFrame frame = SimFrame::fromBytes(lineBlock(12), 12, 1, kLineForm, 0);
    if (!chunkTexts.empty())
        frame.chunks.push_back(SimChunk{7, std::move(chunkTexts)});
    return frame;
}

class CameraIntakeTest : public TempWorkDirTest {
protected:
    void SetUp() override {
        stub::reset();
        stub::script([](stub::Script& s) { s.reportedRegion = LpmcImageRegion{0, 0, 8, 4}; });
        CalibFiles{}.write("cfg/");
        ASSERT_TRUE(calc.initialize("cfg/", nullptr));
        calc.frameTimeout = 20000;
    }
    void TearDown() override {
        calc.release();
        if (camera)
            camera->close();
    }
    void makeCamera(std::uint32_t type) {
        plugged = plugLaserCamera("IN" + std::to_string(type), false);
        ASSERT_TRUE(plugged.sim && plugged.camera);
        plugged.sim->setFrameGenerator(frames);
        camera = std::make_shared<CMvCamera>(plugged.camera, type);
        ASSERT_EQ(camera->open(nullptr), 0);
        ASSERT_EQ(camera->startGrabbing(), 0);
    }
    void emit(SimFrame frame) {
        frames->push(std::move(frame));
        ASSERT_EQ(plugged.sim->emitFrames(1), 1u);
    }
    bool runProcess() { return calc.process(std::vector{camera}, boxes, connected, outResult, outRet); }
    // The library ends the call at its n-th pass with one box.
    static void resultAtPass(int n) {
        stub::script([n](stub::Script& s) {
            for (int i = 1; i < n; ++i)
                s.results.push_back({});
            s.results.push_back({0, 1, {boxOf(300, 200, 100)}, {}, -1});
        });
    }

    CCalcQuboid3DMulti calc;
    PluggedCamera plugged;
    std::shared_ptr<CScriptedFrames> frames = std::make_shared<CScriptedFrames>();
    TSharedPtr<CMvCamera> camera;
    std::vector<BoxDims> boxes;
    bool connected = true;
    const LpmcResult* outResult = nullptr;
    int outRet = 4242;
};

TEST_F(CameraIntakeTest, Mono8FrameReachesTheLibraryInPlaceWithItsTimeInMilliseconds) {
    makeCamera(CameraTypeGige);
    auto pixels = std::make_shared<std::vector<std::uint8_t>>(8 * 4, std::uint8_t{77});
    SimFrame frame;
    frame.owner = pixels;
    frame.data = pixels->data();
    frame.size = pixels->size();
    frame.width = 8;
    frame.height = 4;
    frame.pixelFormat = kPixelFormatMono8;
    frame.timestamp = 5'000'000;
    emit(frame);
    resultAtPass(1);
    EXPECT_TRUE(runProcess());
    const auto received = stub::received();
    ASSERT_EQ(received.inputs.size(), 1u);
    EXPECT_EQ(received.inputs[0].pixelsPointer, pixels->data());
    EXPECT_EQ(received.inputs[0].input.imageType[0], LPMC_IMAGE_MONO8);
    EXPECT_EQ(received.inputs[0].desc.width, 8);
    EXPECT_EQ(received.inputs[0].desc.height, 4);
    EXPECT_EQ(received.inputs[0].desc.region.width, calc.config.region[0]->width);
    EXPECT_DOUBLE_EQ(received.inputs[0].input.timestamp[0], 5.0);
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(outResult, &calc.result);
    EXPECT_EQ(outRet, 0);
}

TEST_F(CameraIntakeTest, TickRateDividesInItsSinglePrecisionForm) {
    makeCamera(CameraTypeGige);
    camera->timestampTicksPerMs = 16777217; // a float holds 16777216
    frames->pushMono8(8, 4, 16777216ULL * 3);
    ASSERT_EQ(plugged.sim->emitFrames(1), 1u);
    resultAtPass(1);
    EXPECT_TRUE(runProcess());
    ASSERT_EQ(stub::received().inputs.size(), 1u);
    EXPECT_EQ(stub::received().inputs[0].input.timestamp[0], 3.0);
}

TEST_F(CameraIntakeTest, Mono4pFrameIsUnpackedLowNibbleFirstIntoHighNibbles) {
    makeCamera(CameraTypeGige);
    emit(SimFrame::fromBytes({0xA5, 0x0F, 0xF0, 0x12}, 4, 2, kPixelFormatMono4p, 0));
    resultAtPass(1);
    EXPECT_TRUE(runProcess());
    const auto received = stub::received();
    ASSERT_EQ(received.inputs.size(), 1u);
    const std::vector<std::uint8_t> expected{0x50, 0xA0, 0xF0, 0x00, 0x00, 0xF0, 0x20, 0x10};
    EXPECT_EQ(received.inputs[0].pixels, expected);
    EXPECT_EQ(received.inputs[0].desc.width, 4);
    EXPECT_EQ(received.inputs[0].desc.height, 2);
}

TEST_F(CameraIntakeTest, Mono10FrameIsNamedByItsCodeAndTheNextPassGoesOn) {
    makeCamera(CameraTypeGige);
    emit(SimFrame::fromBytes(std::vector<std::uint8_t>(64, 1), 4, 2, kMono10, 0));
    frames->pushMono8(8, 4, 0);
    ASSERT_EQ(plugged.sim->emitFrames(1), 1u);
    resultAtPass(1);
    EXPECT_TRUE(runProcess());
    EXPECT_EQ(stub::received().processCalls, 1);
    EXPECT_EQ(boxes.size(), 1u);
    const auto unsupported = log.withText("get frame error, unsupported format: 17825795");
    ASSERT_EQ(unsupported.size(), 1u);
    EXPECT_EQ(unsupported[0].level, OVP_LOG_ERROR);
    EXPECT_EQ(unsupported[0].function, kProcessFn);
    EXPECT_EQ(log.withText("Get camera[0] image failed.\n").size(), 1u);
}

TEST_F(CameraIntakeTest, LostCameraEndsProcessWithConnectedFalse) {
    makeCamera(CameraTypeGige);
    const LpmcResult sentinel{};
    outResult = &sentinel;
    plugged.sim->unplug();
    EXPECT_TRUE(runProcess());
    EXPECT_FALSE(connected);
    EXPECT_EQ(outRet, -1);
    EXPECT_EQ(outResult, &sentinel);
    EXPECT_EQ(stub::received().processCalls, 0);
    EXPECT_EQ(log.withText("Get camera[0] image failed.\n").size(), 1u);
}

TEST_F(CameraIntakeTest, LineFrameWithoutChunksGoesToTheLibraryWithTimeZero) {
    makeCamera(CameraTypeAI);
    emit(lineFrame({}));
    resultAtPass(1);
    EXPECT_TRUE(runProcess());
    const auto received = stub::received();
    ASSERT_EQ(received.inputs.size(), 1u);
    EXPECT_EQ(received.inputs[0].input.imageType[0], LPMC_IMAGE_LINE);
    EXPECT_EQ(received.inputs[0].input.pipelineCount[0], 12);
    EXPECT_EQ(static_cast<const std::uint8_t*>(received.inputs[0].input.pipelineSecond[0]) -
                  static_cast<const std::uint8_t*>(received.inputs[0].input.pipelineFirst[0]),
              static_cast<std::ptrdiff_t>(kPipelineSecondOffset - kPipelineFirstOffset));
    EXPECT_EQ(received.inputs[0].input.timestamp[0], 0.0);
}

TEST_F(CameraIntakeTest, LineFrameTimeIsHighAndLowOverAThousandWithTheRemainderDropped) {
    makeCamera(CameraTypeAI);
    emit(lineFrame({"PipelineResultTsHigh:1", "PipelineResultTsLow:0"}));
    resultAtPass(1);
    EXPECT_TRUE(runProcess());
    ASSERT_EQ(stub::received().inputs.size(), 1u);
    EXPECT_EQ(stub::received().inputs[0].input.timestamp[0], 4294967.0);
}

TEST_F(CameraIntakeTest, HighKeyWithNothingAfterItsColonStillCountsAsFound) {
    makeCamera(CameraTypeAI);
    // The empty high key and the second high key use up both counts: low is never read.
    emit(lineFrame({"PipelineResultTsHigh:", "PipelineResultTsHigh:2", "PipelineResultTsLow:5000"}));
    resultAtPass(1);
    EXPECT_TRUE(runProcess());
    ASSERT_EQ(stub::received().inputs.size(), 1u);
    EXPECT_EQ(stub::received().inputs[0].input.timestamp[0], static_cast<double>((2ULL << 32) / 1000));
}

TEST_F(CameraIntakeTest, OnlyAnEmptyHighKeyLeavesTheTimeAtLowOverAThousand) {
    makeCamera(CameraTypeAI);
    emit(lineFrame({"PipelineResultTsHigh:", "PipelineResultTsLow:123456"}));
    resultAtPass(1);
    EXPECT_TRUE(runProcess());
    ASSERT_EQ(stub::received().inputs.size(), 1u);
    EXPECT_EQ(stub::received().inputs[0].input.timestamp[0], 123.0);
}

TEST_F(CameraIntakeTest, FramesAreFedPassAfterPassUntilAResult) {
    makeCamera(CameraTypeGige);
    for (int i = 0; i < 3; ++i)
        frames->pushMono8(8, 4, static_cast<std::uint64_t>(i) * 1'000'000);
    ASSERT_EQ(plugged.sim->emitFrames(3), 3u);
    resultAtPass(3);
    EXPECT_TRUE(runProcess());
    const auto received = stub::received();
    ASSERT_EQ(received.inputs.size(), 3u);
    for (int i = 0; i < 3; ++i)
        EXPECT_DOUBLE_EQ(received.inputs[static_cast<std::size_t>(i)].input.timestamp[0], i);
}

TEST_F(CameraIntakeTest, FramesLostOnTheWayAreToldToTheLibraryOnceWithAWarning) {
    makeCamera(CameraTypeGige);
    Orvia::Sim::SimFaults faults;
    faults.loseFramesFrom = 1;
    faults.loseFrameCount = 3;
    plugged.sim->setFaults(faults);
    for (int i = 0; i < 6; ++i)
        frames->pushMono8(8, 4, static_cast<std::uint64_t>(i) * 1'000'000);
    ASSERT_EQ(plugged.sim->emitFrames(3), 3u); // ids 0, 4 and 5
    resultAtPass(3);
    EXPECT_TRUE(runProcess());
    const auto received = stub::received();
    ASSERT_EQ(received.inputs.size(), 3u);
    EXPECT_EQ(received.inputs[0].input.missingFrames, 0);
    EXPECT_EQ(received.inputs[1].input.missingFrames, 3);
    EXPECT_EQ(received.inputs[2].input.missingFrames, 0);
    EXPECT_EQ(
        log.count(OVP_LOG_WARN, "Volume", kProcessFn,
                  "Camera[0] lost 3 frames before frame id[4], the objects in scan are unmeasurable.\n"),
        1);
    EXPECT_EQ(calc.input.missingFrames, 0);
}

TEST_F(CameraIntakeTest, TheFirstFrameAfterTheCameraWasLostIsARestart) {
    makeCamera(CameraTypeGige);
    frames->pushMono8(8, 4, 0);
    ASSERT_EQ(plugged.sim->emitFrames(1), 1u);
    resultAtPass(1);
    EXPECT_TRUE(runProcess());
    plugged.sim->unplug();
    EXPECT_TRUE(runProcess());
    ASSERT_FALSE(connected);
    plugged.sim->replug();
    camera->close();
    ASSERT_EQ(camera->open(nullptr), 0);
    ASSERT_EQ(camera->startGrabbing(), 0);
    frames->pushMono8(8, 4, 0);
    ASSERT_EQ(plugged.sim->emitFrames(1), 1u);
    resultAtPass(1);
    EXPECT_TRUE(runProcess());
    const auto received = stub::received();
    ASSERT_EQ(received.inputs.size(), 2u);
    EXPECT_EQ(received.inputs[0].input.missingFrames, 0);
    EXPECT_EQ(received.inputs[1].input.missingFrames, LPMC_FRAMES_RESTARTED);
    EXPECT_TRUE(
        log.has(OVP_LOG_INFO, "Volume", kProcessFn,
                "Camera[0] frames start over at frame id[0], the objects in scan are unmeasurable.\n"));
}

class FrameImageTest : public CameraIntakeTest {};

TEST_F(FrameImageTest, Mono8IsCopiedAndOtherFormatsGiveAnEmptyImage) {
    makeCamera(CameraTypeGige);
    emit(SimFrame::fromBytes({1, 2, 3, 4, 5, 6, 7, 8}, 4, 2, kPixelFormatMono8, 0));
    emit(SimFrame::fromBytes({1, 2}, 2, 1, kMono10, 0));
    Orvia::GenICam::CFrame mono8, mono10;
    ASSERT_EQ(camera->getFrame(mono8, 1000), 0);
    ASSERT_EQ(camera->getFrame(mono10, 1000), 0);
    const auto copied = imageFromFrame(mono8);
    ASSERT_TRUE(copied->data);
    EXPECT_NE(copied->data.get(), mono8.getImage());
    EXPECT_EQ(std::vector<std::uint8_t>(copied->data.get(), copied->data.get() + copied->size),
              (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(copied->pixelFormat, kPixelFormatMono8);
    const auto refused = imageFromFrame(mono10);
    EXPECT_FALSE(refused->data);
    EXPECT_EQ(refused->size, 0);
    EXPECT_EQ(refused->width, 0);
    EXPECT_EQ(refused->pixelFormat, 0u);
    EXPECT_EQ(imageFromFrame(Orvia::GenICam::CFrame{})->size, 0);
}

} // namespace
} // namespace quboid3d::test
