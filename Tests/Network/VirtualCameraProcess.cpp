#include "VirtualCameraProcess.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

extern char** environ;

namespace quboid3d::test {

std::string virtualCameraPath() {
    return QUBOID3D_VIRTUAL_CAMERA_PATH;
}

CVirtualCameraProcess::~CVirtualCameraProcess() {
    stop();
}

bool CVirtualCameraProcess::start(const std::vector<std::string>& arguments,
                                  std::chrono::milliseconds limit) {
    std::array<int, 2> pipeEnds{};
    if (pipe(pipeEnds.data()) != 0) {
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
    std::vector<std::string> words{virtualCameraPath()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (auto& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    const int spawned = posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeEnds[1]);
    output_ = pipeEnds[0];
    if (spawned != 0) {
        pid_ = -1;
        return false;
    }
    // The banner is one line; read it within the limit, byte by byte as it comes.
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (banner_.find('\n') == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd ready{output_, POLLIN, 0};
        char byte = 0;
        if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) != 1 ||
            read(output_, &byte, 1) != 1) {
            stop();
            return false;
        }
        banner_ += byte;
    }
    return banner_.rfind("serving", 0) == 0;
}

void CVirtualCameraProcess::signalAndReap(int signal) {
    if (pid_ > 0) {
        ::kill(pid_, signal);
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
    }
    if (output_ >= 0) {
        close(output_);
        output_ = -1;
    }
}

void CVirtualCameraProcess::stop() {
    signalAndReap(SIGTERM);
}

void CVirtualCameraProcess::kill() {
    signalAndReap(SIGKILL);
}

} // namespace quboid3d::test
