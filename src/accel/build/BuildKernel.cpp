// The kernel that runs on every machine, and the choice of the fastest one.
#include "accel/build/BuildKernel.h"

#include "accel/build/BuildKernelOf.h"
#include "base/simd/Float4.h"

namespace rt {

const BuildKernel g_buildKernel4 = BUILD_KERNEL<Float4>;

const BuildKernel& BuildKernel::fastest() {
#if defined(RT_VECTORS) && (defined(__x86_64__) || defined(__i386__))
    static const bool bAvx2 = __builtin_cpu_supports("avx2");
    if (bAvx2 && g_pBuildKernel8) return *g_pBuildKernel8;
#endif
    return g_buildKernel4;
}

}  // namespace rt
