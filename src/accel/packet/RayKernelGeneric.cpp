// The kernel for any processor, in loops that a compiler may turn into vectors.
#include <algorithm>
#include <cstring>

#include "accel/packet/RayKernelList.h"
#include "accel/packet/RayPacketQuery.h"

namespace {

// Four floats for any processor; the compiler makes of them what it can.
struct FloatAny {
    static constexpr unsigned WIDTH = 4;
    struct Mask {
        uint32_t m;
        friend Mask operator&(Mask a, Mask b) { return {a.m & b.m}; }
        friend Mask operator|(Mask a, Mask b) { return {a.m | b.m}; }
    };
    float v[WIDTH];

    static FloatAny load(const float* p) { return {{p[0], p[1], p[2], p[3]}}; }
    static FloatAny loadUnaligned(const void* p) {
        FloatAny result;
        memcpy(result.v, p, sizeof(result.v));
        return result;
    }
    static FloatAny set(float f) { return {{f, f, f, f}}; }
    void store(float* p) const {
        for (unsigned i = 0; i < WIDTH; ++i) p[i] = v[i];
    }
    template <typename Operation>
    static FloatAny each(const FloatAny& a, const FloatAny& b, const Operation& operation) {
        return {{operation(a.v[0], b.v[0]), operation(a.v[1], b.v[1]), operation(a.v[2], b.v[2]),
                 operation(a.v[3], b.v[3])}};
    }
    template <typename Relation>
    static Mask test(const FloatAny& a, const FloatAny& b, const Relation& relation) {
        uint32_t uBits = 0;
        for (unsigned i = 0; i < WIDTH; ++i) uBits |= uint32_t{relation(a.v[i], b.v[i])} << i;
        return {uBits};
    }
    friend FloatAny operator+(const FloatAny& a, const FloatAny& b) {
        return each(a, b, [](float x, float y) { return x + y; });
    }
    friend FloatAny operator-(const FloatAny& a, const FloatAny& b) {
        return each(a, b, [](float x, float y) { return x - y; });
    }
    friend FloatAny operator*(const FloatAny& a, const FloatAny& b) {
        return each(a, b, [](float x, float y) { return x * y; });
    }
    friend FloatAny operator/(const FloatAny& a, const FloatAny& b) {
        return each(a, b, [](float x, float y) { return x / y; });
    }
    // a * b - c, for what need not be the same everywhere: some kernels round once, some twice.
    static FloatAny multiplySubtract(const FloatAny& a, const FloatAny& b, const FloatAny& c) { return a * b - c; }
    friend Mask operator<(const FloatAny& a, const FloatAny& b) {
        return test(a, b, [](float x, float y) { return x < y; });
    }
    friend Mask operator<=(const FloatAny& a, const FloatAny& b) {
        return test(a, b, [](float x, float y) { return x <= y; });
    }
    friend Mask operator>(const FloatAny& a, const FloatAny& b) { return b < a; }
    friend Mask operator>=(const FloatAny& a, const FloatAny& b) { return b <= a; }
    friend Mask operator==(const FloatAny& a, const FloatAny& b) {
        return test(a, b, [](float x, float y) { return x == y; });
    }
    static FloatAny abs(const FloatAny& a) {
        return each(a, a, [](float x, float) { return x < 0.0f ? -x : x; });
    }
    // If either operand is NaN, returns b.
    static FloatAny min(const FloatAny& a, const FloatAny& b) {
        return each(a, b, [](float x, float y) { return x < y ? x : y; });
    }
    static FloatAny max(const FloatAny& a, const FloatAny& b) {
        return each(a, b, [](float x, float y) { return x > y ? x : y; });
    }
    static FloatAny select(Mask m, const FloatAny& a, const FloatAny& b) {
        FloatAny result;
        for (unsigned i = 0; i < WIDTH; ++i) result.v[i] = m.m >> i & 1 ? a.v[i] : b.v[i];
        return result;
    }
    static Mask select(Mask m, Mask a, Mask b) { return {(m.m & a.m) | (~m.m & b.m)}; }
    static Mask andNot(Mask no, Mask yes) { return {~no.m & yes.m}; }
    static float smallest(const FloatAny& a) { return *std::min_element(a.v, a.v + WIDTH); }
    static float largest(const FloatAny& a) { return *std::max_element(a.v, a.v + WIDTH); }
    static unsigned bits(Mask m) { return m.m; }
    static Mask mask(unsigned uBits) { return {uBits}; }
};

}  // namespace

const RayKernel g_kernelGeneric{"generic", nearestFaces<FloatAny, FloatAny>, obstacles<FloatAny, FloatAny>};
