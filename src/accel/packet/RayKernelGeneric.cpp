// The kernel for any processor, four rays at a time.
#include "accel/packet/RayKernelList.h"

#include "accel/packet/RayPacketQuery.h"
#include "base/simd/Floats.h"

namespace rt {

const RayKernel g_kernelGeneric{"generic", nearestFaces<Floats<AnySet<4>>, Floats<AnySet<4>>>,
                                obstacles<Floats<AnySet<4>>, Floats<AnySet<4>>>};

}  // namespace rt
