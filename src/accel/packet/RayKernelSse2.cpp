// The kernel for SSE2, four rays per instruction.
#include "accel/packet/RayKernelList.h"

#if defined(RT_VECTORS) && defined(__SSE2__)

#include "accel/packet/RayPacketQuery.h"
#include "base/simd/FloatsSse2.h"

namespace rt {

const RayKernel g_kernelSse2{"sse2", nearestFaces<Floats<Sse2Set>, Floats<Sse2Set>>,
                             obstacles<Floats<Sse2Set>, Floats<Sse2Set>>};

}  // namespace rt
#endif
