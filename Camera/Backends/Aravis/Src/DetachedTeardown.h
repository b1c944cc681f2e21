// Releases that must not hold up their caller. Aravis blocks for seconds while it lets go of a
// device that stopped answering (stream and camera teardown up to about 12.5 s), so the objects
// of a lost device are released on a thread of their own that nobody joins.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace Orvia::Aravis::Detail {

void runDetached(std::function<void()> work);
// Teardowns started and not yet finished.
uint32_t detachedTeardownsRunning();
// Waits until every detached teardown has finished or `limit` has passed; true if none is left.
bool waitForDetachedTeardowns(std::chrono::milliseconds limit);

} // namespace Orvia::Aravis::Detail
