#pragma once

// The search of the hierarchy for the lanes of a packet that travel mostly along the same axis in the same direction.
// Boxes are met by all of them together first, by a bound on them, then by each lane, so that only lanes that meet all
// boxes above a face are tested against it. B is a vector of boxes. Has internal linkage, like everything that is
// compiled for several instruction sets.

#include "accel/watertight/PacketLanes.h"

namespace rt {

namespace {

// A bound on all lanes. Seen from an apex, a box that holds their origins, a lane's distance from the apex on another
// axis is its shear times its depth along the axis of the packet; so at the depths of a box all lanes lie within an
// interval. The apex may also hold their ends, and then depths grow backwards.
template <typename F, typename B>
class PacketBound {
 public:
    using Lanes = PacketLanes<F>;
    using Interval = typename Lanes::Interval;

    /// Bounds the lanes of uMask, which must not be empty. pMargins holds their largest margin on each axis.
    void bound(const Lanes& lanes, uint64_t uMask, const float* pMargins, bool bEnds) {
        for (unsigned i = 0; i < 3; ++i) k[i] = lanes.axis(i);
        for (unsigned i = 0; i < 2; ++i) {
            slopes[i] = Lanes::interval(uMask, [&](unsigned g) { return lanes.shear(i, g); });
            if (lanes.travelsDown()) slopes[i] = {-slopes[i].fHigh, -slopes[i].fLow};
        }
        Interval ends[3];
        const float fSpread = around(uMask, apex, [&](unsigned a, unsigned g) { return lanes.origin(a, g); });
        const bool bFromEnd =
            bEnds && around(uMask, ends, [&](unsigned a, unsigned g) { return lanes.end(a, g); }) < fSpread;
        if (bFromEnd) {
            // Where an end is, is rounded like a corner of the mesh.
            float fLargest = 0.0f;
            for (unsigned a = 0; a < 3; ++a) {
                apex[a] = ends[a];
                const float fSize = ends[a].fHigh > -ends[a].fLow ? ends[a].fHigh : -ends[a].fLow;
                if (fSize > fLargest) fLargest = fSize;
            }
            for (Interval& side : apex) {
                side.fLow -= MARGIN * fLargest;
                side.fHigh += MARGIN * fLargest;
            }
            for (Interval& slope : slopes) slope = {-slope.fHigh, -slope.fLow};
        }
        for (unsigned a = 0; a < 3; ++a) {
            apex[a].fLow -= pMargins[a];
            apex[a].fHigh += pMargins[a];
        }
        bForward = lanes.travelsDown() == bFromEnd;
        fDepth = Lanes::INFINITE;
    }

    /// Bounds the depth by how far the lanes of uMask look.
    void limit(const Lanes& lanes, uint64_t uMask) {
        fDepth = Lanes::interval(uMask, [&](unsigned g) { return lanes.bounds(g) * abs(lanes.dir(k[2], g)); }).fHigh;
    }

    float depth() const { return fDepth; }

    /// The boxes of a node, bit i for box i, that a lane may meet, and the least depth of each.
    [[gnu::always_inline]] unsigned meets(const WatertightNode& node, float* pDepth) const {
        unsigned uMet = 0;
        for (unsigned n = 0; n < WatertightNode::WIDTH; n += B::WIDTH) {
            const B low = B::load(node.fMin[k[2]] + n), high = B::load(node.fMax[k[2]] + n);
            const B first = bForward ? low - apex[k[2]].fHigh : B(apex[k[2]].fLow) - high;
            const B last = bForward ? high - apex[k[2]].fLow : B(apex[k[2]].fHigh) - low;
            const B near = max(first, B(0.0f)), far = min(last, B(fDepth));
            typename B::Mask met = near <= far;
            for (unsigned i = 0; i < 2; ++i) {
                const unsigned a = k[i];
                const Interval& slope = slopes[i];
                const B from = (slope.fLow >= 0.0f ? near : far) * slope.fLow + apex[a].fLow;
                const B to = (slope.fHigh <= 0.0f ? near : far) * slope.fHigh + apex[a].fHigh;
                met = met & (from <= B::load(node.fMax[a] + n)) & (to >= B::load(node.fMin[a] + n));
            }
            near.store(pDepth + n);
            uMet |= bits(met) << n;
        }
        return uMet;
    }

 private:
    // The box around a point of each lane. Returns the sum of its edges.
    template <typename Point>
    static float around(uint64_t uMask, Interval* pBox, const Point& point) {
        float fSpread = 0.0f;
        for (unsigned a = 0; a < 3; ++a) {
            pBox[a] = Lanes::interval(uMask, [&](unsigned g) { return point(a, g); });
            fSpread += pBox[a].fHigh - pBox[a].fLow;
        }
        return fSpread;
    }

    unsigned k[3] = {};
    bool bForward = false;  // depths grow upwards along the packet's axis
    Interval apex[3];
    Interval slopes[2];
    float fDepth = Lanes::INFINITE;  // no lane looks further
};

// The test of a box by each lane: a ray meets a box where the parts of it that lie between the two sides on each axis,
// the slabs, overlap. Each lane's margin widens the box for it.
template <typename F>
class PacketSlabs {
 public:
    using Lanes = PacketLanes<F>;
    static constexpr unsigned W = F::WIDTH;

    /// Prepares the lanes of uMask, and sets the largest margin of them on each axis.
    void setUp(const Lanes& lanes, uint64_t uMask, const float* pReach, float* pMargins) {
        bAlike = true;
        const unsigned k = lanes.axis(2);
        for (unsigned i = 0; i < 3; ++i) {
            const unsigned a = lanes.axis(i);
            uint64_t uDown = 0;
            F largestMargin = 0.0f;
            for (unsigned g = 0; g < Lanes::GROUPS; ++g) {
                const F o = lanes.origin(a, g), d = lanes.dir(a, g);
                const F along = abs(lanes.origin(k, g)) + pReach[k];
                const F shear = i == 2 ? F(1.0f) : abs(lanes.shear(i, g));
                const F margin = marginOf(abs(o), F(pReach[a]), shear, along);
                const F r = 1.0f / flipSign(max(abs(d), F(SLOWEST)), d);
                r.store(reciprocal[a] + g * W);
                ((o + margin) * -r).store(offset[0][a] + g * W);
                ((o - margin) * -r).store(offset[1][a] + g * W);
                const unsigned uBits = Lanes::groupBits(uMask, g);
                largestMargin = max(select(F::mask(uBits), margin, 0.0f), largestMargin);
                uDown |= Lanes::lanesOf(bits(r < 0.0f), g);
            }
            pMargins[a] = largest(largestMargin);
            bDown[a] = (uDown & uMask) != 0;
            if (bDown[a] && (~uDown & uMask)) bAlike = false;
        }
    }

    /// The lanes of uMask that meet a node's box between their origin and their bound.
    uint64_t meets(const Lanes& lanes, const WatertightNode& node, unsigned uBox, uint64_t uMask) const {
        return bAlike ? meets<true>(lanes, node, uBox, uMask) : meets<false>(lanes, node, uBox, uMask);
    }

 private:
    // Lanes that are alike travel in the same direction on each axis, so that all meet the same side of a box first.
    template <bool ALIKE>
    uint64_t meets(const Lanes& lanes, const WatertightNode& node, unsigned uBox, uint64_t uMask) const {
        F first[3], second[3];
        const float *pFirst[3], *pSecond[3];
        for (unsigned a = 0; a < 3; ++a) {
            const bool bTurned = ALIKE && bDown[a];
            first[a] = (bTurned ? node.fMax : node.fMin)[a][uBox];
            second[a] = (bTurned ? node.fMin : node.fMax)[a][uBox];
            pFirst[a] = offset[bTurned][a];
            pSecond[a] = offset[!bTurned][a];
        }
        uint64_t uMet = 0;
        Lanes::forEachGroup(uMask, [&](unsigned g, unsigned) {
            F enter = 0.0f, leave = lanes.bounds(g);
            for (unsigned a = 0; a < 3; ++a) {
                const F r = F::load(reciprocal[a] + g * W);
                const F t0 = looseMulAdd(first[a], r, F::load(pFirst[a] + g * W));
                const F t1 = looseMulAdd(second[a], r, F::load(pSecond[a] + g * W));
                enter = looseMax(ALIKE ? t0 : looseMin(t0, t1), enter);
                leave = looseMin(ALIKE ? t1 : looseMax(t0, t1), leave);
            }
            uMet |= Lanes::lanesOf(bits(enter <= leave), g);
        });
        return uMet & uMask;
    }

    alignas(64) float reciprocal[3][Lanes::LANES];
    // Of the lower side and the upper one: origin and margin times reciprocal, negated.
    float offset[2][3][Lanes::LANES];
    bool bDown[3];  // a lane travels downwards
    bool bAlike;
};

template <typename F, typename B>
class PacketSearch {
 public:
    using Lanes = PacketLanes<F>;

    PacketSearch(Lanes& source, const WatertightData& sourceData) : lanes(source), data(sourceData) {}

    /// Searches for hits of the lanes of uMask, which are turned towards their axis: the nearest, or any.
    template <bool NEAREST>
    void search(uint64_t uMask) {
        const uint64_t uAll = uMask;
        float fMargins[3];
        slabs.setUp(lanes, uMask, data.fReach, fMargins);
        bound.bound(lanes, uMask, fMargins, !NEAREST);
        bound.limit(lanes, uMask);
        Waiting stack[WatertightBvh::STACK_SIZE];
        unsigned uSize = 0;
        uint32_t uNode = 0;
        for (;;) {
            push(uNode, uMask, stack, uSize);
            for (;;) {
                if (!uSize) return;
                const Waiting& next = stack[--uSize];
                if (NEAREST && next.fDepth > bound.depth()) continue;
                const WatertightNode& node = data.pNodes[next.uNode];
                uMask = next.uMask;
                if (!NEAREST) uMask &= ~lanes.lanesWithHit();
                uMask = slabs.meets(lanes, node, next.uBox, uMask);
                if (!uMask) continue;
                uNode = node.uChild[next.uBox];
                if (!(uNode & WatertightNode::LEAF)) break;
                testLeaf<NEAREST>(uNode, uMask);
                // Before all have hit something, those that have not decide how deep to look.
                if (NEAREST && uMask && !(uAll & ~lanes.lanesWithHit())) bound.limit(lanes, uAll);
            }
        }
    }

 private:
    // A box still to be looked into.
    struct Waiting {
        uint32_t uNode;
        uint32_t uBox;
        float fDepth;
        uint64_t uMask;
    };

    // Puts the boxes of a node that the lanes may meet on the stack, the nearest on top.
    void push(uint32_t uNode, uint64_t uMask, Waiting* pStack, unsigned& uSize) const {
        const WatertightNode& node = data.pNodes[uNode];
        alignas(64) float fDepth[WatertightNode::WIDTH];
        const unsigned uBase = uSize;
        for (unsigned uMet = bound.meets(node, fDepth); uMet; uMet &= uMet - 1) {
            const unsigned i = static_cast<unsigned>(__builtin_ctz(uMet));
            unsigned u = uSize++;
            for (; u > uBase && pStack[u - 1].fDepth < fDepth[i]; --u) pStack[u] = pStack[u - 1];
            pStack[u] = {uNode, i, fDepth[i], uMask};
            prefetch(node.uChild[i]);
        }
    }

    // Begins to fetch what a box holds.
    void prefetch(uint32_t uChild) const {
        const bool bLeaf = uChild & WatertightNode::LEAF;
        const void* p = bLeaf ? static_cast<const void*>(data.pFaces + (uChild & WatertightNode::FIRST_MASK))
                              : data.pNodes + uChild;
        for (unsigned uLine = 0; uLine < (bLeaf ? 2 : 4); ++uLine) {
            __builtin_prefetch(static_cast<const char*>(p) + 64 * uLine);
        }
    }

    template <bool NEAREST>
    void testLeaf(uint32_t uLeaf, uint64_t uMask) {
        const WatertightFace* p = data.pFaces + (uLeaf & WatertightNode::FIRST_MASK);
        for (unsigned u = uLeaf >> WatertightNode::COUNT_SHIFT & 7; u && uMask; --u, ++p) {
            lanes.template test<NEAREST>(*p, uMask);
            if (!NEAREST) uMask &= ~lanes.lanesWithHit();
        }
    }

    Lanes& lanes;
    const WatertightData& data;
    PacketSlabs<F> slabs;
    PacketBound<F, B> bound;
};

}  // namespace

}  // namespace rt
