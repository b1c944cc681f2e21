// The receive buffer of a GigE Vision stream's socket, set before the first frame comes. Aravis
// sets the size it is given only when a frame begins, and by then a frame sent in one burst (as
// over loopback, or from a camera faster than the host's link) has overflowed the kernel's
// default buffer of about 200 KiB: the first frame of every stream came incomplete.
#pragma once

#include <cstdint>

namespace Orvia::Aravis::Detail {

// Finds this process's UDP socket bound to `localPort` and asks the kernel for `bytes` of
// receive buffer on it (the kernel caps it at net.core.rmem_max). True if the socket was found
// and took the setting.
bool setStreamReceiveBuffer(uint16_t localPort, int bytes);

} // namespace Orvia::Aravis::Detail
