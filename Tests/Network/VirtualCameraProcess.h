// quboid3d-virtual-camera as a child process of a test: started with its arguments, ready
// once it has said so on its standard output, stopped by SIGTERM (or killed, to stand for a
// camera that vanishes). Every wait is bounded. POSIX only, as the tool is.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace quboid3d::test {

class CVirtualCameraProcess {
public:
    CVirtualCameraProcess() = default;
    ~CVirtualCameraProcess();
    CVirtualCameraProcess(const CVirtualCameraProcess&) = delete;
    CVirtualCameraProcess& operator=(const CVirtualCameraProcess&) = delete;

    // Starts the tool and waits up to `limit` for its "serving" line; false if it did not come.
    bool start(const std::vector<std::string>& arguments, std::chrono::milliseconds limit);
    // SIGTERM and reaping: the tool says goodbye to no client, as a switched-off camera.
    void stop();
    // SIGKILL and reaping: the camera vanishes mid-sentence.
    void kill();
    bool running() const { return pid_ > 0; }
    const std::string& banner() const { return banner_; }

private:
    void signalAndReap(int signal);

    pid_t pid_ = -1;
    int output_ = -1;
    std::string banner_;
};

// The tool built beside the tests.
std::string virtualCameraPath();

} // namespace quboid3d::test
