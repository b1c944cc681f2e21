// Register memory through the internal assistant, and the private data area: contents in and
// out, the covered range, transfer size, short reads, failing transfers and the record.
#include <gtest/gtest.h>

#include <numeric>

#include "CameraTestSupport.h"
#include "Orvia/GenICam/Internal.h"

namespace quboid3d::test {
namespace {

using namespace Orvia::GenICam;
using Orvia::Infra::CString;
using Orvia::Sim::SimFaults;

constexpr uint64_t kCalibrationArea = 0x4E0615E0;
constexpr uint64_t kFirstRegister = 0x4E05D198;
constexpr uint64_t kEnd = 0x4E0615E0 + 32768;

CInternalAssistant* assistantOf(const PluggedCamera& plugged) {
    return CInternalAssistant::getInstance(
        CInternalSystem::getInstance().getCameraPtr(CString(plugged.sim->key())));
}

std::vector<uint8_t> pattern(size_t size, uint8_t start) {
    std::vector<uint8_t> bytes(size);
    std::iota(bytes.begin(), bytes.end(), start);
    return bytes;
}

TEST(CameraMemoryTest, AssistantNeedsAnInternalCamera) {
    EXPECT_EQ(CInternalAssistant::getInstance(nullptr), nullptr);
    auto plugged = plugLaserCamera("M0");
    EXPECT_NE(assistantOf(plugged), nullptr);
}

TEST(CameraMemoryTest, ReadGivesWhatTheDeviceHolds) {
    auto plugged = plugLaserCamera("M1");
    const auto bytes = pattern(512, 7);
    ASSERT_TRUE(plugged.sim->pokeMemory(kCalibrationArea, bytes.data(), bytes.size()));
    std::vector<uint8_t> read(512, 0);
    uint64_t length = 512;
    ASSERT_TRUE(assistantOf(plugged)->readMemory(kCalibrationArea, read.data(), length));
    EXPECT_EQ(length, 512u);
    EXPECT_EQ(read, bytes);
    const auto transfers = plugged.sim->transfers();
    ASSERT_EQ(transfers.size(), 1u);
    EXPECT_FALSE(transfers[0].write);
    EXPECT_EQ(transfers[0].address, kCalibrationArea);
    EXPECT_EQ(transfers[0].asked, 512u);
    EXPECT_EQ(transfers[0].done, 512u);
    EXPECT_EQ(transfers[0].bytes, bytes);
}

TEST(CameraMemoryTest, WriteLandsInTheDeviceAndIsRecorded) {
    auto plugged = plugLaserCamera("M2");
    const auto bytes = pattern(20, 1);
    uint64_t length = bytes.size();
    ASSERT_TRUE(assistantOf(plugged)->writeMemory(kCalibrationArea + 512, bytes.data(), length));
    EXPECT_EQ(length, 20u);
    std::vector<uint8_t> stored(20);
    ASSERT_TRUE(plugged.sim->peekMemory(kCalibrationArea + 512, stored.data(), stored.size()));
    EXPECT_EQ(stored, bytes);
    const auto transfers = plugged.sim->transfers();
    ASSERT_EQ(transfers.size(), 1u);
    EXPECT_TRUE(transfers[0].write);
    EXPECT_EQ(transfers[0].address, kCalibrationArea + 512);
    EXPECT_EQ(transfers[0].bytes, bytes);
    EXPECT_TRUE(transfers[0].ok);
}

TEST(CameraMemoryTest, MemoryCoversItsWholeRangeAndNothingBeyond) {
    auto plugged = plugLaserCamera("M3");
    auto* assistant = assistantOf(plugged);
    std::vector<uint8_t> buffer(512, 0xAB);
    uint64_t length = 16;
    EXPECT_TRUE(assistant->writeMemory(kFirstRegister, buffer.data(), length));
    length = 512;
    EXPECT_TRUE(assistant->readMemory(kEnd - 512, buffer.data(), length));
    length = 16;
    EXPECT_FALSE(assistant->readMemory(kEnd - 8, buffer.data(), length));
    EXPECT_EQ(length, 0u);
    length = 4;
    EXPECT_FALSE(assistant->readMemory(kFirstRegister - 4, buffer.data(), length));
    std::vector<uint8_t> big(513);
    length = 513;
    EXPECT_FALSE(assistant->readMemory(kCalibrationArea, big.data(), length)); // larger than one transfer
    length = 16;
    EXPECT_FALSE(assistant->readMemory(kCalibrationArea, nullptr, length));
}

TEST(CameraMemoryTest, ShortReadReportsTheBytesActuallyRead) {
    auto plugged = plugLaserCamera("M4");
    const auto bytes = pattern(512, 0);
    plugged.sim->pokeMemory(kCalibrationArea, bytes.data(), bytes.size());
    SimFaults faults;
    faults.readLimit = 100;
    plugged.sim->setFaults(faults);
    std::vector<uint8_t> read(512, 0xEE);
    uint64_t length = 512;
    ASSERT_TRUE(assistantOf(plugged)->readMemory(kCalibrationArea, read.data(), length));
    EXPECT_EQ(length, 100u);
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.begin() + 100, read.begin()));
    EXPECT_EQ(read[100], 0xEE);
}

TEST(CameraMemoryTest, TransferFailsAtTheChosenChunk) {
    auto plugged = plugLaserCamera("M5");
    SimFaults faults;
    faults.failTransferAt = 2;
    plugged.sim->setFaults(faults);
    auto* assistant = assistantOf(plugged);
    std::vector<uint8_t> chunk(512, 0x11);
    std::vector<bool> results;
    for (int k = 0; k < 4; ++k) {
        uint64_t length = 512;
        results.push_back(assistant->writeMemory(kCalibrationArea + 512u * k, chunk.data(), length));
    }
    EXPECT_EQ(results, (std::vector<bool>{true, true, false, true}));
    const auto transfers = plugged.sim->transfers();
    ASSERT_EQ(transfers.size(), 4u);
    EXPECT_FALSE(transfers[2].ok);
    EXPECT_EQ(transfers[2].address, kCalibrationArea + 1024);
    EXPECT_EQ(transfers[2].done, 0u);
    uint8_t stored = 0;
    plugged.sim->peekMemory(kCalibrationArea + 1024, &stored, 1);
    EXPECT_EQ(stored, 0); // the failed chunk never landed
}

TEST(CameraMemoryTest, TransfersNeedAConnectedDevice) {
    auto plugged = plugLaserCamera("M6", false);
    std::vector<uint8_t> buffer(16);
    uint64_t length = 16;
    EXPECT_FALSE(assistantOf(plugged)->readMemory(kCalibrationArea, buffer.data(), length));
    EXPECT_EQ(length, 0u);
    length = 16;
    EXPECT_FALSE(assistantOf(plugged)->writeMemory(kCalibrationArea, buffer.data(), length));
}

TEST(CameraMemoryTest, CalibrationAreaReadsIn64ChunksOf512) {
    auto plugged = plugLaserCamera("M7");
    const auto bytes = pattern(32768, 9);
    ASSERT_TRUE(plugged.sim->pokeMemory(kCalibrationArea, bytes.data(), bytes.size()));
    auto* assistant = assistantOf(plugged);
    std::vector<uint8_t> read;
    uint64_t address = kCalibrationArea;
    while (read.size() < 32768) {
        uint8_t block[512] = {};
        uint64_t length = 512;
        ASSERT_TRUE(assistant->readMemory(address, block, length));
        read.insert(read.end(), block, block + length);
        address += length;
    }
    EXPECT_EQ(read, bytes);
    EXPECT_EQ(plugged.sim->transfers().size(), 64u);
}

TEST(CameraMemoryTest, PrivateAreaHolds32KiBInAndOut) {
    auto plugged = plugLaserCamera("PA1");
    const auto bytes = pattern(32768, 3);
    EXPECT_EQ(plugged.camera->writePrivateArea(bytes.data(), bytes.size()), 32768);
    EXPECT_EQ(plugged.sim->privateArea(), bytes);
    std::vector<uint8_t> read(32768);
    EXPECT_EQ(plugged.camera->readPrivateArea(read.data(), read.size()), 32768);
    EXPECT_EQ(read, bytes);
    std::vector<uint8_t> head(10);
    EXPECT_EQ(plugged.camera->readPrivateArea(head.data(), head.size()), 10);
    EXPECT_TRUE(std::equal(head.begin(), head.end(), bytes.begin()));
    const auto transfers = plugged.sim->transfers();
    ASSERT_EQ(transfers.size(), 3u);
    EXPECT_TRUE(transfers[0].privateArea && transfers[0].write);
    EXPECT_TRUE(transfers[1].privateArea && !transfers[1].write);
}

TEST(CameraMemoryTest, PrivateAreaRefusesBadRequests) {
    auto plugged = plugLaserCamera("PA2");
    std::vector<uint8_t> buffer(32769);
    EXPECT_LT(plugged.camera->readPrivateArea(buffer.data(), buffer.size()), 0);
    EXPECT_LT(plugged.camera->writePrivateArea(buffer.data(), buffer.size()), 0);
    EXPECT_LT(plugged.camera->readPrivateArea(nullptr, 16), 0);
    EXPECT_LT(plugged.camera->readPrivateArea(buffer.data(), 0), 0);
    plugged.camera->disconnect();
    EXPECT_LT(plugged.camera->readPrivateArea(buffer.data(), 16), 0);
    SimFaults faults;
    faults.failTransferAt = 0;
    plugged.sim->setFaults(faults);
    plugged.camera->connect(AccessModeControl);
    EXPECT_LT(plugged.camera->writePrivateArea(buffer.data(), 16), 0);
    EXPECT_EQ(plugged.camera->writePrivateArea(buffer.data(), 16), 16);
}

} // namespace
} // namespace quboid3d::test
