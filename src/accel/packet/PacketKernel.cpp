#include "accel/packet/PacketKernel.h"

#include <cstring>

#include "accel/packet/PacketKernelList.h"

namespace {

struct Choice {
    const PacketKernel* pKernel;
    bool bUsable;
};

// Best first.
template <typename Visit>
const PacketKernel* firstUsable(const Visit& visit) {
#if defined(RT_VECTORS) && (defined(__x86_64__) || defined(__i386__))
    const bool bAvx512 = __builtin_cpu_supports("avx512f"), bAvx2 = __builtin_cpu_supports("avx2");
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

const PacketKernel& bestKernel() {
    static const PacketKernel& kernel = *firstUsable([](const PacketKernel&) { return true; });
    return kernel;
}

const PacketKernel* findKernel(const char* szName) {
    return firstUsable([szName](const PacketKernel& kernel) { return !strcmp(kernel.szName, szName); });
}
