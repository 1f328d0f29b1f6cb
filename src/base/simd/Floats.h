#pragma once

// SIMD vectors of floats. Floats<Set> is the vector type. A set holds the operations that an instruction set does
// better than the compiler's generic vectors: AnySet<lanes> here, Sse2Set, Avx2Set, Avx512Set and NeonSet in headers
// of their own.
//
// Everything here has internal linkage. It is compiled for several instruction sets, and the linker must never use a
// copy made for one of them in code for older processors (docs/architecture.md).

#include <cstdint>
#include <cstring>

namespace {

template <unsigned N>
struct VectorTypes {
    typedef float Vector __attribute__((vector_size(4 * N)));
    typedef int32_t Ints __attribute__((vector_size(4 * N)));
    // For access to float arrays. GCC would turn memcpy() into integer moves.
    typedef float Aligned __attribute__((vector_size(4 * N), may_alias));
    typedef float Unaligned __attribute__((vector_size(4 * N), may_alias, aligned(4)));
};

/// N lanes of the compiler's vector extension, for any processor. The set of an instruction set derives from this one
/// and hides the operations that it replaces.
template <unsigned N>
struct AnySet {
    static constexpr unsigned WIDTH = N;
    using Vector = typename VectorTypes<N>::Vector;
    using Ints = typename VectorTypes<N>::Ints;
    using Lanes = Ints;  // a lane mask: each lane is 0 or -1

    static Ints less(Vector a, Vector b) { return a < b; }
    static Ints lessEqual(Vector a, Vector b) { return a <= b; }
    static Ints equal(Vector a, Vector b) { return a == b; }
    static Vector select(Ints m, Vector a, Vector b) { return m ? a : b; }
    static Vector min(Vector a, Vector b) { return a < b ? a : b; }
    static Vector max(Vector a, Vector b) { return a > b ? a : b; }
    static Vector looseMin(Vector a, Vector b) { return a < b ? a : b; }
    static Vector looseMax(Vector a, Vector b) { return a > b ? a : b; }
    static Vector looseMulAdd(Vector a, Vector b, Vector c) { return a * b + c; }
    static unsigned bits(Ints m) {
        unsigned uBits = 0;
        for (unsigned i = 0; i < N; ++i) uBits |= static_cast<unsigned>(m[i] & 1) << i;
        return uBits;
    }
    static Ints mask(unsigned uBits) {
        alignas(64) static constexpr int32_t BIT[16] = {1,     2,     4,     8,     0x10,   0x20,   0x40,   0x80,
                                                        0x100, 0x200, 0x400, 0x800, 0x1000, 0x2000, 0x4000, 0x8000};
        Ints lanes;
        memcpy(&lanes, BIT, sizeof(lanes));
        return (static_cast<int32_t>(uBits) & lanes) == lanes;
    }
    /// Reduces all lanes by one operation, which takes vectors of any width or, here, floats.
    template <typename Operation>
    static float reduce(Vector v, const Operation& operation) {
        float f = v[0];
        for (unsigned i = 1; i < N; ++i) f = operation(f, v[i]);
        return f;
    }
};

/// WIDTH floats side by side. A float converts to a vector with that value in all lanes. Arithmetic rounds like that of
/// single floats in every set. Comparisons with NaN are false, except !=.
template <typename Set>
struct Floats {
    static constexpr unsigned WIDTH = Set::WIDTH;
    using Vector = typename Set::Vector;
    using Aligned = typename VectorTypes<WIDTH>::Aligned;
    using Unaligned = typename VectorTypes<WIDTH>::Unaligned;
    using Ints = typename Set::Ints;  // int32_t lanes of the vector extension, which has their operators

    /// A lane mask: one truth value per lane.
    struct Mask {
        typename Set::Lanes m;

        friend Mask operator&(Mask a, Mask b) { return {static_cast<typename Set::Lanes>(a.m & b.m)}; }
        friend Mask operator|(Mask a, Mask b) { return {static_cast<typename Set::Lanes>(a.m | b.m)}; }
        friend Mask operator~(Mask a) { return {static_cast<typename Set::Lanes>(~a.m)}; }
        Mask& operator&=(Mask b) { return *this = *this & b; }
        Mask& operator|=(Mask b) { return *this = *this | b; }
        friend Mask select(Mask where, Mask a, Mask b) { return (where & a) | (b & ~where); }

        /// Bit i for lane i.
        friend unsigned bits(Mask a) { return Set::bits(a.m); }
    };

    Vector v;

    Floats() = default;
    Floats(float f) : v(f - Vector{}) {}  // the extension has no broadcast; f - 0 is f even for -0, where f + 0 is not
    explicit Floats(Vector vector) : v(vector) {}

    /// Loads and stores WIDTH floats, aligned to the vector's size unless the name says otherwise.
    static Floats load(const float* p) { return Floats(*reinterpret_cast<const Aligned*>(p)); }
    static Floats loadUnaligned(const void* p) { return Floats(*static_cast<const Unaligned*>(p)); }
    void store(float* p) const { *reinterpret_cast<Aligned*>(p) = v; }
    void storeUnaligned(float* p) const { *reinterpret_cast<Unaligned*>(p) = v; }

    /// Loads element u of WIDTH arrays: lane i comes from array i.
    static Floats gather(const float* const* pArrays, unsigned u) {
        float f[WIDTH];
        for (unsigned i = 0; i < WIDTH; ++i) f[i] = pArrays[i][u];
        return loadUnaligned(f);
    }

    /// The lane mask with these bits.
    static Mask mask(unsigned uBits) { return {Set::mask(uBits)}; }

    /// Converts integers to floats, rounded to nearest; and floats that fit to integers, truncated.
    static Floats from(Ints i) { return Floats(__builtin_convertvector(i, Vector)); }
    friend Ints toInts(Floats a) { return __builtin_convertvector(a.v, Ints); }

    /// The float with these bits in every lane.
    static Floats pattern(uint32_t u) {
        float f;
        memcpy(&f, &u, sizeof(f));
        return f;
    }

    float operator[](unsigned i) const { return v[i]; }

    friend Floats operator+(Floats a, Floats b) { return Floats(a.v + b.v); }
    friend Floats operator-(Floats a, Floats b) { return Floats(a.v - b.v); }
    friend Floats operator*(Floats a, Floats b) { return Floats(a.v * b.v); }
    friend Floats operator/(Floats a, Floats b) { return Floats(a.v / b.v); }
    friend Floats operator-(Floats a) { return Floats(-a.v); }
    friend Mask operator<(Floats a, Floats b) { return {Set::less(a.v, b.v)}; }
    friend Mask operator<=(Floats a, Floats b) { return {Set::lessEqual(a.v, b.v)}; }
    friend Mask operator>(Floats a, Floats b) { return b < a; }
    friend Mask operator>=(Floats a, Floats b) { return b <= a; }
    friend Mask operator==(Floats a, Floats b) { return {Set::equal(a.v, b.v)}; }
    friend Mask operator!=(Floats a, Floats b) { return ~(a == b); }

    /// For values that may differ between machines, whichever is faster: a * b + c, fused or not; the minimum and the
    /// maximum, where of a NaN and a number either may be taken, and of two zeros, too.
    friend Floats looseMulAdd(Floats a, Floats b, Floats c) { return Floats(Set::looseMulAdd(a.v, b.v, c.v)); }
    friend Floats looseMin(Floats a, Floats b) { return Floats(Set::looseMin(a.v, b.v)); }
    friend Floats looseMax(Floats a, Floats b) { return Floats(Set::looseMax(a.v, b.v)); }

    /// a in the lanes of the mask, b in the others.
    friend Floats select(Mask where, Floats a, Floats b) { return Floats(Set::select(where.m, a.v, b.v)); }

    /// b where either is NaN, and where both are zeros.
    friend Floats min(Floats a, Floats b) { return Floats(Set::min(a.v, b.v)); }
    friend Floats max(Floats a, Floats b) { return Floats(Set::max(a.v, b.v)); }

    friend Floats abs(Floats a) { return Floats(reinterpret_cast<Vector>(reinterpret_cast<Ints>(a.v) & INT32_MAX)); }

    /// a with its sign flipped where the sign bit of s is set (also in -0 and NaN).
    friend Floats flipSign(Floats a, Floats s) {
        const Ints sign = reinterpret_cast<Ints>(s.v) & INT32_MIN;
        return Floats(reinterpret_cast<Vector>(sign ^ reinterpret_cast<Ints>(a.v)));
    }

    /// The least and the largest lane, of vectors without NaN.
    friend float smallest(Floats a) {
        return Set::reduce(a.v, [](auto x, auto y) { return x < y ? x : y; });
    }
    friend float largest(Floats a) {
        return Set::reduce(a.v, [](auto x, auto y) { return x > y ? x : y; });
    }
};

}  // namespace
