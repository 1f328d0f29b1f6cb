// The kernel for SSE2, four rays to an instruction.
#include "accel/packet/RayKernelList.h"

#if defined(RT_VECTORS) && defined(__SSE2__)

#include "accel/packet/Float4.h"
#include "accel/packet/RayPacketQuery.h"

const RayKernel g_kernelSse2{"sse2", nearestFaces<Float4, Float4>, obstacles<Float4, Float4>};

#endif
