// Discovery, the backend table, device identity, connection and the library's infrastructure
// types, on simulated cameras.
#include <gtest/gtest.h>

#include "CameraTestSupport.h"
#include "Orvia/GenICam/GigECamera.h"
#include "Orvia/Infra/String.h"
#include "Orvia/Infra/Vector.h"
#include "Orvia/Memory/SharedPtr.h"

namespace quboid3d::test {
namespace {

using Orvia::GenICam::AccessModeControl;
using Orvia::GenICam::IGigECamera;
using Orvia::Infra::CString;
using Orvia::Infra::TVector;
using Orvia::Sim::CSimCamera;
using Orvia::Sim::laserCameraDescription;
using Orvia::Sim::SimFaults;

TEST(CameraDiscoveryTest, ProcessThatPlugsNothingInSeesNoSimulatedCamera) {
    TVector<TSharedPtr<ICamera>> cameras;
    EXPECT_TRUE(CSystem::getInstance().discovery(cameras, 255));
    EXPECT_TRUE(cameras.empty()); // no real backend is built yet, and no simulated device is plugged in
}

TEST(CameraDiscoveryTest, PluggedCameraIsListedWithItsIdentity) {
    auto description = laserCameraDescription("A100", 0, "MV-D12345G0X");
    description.displayName = "left camera";
    auto sim = CSimCamera::plugIn(description);
    ASSERT_TRUE(sim);
    auto camera = discoverByKey("sim:A100");
    ASSERT_TRUE(camera);
    EXPECT_EQ(camera->getInterfaceKind(), 0);
    EXPECT_STREQ(camera->getVendorName(), "Quboid3D Simulated");
    EXPECT_STREQ(camera->getModelName(), "MV-D12345G0X");
    EXPECT_STREQ(camera->getDeviceIdentity(), "A100");
    EXPECT_STREQ(camera->getKey(), "sim:A100");
    EXPECT_STREQ(camera->getDisplayName(), "left camera");
    EXPECT_FALSE(camera->isConnected());
}

// Laser line camera models name their family as D, a digit within the next three characters, four
// more characters, then G and 0 for a GigE camera; the default simulated camera follows that.
TEST(CameraDiscoveryTest, DefaultLaserCameraModelFollowsTheLaserModelNaming) {
    const std::string model = laserCameraDescription("M1").model;
    ASSERT_TRUE(model.starts_with("MV-D"));
    const std::string rest = model.substr(3);
    const size_t digit = rest.find_first_of("0123456789");
    ASSERT_GE(digit, 1u);
    ASSERT_LE(digit, 3u);
    ASSERT_GT(rest.size(), digit + 6);
    EXPECT_EQ(rest[digit + 5], 'G');
    EXPECT_EQ(rest[digit + 6], '0');
    EXPECT_EQ(model, "MV-DL2048-G0X");
}

TEST(CameraDiscoveryTest, DiscoveryAppendsAndGivesTheSameObjectForTheSameDevice) {
    auto sim = CSimCamera::plugIn(laserCameraDescription("A200"));
    TVector<TSharedPtr<ICamera>> cameras;
    ASSERT_TRUE(CSystem::getInstance().discovery(cameras));
    ASSERT_EQ(cameras.size(), 1u);
    ASSERT_TRUE(CSystem::getInstance().discovery(cameras));
    ASSERT_EQ(cameras.size(), 2u);
    EXPECT_EQ(cameras[0], cameras[1]);
}

TEST(CameraDiscoveryTest, InterfaceSelectorPicksKinds) {
    auto gige = CSimCamera::plugIn(laserCameraDescription("K0", 0));
    auto usb = CSimCamera::plugIn(laserCameraDescription("K1", 1));
    auto other = CSimCamera::plugIn(laserCameraDescription("K7", 7));
    TVector<TSharedPtr<ICamera>> all;
    CSystem::getInstance().discovery(all, 255);
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[2]->getInterfaceKind(), 7);
    TVector<TSharedPtr<ICamera>> usbOnly;
    CSystem::getInstance().discovery(usbOnly, 1u << 1);
    ASSERT_EQ(usbOnly.size(), 1u);
    EXPECT_STREQ(usbOnly[0]->getKey(), "sim:K1");
}

TEST(CameraDiscoveryTest, DisabledBackendIsNotAskedAndItsDevicesKeepWorking) {
    auto& system = CSystem::getInstance();
    ASSERT_GE(system.getBackendCount(), 1u);
    EXPECT_EQ(system.getBackendName(system.getBackendCount() - 1), CString("sim"));
    EXPECT_EQ(system.getBackendName(99), CString(""));
    EXPECT_FALSE(system.setBackendEnabled("no-such-backend", false));

    auto plugged = plugLaserCamera("B1", false);
    ASSERT_TRUE(plugged.camera);
    ASSERT_TRUE(system.setBackendEnabled("sim", false));
    EXPECT_FALSE(system.isBackendEnabled("sim"));
    EXPECT_FALSE(discoverByKey("sim:B1"));
    EXPECT_TRUE(plugged.camera->connect(AccessModeControl));
    ASSERT_TRUE(system.setBackendEnabled("sim", true));
    EXPECT_EQ(discoverByKey("sim:B1"), plugged.camera);
}

TEST(CameraDiscoveryTest, FailedDiscoveryReportsFalseAndListsNothing) {
    auto sim = CSimCamera::plugIn(laserCameraDescription("F1"));
    CSimCamera::setDiscoveryFails(true);
    TVector<TSharedPtr<ICamera>> cameras;
    EXPECT_FALSE(CSystem::getInstance().discovery(cameras));
    EXPECT_TRUE(cameras.empty());
    CSimCamera::setDiscoveryFails(false);
    EXPECT_TRUE(CSystem::getInstance().discovery(cameras));
    EXPECT_EQ(cameras.size(), 1u);
}

TEST(CameraDiscoveryTest, UnplugLeavesDiscoveryAndReplugReturnsTheDevice) {
    auto plugged = plugLaserCamera("U1");
    ASSERT_TRUE(plugged.camera->isConnected());
    plugged.sim->unplug();
    EXPECT_FALSE(plugged.camera->isConnected());
    EXPECT_FALSE(plugged.camera->connect(AccessModeControl));
    EXPECT_FALSE(discoverByKey("sim:U1"));
    plugged.sim->replug();
    auto again = discoverByKey("sim:U1");
    EXPECT_EQ(again, plugged.camera);
    EXPECT_FALSE(again->isConnected());
    EXPECT_TRUE(again->connect(AccessModeControl));
}

TEST(CameraDiscoveryTest, RemovedDeviceIsLostToItsHoldersAndAReplacementIsANewObject) {
    auto plugged = plugLaserCamera("R1");
    plugged.sim.reset();
    EXPECT_FALSE(plugged.camera->isConnected());
    EXPECT_FALSE(discoverByKey("sim:R1"));
    auto second = plugLaserCamera("R1", false);
    ASSERT_TRUE(second.camera);
    EXPECT_NE(second.camera, plugged.camera);
}

TEST(CameraDiscoveryTest, SerialAlreadyPluggedInIsRefused) {
    auto first = CSimCamera::plugIn(laserCameraDescription("D1"));
    EXPECT_TRUE(first);
    EXPECT_FALSE(CSimCamera::plugIn(laserCameraDescription("D1")));
}

TEST(CameraDiscoveryTest, ConnectAndDisconnectFollowTheDevice) {
    auto plugged = plugLaserCamera("C1", false);
    auto& camera = *plugged.camera;
    EXPECT_FALSE(camera.connect(0)); // not an access mode
    EXPECT_TRUE(camera.connect(AccessModeControl));
    EXPECT_TRUE(camera.isConnected());
    EXPECT_FALSE(camera.connect(AccessModeControl)); // already connected
    EXPECT_TRUE(camera.disconnect());
    EXPECT_FALSE(camera.isConnected());
    EXPECT_FALSE(camera.disconnect());
}

TEST(CameraDiscoveryTest, InjectedConnectAndDisconnectFailures) {
    auto plugged = plugLaserCamera("C2", false);
    SimFaults faults;
    faults.failConnect = true;
    plugged.sim->setFaults(faults);
    EXPECT_FALSE(plugged.camera->connect(AccessModeControl));
    EXPECT_FALSE(plugged.camera->isConnected());
    faults = SimFaults{};
    faults.failDisconnect = true;
    plugged.sim->setFaults(faults);
    EXPECT_TRUE(plugged.camera->connect(AccessModeControl));
    EXPECT_FALSE(plugged.camera->disconnect());
    EXPECT_TRUE(plugged.camera->isConnected());
}

TEST(CameraDiscoveryTest, GigEViewExistsOnlyForGigEDevices) {
    auto gige = plugLaserCamera("G1", false);
    auto view = IGigECamera::getInstance(gige.camera);
    ASSERT_TRUE(view);
    EXPECT_EQ(view->identityText(), CString("127.0.0.2 / 02:00:00:00:00:02 (G1)"));

    auto usbDescription = laserCameraDescription("G2", 1);
    auto usb = plugLaserCamera("G2", false, &usbDescription);
    EXPECT_FALSE(IGigECamera::getInstance(usb.camera));
    EXPECT_FALSE(IGigECamera::getInstance(nullptr));
}

// An ICamera that this library did not make.
class CForeignCamera : public ICamera {
public:
    int32_t getInterfaceKind() const override { return 0; }
    const char* getVendorName() const override { return "x"; }
    const char* getModelName() const override { return "x"; }
    const char* getDeviceIdentity() const override { return "x"; }
    const char* getKey() const override { return "x"; }
    const char* getDisplayName() const override { return "x"; }
    bool isConnected() const override { return true; }
    bool connect(uint32_t) override { return true; }
    bool disconnect() override { return true; }
    int32_t readPrivateArea(void*, uint64_t) override { return 0; }
    int32_t writePrivateArea(const void*, uint64_t) override { return 0; }
};

TEST(CameraDiscoveryTest, FactoriesGiveEmptyForEmptyOrForeignCameras) {
    auto& system = CSystem::getInstance();
    TSharedPtr<ICamera> foreign = std::make_shared<CForeignCamera>();
    for (const auto& camera : {TSharedPtr<ICamera>(), foreign}) {
        EXPECT_FALSE(system.createAcquisitionControl(camera));
        EXPECT_FALSE(system.createImageFormatControl(camera));
        EXPECT_FALSE(system.createAnalogControl(camera));
        EXPECT_FALSE(system.createISPControl(camera));
        EXPECT_FALSE(system.createUserSetControl(camera));
        EXPECT_FALSE(system.createDeviceControl(camera));
        EXPECT_FALSE(system.createStreamSource(camera, 0));
        EXPECT_FALSE(system.createEventSubscribe(camera));
        EXPECT_FALSE(IGigECamera::getInstance(camera));
    }
}

TEST(CameraDiscoveryTest, InjectedControlAndStreamCreationFailures) {
    auto plugged = plugLaserCamera("CF1");
    auto& system = CSystem::getInstance();
    EXPECT_TRUE(system.createAcquisitionControl(plugged.camera));
    EXPECT_TRUE(system.createStreamSource(plugged.camera, 0));
    EXPECT_FALSE(system.createStreamSource(plugged.camera, 1)); // one channel
    SimFaults faults;
    faults.failControlCreate = true;
    faults.failStreamCreate = true;
    plugged.sim->setFaults(faults);
    EXPECT_FALSE(system.createAcquisitionControl(plugged.camera));
    EXPECT_FALSE(system.createImageFormatControl(plugged.camera));
    EXPECT_FALSE(system.createAnalogControl(plugged.camera));
    EXPECT_FALSE(system.createISPControl(plugged.camera));
    EXPECT_FALSE(system.createUserSetControl(plugged.camera));
    EXPECT_FALSE(system.createDeviceControl(plugged.camera));
    EXPECT_FALSE(system.createStreamSource(plugged.camera, 0));
}

TEST(CameraInfraTest, StringHoldsTextAndTreatsNullAsEmpty) {
    CString empty(nullptr);
    EXPECT_TRUE(empty.empty());
    EXPECT_STREQ(empty.c_str(), "");
    CString name("PipelineResultTsHigh:7");
    EXPECT_EQ(name.size(), 22u);
    EXPECT_TRUE(name == "PipelineResultTsHigh:7");
    EXPECT_FALSE(name == nullptr);
    name += CString("8");
    EXPECT_EQ(name.str(), "PipelineResultTsHigh:78");
    EXPECT_LT(CString("a"), CString("b"));
    TVector<CString> texts{CString("x"), CString("y")};
    EXPECT_EQ(texts[1], CString("y"));
}

struct CSelfAware : Orvia::Memory::TEnableSharedFromThis<CSelfAware> {};

TEST(CameraInfraTest, SharedPointerSetsTheWeakSelfReference) {
    auto object = std::make_shared<CSelfAware>();
    Orvia::Memory::TSharedPtr<CSelfAware> again = object->shared_from_this();
    EXPECT_EQ(again, object);
    EXPECT_EQ(object.use_count(), 2);
    Orvia::Memory::TWeakPtr<CSelfAware> weak = object;
    again.reset();
    object.reset();
    EXPECT_TRUE(weak.expired());
}

} // namespace
} // namespace quboid3d::test
