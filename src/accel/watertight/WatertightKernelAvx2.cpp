// The kernel for AVX2, eight rays to an instruction.
#include "accel/watertight/WatertightKernelList.h"

#if defined(RT_VECTORS) && defined(__AVX2__)

#include "accel/watertight/SingleWalk.h"
#include "accel/watertight/WatertightKernelOf.h"
#include "base/simd/FloatsAvx2.h"

namespace rt {

const WatertightSingles g_watertightSinglesAvx2 = SingleQueries<Floats<Avx2Set>, Floats<Sse2Set>>::make();
const WatertightKernel g_watertightAvx2 =
    WatertightKernelOf<Floats<Avx2Set>, Floats<Avx2Set>>::make("avx2", &g_watertightSinglesAvx2);

}  // namespace rt
#endif
