#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// Vectors of floats for the kernels of the tree's construction. Everything here has internal linkage: it is compiled
// for several instruction sets, and a copy from an AVX file must never be linked into code for older processors.

namespace {

/// WIDTH floats side by side. Every lane does the same operations whatever the width.
template <unsigned WIDTH>
struct LaneMath {
    typedef float Lanes __attribute__((vector_size(4 * WIDTH)));
    typedef int32_t Mask __attribute__((vector_size(4 * WIDTH)));

    // A vector extension has no broadcast; f - 0 is f, even for -0, where f + 0 is not.
    static Lanes all(float f) { return f - Lanes{}; }
    static Mask allBits(int32_t i) { return i | Mask{}; }

    // b if either operand is NaN.
    static Lanes smaller(Lanes a, Lanes b) { return a < b ? a : b; }
    static Lanes larger(Lanes a, Lanes b) { return a > b ? a : b; }

    static Lanes absolute(Lanes a) { return reinterpret_cast<Lanes>(reinterpret_cast<Mask>(a) & allBits(INT32_MAX)); }

    // f where the mask is set, else 0.
    static Lanes only(Mask mask, Lanes f) { return reinterpret_cast<Lanes>(mask & reinterpret_cast<Mask>(f)); }

    // f, negated where a is negative.
    static Lanes withSignOf(Lanes a, Lanes f) {
        const Mask sign = reinterpret_cast<Mask>(a) & allBits(INT32_MIN);
        return reinterpret_cast<Lanes>(sign ^ reinterpret_cast<Mask>(f));
    }

    static bool any(Mask mask) {
        uint64_t u[WIDTH / 2], uAll = 0;
        memcpy(u, &mask, sizeof(u));
        for (const uint64_t uTwo : u) uAll |= uTwo;
        return uAll != 0;
    }

    static Lanes load(const float* p) {
        Lanes lanes;
        memcpy(&lanes, p, sizeof(lanes));
        return lanes;
    }
    static void store(float* p, Lanes lanes) { memcpy(p, &lanes, sizeof(lanes)); }
};

// The two vertices that the overlap test projects for an edge, by axis of the cross product.
constexpr uint8_t PROJECTED[3][3][2] = {{{0, 2}, {0, 2}, {0, 1}}, {{0, 2}, {0, 2}, {0, 1}}, {{1, 2}, {0, 1}, {1, 2}}};

}  // namespace
