// The kernel for 64-bit ARM, four rays to an instruction.
#include "accel/watertight/WatertightKernelList.h"

#if defined(RT_VECTORS) && defined(__aarch64__)

#include "accel/watertight/SingleWalk.h"
#include "accel/watertight/WatertightKernelOf.h"
#include "base/simd/FloatsNeon.h"

namespace rt {

const WatertightSingles g_watertightSinglesNeon = SingleQueries<Floats<NeonSet>, Floats<NeonSet>>::make();
const WatertightKernel g_watertightNeon =
    WatertightKernelOf<Floats<NeonSet>, Floats<NeonSet>>::make("neon", &g_watertightSinglesNeon);

}  // namespace rt
#endif
