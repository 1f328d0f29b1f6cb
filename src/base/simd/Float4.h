#pragma once

// A vector of four floats for code that is compiled only once: it uses what every processor of the target has.

#if defined(RT_VECTORS) && defined(__SSE2__)
#include "base/simd/FloatsSse2.h"
#elif defined(RT_VECTORS) && defined(__aarch64__)
#include "base/simd/FloatsNeon.h"
#else
#include "base/simd/Floats.h"
#endif

namespace {

#if defined(RT_VECTORS) && defined(__SSE2__)
using Float4 = Floats<Sse2Set>;
#elif defined(RT_VECTORS) && defined(__aarch64__)
using Float4 = Floats<NeonSet>;
#else
using Float4 = Floats<AnySet<4> >;
#endif
using Int4 = Float4::Ints;

}  // namespace
