// The overlap test of a triangle and a box, operation by operation as published.
#include "accel/TriBoxIntersection.h"

#include <algorithm>

namespace rt {

using Velk::NMVector3f;

namespace {

// The axis is the cross product of one coordinate axis with an edge; fA and fB are the edge's other two components. Two
// of the vertices have different projections, given by their coordinates (u, v) on the other two axes.
bool isSeparated(float fA, float fB, float u1, float v1, float u2, float v2, float fHalfU, float fHalfV) {
    const float p1 = fA * u1 - fB * v1;
    const float p2 = fA * u2 - fB * v2;
    const float fRadius = fabsf(fA) * fHalfU + fabsf(fB) * fHalfV;
    return std::min(p1, p2) > fRadius || std::max(p1, p2) < -fRadius;
}

bool separatesX(const NMVector3f& e, const NMVector3f& p, const NMVector3f& q, const NMVector3f& h) {
    return isSeparated(e.z, e.y, p.y, p.z, q.y, q.z, h.y, h.z);
}

bool separatesY(const NMVector3f& e, const NMVector3f& p, const NMVector3f& q, const NMVector3f& h) {
    return isSeparated(e.x, e.z, p.z, p.x, q.z, q.x, h.z, h.x);
}

bool separatesZ(const NMVector3f& e, const NMVector3f& p, const NMVector3f& q, const NMVector3f& h) {
    return isSeparated(e.y, e.x, p.x, p.y, q.x, q.y, h.x, h.y);
}

}  // namespace

bool PlaneBoxOverlap(const NMVector3f& v3Normal, const NMVector3f& v3Vert, const NMVector3f& v3MaxBox) {
    NMVector3f v3Near, v3Far;
    for (unsigned q = 0; q < 3; ++q) {
        const bool bPositive = v3Normal[q] > 0.0f;
        v3Near[q] = (bPositive ? -v3MaxBox[q] : v3MaxBox[q]) - v3Vert[q];
        v3Far[q] = (bPositive ? v3MaxBox[q] : -v3MaxBox[q]) - v3Vert[q];
    }
    if (dot(v3Normal, v3Near) > 0.0f) return false;
    return dot(v3Normal, v3Far) >= 0.0f;
}

bool TriBoxIntersection(const NMVector3f& v3Centre, const NMVector3f& v3Half, const NMVector3f& a, const NMVector3f& b,
                        const NMVector3f& c) {
    const NMVector3f t0 = a - v3Centre, t1 = b - v3Centre, t2 = c - v3Centre;
    const NMVector3f e0 = t1 - t0, e1 = t2 - t1, e2 = t0 - t2;
    // Which two vertices stand for the three on an axis decides the last bit of their projections.
    if (separatesX(e0, t0, t2, v3Half) || separatesY(e0, t0, t2, v3Half) || separatesZ(e0, t1, t2, v3Half))
        return false;
    if (separatesX(e1, t0, t2, v3Half) || separatesY(e1, t0, t2, v3Half) || separatesZ(e1, t0, t1, v3Half))
        return false;
    if (separatesX(e2, t0, t1, v3Half) || separatesY(e2, t0, t1, v3Half) || separatesZ(e2, t1, t2, v3Half))
        return false;
    for (unsigned q = 0; q < 3; ++q) {
        if (std::min({t0[q], t1[q], t2[q]}) > v3Half[q] || std::max({t0[q], t1[q], t2[q]}) < -v3Half[q]) return false;
    }
    return PlaneBoxOverlap(cross(e0, e1), t0, v3Half);
}

}  // namespace rt
