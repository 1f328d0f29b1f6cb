#pragma once

#include "accel/packet/RayKernel.h"

namespace rt {

// The kernels by instruction set. Those that this build or processor lacks are never read.
extern const RayKernel g_kernelGeneric;
extern const RayKernel g_kernelSse2;
extern const RayKernel g_kernelNeon;
extern const RayKernel g_kernelAvx2;
extern const RayKernel g_kernelAvx512;

}  // namespace rt
