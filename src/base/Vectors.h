#pragma once

#include <cmath>
#include <cstdint>

// Vectors, boxes and their arithmetic, in the order of operations that every image depends on.

namespace Velk {

constexpr double NM_PI = 3.141592653589793;
constexpr double NM_1BYPI = 0.3183098861837907;
constexpr double NM_EPSILON = 1.11e-16;
constexpr float NM_PI_F = 3.1415927f;
constexpr float NM_1BYPI_F = 0.31830987f;
constexpr float NM_EPSILON_F = 5.96e-8f;  // a ray nearer to parallel than this misses a triangle
constexpr float NM_LOW_EPSILON_F = 1e-4f;

/// Three single-precision components, 12 bytes and no fourth lane: scene, light and network records embed it as it is.
/// A colour is one of these with x, y, z as red, green, blue.
struct NMVector3f {
    float x, y, z;

    /// Component 0, 1 or 2.
    float operator[](unsigned uAxis) const { return reinterpret_cast<const float*>(this)[uAxis]; }
    float& operator[](unsigned uAxis) { return reinterpret_cast<float*>(this)[uAxis]; }
};

struct NMVector2f {
    float x, y;
};

static_assert(sizeof(NMVector3f) == 12 && alignof(NMVector3f) == 4, "file and network records count on 12 bytes");
static_assert(sizeof(NMVector2f) == 8, "two floats");

/// A row for four-lane arithmetic, given as the bits of four floats. Constants, so that no code runs at start-up: in a
/// file compiled for AVX it would crash older processors.
struct alignas(16) NMCVector4f {
    union {
        uint32_t u[4];
        float f[4];
    };
};

constexpr uint32_t NMC_ONE = 0x3F800000u;      // 1
constexpr uint32_t NMC_NEG_ONE = 0xBF800000u;  // -1
constexpr uint32_t NMC_FULL = 0xFFFFFFFFu;

constexpr NMCVector4f NMCVector3fOne{{{NMC_ONE, NMC_ONE, NMC_ONE, 0}}};
constexpr NMCVector4f NMCVector4fNegOne3One{{{NMC_NEG_ONE, NMC_NEG_ONE, NMC_NEG_ONE, NMC_ONE}}};
constexpr NMCVector4f NMCVector4fFull{{{NMC_FULL, NMC_FULL, NMC_FULL, NMC_FULL}}};
constexpr NMCVector4f NMCVector4fIdentityRow0{{{NMC_ONE, 0, 0, 0}}};
constexpr NMCVector4f NMCVector4fIdentityRow1{{{0, NMC_ONE, 0, 0}}};
constexpr NMCVector4f NMCVector4fIdentityRow2{{{0, 0, NMC_ONE, 0}}};
constexpr NMCVector4f NMCVector4fIdentityRow3{{{0, 0, 0, NMC_ONE}}};

inline NMVector3f operator+(const NMVector3f& a, const NMVector3f& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline NMVector3f operator-(const NMVector3f& a, const NMVector3f& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline NMVector3f operator*(const NMVector3f& a, float f) {
    return {a.x * f, a.y * f, a.z * f};
}
inline NMVector3f operator/(const NMVector3f& a, float f) {
    return {a.x / f, a.y / f, a.z / f};
}

/// Componentwise product, as for two colours.
inline NMVector3f multiply(const NMVector3f& a, const NMVector3f& b) {
    return {a.x * b.x, a.y * b.y, a.z * b.z};
}

inline float dot(const NMVector3f& a, const NMVector3f& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

inline NMVector3f cross(const NMVector3f& a, const NMVector3f& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline float length(const NMVector3f& v) {
    return sqrtf(dot(v, v));
}

/// Three divisions, not a product with the reciprocal: the last bit of every image depends on it. A zero vector gives
/// non-finite components.
inline NMVector3f normalize(const NMVector3f& v) {
    return v / length(v);
}

inline NMVector3f minimum(const NMVector3f& a, const NMVector3f& b) {
    return {a.x < b.x ? a.x : b.x, a.y < b.y ? a.y : b.y, a.z < b.z ? a.z : b.z};
}

inline NMVector3f maximum(const NMVector3f& a, const NMVector3f& b) {
    return {a.x > b.x ? a.x : b.x, a.y > b.y ? a.y : b.y, a.z > b.z ? a.z : b.z};
}

inline bool isFinite(const NMVector3f& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

/// Axis-aligned box between two corners.
struct BoxAABB {
    NMVector3f v3Min;
    NMVector3f v3Max;
};
static_assert(sizeof(BoxAABB) == 24, "two corners");

/// Truncates a float to an integer as x86 does, but defined for every input: NaN and what does not fit give the
/// smallest integer.
inline int32_t truncateToInt(float f) {
    return f >= -2147483648.0f && f < 2147483648.0f ? static_cast<int32_t>(f) : INT32_MIN;
}

/// The low 32 bits of the value truncated to 64 bits; NaN and what does not fit give 0.
inline uint32_t truncateToUnsigned(float f) {
    const bool bFits = f >= -9223372036854775808.0f && f < 9223372036854775808.0f;
    return bFits ? static_cast<uint32_t>(static_cast<int64_t>(f)) : 0;
}

}  // namespace Velk
