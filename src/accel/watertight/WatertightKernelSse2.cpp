// The kernel for SSE2, four rays to an instruction.
#include "accel/watertight/WatertightKernelList.h"

#if defined(RT_VECTORS) && defined(__SSE2__)

#include "accel/watertight/SingleWalk.h"
#include "accel/watertight/WatertightKernelOf.h"
#include "base/simd/FloatsSse2.h"

namespace rt {

const WatertightSingles g_watertightSinglesSse2 = SingleQueries<Floats<Sse2Set>, Floats<Sse2Set>>::make();
const WatertightKernel g_watertightSse2 =
    WatertightKernelOf<Floats<Sse2Set>, Floats<Sse2Set>>::make("sse2", &g_watertightSinglesSse2);

}  // namespace rt
#endif
