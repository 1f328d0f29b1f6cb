// What the processor has for kernels.
#include "accel/KernelChoice.h"

namespace rt {

bool machineRuns([[maybe_unused]] const char* szKernels) {
#if defined(RT_VECTORS) && (defined(__x86_64__) || defined(__i386__))
    // Some virtual machines have AVX-512, but hide what it is built on.
    const bool bAvx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    if (!strcmp(szKernels, "avx512")) return bAvx2 && __builtin_cpu_supports("avx512f");
    if (!strcmp(szKernels, "avx2")) return bAvx2;
#endif
    return true;
}

}  // namespace rt
