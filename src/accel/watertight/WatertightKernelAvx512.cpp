// The kernel for AVX-512, sixteen rays to an instruction.
#include "accel/watertight/WatertightKernelList.h"

#if defined(RT_VECTORS) && defined(__AVX512F__)

#include "accel/watertight/WatertightKernelOf.h"
#include "base/simd/FloatsAvx2.h"
#include "base/simd/FloatsAvx512.h"

namespace rt {

const WatertightKernel g_watertightAvx512 =
    WatertightKernelOf<Floats<Avx512Set>, Floats<Avx2Set>>::make("avx512", &g_watertightSinglesAvx2);

}  // namespace rt
#endif
