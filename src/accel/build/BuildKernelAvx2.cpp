// The kernel for processors with AVX2.
#include "accel/build/BuildKernel.h"

#if defined(RT_VECTORS) && defined(__AVX2__)

#include "accel/build/BuildKernelOf.h"
#include "base/simd/FloatsAvx2.h"

namespace rt {

static const BuildKernel g_kernel = BUILD_KERNEL<Floats<Avx2Set>>;
const BuildKernel* const g_pBuildKernel8 = &g_kernel;

}  // namespace rt

#else

namespace rt {

const BuildKernel* const g_pBuildKernel8 = nullptr;

}  // namespace rt

#endif
