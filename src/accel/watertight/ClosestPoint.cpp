// Closest points: the definition for one face, and the search of the hierarchy.
#include "accel/watertight/ClosestPoint.h"

#include <algorithm>
#include <cmath>

namespace rt {

namespace {

// Rounding moves a point of a face out of its box by less than this part of the largest coordinate.
constexpr double SLACK = 0x1p-48;

struct Vector {
    double d[3];

    Vector operator-(const Vector& v) const { return {{d[0] - v.d[0], d[1] - v.d[1], d[2] - v.d[2]}}; }
    double dot(const Vector& v) const { return d[0] * v.d[0] + d[1] * v.d[1] + d[2] * v.d[2]; }
};

// Weights of two of the corners, the rest is that of the third.
struct Weights {
    double dA, dB;
};

// Takes other weights when they lead closer to the point.
void consider(const Vector* pCorners, const Weights& weights, Weights& best, Vector& offset, double& dSquare) {
    const double dC = 1.0 - weights.dA - weights.dB;
    Vector v;
    for (unsigned a = 0; a < 3; ++a) {
        v.d[a] = weights.dA * pCorners[0].d[a] + weights.dB * pCorners[1].d[a] + dC * pCorners[2].d[a];
    }
    const double d = v.dot(v);
    if (!(d < dSquare)) return;
    dSquare = d;
    offset = v;
    best = weights;
}

// How far from p to q the origin is closest, within 0 and 1.
double along(const Vector& p, const Vector& q) {
    const Vector way = q - p;
    const double dLength = way.dot(way);
    return dLength > 0.0 ? std::clamp(-p.dot(way) / dLength, 0.0, 1.0) : 0.0;
}

// A lower bound on the square of the distance to any point that closestOfFace() may return for a face in a box.
double squareTo(const WatertightNode& node, unsigned i, const float* pPoint, double dSlack) {
    double dSquare = 0.0;
    for (unsigned a = 0; a < 3; ++a) {
        const double p = pPoint[a];
        const double d = std::max({node.fMin[a][i] - p, p - node.fMax[a][i], 0.0}) - dSlack;
        if (d > 0.0) dSquare += d * d;
    }
    return dSquare;
}

}  // namespace

void closestOfFace(const WatertightFace& face, const float* pPoint, WatertightClosest& closest) {
    Vector p[3];  // from the point
    for (unsigned c = 0; c < 3; ++c) {
        for (unsigned a = 0; a < 3; ++a) p[c].d[a] = static_cast<double>(face.fAt[a][c]) - pPoint[a];
    }
    // The three edges, and the foot of the perpendicular where it lies inside.
    Weights best{};
    Vector offset{};
    double dSquare = INFINITY;
    const double ab = along(p[0], p[1]), bc = along(p[1], p[2]), ca = along(p[2], p[0]);
    consider(p, {1.0 - ab, ab}, best, offset, dSquare);
    consider(p, {0.0, 1.0 - bc}, best, offset, dSquare);
    consider(p, {ca, 0.0}, best, offset, dSquare);
    const Vector u = p[0] - p[2], v = p[1] - p[2];
    const double uu = u.dot(u), uv = u.dot(v), vv = v.dot(v), pu = -p[2].dot(u), pv = -p[2].dot(v);
    const double dArea = uu * vv - uv * uv, dA = (vv * pu - uv * pv) / dArea, dB = (uu * pv - uv * pu) / dArea;
    if (dA >= 0.0 && dB >= 0.0 && dA + dB <= 1.0) consider(p, {dA, dB}, best, offset, dSquare);
    closest.dDistance = std::sqrt(dSquare);
    for (unsigned a = 0; a < 3; ++a) closest.fPoint[a] = static_cast<float>(offset.d[a] + pPoint[a]);
    closest.fU = static_cast<float>(best.dA);
    closest.fV = static_cast<float>(best.dB);
}

WatertightClosest closestOfMesh(const WatertightBvh& bvh, const float* pPoint, double dLimit) {
    constexpr WatertightClosest NONE{INFINITY, {0, 0, 0}, 0, 0, WatertightHit::NO_FACE};
    WatertightClosest best = NONE;
    best.dDistance = dLimit;
    double dSlack = 0.0;
    for (unsigned a = 0; a < 3; ++a) {
        if (!(std::fabs(pPoint[a]) < HUGE_VALF)) return NONE;
        dSlack = std::max(dSlack, SLACK * (std::fabs(static_cast<double>(pPoint[a])) + bvh.fReach[a]));
    }
    if (!bvh.vNodes.uCount || !(dLimit >= 0.0)) return NONE;
    struct Waiting {
        double dSquare;
        uint32_t uChild;
    };
    Waiting stack[WatertightBvh::STACK_SIZE];
    unsigned uSize = 0;
    stack[uSize++] = {0.0, 0};
    while (uSize) {
        const Waiting next = stack[--uSize];
        if (next.dSquare * (1.0 - SLACK) > best.dDistance * best.dDistance) continue;
        if (next.uChild & WatertightNode::LEAF) {
            const uint32_t uFirst = next.uChild & WatertightNode::FIRST_MASK;
            const uint32_t uCount = next.uChild >> WatertightNode::COUNT_SHIFT & 7;
            for (uint32_t u = uFirst; u < uFirst + uCount; ++u) {
                WatertightClosest closest;
                closestOfFace(bvh.vFaces[u], pPoint, closest);
                closest.uFace = bvh.vFaces[u].uFace;
                if (closest.dDistance < best.dDistance ||
                    (closest.dDistance == best.dDistance && closest.uFace < best.uFace)) {
                    best = closest;
                }
            }
            continue;
        }
        const WatertightNode& node = bvh.vNodes[next.uChild];
        const unsigned uBase = uSize;
        for (unsigned i = 0; i < WatertightNode::WIDTH; ++i) {
            if (node.uChild[i] == WatertightNode::LEAF) continue;
            const double dSquare = squareTo(node, i, pPoint, dSlack);
            if (dSquare * (1.0 - SLACK) > best.dDistance * best.dDistance) continue;
            unsigned u = uSize++;
            for (; u > uBase && stack[u - 1].dSquare < dSquare; --u) stack[u] = stack[u - 1];
            stack[u] = {dSquare, node.uChild[i]};
        }
    }
    return best.uFace == WatertightHit::NO_FACE ? NONE : best;
}

}  // namespace rt
