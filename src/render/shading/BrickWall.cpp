// The brick wall: which brick a point belongs to, its bevel, relief, colour and dirt.
#include "render/shading/BrickWall.h"

#include <algorithm>
#include <cmath>

#include "base/maths/Angles.h"
#include "render/shading/Noise.h"

namespace rt {

using Velk::cosine;
using Velk::NMVector2f;
using Velk::NMVector3f;
using Velk::sine;

namespace {

constexpr float BRICK_RELIEF = 96.0f;  // size of the largest bumps on a brick,
constexpr float MORTAR_RELIEF = 8.0f;  // in the joint,
constexpr float DIRT_SIZE = 228.0f;    // and of the largest spots of dirt
constexpr float MAX_ROTATION = 0.16f;

// Taken in double precision and rounded once, because functions of single precision differ in the last bit between C
// libraries.
float arcTangent(float f) {
    return static_cast<float>(atan(static_cast<double>(f)));
}

float power(float f, float fExponent) {
    return static_cast<float>(pow(static_cast<double>(f), static_cast<double>(fExponent)));
}

// Which brick a point belongs to, and where in its cell it lies.
struct BrickCell {
    int32_t iColumn, iRow;
    NMVector2f v2Position;
    NMVector2f v2Mortar;  // fractions of the cell
};

BrickCell findCell(float px, float py, float W, float H, float M) {
    const float fRow = py / (H + M);
    const int32_t iRow = Velk::truncateToInt(fRow);
    const float fOffset = iRow & 1 ? NoiseFunction(static_cast<uint32_t>(iRow)) * 0.25f + 0.3f : 0.0f;
    const float fColumn = px / (W + M) + fOffset;
    const int32_t iColumn = Velk::truncateToInt(fColumn);
    return {iColumn,
            iRow,
            {(fColumn - static_cast<float>(iColumn)) * W, (fRow - static_cast<float>(iRow)) * H},
            {M / (W + M), M / (H + M)}};
}

float hashOf(const BrickCell& cell) {
    return NoiseFunction(static_cast<uint32_t>(cell.iColumn), static_cast<uint32_t>(cell.iRow));
}

float reliefSize(float fHeight) {
    return fHeight > 0.1f ? BRICK_RELIEF : MORTAR_RELIEF;
}

NMVector3f reliefNormal(float px, float py, float fSize) {
    const float fCloud = Cloud(px, py, fSize, 1.0f);
    const float gx = -(Cloud(px + 2.0f, py, fSize, 1.0f) - fCloud) * 128.0f;
    const float gy = -(Cloud(px, py + 2.0f, fSize, 1.0f) - fCloud) * 128.0f;
    const float fLength = sqrtf(gx * gx + 16.0f + gy * gy);
    return {gx / fLength, gy / fLength, 4.0f / fLength};
}

float dirtFactor(float px, float py, float v) {
    const float fBase = (1.0f - std::min(1.0f, v - 0.3f)) * Cloud(px, py, DIRT_SIZE, 1.0f);
    float d = power(fBase, 0.8f);
    if (v < 0.3f) {
        const float fDivisor = 1.0f - 3.0f * (0.3f - v);
        d = fDivisor == 0.0f ? 0.0f : d / fDivisor;
    }
    if (d < 0.6f) return 0.6f;
    if (d > 0.7f && d < 0.73f) return 0.8f;
    return d < 1.0f ? d : 1.0f;
}

float reflectionWeight(float fDirt) {
    const float g = 1.0f - fDirt;
    if (g < 0.0f) return 0.0f;
    return g > 0.7f ? 1.0f : HermiteCurve(g / 0.7f);
}

// The largest scale factor, at most 1, that keeps the rotated brick inside its cell.
float shrinkFactor(const NMVector2f& c, const NMVector2f& size, float fSin, float fCos) {
    const float x0 = -c.x, x1 = size.x - c.x, y0 = -c.y, y1 = size.y - c.y;
    const NMVector2f corners[4] = {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}};
    float k = 0.0f;
    for (unsigned u = 0; u < 4; ++u) {
        const float x = corners[u].x * fCos + corners[u].y * fSin;
        const float y = -corners[u].x * fSin + corners[u].y * fCos;
        const float fCorner = std::min(Clamp(x, x0, x1) / x, Clamp(y, y0, y1) / y);
        k = u ? std::min(k, fCorner) : fCorner;
    }
    return k;
}

}  // namespace

NMVector3f Wall(NMVector2f uv, float fScaleU, float fScaleV, float fBrickWidth, float fBrickHeight, float fMortarWidth,
                float fAngleCoeff, bool bDirt, NMVector3f* pNormal, AttributeInstance* pAttribute) {
    const float px = uv.x * fScaleU, py = uv.y * fScaleV;
    const BrickCell cell = findCell(px, py, fBrickWidth, fBrickHeight, fMortarWidth);
    const float fAngle = Clamp(hashOf(cell) - MAX_ROTATION, -MAX_ROTATION, MAX_ROTATION) * fAngleCoeff;
    float fHeight = 0.0f;
    DrawBrick(cell.v2Position, {fBrickWidth * 0.5f, fBrickHeight * 0.5f}, {fBrickWidth, fBrickHeight}, cell.v2Mortar,
              fAngle, &fHeight, pNormal);
    *pNormal = *pNormal + reliefNormal(px, py, reliefSize(fHeight));
    NMVector3f v3Colour = getBrickColour(fHeight, cell.iColumn, cell.iRow);
    if (bDirt) {
        const float f = dirtFactor(px, py, uv.y);
        v3Colour = v3Colour * f;
        pAttribute->fKts = reflectionWeight(f);
    }
    *pNormal = normalize(*pNormal);
    return v3Colour;
}

void DrawBrick(const NMVector2f& v2Position, const NMVector2f& v2Centre, const NMVector2f& v2Size,
               const NMVector2f& v2Mortar, float fAngle, float* pHeight, NMVector3f* pNormal) {
    const float fSin = sine(fAngle), fCos = cosine(fAngle);
    const NMVector2f& c = v2Centre;
    const float k = shrinkFactor(c, v2Size, fSin, fCos);
    const float fLeft = (c.x - k * c.x) / v2Size.x, fRight = (c.x + k * (v2Size.x - c.x)) / v2Size.x;
    const float fBottom = (c.y - k * c.y) / v2Size.y, fTop = (c.y + k * (v2Size.y - c.y)) / v2Size.y;
    const float dx = v2Position.x - c.x, dy = v2Position.y - c.y;
    const float qx = (dx * fCos - dy * fSin + c.x) / v2Size.x;
    const float qy = (dx * fSin + dy * fCos + c.y) / v2Size.y;
    const float mx = v2Mortar.x, my = v2Mortar.y;
    *pHeight = (HermiteStep(qx, fLeft, fLeft + mx) - HermiteStep(qx, fRight - mx, fRight)) *
               (HermiteStep(qy, fBottom, fBottom + my) - HermiteStep(qy, fTop - my, fTop));
    if (!pNormal || !(*pHeight > 0.0f)) return;
    const float fAlpha =
        arcTangent(HermiteStepDeriverative(qx, fLeft, fLeft + mx) - HermiteStepDeriverative(qx, fRight - mx, fRight));
    const float fBeta =
        arcTangent(HermiteStepDeriverative(qy, fBottom, fBottom + my) - HermiteStepDeriverative(qy, fTop - my, fTop));
    *pNormal = normalize(NMVector3f{-sine(fAlpha), -sine(fBeta), cosine(fAlpha) + cosine(fBeta)});
}

NMVector3f getBrickColour(float t, int iColumn, int iRow) {
    const int k = BrickColorNoise(static_cast<uint32_t>(iColumn), static_cast<uint32_t>(iRow), 3);
    const float fRed =
        k < 3 ? InterpolateBSpline(t, 0.8f, 0.5f, 0.4f, 0.2f) : InterpolateBSpline(t, 0.8f, 0.5f, 0.5f, 0.4f);
    return {fRed, InterpolateBSpline(t, 0.75f, 0.4f, 0.2f, 0.1f), InterpolateBSpline(t, 0.6f, 0.3f, 0.1f, 0.0f)};
}

float Height(NMVector2f uv, float fScaleU, float fScaleV, float fBrickWidth, float fBrickHeight, float fMortarWidth) {
    const float px = uv.x * fScaleU, py = uv.y * fScaleV;
    const BrickCell cell = findCell(px, py, fBrickWidth, fBrickHeight, fMortarWidth);
    const float r = hashOf(cell);
    const float a = Clamp((0.387f * r + 0.617f) * r, 0.0f, 1.0f), b = Clamp((0.474f * r + 0.527f) * r, 0.0f, 1.0f);
    const NMVector2f v2Centre{(0.5f * a + 0.25f) * fBrickWidth, (0.5f * b + 0.25f) * fBrickHeight};
    float fHeight = 0.0f;
    DrawBrick(cell.v2Position, v2Centre, {fBrickWidth, fBrickHeight}, cell.v2Mortar,
              Clamp(r - MAX_ROTATION, -MAX_ROTATION, MAX_ROTATION) * 0.125f, &fHeight, nullptr);
    return Clamp(fHeight * Cloud(px, py, reliefSize(fHeight), 1.0f), 0.0f, 1.0f);
}

NMVector3f TransformPoint(const NMVector3f& p, const NMVector3f& a, const NMVector3f& b, const NMVector3f& c) {
    return {dot(a, p), dot(b, p), dot(c, p)};
}

}  // namespace rt
