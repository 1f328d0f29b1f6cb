// Chooses the kernel for this machine.
#include "accel/packet/RayKernel.h"

#include <cstring>

#include "accel/packet/RayKernelList.h"

namespace rt {

namespace {

struct Choice {
    const RayKernel* pKernel;
    bool bUsable;
};

// Best first.
template <typename Visit>
const RayKernel* firstUsable(const Visit& visit) {
#if defined(RT_VECTORS) && (defined(__x86_64__) || defined(__i386__))
    const bool bAvx512 = __builtin_cpu_supports("avx512f");
    const bool bAvx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    const Choice choices[] = {
        {&g_kernelAvx512, bAvx512}, {&g_kernelAvx2, bAvx2}, {&g_kernelSse2, true}, {&g_kernelGeneric, true}};
#else
    const Choice choices[] = {{&g_kernelGeneric, true}};
#endif
    for (const Choice& choice : choices) {
        if (choice.bUsable && visit(*choice.pKernel)) return choice.pKernel;
    }
    return nullptr;
}

}  // namespace

const RayKernel& bestKernel() {
    static const RayKernel& kernel = *firstUsable([](const RayKernel&) { return true; });
    return kernel;
}

const RayKernel* findKernel(const char* szName) {
    return firstUsable([szName](const RayKernel& kernel) { return !strcmp(kernel.szName, szName); });
}

}  // namespace rt
