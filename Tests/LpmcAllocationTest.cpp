// Nothing is allocated per frame once the instance is configured: every operator new of the
// process is counted while lpmcProcess runs over scans with objects that complete, are measured
// and reported, and over side-by-side packages held until the line is clear.
#include <vector>

#include <gtest/gtest.h>

#include "AllocationCounter.h"
#include "LpmcBoxScan.h"

namespace {

using namespace lpmctest;

// Frames rendered beforehand, so that only lpmcProcess runs while counting.
std::vector<LineFrame> render(const ScanSim::Station& st, const std::vector<Box>& boxes, int count) {
    std::vector<LineFrame> frames(static_cast<size_t>(count));
    CBoxScan scan(st, boxes);
    for (int k = 0; k < count; ++k) {
        scan.line(k, frames[static_cast<size_t>(k)]);
    }
    return frames;
}

long countDuring(void* handle, const std::vector<LineFrame>& frames, int64_t firstFrame, int& boxes) {
    LpmcResult r{};
    quboid3d::test::resetAllocationCount();
    for (size_t k = 0; k < frames.size(); ++k) {
        LpmcInput in{};
        in.imageType[0] = LPMC_IMAGE_LINE;
        in.timestamp[0] = 1.0 + 2.0 * static_cast<double>(firstFrame + static_cast<int64_t>(k));
        in.pipelineCount[0] = static_cast<int32_t>(frames[k].rows.size());
        in.pipelineFirst[0] = frames[k].rows.data();
        in.pipelineSecond[0] = frames[k].peaks.data();
        quboid3d::test::countAllocations(true);
        const int32_t rc = lpmcProcess(handle, &in, &r);
        quboid3d::test::countAllocations(false);
        EXPECT_EQ(rc, 0);
        boxes += r.volumeNum;
    }
    return quboid3d::test::allocationCount().all;
}

TEST(LpmcAllocationTest, ProcessingFramesAllocatesNothing) {
    const ScanSim::Station st = testStation();
    const auto cal = calibrationOf(st, 0.0, 0.5);
    for (int intime : {1, 0}) {
        Instance inst;
        ASSERT_EQ(openInstance(st, *cal, 1000, inst,
                               [intime](LpmcConfig& c) {
                                   c.scan_package_intime_flag = intime;
                                   c.scan_volume_finite_flag = 1;
                               }),
                  0);
        // The counter sees the library's allocations: configuring allocates.
        quboid3d::test::resetAllocationCount();
        quboid3d::test::countAllocations(true);
        const int32_t rc = lpmcSetConfig(inst.handle, &inst.config);
        quboid3d::test::countAllocations(false);
        ASSERT_EQ(rc, 0);
        EXPECT_GT(quboid3d::test::allocationCount().all, 5);
        const std::vector<Box> boxes = {{300, 200, 150, -200, -200.3, 20, 0.8},
                                        {250, 150, 250, 150, -180.8, -15, 0.5}};
        const auto frames = render(st, boxes, 560);
        int found = 0;
        // The first scan warms up what the C library sets up on first use (the time zone).
        countDuring(inst.handle, frames, 0, found);
        found = 0;
        EXPECT_EQ(countDuring(inst.handle, frames, 560, found), 0);
        EXPECT_EQ(found, 2);
    }
}

} // namespace
