// Chooses the kernel for this machine.
#include "accel/packet/RayKernel.h"

#include "accel/KernelChoice.h"
#include "accel/packet/RayKernelList.h"

namespace rt {

namespace {

// Best first.
constexpr const RayKernel* KERNELS[] = {
#if defined(RT_VECTORS) && (defined(__x86_64__) || defined(__i386__))
    &g_kernelAvx512, &g_kernelAvx2, &g_kernelSse2,
#elif defined(RT_VECTORS) && defined(__aarch64__)
    &g_kernelNeon,
#endif
    &g_kernelGeneric};

}  // namespace

const RayKernel& bestKernel() {
    static const RayKernel& kernel = *chooseKernel(KERNELS, nullptr);
    return kernel;
}

const RayKernel* findKernel(const char* szName) {
    return chooseKernel(KERNELS, szName);
}

}  // namespace rt
