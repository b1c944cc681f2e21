// A camera frame reaches the library with nothing allocated for it: Mono8 in place, and Mono4p
// unpacked into the slot's image, whose buffer the first frame allocates and every later one
// writes over. Every operator new of the process is counted while the calculator takes a frame
// (the fetch from the camera's queue among it); allocations of a frame's size are what would
// betray a copy. The camera makes its frames before the counting: what a camera allocates for a
// frame it sends is its own.
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "AllocationCounter.h"
#include "CalcQuboid3DMulti.h"
#include "CalibFiles.h"
#include "CameraTestSupport.h"
#include "FrameImage.h"
#include "LoadImage.h"
#include "LpmcStub.h"
#include "MvCamera.h"
#include "Orvia/Sim/FrameGenerator.h"
#include "TempWorkDir.h"

namespace {
// Smaller than any frame of these tests, larger than any bookkeeping of a fetch.
constexpr std::size_t kFrameSizedBytes = 64 * 1024;
} // namespace

namespace quboid3d::test {
namespace {

using Orvia::Sim::CScriptedFrames;
using Orvia::Sim::SimFrame;
using namespace Orvia::VisionSystem;

constexpr std::uint32_t kWidth = 2048;
constexpr std::uint32_t kHeight = 512;
constexpr int kFrames = 16;

// What counting saw during one call.
struct Counted {
    long all = 0;
    long frameSized = 0;
};

class CameraIntakeAllocationTest : public TempWorkDirTest {
protected:
    void SetUp() override {
        lpmc_stub::reset();
        CalibFiles{}.write("cfg/");
        ASSERT_TRUE(calc.initialize("cfg/", nullptr));
        plugged = plugLaserCamera("ALLOC", false);
        ASSERT_TRUE(plugged.sim && plugged.camera);
        plugged.sim->setFrameGenerator(frames);
        camera = std::make_shared<CMvCamera>(plugged.camera, CameraTypeGige);
        ASSERT_EQ(camera->open(nullptr), 0);
        ASSERT_EQ(camera->startGrabbing(), 0);
        // The simulated camera's record of fetches takes its room on the first one.
        takeNothing();
    }
    void TearDown() override {
        calc.release();
        camera->close();
    }
    // A frame whose pixels live in one buffer shared by every frame of the test.
    SimFrame frameOf(std::uint32_t format) const {
        SimFrame frame;
        frame.owner = pixels;
        frame.data = pixels->data();
        frame.size = format == kPixelFormatMono4p ? pixels->size() / 2 : pixels->size();
        frame.width = kWidth;
        frame.height = kHeight;
        frame.pixelFormat = format;
        return frame;
    }
    void takeNothing() {
        calc.frameTimeout = 0;
        Orvia::GenICam::CFrame frame;
        LpmcImageDesc desc{};
        bool connected = false;
        double timestamp = 0.0;
        EXPECT_FALSE(calc.getCameraImage(frame, camera, &desc, connected, timestamp, image));
        calc.frameTimeout = 20000;
    }
    // Emits one frame (the simulated camera's own allocations are not the calculator's) and
    // counts what taking it allocates.
    Counted takeOne(std::uint32_t format) {
        frames->push(frameOf(format));
        EXPECT_EQ(plugged.sim->emitFrames(1), 1u);
        Orvia::GenICam::CFrame frame;
        LpmcImageDesc desc{};
        bool connected = false;
        double timestamp = 0.0;
        quboid3d::test::resetAllocationCount(kFrameSizedBytes);
        quboid3d::test::countAllocations(true);
        const bool taken = calc.getCameraImage(frame, camera, &desc, connected, timestamp, image);
        quboid3d::test::countAllocations(false);
        EXPECT_TRUE(taken);
        EXPECT_TRUE(connected);
        const quboid3d::test::AllocationCount counted = quboid3d::test::allocationCount();
        return {counted.all, counted.large};
    }

    CCalcQuboid3DMulti calc;
    PluggedCamera plugged;
    std::shared_ptr<CScriptedFrames> frames = std::make_shared<CScriptedFrames>();
    TSharedPtr<CMvCamera> camera;
    std::shared_ptr<std::vector<std::uint8_t>> pixels =
        std::make_shared<std::vector<std::uint8_t>>(std::size_t{kWidth} * kHeight, std::uint8_t{0x5A});
    TSharedPtr<VsImage> image;
};

TEST_F(CameraIntakeAllocationTest, Mono8FramesAllocateNoPixels) {
    for (int i = 0; i < kFrames; ++i) {
        const Counted counted = takeOne(kPixelFormatMono8);
        EXPECT_EQ(counted.all, 0) << "frame " << i;
    }
}

TEST_F(CameraIntakeAllocationTest, Mono4pFramesAllocateTheirImageOnceOnly) {
    const Counted first = takeOne(kPixelFormatMono4p);
    EXPECT_EQ(first.frameSized, 1) << "the slot's image buffer";
    EXPECT_LE(first.all, 2) << "the buffer and the image record";
    const std::uint8_t* buffer = image->data.get();
    for (int i = 1; i < kFrames; ++i) {
        const Counted counted = takeOne(kPixelFormatMono4p);
        EXPECT_EQ(counted.all, 0) << "frame " << i;
        EXPECT_EQ(image->data.get(), buffer) << "frame " << i;
    }
    EXPECT_EQ(image->size, static_cast<std::int32_t>(kWidth * kHeight));
    EXPECT_EQ(image->data[0], 0xA0); // 0x5A: low nibble first, each into the high nibble
    EXPECT_EQ(image->data[1], 0x50);
}

TEST_F(CameraIntakeAllocationTest, Mono4pFrameOfAnotherSizeGetsABufferOfItsOwn) {
    takeOne(kPixelFormatMono4p);
    SimFrame smaller = frameOf(kPixelFormatMono4p);
    smaller.height = kHeight / 2;
    smaller.size /= 2;
    frames->push(smaller);
    ASSERT_EQ(plugged.sim->emitFrames(1), 1u);
    Orvia::GenICam::CFrame frame;
    LpmcImageDesc desc{};
    bool connected = false;
    double timestamp = 0.0;
    ASSERT_TRUE(calc.getCameraImage(frame, camera, &desc, connected, timestamp, image));
    EXPECT_EQ(image->size, static_cast<std::int32_t>(kWidth * kHeight / 2));
    EXPECT_EQ(desc.pixels, image->data.get());
}

} // namespace
} // namespace quboid3d::test
