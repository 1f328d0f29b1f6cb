// The kernel that runs on every machine, and the choice of the fastest one.
#include "accel/build/BuildKernel.h"

#include "accel/KernelChoice.h"
#include "accel/build/BuildKernelOf.h"
#include "base/simd/Float4.h"

namespace rt {

const BuildKernel g_buildKernel4 = BUILD_KERNEL<Float4>;

const BuildKernel& BuildKernel::fastest() {
    static const bool bWide = g_pBuildKernel8 && machineRuns("avx2");
    if (bWide) return *g_pBuildKernel8;
    return g_buildKernel4;
}

}  // namespace rt
