#pragma once

#include "accel/packet/PacketKernel.h"

// The kernels by instruction set; those that this build or processor has not are never looked at.
extern const PacketKernel g_kernelGeneric;
extern const PacketKernel g_kernelSse2;
extern const PacketKernel g_kernelAvx2;
extern const PacketKernel g_kernelAvx512;
