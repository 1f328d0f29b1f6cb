#pragma once

#include <cstddef>
#include <cstring>

namespace rt {

/// Whether this machine can run kernels of the given name: "avx512", "avx2", "sse2", "neon" or "generic".
bool machineRuns(const char* szKernels);

/// The first kernel of a list, the best one first, that this machine can run and whose name is szName, or null for any
/// name. Null when there is none.
template <typename Kernel, size_t N>
const Kernel* chooseKernel(const Kernel* const (&kernels)[N], const char* szName) {
    for (const Kernel* p : kernels) {
        if ((!szName || !strcmp(p->szName, szName)) && machineRuns(p->szName)) return p;
    }
    return nullptr;
}

}  // namespace rt
