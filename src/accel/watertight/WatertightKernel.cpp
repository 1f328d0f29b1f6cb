// Chooses the kernel for this machine.
#include "accel/watertight/WatertightKernel.h"

#include "accel/KernelChoice.h"
#include "accel/watertight/WatertightKernelList.h"

namespace rt {

namespace {

// Best first.
constexpr const WatertightKernel* KERNELS[] = {
#if defined(RT_VECTORS) && (defined(__x86_64__) || defined(__i386__))
    &g_watertightAvx512, &g_watertightAvx2, &g_watertightSse2,
#elif defined(RT_VECTORS) && defined(__aarch64__)
    &g_watertightNeon,
#endif
    &g_watertightGeneric};

}  // namespace

const WatertightKernel& bestWatertightKernel() {
    static const WatertightKernel& kernel = *chooseKernel(KERNELS, nullptr);
    return kernel;
}

const WatertightKernel* findWatertightKernel(const char* szName) {
    return chooseKernel(KERNELS, szName);
}

}  // namespace rt
