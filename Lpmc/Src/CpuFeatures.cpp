#include "CpuFeatures.h"

#if defined(_MSC_VER) && (defined(_M_X64) || defined(_M_IX86))
#include <intrin.h>
#endif

namespace lpmc {

bool cpuHasAvx2() {
#if (defined(__GNUC__) || defined(__clang__)) && (defined(__x86_64__) || defined(__i386__))
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
#elif defined(_MSC_VER) && (defined(_M_X64) || defined(_M_IX86))
    static const bool has = [] {
        int info[4];
        __cpuid(info, 0);
        if (info[0] < 7) {
            return false;
        }
        __cpuidex(info, 7, 0);
        const bool avx2 = (info[1] & (1 << 5)) != 0;
        __cpuid(info, 1);
        const bool osxsave = (info[2] & (1 << 27)) != 0;
        return avx2 && osxsave && (_xgetbv(0) & 6) == 6;
    }();
    return has;
#else
    return false;
#endif
}

} // namespace lpmc
