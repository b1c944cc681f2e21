#include "StreamThreadPriority.h"

#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Orvia::Aravis::Detail {

namespace {

// Low among real-time priorities: above every ordinary thread, below the kernel's own.
constexpr int kRealTimePriority = 10;
constexpr int kNiceLevel = -10;

} // namespace

bool raiseStreamThreadPriority() {
    sched_param parameters{};
    parameters.sched_priority = kRealTimePriority;
    // Process id 0 is the calling thread; threads it starts come back to the ordinary policy.
    if (sched_setscheduler(0, SCHED_RR | SCHED_RESET_ON_FORK, &parameters) == 0) {
        return true;
    }
    const auto thread = static_cast<id_t>(syscall(SYS_gettid));
    return setpriority(PRIO_PROCESS, thread, kNiceLevel) == 0;
}

} // namespace Orvia::Aravis::Detail
