// The kernel for AVX-512, sixteen rays per instruction.
#include "accel/packet/RayKernelList.h"

#if defined(RT_VECTORS) && defined(__AVX512F__)

#include "accel/packet/RayPacketQuery.h"
#include "base/simd/FloatsAvx512.h"

namespace rt {

const RayKernel g_kernelAvx512{"avx512", nearestFaces<Floats<Avx512Set>, Floats<Sse2Set>>,
                               obstacles<Floats<Avx512Set>, Floats<Sse2Set>>};

}  // namespace rt
#endif
