#pragma once

#include <cstdint>

namespace rt {

// Noise and interpolation, the building blocks of procedural textures. Hashes wrap modulo 2^32; all but
// NoiseFunctionState are pure. The program does not call LinearStep, NoiseFunctionState and Turbulence: they are for
// future textures.

/// Smooth curve t t (3 - 2t), and its derivative.
float HermiteCurve(float t);
float HermiteCurveDeriverative(float t);

/// 0 below a, 1 above b, in between smooth or linear; 0 everywhere when a equals b.
float HermiteStep(float x, float a, float b);
float LinearStep(float x, float a, float b);

/// Derivative of HermiteStep by its normalised parameter: 0 outside [a, b].
float HermiteStepDeriverative(float x, float a, float b);

float Clamp(float x, float fLow, float fHigh);

/// Hash of one or two integers, in [0, 1).
float NoiseFunction(uint32_t n);
float NoiseFunction(uint32_t x, uint32_t y);

/// Next value of the one global sequence, in [0, 1). Not thread-safe.
float NoiseFunctionState();

/// Hash smoothed with its neighbours, and interpolated between integers.
float SmoothedNoise(uint32_t n);
float InterpolatedNoise(float x);

/// Four octaves of one-dimensional noise over the row-major index y * fWidth + x.
float Turbulence(float x, float y, float fFrequency, float fWidth);

/// Colour class of a brick: 1 to 4 for a range of 3.
int BrickColorNoise(uint32_t uColumn, uint32_t uRow, int iRange);

/// Value noise on a lattice of 100 x 100 cells that wraps, for coordinates from 0 on.
float SmoothNoise(float x, float y);

/// Octaves of SmoothNoise from fSize down to fMinSize.
float Cloud(float x, float y, float fSize, float fMinSize);

/// Segment of a uniform cubic B-spline at t in [0, 1].
float InterpolateBSpline(float t, float p0, float p1, float p2, float p3);

}  // namespace rt
