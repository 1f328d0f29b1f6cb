// The kernel for AVX2, eight rays per instruction.
#include "accel/packet/RayKernelList.h"

#if defined(RT_VECTORS) && defined(__AVX2__)

#include "accel/packet/RayPacketQuery.h"
#include "base/simd/FloatsAvx2.h"

namespace rt {

const RayKernel g_kernelAvx2{"avx2", nearestFaces<Floats<Avx2Set>, Floats<Sse2Set>>,
                             obstacles<Floats<Avx2Set>, Floats<Sse2Set>>};

}  // namespace rt
#endif
