// The kernel for AVX2, eight rays to an instruction.
#include "accel/packet/RayKernelList.h"

#if defined(RT_VECTORS) && defined(__AVX2__)

#include <immintrin.h>

#include "accel/packet/Float4.h"
#include "accel/packet/RayPacketQuery.h"

namespace {

// Eight floats of AVX2.
struct Float8 {
    static constexpr unsigned WIDTH = 8;
    struct Mask {
        __m256 m;
        friend Mask operator&(Mask a, Mask b) { return {_mm256_and_ps(a.m, b.m)}; }
        friend Mask operator|(Mask a, Mask b) { return {_mm256_or_ps(a.m, b.m)}; }
    };
    __m256 v;

    static Float8 load(const float* p) { return {_mm256_load_ps(p)}; }
    static Float8 loadUnaligned(const void* p) { return {_mm256_loadu_ps(static_cast<const float*>(p))}; }
    static Float8 set(float f) { return {_mm256_set1_ps(f)}; }
    void store(float* p) const { _mm256_store_ps(p, v); }
    friend Float8 operator+(Float8 a, Float8 b) { return {_mm256_add_ps(a.v, b.v)}; }
    friend Float8 operator-(Float8 a, Float8 b) { return {_mm256_sub_ps(a.v, b.v)}; }
    friend Float8 operator*(Float8 a, Float8 b) { return {_mm256_mul_ps(a.v, b.v)}; }
    friend Float8 operator/(Float8 a, Float8 b) { return {_mm256_div_ps(a.v, b.v)}; }
    // a * b - c, for what need not be the same everywhere: some kernels round once, some twice.
    static Float8 multiplySubtract(Float8 a, Float8 b, Float8 c) { return {_mm256_fmsub_ps(a.v, b.v, c.v)}; }
    friend Mask operator<(Float8 a, Float8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_LT_OQ)}; }
    friend Mask operator<=(Float8 a, Float8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_LE_OQ)}; }
    friend Mask operator>(Float8 a, Float8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_GT_OQ)}; }
    friend Mask operator>=(Float8 a, Float8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_GE_OQ)}; }
    friend Mask operator==(Float8 a, Float8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_EQ_OQ)}; }
    static Float8 select(Mask m, Float8 a, Float8 b) { return {_mm256_blendv_ps(b.v, a.v, m.m)}; }
    static Mask select(Mask m, Mask a, Mask b) { return {_mm256_blendv_ps(b.m, a.m, m.m)}; }
    static Mask andNot(Mask no, Mask yes) { return {_mm256_andnot_ps(no.m, yes.m)}; }
    static Float8 abs(Float8 a) { return {_mm256_andnot_ps(_mm256_set1_ps(-0.0f), a.v)}; }
    // If either operand is NaN, returns b.
    static Float8 min(Float8 a, Float8 b) { return {_mm256_min_ps(a.v, b.v)}; }
    static Float8 max(Float8 a, Float8 b) { return {_mm256_max_ps(a.v, b.v)}; }
    static Float4 half(Float8 a, bool bUpper) {
        return {bUpper ? _mm256_extractf128_ps(a.v, 1) : _mm256_castps256_ps128(a.v)};
    }
    static float smallest(Float8 a) { return Float4::smallest(Float4::min(half(a, false), half(a, true))); }
    static float largest(Float8 a) { return Float4::largest(Float4::max(half(a, false), half(a, true))); }
    static unsigned bits(Mask m) { return static_cast<unsigned>(_mm256_movemask_ps(m.m)); }
    static Mask mask(unsigned uBits) {
        const __m256i lanes = _mm256_set_epi32(128, 64, 32, 16, 8, 4, 2, 1);
        const __m256i all = _mm256_set1_epi32(static_cast<int>(uBits));
        return {_mm256_castsi256_ps(_mm256_cmpeq_epi32(_mm256_and_si256(all, lanes), lanes))};
    }
};

}  // namespace

const RayKernel g_kernelAvx2{"avx2", nearestFaces<Float8, Float4>, obstacles<Float8, Float4>};

#endif
