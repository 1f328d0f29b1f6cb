// The kernel for AVX-512, sixteen rays to an instruction.
#include "accel/packet/RayKernelList.h"

#if defined(RT_VECTORS) && defined(__AVX512F__)

#include <immintrin.h>

#include "accel/packet/Float4.h"
#include "accel/packet/RayPacketQuery.h"

namespace {

// Sixteen floats of AVX-512.
struct Float16 {
    static constexpr unsigned WIDTH = 16;
    struct Mask {
        __mmask16 m;
        friend Mask operator&(Mask a, Mask b) { return {static_cast<__mmask16>(a.m & b.m)}; }
        friend Mask operator|(Mask a, Mask b) { return {static_cast<__mmask16>(a.m | b.m)}; }
    };
    __m512 v;

    static Float16 load(const float* p) { return {_mm512_load_ps(p)}; }
    static Float16 loadUnaligned(const void* p) { return {_mm512_loadu_ps(static_cast<const float*>(p))}; }
    static Float16 set(float f) { return {_mm512_set1_ps(f)}; }
    void store(float* p) const { _mm512_store_ps(p, v); }
    friend Float16 operator+(Float16 a, Float16 b) { return {_mm512_add_ps(a.v, b.v)}; }
    friend Float16 operator-(Float16 a, Float16 b) { return {_mm512_sub_ps(a.v, b.v)}; }
    friend Float16 operator*(Float16 a, Float16 b) { return {_mm512_mul_ps(a.v, b.v)}; }
    friend Float16 operator/(Float16 a, Float16 b) { return {_mm512_div_ps(a.v, b.v)}; }
    // a * b - c, for what need not be the same everywhere: some kernels round once, some twice.
    static Float16 multiplySubtract(Float16 a, Float16 b, Float16 c) { return {_mm512_fmsub_ps(a.v, b.v, c.v)}; }
    friend Mask operator<(Float16 a, Float16 b) { return {_mm512_cmp_ps_mask(a.v, b.v, _CMP_LT_OQ)}; }
    friend Mask operator<=(Float16 a, Float16 b) { return {_mm512_cmp_ps_mask(a.v, b.v, _CMP_LE_OQ)}; }
    friend Mask operator>(Float16 a, Float16 b) { return {_mm512_cmp_ps_mask(a.v, b.v, _CMP_GT_OQ)}; }
    friend Mask operator>=(Float16 a, Float16 b) { return {_mm512_cmp_ps_mask(a.v, b.v, _CMP_GE_OQ)}; }
    friend Mask operator==(Float16 a, Float16 b) { return {_mm512_cmp_ps_mask(a.v, b.v, _CMP_EQ_OQ)}; }
    static Float16 select(Mask m, Float16 a, Float16 b) { return {_mm512_mask_blend_ps(m.m, b.v, a.v)}; }
    static Mask select(Mask m, Mask a, Mask b) { return {static_cast<__mmask16>((m.m & a.m) | (~m.m & b.m))}; }
    static Mask andNot(Mask no, Mask yes) { return {static_cast<__mmask16>(~no.m & yes.m)}; }
    static Float16 abs(Float16 a) { return {_mm512_abs_ps(a.v)}; }
    // Masked forms: the plain ones of GCC 12 warn of an uninitialised value.
    // If either operand is NaN, returns b.
    static Float16 min(Float16 a, Float16 b) { return {_mm512_maskz_min_ps(0xFFFF, a.v, b.v)}; }
    static Float16 max(Float16 a, Float16 b) { return {_mm512_maskz_max_ps(0xFFFF, a.v, b.v)}; }
    template <int I>
    static Float4 quarter(Float16 a) {
        return {_mm512_maskz_extractf32x4_ps(0xF, a.v, I)};
    }
    static float smallest(Float16 a) {
        return Float4::smallest(
            Float4::min(Float4::min(quarter<0>(a), quarter<1>(a)), Float4::min(quarter<2>(a), quarter<3>(a))));
    }
    static float largest(Float16 a) {
        return Float4::largest(
            Float4::max(Float4::max(quarter<0>(a), quarter<1>(a)), Float4::max(quarter<2>(a), quarter<3>(a))));
    }
    static unsigned bits(Mask m) { return m.m; }
    static Mask mask(unsigned uBits) { return {static_cast<__mmask16>(uBits)}; }
};

}  // namespace

const RayKernel g_kernelAvx512{"avx512", nearestFaces<Float16, Float4>, obstacles<Float16, Float4>};

#endif
