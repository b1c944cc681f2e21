// Frame generators of the simulated cameras: a virtual station scene pre-rendered into a ring
// or rendered live, in Mono8, Mono4p and the line form with its timestamp chunks, and a
// directory of images.
#include <gtest/gtest.h>

#include <cstring>

#include "CameraTestSupport.h"
#include "ImageFiles.h"
#include "Orvia/Sim/ScanSimFrames.h"
#include "ScanSim/Scene.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

using namespace Orvia::GenICam;
using Orvia::Infra::CString;
using Orvia::Infra::TVector;
using Orvia::Sim::CImageDirectoryFrames;
using Orvia::Sim::CScanSimFrames;
using Orvia::Sim::ScanSimForm;
using Orvia::Sim::ScanSimFramesOptions;
using Orvia::Sim::SimFrame;

// A small station so that rendering stays quick under the sanitizers.
ScanSim::Scene smallScene() {
    ScanSim::StationDesign design;
    design.imageWidth = 128;
    design.imageHeight = 32;
    ScanSim::Scene scene;
    scene.station = ScanSim::designStation(design);
    scene.motion.mmPerFrame = 20.0;
    scene.motion.framePeriodMs = 2.5;
    scene.objects.push_back(ScanSim::makeBox("box", 200, 150, 100, 0, 0, 100, 0.8));
    return scene;
}

ScanSimFramesOptions options(ScanSimForm form, int ring) {
    ScanSimFramesOptions o;
    o.form = form;
    o.ringFrames = ring;
    return o;
}

TEST(CameraScanSimTest, RingServesItsBuffersRoundAndRoundWithRunningTimestamps) {
    CScanSimFrames frames(smallScene(), options(ScanSimForm::Mono8, 3));
    ASSERT_EQ(frames.passFrames(), 3);
    for (uint64_t n = 0; n < 7; ++n) {
        SimFrame frame;
        ASSERT_TRUE(frames.next(frame));
        EXPECT_EQ(frame.data, frames.ringData(static_cast<int>(n % 3)));
        EXPECT_EQ(frame.width, 128u);
        EXPECT_EQ(frame.height, 32u);
        EXPECT_EQ(frame.size, 128u * 32u);
        EXPECT_EQ(frame.pixelFormat, PixelFormatMono8);
        EXPECT_EQ(frame.timestamp, n * 2500000u); // 2.5 ms at 1e6 ticks per ms
    }
}

TEST(CameraScanSimTest, ReplayServesTheSameRingFromItsStartWithoutRenderingAgain) {
    CScanSimFrames frames(smallScene(), options(ScanSimForm::Mono8, 3));
    SimFrame frame;
    ASSERT_TRUE(frames.next(frame) && frames.next(frame));
    const auto again = frames.replay(false);
    ASSERT_EQ(again->passFrames(), 3);
    for (int n = 0; n < 3; ++n) {
        EXPECT_EQ(again->ringData(n), frames.ringData(n)) << "slot " << n;
        ASSERT_TRUE(again->next(frame));
        EXPECT_EQ(frame.data, frames.ringData(n));
        EXPECT_EQ(frame.timestamp, static_cast<uint64_t>(n) * 2500000u);
    }
    EXPECT_FALSE(again->next(frame)) << "one pass, then nothing";
    ASSERT_TRUE(frames.next(frame)) << "the original goes on where it was";
    EXPECT_EQ(frame.data, frames.ringData(2));
}

TEST(CameraScanSimTest, FormsRenderedTogetherEqualFormsRenderedApart) {
    const std::vector<ScanSimForm> forms{ScanSimForm::Mono8, ScanSimForm::Mono4p, ScanSimForm::LineForm};
    const auto together = CScanSimFrames::renderForms(smallScene(), options(ScanSimForm::Mono8, 3), forms);
    ASSERT_EQ(together.size(), forms.size());
    for (size_t f = 0; f < forms.size(); ++f) {
        CScanSimFrames apart(smallScene(), options(forms[f], 3));
        ASSERT_EQ(together[f]->passFrames(), 3);
        for (int n = 0; n < 3; ++n) {
            SimFrame a;
            SimFrame b;
            ASSERT_TRUE(together[f]->next(a));
            ASSERT_TRUE(apart.next(b));
            EXPECT_EQ(a.pixelFormat, b.pixelFormat);
            EXPECT_EQ(a.timestamp, b.timestamp);
            EXPECT_EQ(a.chunks.size(), b.chunks.size());
            ASSERT_EQ(a.size, b.size);
            EXPECT_EQ(std::memcmp(a.data, b.data, a.size), 0) << "form " << f << " frame " << n;
        }
    }
}

TEST(CameraScanSimTest, LiveRenderingGivesTheSameImagesAsTheRing) {
    CScanSimFrames ring(smallScene(), options(ScanSimForm::Mono8, 0));
    ScanSimFramesOptions liveOptions = options(ScanSimForm::Mono8, 0);
    liveOptions.preRender = false;
    liveOptions.loop = false;
    CScanSimFrames live(smallScene(), liveOptions);
    ASSERT_EQ(live.passFrames(), ring.passFrames());
    EXPECT_EQ(live.ringData(0), nullptr);
    int served = 0;
    SimFrame a;
    SimFrame b;
    while (live.next(a)) {
        ASSERT_TRUE(ring.next(b));
        ASSERT_EQ(a.size, b.size);
        EXPECT_EQ(std::memcmp(a.data, b.data, a.size), 0) << "frame " << served;
        ++served;
    }
    EXPECT_EQ(served, ring.passFrames()); // no loop: one pass, then nothing
}

TEST(CameraScanSimTest, Mono4pPacksTheMono8Image) {
    CScanSimFrames mono8(smallScene(), options(ScanSimForm::Mono8, 2));
    CScanSimFrames mono4p(smallScene(), options(ScanSimForm::Mono4p, 2));
    SimFrame eight;
    SimFrame four;
    ASSERT_TRUE(mono8.next(eight) && mono8.next(eight));
    ASSERT_TRUE(mono4p.next(four) && mono4p.next(four));
    EXPECT_EQ(four.pixelFormat, PixelFormatMono4p);
    EXPECT_EQ(four.size, 128u * 32u / 2u);
    for (uint64_t i = 0; i < eight.size; ++i) {
        const uint8_t packed = four.data[i / 2];
        const uint8_t nibble = (i % 2 == 0) ? (packed & 0x0F) : (packed >> 4);
        ASSERT_EQ(nibble, eight.data[i] >> 4) << "pixel " << i;
    }
}

TEST(CameraScanSimTest, LineFormCarriesThePipelineBlockAndTimestampChunks) {
    CScanSimFrames frames(smallScene(), options(ScanSimForm::LineForm, 4));
    SimFrame frame;
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(frames.next(frame));
    }
    EXPECT_EQ(frame.pixelFormat, PixelFormatPipelineResult);
    EXPECT_EQ(frame.size, 19248u);
    int32_t count = 0;
    std::memcpy(&count, frame.data + 36, sizeof count);
    EXPECT_EQ(count, 128);
    ASSERT_EQ(frame.chunks.size(), 1u);
    // Frame 2 at 2.5 ms per frame: 5000 microseconds.
    EXPECT_EQ(frame.chunks[0].texts,
              (std::vector<std::string>{"PipelineResultTsHigh:0", "PipelineResultTsLow:5000"}));
}

TEST(CameraScanSimTest, ScanSimFramesReachTheConsumerWithoutACopy) {
    auto plugged = plugLaserCamera("SS1");
    auto frames = std::make_shared<CScanSimFrames>(smallScene(), options(ScanSimForm::LineForm, 2));
    plugged.sim->setFrameGenerator(frames);
    auto stream = CSystem::getInstance().createStreamSource(plugged.camera, 0);
    ASSERT_TRUE(stream->startGrabbing(0, 0));
    ASSERT_EQ(plugged.sim->emitFrames(2), 2u);
    CFrame first;
    CFrame second;
    ASSERT_TRUE(stream->getFrame(first, 0));
    ASSERT_TRUE(stream->getFrame(second, 0));
    EXPECT_EQ(first.getImage(), frames->ringData(0));
    EXPECT_EQ(second.getImage(), frames->ringData(1));
    uint32_t id = 0;
    TVector<CString> texts;
    ASSERT_TRUE(second.getChunkDataByIndex(0, id, texts));
    EXPECT_EQ(id, Orvia::Sim::kPipelineTimestampChunkId);
    EXPECT_EQ(texts[1], CString("PipelineResultTsLow:2500"));
}

class CameraImageDirectoryTest : public TempWorkDirTest {};

TEST_F(CameraImageDirectoryTest, ImagesBecomeMono8FramesRoundAndRound) {
    std::filesystem::create_directories("Images");
    ASSERT_TRUE(writeGreyPng("Images/a.png", 4, 2, flatGrey(4, 2, 10)));
    ASSERT_TRUE(writeGreyBmp("Images/b.bmp", 3, 3, flatGrey(3, 3, 20)));
    workDir.writeFile("Images/notes.txt", "not an image");
    CImageDirectoryFrames frames("Images", 1000);
    ASSERT_EQ(frames.imageCount(), 2u);
    SimFrame frame;
    ASSERT_TRUE(frames.next(frame));
    EXPECT_EQ(frame.width, 4u);
    EXPECT_EQ(frame.height, 2u);
    EXPECT_EQ(frame.size, 8u);
    EXPECT_EQ(frame.data[0], 10);
    EXPECT_EQ(frame.timestamp, 0u);
    ASSERT_TRUE(frames.next(frame));
    EXPECT_EQ(frame.width, 3u);
    EXPECT_EQ(frame.data[8], 20);
    ASSERT_TRUE(frames.next(frame));
    EXPECT_EQ(frame.width, 4u);
    EXPECT_EQ(frame.timestamp, 2000u);
}

TEST_F(CameraImageDirectoryTest, MissingDirectoryGivesNoFrames) {
    CImageDirectoryFrames frames("NoSuchDirectory");
    SimFrame frame;
    EXPECT_EQ(frames.imageCount(), 0u);
    EXPECT_FALSE(frames.next(frame));
}

} // namespace
} // namespace quboid3d::test
