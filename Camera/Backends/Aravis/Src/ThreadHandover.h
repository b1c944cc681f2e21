// Aravis and GLib pass objects between their threads and ours through locks and thread starts
// that ThreadSanitizer cannot see: both libraries run uninstrumented and the suppressions leave
// out what they call. Where this backend gives an object to an Aravis thread or takes one back,
// these two calls mark the hand-over so that the accesses on either side stay ordered for the
// tool. They compile to nothing in any other build.
#pragma once

#if defined(__SANITIZE_THREAD__)
#define ORVIA_ARAVIS_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ORVIA_ARAVIS_TSAN 1
#endif
#endif

#if defined(ORVIA_ARAVIS_TSAN)
#include <sanitizer/tsan_interface.h>
#endif

namespace Orvia::Aravis::Detail {

// What this thread wrote to `object` (and before) is seen by the next thread that takes it over.
inline void handOver(const void* object) {
#if defined(ORVIA_ARAVIS_TSAN)
    __tsan_release(const_cast<void*>(object));
#else
    (void)object;
#endif
}

// Sees what the threads that handed `object` over wrote before they did.
inline void takeOver(const void* object) {
#if defined(ORVIA_ARAVIS_TSAN)
    __tsan_acquire(const_cast<void*>(object));
#else
    (void)object;
#endif
}

} // namespace Orvia::Aravis::Detail
