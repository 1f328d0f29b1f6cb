// Chooses the kernel for this machine.
#include "accel/watertight/WatertightKernel.h"

#include <cstring>

#include "accel/watertight/WatertightKernelList.h"

namespace rt {

namespace {

struct Choice {
    const WatertightKernel* pKernel;
    bool bUsable;
};

// Best first.
template <typename Visit>
const WatertightKernel* firstUsable(const Visit& visit) {
#if defined(RT_VECTORS) && (defined(__x86_64__) || defined(__i386__))
    const bool bAvx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    const bool bAvx512 = bAvx2 && __builtin_cpu_supports("avx512f");
    const Choice choices[] = {{&g_watertightAvx512, bAvx512},
                              {&g_watertightAvx2, bAvx2},
                              {&g_watertightSse2, true},
                              {&g_watertightGeneric, true}};
#else
    const Choice choices[] = {{&g_watertightGeneric, true}};
#endif
    for (const Choice& choice : choices) {
        if (choice.bUsable && visit(*choice.pKernel)) return choice.pKernel;
    }
    return nullptr;
}

}  // namespace

const WatertightKernel& bestWatertightKernel() {
    static const WatertightKernel& kernel = *firstUsable([](const WatertightKernel&) { return true; });
    return kernel;
}

const WatertightKernel* findWatertightKernel(const char* szName) {
    return firstUsable([szName](const WatertightKernel& kernel) { return !strcmp(kernel.szName, szName); });
}

}  // namespace rt
