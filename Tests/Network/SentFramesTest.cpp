#include "Network/SentFramesTest.h"

#include <chrono>

#include "Orvia/GenICam/Node.h"
#include "Orvia/GenICam/System.h"

namespace quboid3d::test {
namespace {

using namespace Orvia::GenICam;
using Orvia::Infra::CString;
using Orvia::Infra::TVector;
using Orvia::Memory::TSharedPtr;

constexpr std::chrono::milliseconds kStartLimit{20000};
constexpr uint32_t kAccessControl = 3;

TSharedPtr<ICamera> findVirtualCamera() {
    for (int attempt = 0; attempt < 10; ++attempt) {
        TVector<TSharedPtr<ICamera>> cameras;
        CSystem::getInstance().discovery(cameras);
        if (!cameras.empty()) {
            return cameras.front();
        }
    }
    return nullptr;
}

} // namespace

void CSentFramesTest::bringUp(const std::vector<std::string>& serverArguments, int32_t bufferCount) {
    ASSERT_TRUE(server.start(serverArguments, kStartLimit)) << server.banner();
    camera = findVirtualCamera();
    ASSERT_NE(camera, nullptr);
    ASSERT_TRUE(camera->connect(kAccessControl));
    // The server sends nothing until a software trigger, which never comes.
    ASSERT_TRUE(CEnumNode(camera, "TriggerSource").setValueBySymbol(CString("Software")));
    ASSERT_TRUE(CEnumNode(camera, "TriggerMode").setValueBySymbol(CString("On")));
    stream = CSystem::getInstance().createStreamSource(camera, 0);
    ASSERT_NE(stream, nullptr);
    if (bufferCount > 0) {
        ASSERT_TRUE(stream->setBufferCount(bufferCount));
    }
    ASSERT_TRUE(stream->startGrabbing(0, 0));
    int64_t port = 0;
    ASSERT_TRUE(CIntNode(camera, "GevSCPHostPort").getValue(port));
    ASSERT_GT(port, 0);
    streamPort = static_cast<uint16_t>(port);
}

void CSentFramesTest::TearDown() {
    if (stream) {
        stream->stopGrabbing();
    }
    stream = nullptr;
    if (camera && camera->isConnected()) {
        camera->disconnect();
    }
    server.stop();
}

} // namespace quboid3d::test
