// The kernel for 64-bit ARM, four rays per instruction.
#include "accel/packet/RayKernelList.h"

#if defined(RT_VECTORS) && defined(__aarch64__)

#include "accel/packet/RayPacketQuery.h"
#include "base/simd/FloatsNeon.h"

namespace rt {

const RayKernel g_kernelNeon{"neon", nearestFaces<Floats<NeonSet>, Floats<NeonSet>>,
                             obstacles<Floats<NeonSet>, Floats<NeonSet>>};

}  // namespace rt
#endif
