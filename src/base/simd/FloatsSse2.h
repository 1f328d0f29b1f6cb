#pragma once

// The SSE2 operations on four floats.

#include <emmintrin.h>

#include "base/simd/Floats.h"

namespace {

struct Sse2Set : AnySet<4> {
    static unsigned bits(Ints m) { return static_cast<unsigned>(_mm_movemask_ps(reinterpret_cast<Vector>(m))); }
    template <typename Operation>
    static float reduce(Vector v, const Operation& operation) {
        v = operation(v, Vector(_mm_movehl_ps(v, v)));
        return operation(v, Vector(_mm_shuffle_ps(v, v, 1)))[0];
    }
};

}  // namespace
