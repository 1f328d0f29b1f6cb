// The camera that the user asks for, and its way around the scene.
#include "rt-render/options/View.h"

#include <algorithm>
#include <cmath>

#include "base/maths/Angles.h"

namespace rt {

using Velk::NMVector3f;

namespace {

NMVector3f turn(const NMVector3f& v, const NMVector3f& v3Axis, float fSin, float fCos) {
    return v * fCos + cross(v3Axis, v) * fSin + v3Axis * (dot(v3Axis, v) * (1.0f - fCos));
}

}  // namespace

NMVector3f uprightOf(const NMVector3f& v3Row, const NMVector3f& v3Column) {
    const float fRow[3] = {v3Row.x, v3Row.y, v3Row.z}, fUp[3] = {-v3Column.x, -v3Column.y, -v3Column.z};
    unsigned uAxis = 0;
    for (unsigned u = 1; u < 3; ++u) uAxis = fabsf(fUp[u]) > fabsf(fUp[uAxis]) ? u : uAxis;
    if (fabsf(fRow[uAxis]) > 1e-4f * length(v3Row)) return normalize(v3Column * -1.0f);
    NMVector3f v3Axis{};
    (uAxis == 0 ? v3Axis.x : uAxis == 1 ? v3Axis.y : v3Axis.z) = fUp[uAxis] < 0.0f ? -1.0f : 1.0f;
    return v3Axis;
}

bool View::apply(RayTracer& rayTracer) const {
    if (!isSet()) return false;
    Camera& camera = rayTracer.camera;
    NMVector3f v3HalfRow = (camera.v3Screen[1] - camera.v3Screen[0]) * 0.5f;
    NMVector3f v3HalfColumn = (camera.v3Screen[2] - camera.v3Screen[0]) * 0.5f;
    NMVector3f v3Look = camera.v3Screen[0] + v3HalfRow + v3HalfColumn - camera.v3Position;
    const float fDistance = length(v3Look);
    float fRow = length(v3HalfRow), fColumn = length(v3HalfColumn);
    if (fFov) {
        fRow = fDistance * Velk::tangent(*fFov * 0.5f * 3.14159265f / 180.0f);
        fColumn =
            fRow * static_cast<float>(rayTracer.parameters.uHeight) / static_cast<float>(rayTracer.parameters.uWidth);
    }
    v3Look = v3Look * (1.0f / fDistance);
    v3HalfRow = normalize(v3HalfRow);
    v3HalfColumn = normalize(v3HalfColumn);
    if (v3From || v3At) {
        const NMVector3f v3Eye = v3From.value_or(camera.v3Position);
        const NMVector3f v3NewLook = v3At.value_or(middleOf(rayTracer.scene)) - v3Eye;
        if (!(length(v3NewLook) > 0.0f)) return true;
        // Either handedness: a picture that is upright stays so.
        const float fHand = dot(cross(v3HalfRow, v3Look), v3HalfColumn) < 0.0f ? -1.0f : 1.0f;
        NMVector3f v3Up = uprightOf(v3HalfRow, v3HalfColumn);
        const NMVector3f v3OldLook = v3Look;
        v3Look = normalize(v3NewLook);
        if (length(cross(v3Up, v3Look)) < 1e-4f) v3Up = v3OldLook;  // straight up or down
        if (length(cross(v3Up, v3Look)) < 1e-4f) v3Up = v3HalfColumn * -1.0f;
        v3HalfRow = normalize(cross(v3Up, v3Look)) * fHand;
        v3HalfColumn = normalize(cross(v3HalfRow, v3Look)) * fHand;
        camera.v3Position = v3Eye;
    }
    const NMVector3f v3Row = v3HalfRow * fRow, v3Column = v3HalfColumn * fColumn;
    const NMVector3f v3Centre = camera.v3Position + v3Look * fDistance;
    camera.v3Screen[0] = v3Centre - v3Column - v3Row;
    camera.v3Screen[1] = v3Centre - v3Column + v3Row;
    camera.v3Screen[2] = v3Centre + v3Column - v3Row;
    return false;
}

bool looksNowhere(const Camera& camera) {
    const NMVector3f v3Row = camera.v3Screen[1] - camera.v3Screen[0],
                     v3Column = camera.v3Screen[2] - camera.v3Screen[0];
    const NMVector3f v3Look = camera.v3Screen[0] + (v3Row + v3Column) * 0.5f - camera.v3Position;
    const bool bFinite = std::isfinite(length(v3Look)) && std::isfinite(length(v3Row) + length(v3Column));
    return !bFinite || !(length(v3Look) > 0.0f);
}

NMVector3f middleOf(const Scene& scene) {
    NMVector3f v3Min = scene.pVertices[0].v3Position, v3Max = v3Min;
    for (uint32_t u = 1; u < scene.uVertexCount; ++u) {
        v3Min = minimum(v3Min, scene.pVertices[u].v3Position);
        v3Max = maximum(v3Max, scene.pVertices[u].v3Position);
    }
    return (v3Min + v3Max) * 0.5f;
}

Orbit::Orbit(const Scene& scene, const Frame& firstView)
    : first(firstView), v3Middle(scene.v3Center), v3Axis(uprightOf(first.v3ImageSpanX, first.v3ImageSpanY)) {}

Frame Orbit::look(unsigned uFrame, unsigned uFrames) const {
    if (!uFrame) return first;  // unrounded: the very view of the single picture
    const double dAngle = 2.0 * 3.14159265358979323846 * uFrame / uFrames;
    const float fSin = static_cast<float>(sin(dAngle)), fCos = static_cast<float>(cos(dAngle));
    const auto turned = [&](const NMVector3f& v) { return turn(v, v3Axis, fSin, fCos); };
    Frame view = first;
    view.v3Eye = v3Middle + turned(first.v3Eye - v3Middle);
    view.v3ImageOrigin = v3Middle + turned(first.v3ImageOrigin - v3Middle);
    view.v3ImageSpanX = turned(first.v3ImageSpanX);
    view.v3ImageSpanY = turned(first.v3ImageSpanY);
    return view;
}

}  // namespace rt
