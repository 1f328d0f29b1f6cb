#pragma once

#include <emmintrin.h>

namespace {

// Four floats of SSE2.
struct Float4 {
    static constexpr unsigned WIDTH = 4;
    struct Mask {
        __m128 m;
        friend Mask operator&(Mask a, Mask b) { return {_mm_and_ps(a.m, b.m)}; }
        friend Mask operator|(Mask a, Mask b) { return {_mm_or_ps(a.m, b.m)}; }
    };
    __m128 v;

    static Float4 load(const float* p) { return {_mm_load_ps(p)}; }
    static Float4 loadUnaligned(const void* p) { return {_mm_loadu_ps(static_cast<const float*>(p))}; }
    static Float4 set(float f) { return {_mm_set1_ps(f)}; }
    void store(float* p) const { _mm_store_ps(p, v); }
    friend Float4 operator+(Float4 a, Float4 b) { return {_mm_add_ps(a.v, b.v)}; }
    friend Float4 operator-(Float4 a, Float4 b) { return {_mm_sub_ps(a.v, b.v)}; }
    friend Float4 operator*(Float4 a, Float4 b) { return {_mm_mul_ps(a.v, b.v)}; }
    friend Float4 operator/(Float4 a, Float4 b) { return {_mm_div_ps(a.v, b.v)}; }
    // a * b - c, for what need not be the same everywhere: some kernels round once, some twice.
    static Float4 multiplySubtract(Float4 a, Float4 b, Float4 c) { return a * b - c; }
    friend Mask operator<(Float4 a, Float4 b) { return {_mm_cmplt_ps(a.v, b.v)}; }
    friend Mask operator<=(Float4 a, Float4 b) { return {_mm_cmple_ps(a.v, b.v)}; }
    friend Mask operator>(Float4 a, Float4 b) { return {_mm_cmpgt_ps(a.v, b.v)}; }
    friend Mask operator>=(Float4 a, Float4 b) { return {_mm_cmpge_ps(a.v, b.v)}; }
    friend Mask operator==(Float4 a, Float4 b) { return {_mm_cmpeq_ps(a.v, b.v)}; }
    static __m128 blend(__m128 m, __m128 a, __m128 b) { return _mm_or_ps(_mm_and_ps(m, a), _mm_andnot_ps(m, b)); }
    static Float4 select(Mask m, Float4 a, Float4 b) { return {blend(m.m, a.v, b.v)}; }
    static Mask select(Mask m, Mask a, Mask b) { return {blend(m.m, a.m, b.m)}; }
    static Mask andNot(Mask no, Mask yes) { return {_mm_andnot_ps(no.m, yes.m)}; }
    static Float4 abs(Float4 a) { return {_mm_andnot_ps(_mm_set1_ps(-0.0f), a.v)}; }
    // If either operand is NaN, returns b.
    static Float4 min(Float4 a, Float4 b) { return {_mm_min_ps(a.v, b.v)}; }
    static Float4 max(Float4 a, Float4 b) { return {_mm_max_ps(a.v, b.v)}; }
    static float smallest(Float4 a) {
        a = min(a, {_mm_movehl_ps(a.v, a.v)});
        return _mm_cvtss_f32(min(a, {_mm_shuffle_ps(a.v, a.v, 1)}).v);
    }
    static float largest(Float4 a) {
        a = max(a, {_mm_movehl_ps(a.v, a.v)});
        return _mm_cvtss_f32(max(a, {_mm_shuffle_ps(a.v, a.v, 1)}).v);
    }
    static unsigned bits(Mask m) { return static_cast<unsigned>(_mm_movemask_ps(m.m)); }
    static Mask mask(unsigned uBits) {
        const __m128i lanes = _mm_set_epi32(8, 4, 2, 1);
        return {
            _mm_castsi128_ps(_mm_cmpeq_epi32(_mm_and_si128(_mm_set1_epi32(static_cast<int>(uBits)), lanes), lanes))};
    }
};

}  // namespace
