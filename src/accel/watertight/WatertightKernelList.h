#pragma once

// The kernels of all files, for the choice among them.

#include "accel/watertight/WatertightKernel.h"

namespace rt {

extern const WatertightKernel g_watertightGeneric, g_watertightSse2, g_watertightAvx2, g_watertightAvx512,
    g_watertightNeon;

// Those of AVX-512 are the ones of AVX2, since eight boxes fill no longer vector.
extern const WatertightSingles g_watertightSinglesGeneric, g_watertightSinglesSse2, g_watertightSinglesAvx2,
    g_watertightSinglesNeon;

}  // namespace rt
