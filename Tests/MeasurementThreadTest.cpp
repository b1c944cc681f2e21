// The measurement thread of a measuring object in local mode, with the scripted library.
#include "CalcQuboid3DMgr.h"

#include <condition_variable>
#include <mutex>

#include <gtest/gtest.h>

#include "CalibFiles.h"
#include "ICalcVolumeSink.h"
#include "ImageFiles.h"
#include "LocalStation.h"
#include "Lpmc.h"
#include "LpmcStub.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

using Orvia::VisionSystem::BoxDims;
using Orvia::VisionSystem::CCalcQuboid3DMgr;
using Orvia::VisionSystem::ICalcVolumeSink;
namespace stub = lpmc_stub;

constexpr const char* kThreadFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::threadCalcQuboid3D";

// Records every pass the thread hands over, and lets a test wait for a number of them.
class RecordingSink : public ICalcVolumeSink {
public:
    struct Pass {
        std::vector<BoxDims> boxes;
        bool hadResult;
        int resultState;
        int status;
    };
    void onVolumeResult(const std::vector<BoxDims>& boxes, const LpmcResult* result, int status) override {
        std::lock_guard lock(mutex_);
        passes_.push_back({boxes, result != nullptr, result != nullptr ? result->resultState : -1, status});
        changed_.notify_all();
    }
    bool waitFor(std::size_t count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return passes_.size() >= count; });
    }
    std::vector<Pass> passes() {
        std::lock_guard lock(mutex_);
        return passes_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Pass> passes_;
};

class MeasurementThreadTest : public TempWorkDirTest {
protected:
    void SetUp() override {
        stub::reset();
        writeLocalStation();
        ASSERT_TRUE(manager.initialize(true, "cfg/", nullptr));
    }
    void TearDown() override {
        manager.stop();
        manager.finalize();
    }
    int linesWithText(const std::string& text) const { return static_cast<int>(log.withText(text).size()); }

    CCalcQuboid3DMgr manager;
    RecordingSink sink;
};

TEST_F(MeasurementThreadTest, StartsMeasuresAndExitsWithItsLines) {
    stub::script([](stub::Script& s) { s.results.push_back({0, 1, {boxOf(300, 200, 100)}, {}, -1}); });
    ASSERT_TRUE(manager.run(&sink));
    ASSERT_TRUE(sink.waitFor(1));
    ASSERT_TRUE(manager.stop());
    EXPECT_EQ(log.count(OVP_LOG_INFO, "Volume", kThreadFn, "Start 3D volume proc thread success.\n"), 1);
    EXPECT_EQ(log.count(OVP_LOG_INFO, "Volume", kThreadFn, "Exit 3D volume proc thread success.\n"), 1);
    EXPECT_EQ(
        log.count(OVP_LOG_INFO, "VolumeRecord", kThreadFn,
                  "Calc a new volume, length[30.0 cm]-width[20.0 cm]-height[10.0 cm]-volume[6000.0 cm3]\n"),
        1);
    const auto passes = sink.passes();
    EXPECT_TRUE(passes[0].hadResult);
    ASSERT_EQ(passes[0].boxes.size(), 1u);
    EXPECT_EQ(passes[0].boxes[0].length, 300);
}

TEST_F(MeasurementThreadTest, UnmeasuredResultIsNotLoggedButReachesTheSink) {
    stub::script([](stub::Script& s) { s.results.push_back({0, 2, {boxOf(300, 200, 100)}, {}, -1}); });
    ASSERT_TRUE(manager.run(&sink));
    ASSERT_TRUE(sink.waitFor(1));
    ASSERT_TRUE(manager.stop());
    EXPECT_EQ(sink.passes()[0].resultState, 2);
    EXPECT_EQ(sink.passes()[0].boxes.size(), 1u);
    for (const auto& line : log.lines())
        EXPECT_EQ(line.text.find("Calc a new volume"), std::string::npos);
}

TEST_F(MeasurementThreadTest, SeveralBoxesGiveOneLineEachAndOneSinkCall) {
    stub::script([](stub::Script& s) {
        s.results.push_back({0, 1, {boxOf(100, 100, 100), boxOf(200, 150, 50), boxOf(10, 10, 10)}, {}, -1});
    });
    ASSERT_TRUE(manager.run(&sink));
    ASSERT_TRUE(sink.waitFor(1));
    ASSERT_TRUE(manager.stop());
    int volumeLines = 0;
    for (const auto& line : log.lines())
        volumeLines += line.text.starts_with("Calc a new volume") ? 1 : 0;
    EXPECT_EQ(volumeLines, 3);
    const auto passes = sink.passes();
    EXPECT_EQ(passes[0].boxes.size(), 3u);
    // Any later pass is the one the stop cut short: no second call carries these boxes.
    for (std::size_t i = 1; i < passes.size(); ++i)
        EXPECT_TRUE(passes[i].boxes.empty());
}

TEST_F(MeasurementThreadTest, StopCutsTheWaitingPassShortAndTheSinkStillHearsOfIt) {
    ASSERT_TRUE(manager.run(&sink));
    // Once the library has seen a frame the thread is inside a pass that only a stop can end.
    while (stub::received().processCalls < 1)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_TRUE(manager.stop());
    const auto passes = sink.passes();
    ASSERT_EQ(passes.size(), 1u);
    EXPECT_FALSE(passes[0].hadResult);
    EXPECT_TRUE(passes[0].boxes.empty());
    EXPECT_EQ(linesWithText("Exit 3D volume proc thread success.\n"), 1);
}

TEST_F(MeasurementThreadTest, LibraryFailureIsPassedOnAsStatusAndMeasuringGoesOn) {
    stub::script([](stub::Script& s) {
        s.results.push_back({-5, 0, {}, {}, -1});
        s.results.push_back({0, 1, {boxOf(1, 2, 3)}, {}, -1});
    });
    ASSERT_TRUE(manager.run(&sink));
    ASSERT_TRUE(sink.waitFor(2));
    ASSERT_TRUE(manager.stop());
    const auto passes = sink.passes();
    EXPECT_EQ(passes[0].status, -5);
    EXPECT_FALSE(passes[0].hadResult);
    EXPECT_TRUE(passes[1].hadResult);
}

TEST_F(MeasurementThreadTest, LocalModeRunsUntilStopThroughManyPasses) {
    stub::script([](stub::Script& s) {
        for (int i = 0; i < 20; ++i)
            s.results.push_back({0, 1, {boxOf(10.0f + i, 5, 5)}, {}, -1});
    });
    ASSERT_TRUE(manager.run(&sink));
    ASSERT_TRUE(sink.waitFor(20));
    EXPECT_EQ(linesWithText("Exit 3D volume proc thread success.\n"), 0);
    ASSERT_TRUE(manager.stop());
    EXPECT_EQ(sink.passes()[19].boxes.at(0).length, 29);
}

TEST_F(MeasurementThreadTest, StopBeforeTheFirstPassEndsWithoutOne) {
    // Whether the thread sees the stop before or after its first pass, it ends with its line.
    ASSERT_TRUE(manager.run(&sink));
    ASSERT_TRUE(manager.stop());
    EXPECT_LE(sink.passes().size(), 1u);
    EXPECT_EQ(linesWithText("Exit 3D volume proc thread success.\n"), 1);
}

TEST_F(MeasurementThreadTest, WithoutSinkTheThreadStillMeasures) {
    stub::script([](stub::Script& s) { s.results.push_back({0, 1, {boxOf(300, 200, 100)}, {}, -1}); });
    ASSERT_TRUE(manager.run(nullptr));
    for (int i = 0; i < 2000 && stub::received().processCalls < 2; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_TRUE(manager.stop());
    EXPECT_EQ(
        log.count(OVP_LOG_INFO, "VolumeRecord", kThreadFn,
                  "Calc a new volume, length[30.0 cm]-width[20.0 cm]-height[10.0 cm]-volume[6000.0 cm3]\n"),
        1);
}

} // namespace
} // namespace quboid3d::test
