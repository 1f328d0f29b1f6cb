// The kernel for any processor, four rays at a time.
#include "accel/watertight/SingleWalk.h"
#include "accel/watertight/WatertightKernelList.h"
#include "accel/watertight/WatertightKernelOf.h"
#include "base/simd/Floats.h"

namespace rt {

const WatertightSingles g_watertightSinglesGeneric = SingleQueries<Floats<AnySet<4>>, Floats<AnySet<4>>>::make();
const WatertightKernel g_watertightGeneric =
    WatertightKernelOf<Floats<AnySet<4>>, Floats<AnySet<4>>>::make("generic", &g_watertightSinglesGeneric);

}  // namespace rt
