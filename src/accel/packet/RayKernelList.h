#pragma once

#include "accel/packet/RayKernel.h"

// The kernels by instruction set; those that this build or processor has not are never looked at.
extern const RayKernel g_kernelGeneric;
extern const RayKernel g_kernelSse2;
extern const RayKernel g_kernelAvx2;
extern const RayKernel g_kernelAvx512;
