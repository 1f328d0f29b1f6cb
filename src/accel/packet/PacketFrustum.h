#pragma once

// The frustum around all rays of a packet. It tests four boxes in the time of a single ray. B is a vector of four.
//
// Let k be an axis along which all rays travel in the same direction. On another axis, a ray's distance from the apex
// is its slope times its depth along k. The apex is a box, and the slopes lie in an interval. So at the depths of a
// box, all rays lie within an interval on each other axis. When that interval misses the box, every ray does. The apex
// holds the origins of the rays, or their ends when these lie closer together, as for shadow rays to one light. Depths
// then grow backwards. docs/queries.md ("The frustum") shows that rounding skips no hit.

#include "accel/bvh/Bvh.h"
#include "accel/packet/RayPacket.h"

namespace rt {

namespace {

template <typename F, typename B>
class PacketFrustum {
 public:
    using Rays = RayPacket<F>;
    using Interval = typename Rays::Interval;
    static constexpr unsigned W = F::WIDTH;

    /// Bounds the rays of uMask, which must not be empty. With bEnds their ends may be the apex. False when the rays
    /// have no axis in common.
    bool bound(const Rays& rays, uint64_t uMask, bool bEnds) {
        k = longestAxis(rays, static_cast<unsigned>(__builtin_ctzll(uMask)));
        const Interval along = Rays::interval(uMask, [&](unsigned g) { return rays.dir(k, g); });
        const bool bPositive = along.fLow > 0.0f;
        if (!bPositive && !(along.fHigh < 0.0f)) return false;
        for (unsigned i = 0; i < 2; ++i) {
            const unsigned a = g_modulo[k + 1 + i];
            slopes[i] = Rays::interval(uMask, [&](unsigned g) { return rays.dir(a, g) * abs(rays.reciprocal(k, g)); });
            if (!(slopes[i].fLow >= -MAX_SLOPE && slopes[i].fHigh <= MAX_SLOPE)) return false;
        }
        Interval ends[3];
        const float fSpread = boundPoints(uMask, apex, [&](unsigned a, unsigned g) { return rays.origin(a, g); });
        const bool bFromEnd =
            bEnds && boundPoints(uMask, ends, [&](unsigned a, unsigned g) { return rays.end(a, g); }) < fSpread;
        float fLargest = 0.0f;
        for (unsigned a = 0; a < 3; ++a) {
            if (bFromEnd) apex[a] = ends[a];
            const float fSize = apex[a].fHigh > -apex[a].fLow ? apex[a].fHigh : -apex[a].fLow;
            if (fSize > fLargest) fLargest = fSize;
        }
        for (unsigned a = 0; a < 3; ++a) {
            apex[a].fLow -= SLACK * fLargest;
            apex[a].fHigh += SLACK * fLargest;
        }
        bForward = bPositive != bFromEnd;
        if (bFromEnd) {
            for (Interval& slope : slopes) slope = {-slope.fHigh, -slope.fLow};
        }
        fMaxDepth = Rays::INFINITE;
        return true;
    }

    /// Limits the depth to the farthest point within the bounds of the lanes of uMask.
    void limitDepth(const Rays& rays, uint64_t uMask, const float* pBounds) {
        fMaxDepth =
            Rays::interval(uMask, [&](unsigned g) { return F::load(pBounds + g * W) * abs(rays.dir(k, g)); }).fHigh;
    }

    float maxDepth() const { return fMaxDepth; }

    /// The boxes of a node that some ray may hit (bit i for box i), and the least depth of each.
    unsigned intersects(const BvhNode& node, float* pDepth) const {
        const B low = B::load(node.fMin[k]), high = B::load(node.fMax[k]);
        const B first = bForward ? low - apex[k].fHigh : apex[k].fLow - high;
        const B last = bForward ? high - apex[k].fLow : apex[k].fHigh - low;
        const B near = max(first, 0.0f), far = min(last, fMaxDepth);
        typename B::Mask met = near <= far;
        for (unsigned i = 0; i < 2; ++i) {
            const unsigned a = g_modulo[k + 1 + i];
            const Interval& slope = slopes[i];
            const B from = apex[a].fLow + (slope.fLow >= 0.0f ? near : far) * slope.fLow;
            const B to = apex[a].fHigh + (slope.fHigh <= 0.0f ? near : far) * slope.fHigh;
            met &= (from <= B::load(node.fMax[a])) & (to >= B::load(node.fMin[a]));
        }
        near.store(pDepth);
        return bits(met);
    }

 private:
    static constexpr float MAX_SLOPE = 4.0f;
    static constexpr float SLACK = 4e-6f;  // for the rounding of an apex that lies further away than the scene

    static unsigned longestAxis(const Rays& rays, unsigned uLane) {
        unsigned uLongest = 0;
        for (unsigned a = 1; a < 3; ++a) {
            if (__builtin_fabsf(rays.dirOf(a, uLane)) > __builtin_fabsf(rays.dirOf(uLongest, uLane))) uLongest = a;
        }
        return uLongest;
    }

    // The bounding box of one point of each lane. Returns the sum of its edges.
    template <typename Point>
    static float boundPoints(uint64_t uMask, Interval* pBox, const Point& point) {
        float fSpread = 0.0f;
        for (unsigned a = 0; a < 3; ++a) {
            pBox[a] = Rays::interval(uMask, [&](unsigned g) { return point(a, g); });
            fSpread += pBox[a].fHigh - pBox[a].fLow;
        }
        return fSpread;
    }

    unsigned k = 0;
    bool bForward = false;  // depths grow upwards along k
    Interval apex[3];
    Interval slopes[2];                // on the two axes after k, per unit of depth
    float fMaxDepth = Rays::INFINITE;  // no ray searches beyond
};

}  // namespace

}  // namespace rt
