#pragma once

// The AVX-512 operations on sixteen floats. A lane mask is a mask register.

#include <immintrin.h>

#include "base/simd/FloatsSse2.h"

namespace {

struct Avx512Set : AnySet<16> {
    using Lanes = __mmask16;

    static Lanes less(Vector a, Vector b) { return _mm512_cmp_ps_mask(a, b, _CMP_LT_OQ); }
    static Lanes lessEqual(Vector a, Vector b) { return _mm512_cmp_ps_mask(a, b, _CMP_LE_OQ); }
    static Lanes equal(Vector a, Vector b) { return _mm512_cmp_ps_mask(a, b, _CMP_EQ_OQ); }
    static Vector select(Lanes m, Vector a, Vector b) { return _mm512_mask_blend_ps(m, b, a); }
    // Masked forms, because GCC 12 warns of an uninitialised value in the others.
    static Vector min(Vector a, Vector b) { return _mm512_maskz_min_ps(0xFFFF, a, b); }
    static Vector max(Vector a, Vector b) { return _mm512_maskz_max_ps(0xFFFF, a, b); }
    static Vector looseMin(Vector a, Vector b) { return min(a, b); }
    static Vector looseMax(Vector a, Vector b) { return max(a, b); }
    static Vector looseMulAdd(Vector a, Vector b, Vector c) { return _mm512_fmadd_ps(a, b, c); }
    static unsigned bits(Lanes m) { return m; }
    static Lanes mask(unsigned uBits) { return static_cast<Lanes>(uBits); }
    template <typename Operation>
    static float reduce(Vector v, const Operation& operation) {
        return Sse2Set::reduce(
            operation(operation(quarter<0>(v), quarter<1>(v)), operation(quarter<2>(v), quarter<3>(v))), operation);
    }

 private:
    template <int I>
    static Sse2Set::Vector quarter(Vector v) {
        return _mm512_maskz_extractf32x4_ps(0xF, v, I);
    }
};

}  // namespace
