// The priority of Aravis's stream thread, which must drain the socket before the kernel's
// buffer overflows: at 200 frames of 1 MiB a second, 4 MiB last 20 ms.
#pragma once

namespace Orvia::Aravis::Detail {

// Raises the calling thread to a low real-time priority, or failing that (a process without the
// right) to a higher nice level; leaves it as it is when neither is allowed. True if raised.
bool raiseStreamThreadPriority();

} // namespace Orvia::Aravis::Detail
