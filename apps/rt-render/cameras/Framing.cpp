// Cameras that see all of a scene.
#include "rt-render/cameras/Framing.h"

#include <algorithm>
#include <cmath>

#include "rt-render/options/View.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr float FILLED = 0.88f;  // of the picture's width or height is the scene's
constexpr double A_DEGREE = 3.14159265358979323846 / 180.0;

NMVector3f lookOf(const Frame& frame) {
    return frame.v3ImageOrigin + frame.v3ImageSpanX * 0.5f + frame.v3ImageSpanY * 0.5f - frame.v3Eye;
}

}  // namespace

Framing::Framing(const Scene& prepared, uint32_t uGround, const Frame& firstView)
    : scene(prepared), uLeftOut(uGround), first(firstView), v3Up(uprightOf(first.v3ImageSpanX, first.v3ImageSpanY)) {
    const NMVector3f v3Look = lookOf(first);
    fHalfWidth = 0.5f * length(first.v3ImageSpanX) / length(v3Look);
    fHalfHeight = fHalfWidth * static_cast<float>(first.uHeight) / static_cast<float>(first.uWidth);
    fHand = dot(cross(first.v3ImageSpanX, v3Look), first.v3ImageSpanY) < 0.0f ? -1.0f : 1.0f;
    NMVector3f v3Min{HUGE_VALF, HUGE_VALF, HUGE_VALF}, v3Max = v3Min * -1.0f;
    forEachCorner([&](const NMVector3f& v) {
        v3Min = minimum(v3Min, v);
        v3Max = maximum(v3Max, v);
    });
    const bool bAny = isFinite(v3Min);  // without faces, the lonely vertices count
    v3Middle = bAny ? (v3Min + v3Max) * 0.5f : scene.v3Center;
    if (!bAny) fRadius = 0.5f * scene.fDiagonal;
    forEachCorner([&](const NMVector3f& v) { fRadius = std::max(fRadius, length(v - v3Middle)); });
}

template <typename Visit>
void Framing::forEachCorner(const Visit& visit) const {
    for (uint32_t u = 0; u < scene.vFaces.uCount; ++u) {
        const FaceData& face = scene.vFaces[u];
        if (face.uAttribute == uLeftOut && uLeftOut != NO_INDEX) continue;
        for (const SceneVertex* p : {face.pA, face.pB, face.pC}) visit(p->v3Position);
    }
}

Framing::Axes Framing::looking(double dTurn, double dElevation) const {
    const NMVector3f v3Ahead = fabsf(v3Up.z) > 0.9f ? NMVector3f{0, 1, 0} : NMVector3f{0, 0, 1};
    const NMVector3f v3Side = normalize(cross(v3Up, v3Ahead)) * fHand, v3Front = cross(v3Side * fHand, v3Up);
    const float fSin = static_cast<float>(sin(dTurn * A_DEGREE)), fCos = static_cast<float>(cos(dTurn * A_DEGREE));
    const float fHigh = static_cast<float>(sin(dElevation * A_DEGREE)),
                fFlat = static_cast<float>(cos(dElevation * A_DEGREE));
    Axes axes{};
    axes.v3Right = normalize(v3Side * fCos + v3Front * fSin);
    axes.v3Forward = normalize((v3Front * fCos - v3Side * fSin) * fFlat - v3Up * fHigh);
    axes.v3Down = cross(axes.v3Right, axes.v3Forward) * fHand;
    return axes;
}

Frame Framing::around(double dTurn, double dElevation) const {
    const Axes axes = looking(dTurn, dElevation);
    return first.bParallel ? fittedParallel(axes) : fitted(axes);
}

Frame Framing::asFirst() const {
    const NMVector3f v3Right = normalize(first.v3ImageSpanX), v3Forward = normalize(lookOf(first));
    const Axes axes{v3Right, cross(v3Right, v3Forward) * fHand, v3Forward};
    return first.bParallel ? fittedParallel(axes) : fitted(axes);
}

Frame Framing::asFirstThrough(const NMVector3f& v3Point) const {
    const NMVector3f v3Look = lookOf(first);
    const float fTimes = dot(v3Point - first.v3Eye, v3Look) / dot(v3Look, v3Look);
    const float fScale = fTimes > 1e-3f ? fTimes : 1.0f;  // not for what is behind the eye
    Frame frame = first;
    frame.v3ImageSpanX = first.v3ImageSpanX * fScale;
    frame.v3ImageSpanY = first.v3ImageSpanY * fScale;
    frame.v3ImageOrigin = first.v3Eye + v3Look * fScale - frame.v3ImageSpanX * 0.5f - frame.v3ImageSpanY * 0.5f;
    return frame;
}

Frame Framing::onSphere(double dTurn, double dElevation) const {
    const Axes axes = looking(dTurn, dElevation);
    const float fLess = std::min(fHalfWidth, fHalfHeight) * FILLED;
    if (first.bParallel) {
        const float fHalf = fRadius / FILLED * std::max(1.0f, fHalfWidth / fHalfHeight);
        return make(axes, v3Middle - axes.v3Forward * (2.0f * fRadius), 2.0f * fRadius, fHalf);
    }
    const float fDistance = fRadius * sqrtf(1.0f + fLess * fLess) / fLess;  // a cone around a ball
    return make(axes, v3Middle - axes.v3Forward * fDistance, fDistance, fHalfWidth * fDistance);
}

// The nearest eye from which all is inside the picture. Across the view, x - t z is what a corner at depth z needs of a
// picture whose half width is t at distance 1.
Frame Framing::fitted(const Axes& axes) const {
    const float fTx = fHalfWidth * FILLED, fTy = fHalfHeight * FILLED;
    float fRight = -HUGE_VALF, fLeft = fRight, fTop = fRight, fBottom = fRight, fNearest = HUGE_VALF;
    forEachCorner([&](const NMVector3f& v) {
        const NMVector3f p = v - v3Middle;
        const float x = dot(p, axes.v3Right), y = dot(p, axes.v3Down), z = dot(p, axes.v3Forward);
        fRight = std::max(fRight, x - fTx * z), fLeft = std::max(fLeft, -x - fTx * z);
        fBottom = std::max(fBottom, y - fTy * z), fTop = std::max(fTop, -y - fTy * z);
        fNearest = std::min(fNearest, z);
    });
    if (!(fNearest < HUGE_VALF)) return first;
    const float fBack = std::max((fRight + fLeft) / (2.0f * fTx), (fTop + fBottom) / (2.0f * fTy));
    const float fAway = std::max(fBack, 0.05f * fRadius - fNearest);
    const NMVector3f v3Eye = v3Middle + axes.v3Right * ((fRight - fLeft) * 0.5f) +
                             axes.v3Down * ((fBottom - fTop) * 0.5f) - axes.v3Forward * fAway;
    return make(axes, v3Eye, fAway, fHalfWidth * fAway);
}

Frame Framing::fittedParallel(const Axes& axes) const {
    NMVector3f v3Min{HUGE_VALF, HUGE_VALF, HUGE_VALF}, v3Max = v3Min * -1.0f;
    forEachCorner([&](const NMVector3f& v) {
        const NMVector3f p = v - v3Middle;
        const NMVector3f v3Seen{dot(p, axes.v3Right), dot(p, axes.v3Down), dot(p, axes.v3Forward)};
        v3Min = minimum(v3Min, v3Seen);
        v3Max = maximum(v3Max, v3Seen);
    });
    if (!isFinite(v3Min)) return first;
    const float fHalf =
        std::max({(v3Max.x - v3Min.x) * 0.5f, (v3Max.y - v3Min.y) * 0.5f * fHalfWidth / fHalfHeight, 1e-3f * fRadius}) /
        FILLED;
    const NMVector3f v3Eye = v3Middle + axes.v3Right * ((v3Max.x + v3Min.x) * 0.5f) +
                             axes.v3Down * ((v3Max.y + v3Min.y) * 0.5f) - axes.v3Forward * (2.0f * fRadius);
    return make(axes, v3Eye, 2.0f * fRadius, fHalf);
}

// fWide: half the picture's width on the image plane.
Frame Framing::make(const Axes& axes, const NMVector3f& v3Eye, float fDistance, float fWide) const {
    Frame frame = first;
    const NMVector3f v3Row = axes.v3Right * fWide, v3Column = axes.v3Down * (fWide * fHalfHeight / fHalfWidth);
    frame.v3Eye = v3Eye;
    frame.v3ImageOrigin = v3Eye + axes.v3Forward * fDistance - v3Row - v3Column;
    frame.v3ImageSpanX = v3Row * 2.0f;
    frame.v3ImageSpanY = v3Column * 2.0f;
    frame.fMaxDistance = length(v3Eye - scene.v3Center) + scene.fDiagonal;
    return frame;
}

}  // namespace rt
