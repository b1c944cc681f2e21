#include "StreamSocket.h"

#include <cstdlib>

#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace Orvia::Aravis::Detail {

namespace {

bool isUdpSocketOnPort(int fd, uint16_t localPort) {
    sockaddr_storage address{};
    socklen_t length = sizeof(address);
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return false;
    }
    uint16_t port = 0;
    if (address.ss_family == AF_INET) {
        port = ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
    } else if (address.ss_family == AF_INET6) {
        port = ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
    } else {
        return false;
    }
    int type = 0;
    socklen_t typeLength = sizeof(type);
    return port == localPort && getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &typeLength) == 0 &&
           type == SOCK_DGRAM;
}

} // namespace

bool setStreamReceiveBuffer(uint16_t localPort, int bytes) {
    // The process's open files, as the kernel lists them; the stream's socket is one of them.
    DIR* files = opendir("/proc/self/fd");
    if (!files) {
        return false;
    }
    bool set = false;
    while (const dirent* entry = readdir(files)) {
        char* end = nullptr;
        const long fd = std::strtol(entry->d_name, &end, 10);
        if (end == entry->d_name || *end != '\0' || fd == dirfd(files)) {
            continue;
        }
        if (isUdpSocketOnPort(static_cast<int>(fd), localPort)) {
            set = setsockopt(static_cast<int>(fd), SOL_SOCKET, SO_RCVBUF, &bytes, sizeof(bytes)) == 0;
            break;
        }
    }
    closedir(files);
    return set;
}

} // namespace Orvia::Aravis::Detail
