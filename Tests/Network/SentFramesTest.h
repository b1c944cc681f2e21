// A fixture for tests that send GVSP frames themselves: the virtual camera on 127.0.0.1, waiting
// for a software trigger that never comes, is connected and its stream grabs, so the frames the
// test sends to `streamPort` are all the stream gets.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Network/VirtualCameraProcess.h"
#include "Orvia/GenICam/Camera.h"
#include "Orvia/GenICam/StreamSource.h"
#include "Orvia/Memory/SharedPtr.h"

namespace quboid3d::test {

class CSentFramesTest : public ::testing::Test {
protected:
    // Starts the server with `serverArguments` and brings up the camera and its stream, with
    // `bufferCount` buffers (0: the stream's default).
    void bringUp(const std::vector<std::string>& serverArguments, int32_t bufferCount = 0);
    void TearDown() override;

    CVirtualCameraProcess server;
    Orvia::Memory::TSharedPtr<Orvia::GenICam::ICamera> camera;
    Orvia::Memory::TSharedPtr<Orvia::GenICam::IStreamSource> stream;
    uint16_t streamPort = 0;
};

} // namespace quboid3d::test
