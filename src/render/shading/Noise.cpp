// Noise from integer hashes: octaves in one dimension, a periodic lattice in two.
#include "render/shading/Noise.h"

#include <cmath>

#include "base/Vectors.h"

namespace rt {

namespace {

constexpr float HASH_SCALE = 1.0f / 2147483648.0f;
constexpr int64_t LATTICE = 100;  // cells of the two-dimensional noise, each way

uint32_t g_uNoiseState = 0x0020E011;

// Sum of four octaves of |noise|, each of half the amplitude at twice the frequency. Products with powers of two are
// exact, so each sum is rounded once.
float octaveSum(float x0) {
    float fSum = 0.0f, fAmplitude = 1.0f, fFrequency = 1.0f;
    for (int i = 0; i < 4; ++i) {
        fSum += fAmplitude * fabsf(InterpolatedNoise(fFrequency * x0));
        fFrequency *= 2.0f;
        fAmplitude *= 0.5f;
    }
    return fSum;
}

}  // namespace

float HermiteCurve(float t) {
    return t * t * (3.0f - 2.0f * t);
}

float HermiteCurveDeriverative(float t) {
    return 6.0f * t * (1.0f - t);
}

float HermiteStep(float x, float a, float b) {
    if (a == b || a > x) return 0.0f;
    if (x > b) return 1.0f;
    const float t = (x - a) / (b - a);
    return t * t * (3.0f - t - t);
}

float LinearStep(float x, float a, float b) {
    if (a == b || a > x) return 0.0f;
    return x > b ? 1.0f : (x - a) / (b - a);
}

float HermiteStepDeriverative(float x, float a, float b) {
    if (a == b || a > x || x > b) return 0.0f;
    return HermiteCurveDeriverative((x - a) / (b - a));
}

float Clamp(float x, float fLow, float fHigh) {
    return fLow > x ? fLow : fHigh < x ? fHigh : x;
}

float NoiseFunction(uint32_t n) {
    const uint32_t m = (n << 13) ^ n;
    return static_cast<float>((m * (m * m * 15731u + 789221u) + 0xD208DD0Du) & 0x7FFFFFFFu) * HASH_SCALE;
}

float NoiseFunction(uint32_t x, uint32_t y) {
    const uint32_t n = (x << 13) ^ y;
    const uint32_t m = (y << 6) ^ n;
    return static_cast<float>((m * (n * 15731u * (n + m) + 789221u) + 0xD208DD0Du) & 0x7FFFFFFFu) * HASH_SCALE;
}

float NoiseFunctionState() {
    const uint32_t s = g_uNoiseState;
    g_uNoiseState = (s << 13) ^ s;
    return NoiseFunction(s);
}

float SmoothedNoise(uint32_t n) {
    return (NoiseFunction(n - 1) + NoiseFunction(n + 1)) * 0.25f + NoiseFunction(n) * 0.5f;
}

float InterpolatedNoise(float x) {
    const uint32_t i = Velk::truncateToUnsigned(x);
    const float f = x - static_cast<float>(i), fLeft = SmoothedNoise(i);
    return fLeft + (SmoothedNoise(i + 1) - fLeft) * f;
}

float Turbulence(float x, float y, float fFrequency, float fWidth) {
    return (octaveSum((y * fWidth + x) * fFrequency) + 1.0f) * 0.5f;
}

int BrickColorNoise(uint32_t uColumn, uint32_t uRow, int iRange) {
    const float fSum = octaveSum(static_cast<float>((uColumn + uRow * 15u) * 15u));
    return Velk::truncateToInt(0.5f * static_cast<float>(iRange) * (fSum + 1.0f));
}

// The fraction weights lattice point x1, its complement the left neighbour x2, so a whole number gives the value of its
// left neighbour.
float SmoothNoise(float x, float y) {
    const int32_t ix = Velk::truncateToInt(x), iy = Velk::truncateToInt(y);
    const float fx = x - static_cast<float>(ix), fy = y - static_cast<float>(iy);
    const int64_t x1 = (ix + LATTICE) % LATTICE, x2 = (x1 + LATTICE - 1) % LATTICE;
    const int64_t y1 = (iy + LATTICE) % LATTICE, y2 = (y1 + LATTICE - 1) % LATTICE;
    const auto lattice = [](int64_t i, int64_t j) {
        return NoiseFunction(static_cast<uint32_t>(i), static_cast<uint32_t>(j));
    };
    return fx * fy * lattice(x1, y1) + (1.0f - fx) * fy * lattice(x2, y1) + fx * (1.0f - fy) * lattice(x1, y2) +
           (1.0f - fx) * (1.0f - fy) * lattice(x2, y2);
}

float Cloud(float x, float y, float fSize, float fMinSize) {
    float fTotal = 0.0f;
    for (float s = fSize; s >= fMinSize; s *= 0.5f) fTotal += SmoothNoise(x / s, y / s) * s;
    return fTotal / fSize;
}

float InterpolateBSpline(float t, float p0, float p1, float p2, float p3) {
    const float fCubic = (p1 - p2) * 3.0f + (p3 - p0);
    const float fSquare = (p0 + p2) * 3.0f + (-6.0f * p1 + fCubic * t);
    return (4.0f * p1 + p0 + p2 + ((p2 - p0) * 3.0f + fSquare * t) * t) * 0.16666667f;
}

}  // namespace rt
