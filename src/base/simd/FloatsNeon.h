#pragma once

// The NEON operations on four floats of 64-bit ARM. Only what rounds like the generic vectors: no approximate
// reciprocals, nothing fused, and not the minimum of the instruction set, which differs for NaN. What is loose may take
// these.

#include <arm_neon.h>

#include "base/simd/Floats.h"

namespace {

struct NeonSet : AnySet<4> {
    static Vector select(Ints m, Vector a, Vector b) {
        return Vector(vbslq_f32(reinterpret_cast<uint32x4_t>(m), float32x4_t(a), float32x4_t(b)));
    }
    static Vector min(Vector a, Vector b) { return select(a < b, a, b); }
    static Vector max(Vector a, Vector b) { return select(a > b, a, b); }
    static Vector looseMin(Vector a, Vector b) { return Vector(vminnmq_f32(float32x4_t(a), float32x4_t(b))); }
    static Vector looseMax(Vector a, Vector b) { return Vector(vmaxnmq_f32(float32x4_t(a), float32x4_t(b))); }
    static Vector looseMulAdd(Vector a, Vector b, Vector c) {
        return Vector(vfmaq_f32(float32x4_t(c), float32x4_t(a), float32x4_t(b)));
    }
    static unsigned bits(Ints m) {
        const uint32x4_t places = {1, 2, 4, 8};
        return vaddvq_u32(vandq_u32(reinterpret_cast<uint32x4_t>(m), places));
    }
    static Ints mask(unsigned uBits) {
        const uint32x4_t places = {1, 2, 4, 8};
        return reinterpret_cast<Ints>(vtstq_u32(vdupq_n_u32(uBits), places));
    }
    template <typename Operation>
    static float reduce(Vector v, const Operation& operation) {
        v = operation(v, Vector(vextq_f32(float32x4_t(v), float32x4_t(v), 2)));
        return operation(v, Vector(vextq_f32(float32x4_t(v), float32x4_t(v), 1)))[0];
    }
};

}  // namespace
