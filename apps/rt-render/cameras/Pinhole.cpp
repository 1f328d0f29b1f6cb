// The way between frames and the cameras of photogrammetry.
#include "rt-render/cameras/Pinhole.h"

#include <algorithm>
#include <cmath>

namespace rt {

using Velk::NMVector3f;

namespace {

using Triple = Pinhole::Triple;

Triple tripleOf(const NMVector3f& v) {
    return {double{v.x}, double{v.y}, double{v.z}};
}

NMVector3f vectorOf(const Triple& t) {
    return {static_cast<float>(t[0]), static_cast<float>(t[1]), static_cast<float>(t[2])};
}

// a + b * d
Triple sum(const Triple& a, const Triple& b, double d) {
    return {a[0] + b[0] * d, a[1] + b[1] * d, a[2] + b[2] * d};
}

double product(const Triple& a, const Triple& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Triple crossed(const Triple& a, const Triple& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

Triple unit(const Triple& a) {
    return sum({}, a, 1.0 / sqrt(product(a, a)));
}

}  // namespace

Pinhole pinholeOf(const Frame& frame, const Scene& scene, double dShift) {
    const Triple row = tripleOf(frame.v3ImageSpanX), column = tripleOf(frame.v3ImageSpanY);
    const Triple eye = tripleOf(frame.v3Eye), first = sum(tripleOf(frame.v3ImageOrigin), eye, -1.0);
    Pinhole camera{};
    camera.right = unit(row);
    camera.down = unit(sum(column, camera.right, -product(column, camera.right)));
    camera.forward = crossed(camera.right, camera.down);
    const double dSide = product(first, camera.forward), dFactor = double{scene.fDomainFactor};
    if (dSide < 0.0) camera.forward = sum({}, camera.forward, -1.0);
    const double dAcross = frame.uWidth / sqrt(product(row, row)),
                 dAlong = frame.uHeight / product(column, camera.down);
    const double dFocus = frame.bParallel ? dFactor : fabs(dSide);
    camera.eye = sum({}, eye, 1.0 / dFactor);
    camera.fx = dAcross * dFocus;
    camera.fy = dAlong * dFocus;
    camera.cx = dShift - dAcross * product(first, camera.right);
    camera.cy = dShift - dAlong * product(first, camera.down);
    camera.uWidth = frame.uWidth;
    camera.uHeight = frame.uHeight;
    camera.bParallel = frame.bParallel;
    return camera;
}

Frame frameOf(const Pinhole& camera, const Scene& scene, double dShift) {
    const double dFactor = double{scene.fDomainFactor};
    Triple eye = sum({}, camera.eye, dFactor);
    const Triple away = sum(eye, tripleOf(scene.v3Center), -1.0);
    // Any distance would do for the image plane. This one is of the size of all other numbers.
    const double dDistance = std::max(sqrt(product(away, away)), double{scene.fDiagonal} * 0.01);
    const double dUnit = camera.bParallel ? dFactor : dDistance;  // that focal lengths are for
    const double dLeft = (dShift - camera.cx) / camera.fx * dUnit, dTop = (dShift - camera.cy) / camera.fy * dUnit;
    const double dRow = camera.uWidth / camera.fx * dUnit, dColumn = camera.uHeight / camera.fy * dUnit;
    Frame frame{};
    const Triple first = sum(sum(eye, camera.right, dLeft), camera.down, dTop);
    // Parallel rays leave from around the middle of the picture.
    if (camera.bParallel) eye = sum(sum(first, camera.right, dRow * 0.5), camera.down, dColumn * 0.5);
    frame.v3Eye = vectorOf(eye);
    frame.v3ImageOrigin = vectorOf(sum(first, camera.forward, dDistance));
    frame.v3ImageSpanX = vectorOf(sum({}, camera.right, dRow));
    frame.v3ImageSpanY = vectorOf(sum({}, camera.down, dColumn));
    frame.fMaxDistance = length(frame.v3Eye - scene.v3Center) + scene.fDiagonal;
    frame.uWidth = camera.uWidth;
    frame.uHeight = camera.uHeight;
    frame.bParallel = camera.bParallel;
    return frame;
}

}  // namespace rt
