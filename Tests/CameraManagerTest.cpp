// The camera manager on simulated cameras: classification by vendor, site patterns and the model
// grammar, the key map and its reuse rule, the discovery log line, calls from several threads,
// and a camera rebuilt after a reconnection.
//
// The manager is one object per process and keeps every camera it built, so each test plugs
// devices with serials of its own and looks only at what its own calls give back. The site
// settings are read once per process: tests in this suite run with no site file (the program
// works in an empty directory of its own); the cases that need model patterns build the settings
// in a child process each (death tests that exit with kChecksPassed when every expectation held).
#include "MvCamera.h"

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "AdvancedConfig.h"
#include "CameraTestSupport.h"
#include "LogCapture.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

namespace fs = std::filesystem;
using Orvia::GenICam::CFrame;
using Orvia::Infra::TVector;
using Orvia::Sim::CSimCamera;
using Orvia::Sim::SimDeviceDescription;
using namespace Orvia::VisionSystem;

constexpr const char* kChannel = "OVCamera";
constexpr const char* kGetAllFn = "Orvia::VisionSystem::CCameraManager::getAll3DCameras";
constexpr const char* kLiteralVendor = "Orvia Technology 3D";
constexpr int kChecksPassed = 42;

// An empty working directory for the whole program, so that no site file of the machine is read.
class EmptyStation : public ::testing::Environment {
public:
    void SetUp() override {
        workDir = std::make_unique<ScopedTempWorkDir>();
        fs::create_directories(workDir->path() / "station");
        fs::current_path(workDir->path() / "station");
    }
    void TearDown() override { workDir.reset(); }

private:
    std::unique_ptr<ScopedTempWorkDir> workDir;
};
[[maybe_unused]] ::testing::Environment* const kEmptyStation =
    ::testing::AddGlobalTestEnvironment(new EmptyStation);

CCameraManager& manager() {
    return CCameraManager::getInstance();
}

std::shared_ptr<CSimCamera> plugDevice(const std::string& serial, int32_t kind, const std::string& vendor,
                                       const std::string& model) {
    SimDeviceDescription description = Orvia::Sim::laserCameraDescription(serial, kind, model);
    description.vendor = vendor;
    auto sim = CSimCamera::plugIn(description);
    EXPECT_TRUE(sim) << serial;
    return sim;
}

std::string discoveryLine(const std::string& model, const std::string& vendor, const std::string& serial,
                          int flag, int type) {
    return "discovery device: " + model + ", " + vendor + ", " + serial +
           ". is3DCamera: " + std::to_string(flag) + ", type: " + std::to_string(type);
}

std::vector<std::string> keysOf(const TVector<TSharedPtr<CMvCamera>>& cameras) {
    std::vector<std::string> keys;
    for (const auto& camera : cameras)
        keys.push_back(camera ? camera->getKey() : "(none)");
    return keys;
}

class CameraManagerTest : public LogCaptureTest {};

// ---- classification with no site patterns ----

TEST_F(CameraManagerTest, LiteralVendorIsAGigeCameraWhateverTheModel) {
    uint32_t type = 0;
    EXPECT_TRUE(manager().is3DCamera("", kLiteralVendor, type));
    EXPECT_EQ(type, CameraTypeGige);
    type = 0;
    EXPECT_TRUE(manager().is3DCamera("no model at all", kLiteralVendor, type));
    EXPECT_EQ(type, CameraTypeGige);
    // Whole string, case-sensitive.
    type = 0;
    EXPECT_FALSE(manager().is3DCamera("nonsense", "orvia technology 3D", type));
    EXPECT_FALSE(manager().is3DCamera("nonsense", "Orvia Technology 3D ", type));
    EXPECT_EQ(type, 0u);
}

TEST_F(CameraManagerTest, ModelOfExactlyThePrefixKeepsItAndIsRefused) {
    uint32_t type = 9;
    EXPECT_FALSE(manager().parseModelType("MV-", type));
    EXPECT_FALSE(manager().parseModelType("OV-MV-", type));
    EXPECT_EQ(type, 9u);
}

TEST_F(CameraManagerTest, LongerPrefixIsRemovedAfterTheShorterOneFails) {
    uint32_t type = 0;
    EXPECT_TRUE(manager().parseModelType("OV-MV-D12345G0X", type));
    EXPECT_EQ(type, CameraTypeGige);
    EXPECT_TRUE(manager().parseModelType("OV-MV-DL12345G1", type));
    EXPECT_EQ(type, CameraTypeAI);
    // Only one prefix goes.
    EXPECT_FALSE(manager().parseModelType("MV-OV-MV-D12345G0X", type));
}

TEST_F(CameraManagerTest, ModelWithoutPrefixGoesThroughTheSameGrammar) {
    uint32_t type = 0;
    EXPECT_TRUE(manager().parseModelType("D12345G0X", type));
    EXPECT_EQ(type, CameraTypeGige);
    EXPECT_TRUE(manager().parseModelType("MV-D12345G0X", type));
    EXPECT_EQ(type, CameraTypeGige);
    // Digit at 3, G at 8 and the end of the name behind it: not 0, so type 3.
    EXPECT_TRUE(manager().parseModelType("DAB12345G", type));
    EXPECT_EQ(type, CameraTypeAI);
    // One character short of nine.
    type = 0;
    EXPECT_FALSE(manager().parseModelType("DL12345G", type));
    EXPECT_FALSE(manager().parseModelType("X12345G0X", type));
    EXPECT_FALSE(manager().parseModelType("D12345H0X", type));
    EXPECT_EQ(type, 0u);
}

TEST_F(CameraManagerTest, DigitOnlyAtIndexFourOfTheRestIsRefused) {
    uint32_t type = 0;
    EXPECT_FALSE(manager().parseModelType("MV-DABC12345G0", type));
    EXPECT_FALSE(manager().parseModelType("DABC1234G0XY", type));
    EXPECT_EQ(type, 0u);
}

TEST_F(CameraManagerTest, WithoutPatternsTheGrammarDecides) {
    uint32_t type = 0;
    EXPECT_TRUE(manager().is3DCamera("MV-D12345G7X", "Anyone", type));
    EXPECT_EQ(type, CameraTypeAI);
    EXPECT_FALSE(manager().is3DCamera("LC-G100", "Anyone", type));
}

// ---- discovery ----

TEST_F(CameraManagerTest, Usb3DeviceIsAcceptedWhateverItsVendorAndModel) {
    auto sim = plugDevice("U1", 1, "Nobody", "nonsense");
    TVector<TSharedPtr<CMvCamera>> out;
    EXPECT_EQ(manager().getAll3DCameras(out), 1);
    ASSERT_EQ(keysOf(out), std::vector<std::string>{"sim:U1"});
    EXPECT_EQ(out[0]->cameraType, CameraTypeU3);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kGetAllFn, discoveryLine("nonsense", "Nobody", "U1", 1, 1)));
}

TEST_F(CameraManagerTest, DeviceOfAnotherInterfaceKindIsLoggedAndSkipped) {
    auto other = plugDevice("K7", 7, kLiteralVendor, "MV-D12345G0X");
    auto gige = plugDevice("K0", 0, "Anyone", "MV-D12345G0X");
    auto refused = plugDevice("K2", 0, "Anyone", "LC-G100");
    TVector<TSharedPtr<CMvCamera>> out;
    EXPECT_EQ(manager().getAll3DCameras(out), 1);
    EXPECT_EQ(keysOf(out), std::vector<std::string>{"sim:K0"});
    EXPECT_EQ(out[0]->cameraType, CameraTypeGige);
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kGetAllFn,
                        discoveryLine("MV-D12345G0X", kLiteralVendor, "K7", 0, 0)));
    EXPECT_TRUE(
        log.has(OVP_LOG_INFO, kChannel, kGetAllFn, discoveryLine("MV-D12345G0X", "Anyone", "K0", 1, 2)));
    EXPECT_TRUE(log.has(OVP_LOG_INFO, kChannel, kGetAllFn, discoveryLine("LC-G100", "Anyone", "K2", 0, 0)));
}

TEST_F(CameraManagerTest, LiteralVendorIsFoundByDiscoveryWithANonsenseModel) {
    auto sim = plugDevice("V1", 0, kLiteralVendor, "???");
    TVector<TSharedPtr<CMvCamera>> out;
    EXPECT_EQ(manager().getAll3DCameras(out), 1);
    ASSERT_EQ(keysOf(out), std::vector<std::string>{"sim:V1"});
    EXPECT_EQ(out[0]->cameraType, CameraTypeGige);
}

TEST_F(CameraManagerTest, UnconnectedDeviceIsRebuiltAndTheNewObjectReplacesTheOld) {
    auto sim = plugDevice("R1", 0, "Anyone", "MV-D12345G0X");
    TVector<TSharedPtr<CMvCamera>> first, second, third;
    ASSERT_EQ(manager().getAll3DCameras(first), 1);
    ASSERT_EQ(manager().getAll3DCameras(second), 1);
    EXPECT_NE(first[0], second[0]);
    // Once open, the object in the map is the one given out again.
    ASSERT_EQ(second[0]->open(nullptr), 0);
    ASSERT_EQ(manager().getAll3DCameras(third), 1);
    EXPECT_EQ(third[0], second[0]);
    EXPECT_NE(third[0], first[0]);
    EXPECT_EQ(second[0]->close(), 0);
}

TEST_F(CameraManagerTest, CountIncludesWhatOutHeldBefore) {
    auto first = plugDevice("N1", 1, "Anyone", "x");
    auto second = plugDevice("N2", 0, "Anyone", "MV-D12345G1X");
    TVector<TSharedPtr<CMvCamera>> out(2);
    EXPECT_EQ(manager().getAll3DCameras(out), 4);
    EXPECT_EQ(keysOf(out), (std::vector<std::string>{"(none)", "(none)", "sim:N1", "sim:N2"}));
    EXPECT_EQ(out[3]->cameraType, CameraTypeAI);
}

TEST_F(CameraManagerTest, FailedDiscoveryGivesWhatOutHeld) {
    auto sim = plugDevice("E1", 1, "Anyone", "x");
    CSimCamera::setDiscoveryFails(true);
    TVector<TSharedPtr<CMvCamera>> out(1);
    EXPECT_EQ(manager().getAll3DCameras(out), 1);
    CSimCamera::setDiscoveryFails(false);
    EXPECT_EQ(manager().getAll3DCameras(out), 2);
}

TEST_F(CameraManagerTest, CallsFromSeveralThreadsShareTheConnectedCameras) {
    auto gige = plugDevice("S1", 0, "Anyone", "MV-D12345G0X");
    auto usb = plugDevice("S2", 1, "Anyone", "x");
    TVector<TSharedPtr<CMvCamera>> opened;
    ASSERT_EQ(manager().getAll3DCameras(opened), 2);
    for (const auto& camera : opened)
        ASSERT_EQ(camera->open(nullptr), 0);

    constexpr int kThreads = 4;
    constexpr int kCalls = 10;
    std::vector<std::vector<TVector<TSharedPtr<CMvCamera>>>> results(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&results, t] {
            for (int call = 0; call < kCalls; ++call) {
                TVector<TSharedPtr<CMvCamera>> out;
                manager().getAll3DCameras(out);
                results[t].push_back(std::move(out));
            }
        });
    for (auto& thread : threads)
        thread.join();

    for (const auto& calls : results) {
        ASSERT_EQ(calls.size(), static_cast<size_t>(kCalls));
        for (const auto& out : calls)
            EXPECT_EQ(out, opened);
    }
    EXPECT_EQ(log.count(OVP_LOG_INFO, kChannel, kGetAllFn, discoveryLine("x", "Anyone", "S2", 1, 1)),
              1 + kThreads * kCalls);
    for (const auto& camera : opened)
        EXPECT_EQ(camera->close(), 0);
}

void countFrameStatus(const FrameStatusInfo*) {}

TEST_F(CameraManagerTest, CameraRebuiltAfterAReconnectionStartsWithoutTriggerOrFrameStatusCallback) {
    auto sim = plugDevice("Q1", 0, "Anyone", "MV-D12345G0X");
    TVector<TSharedPtr<CMvCamera>> before;
    ASSERT_EQ(manager().getAll3DCameras(before), 1);
    const auto old = before[0];
    ASSERT_EQ(old->open(nullptr), 0);
    ASSERT_EQ(old->openTrigger(false), 0);
    {
        std::lock_guard lock(old->frameStatusMutex);
        old->frameStatusCallback = countFrameStatus;
    }
    sim->unplug();
    sim->replug();
    EXPECT_EQ(old->close(), -1); // nothing left to disconnect

    TVector<TSharedPtr<CMvCamera>> after;
    ASSERT_EQ(manager().getAll3DCameras(after), 1);
    const auto rebuilt = after[0];
    EXPECT_NE(rebuilt, old);
    {
        std::lock_guard lock(rebuilt->frameStatusMutex);
        EXPECT_EQ(rebuilt->frameStatusCallback, nullptr);
    }
    ASSERT_EQ(rebuilt->open(nullptr), 0);
    ASSERT_EQ(rebuilt->startGrabbing(), 0);
    EXPECT_EQ(rebuilt->trigger(), -6);
    // Nothing installs the callback again.
    CFrame frame;
    EXPECT_EQ(rebuilt->getFrame(frame, 0), -5);
    {
        std::lock_guard lock(rebuilt->frameStatusMutex);
        EXPECT_EQ(rebuilt->frameStatusCallback, nullptr);
    }
    EXPECT_EQ(rebuilt->close(), 0);
}

// ---- with site patterns, each in a child process ----

class CameraManagerDeathTest : public LogCaptureTest {
protected:
    // Runs in the child: the site file in force, then `checks`; exits with kChecksPassed if no
    // expectation failed. The child's working directory is removed before it exits.
    [[noreturn]] void withSiteFile(const std::string& content, const std::function<void()>& checks) {
        // Never destroyed: the child ends with _Exit.
        const auto* workDir = new ScopedTempWorkDir();
        const fs::path root = workDir->path();
        workDir->writeFile("station/Quboid3DAdvCfg", content);
        fs::current_path(root / "station");
        checks();
        const bool passed = !::testing::Test::HasFailure();
        fs::current_path(root.parent_path());
        fs::remove_all(root);
        std::_Exit(passed ? kChecksPassed : 1);
    }
};

#define EXPECT_WITH_SITE_FILE(content, checks)                                                               \
    EXPECT_EXIT(withSiteFile(content, checks), ::testing::ExitedWithCode(kChecksPassed), "")

TEST_F(CameraManagerDeathTest, WithBothPatternsSetTheyAloneDecide) {
    EXPECT_WITH_SITE_FILE("ModelPatternGige=LC-G.*\nModelPatternAI=LC-AI.*\n", [] {
        uint32_t type = 0;
        EXPECT_FALSE(manager().is3DCamera("MV-D12345G0X", "Anyone", type));
        EXPECT_EQ(type, 0u);
        EXPECT_TRUE(manager().is3DCamera("LC-G100", "Anyone", type));
        EXPECT_EQ(type, CameraTypeGige);
        EXPECT_TRUE(manager().is3DCamera("LC-AI7", "Anyone", type));
        EXPECT_EQ(type, CameraTypeAI);
        // The whole model has to match.
        EXPECT_FALSE(manager().is3DCamera("XLC-G100", "Anyone", type));
        // The vendor literal still comes first.
        EXPECT_TRUE(manager().is3DCamera("MV-D12345G1X", kLiteralVendor, type));
        EXPECT_EQ(type, CameraTypeGige);

        auto grammarOnly = plugDevice("B1", 0, "Anyone", "MV-D12345G0X");
        auto byPattern = plugDevice("B2", 0, "Anyone", "LC-AI7");
        TVector<TSharedPtr<CMvCamera>> out;
        EXPECT_EQ(manager().getAll3DCameras(out), 1);
        EXPECT_EQ(keysOf(out), std::vector<std::string>{"sim:B2"});
    });
}

TEST_F(CameraManagerDeathTest, WithOnlyTheGigePatternTheGrammarDecides) {
    EXPECT_WITH_SITE_FILE("ModelPatternGige=.*\n", [] {
        ASSERT_EQ(AdvancedConfig::instance().ModelPatternGige, ".*");
        uint32_t type = 0;
        EXPECT_FALSE(manager().is3DCamera("LC-G100", "Anyone", type));
        EXPECT_TRUE(manager().is3DCamera("MV-D12345G1X", "Anyone", type));
        EXPECT_EQ(type, CameraTypeAI);
    });
}

TEST_F(CameraManagerDeathTest, BadPatternLeavesDiscoveryAsARegexErrorAndReleasesTheLock) {
    EXPECT_WITH_SITE_FILE("ModelPatternGige=MV-.*\nModelPatternAI=(\n", [] {
        uint32_t type = 0;
        // The literal vendor is decided before any pattern is compiled.
        EXPECT_TRUE(manager().is3DCamera("MV-D12345G0X", kLiteralVendor, type));
        EXPECT_THROW(manager().is3DCamera("MV-D12345G0X", "Anyone", type), std::regex_error);

        auto usb = plugDevice("X1", 1, "Anyone", "x");
        {
            auto gige = plugDevice("X2", 0, "Anyone", "MV-D12345G0X");
            TVector<TSharedPtr<CMvCamera>> out;
            EXPECT_THROW(manager().getAll3DCameras(out), std::regex_error);
        }
        // Another call goes through: the manager's mutex was released on the way out.
        TVector<TSharedPtr<CMvCamera>> out;
        EXPECT_EQ(manager().getAll3DCameras(out), 1);
    });
}

} // namespace
} // namespace quboid3d::test
