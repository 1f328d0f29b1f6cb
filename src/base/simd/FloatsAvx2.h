#pragma once

// The AVX2 operations on eight floats.

#include <immintrin.h>

#include "base/simd/FloatsSse2.h"

namespace {

struct Avx2Set : AnySet<8> {
#ifdef __FMA__
    static Vector looseMulAdd(Vector a, Vector b, Vector c) {
        return _mm256_fmadd_ps(a, b, c);
    }
#endif
    static Vector select(Ints m, Vector a, Vector b) {
        return _mm256_blendv_ps(b, a, reinterpret_cast<Vector>(m));
    }
    static unsigned bits(Ints m) {
        return static_cast<unsigned>(_mm256_movemask_ps(reinterpret_cast<Vector>(m)));
    }
    template <typename Operation>
    static float reduce(Vector v, const Operation& operation) {
        using Half = Sse2Set::Vector;
        return Sse2Set::reduce(operation(Half(_mm256_castps256_ps128(v)), Half(_mm256_extractf128_ps(v, 1))),
                               operation);
    }
};

}  // namespace
