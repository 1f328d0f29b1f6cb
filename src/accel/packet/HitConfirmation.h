#pragma once

// Tells which hits of the box hierarchy are those that the kd-tree's walk returns, without walking.
//
// The first leaf of the walk whose segment ends at or behind the nearest hit decides the answer. A lane goes down to
// every leaf that may be this one, by the side of each plane on which its hit lies, give or take rounding, and its hit
// is confirmed when the face stands in all of their lists. docs/queries.md ("Confirming") proves it.

#include "accel/packet/RayPacket.h"

namespace {

template <typename F>
class HitConfirmation {
 public:
    using Rays = RayPacket<F>;
    static constexpr unsigned W = F::WIDTH;
    static constexpr unsigned GROUPS = F::GROUPS;
    static constexpr unsigned LANES = W * GROUPS;

    HitConfirmation(const Rays& source, const TraversalData& sourceTree) : rays(source), tree(sourceTree) {}

    /// Sets up a group whose walk begins as KDTree::findNearestFace does. Returns the lanes whose hit lies on the
    /// segment that is walked.
    unsigned clipToScene(unsigned g) {
        const F zero = F::set(0.0f);
        F entryT = zero, exitT = rays.maxDist(g);
        typename F::Mask missed = zero < zero;
        for (unsigned a = 0; a < 3; ++a) {
            const F o = rays.origin(a, g), d = rays.dir(a, g);
            const typename F::Mask negative = d < zero;
            const F low = F::set(tree.fBoxMin[a]), high = F::set(tree.fBoxMax[a]);
            const F nearPlane = F::select(negative, high, low), farPlane = F::select(negative, low, high);
            missed = missed | F::select(negative, o<low, o> high);
            const F end = o + d * exitT;
            const typename F::Mask beyond = F::select(negative, end<farPlane, end> farPlane);
            exitT = F::select(beyond, exitT * ((farPlane - o) / (end - o)), exitT);
            const typename F::Mask outside = F::select(negative, o > nearPlane, o < nearPlane);
            if (F::bits(outside)) {
                const F t = (nearPlane - o) / d;
                entryT = F::select(outside & (t > entryT), t, entryT);
            }
        }
        setUp(g, exitT);
        const F t = F::load(rays.hitT() + g * W);
        return F::bits(F::andNot(missed, (t >= entryT) & (t <= exitT)));
    }

    /// Sets up a group whose walk begins as KDTree::findObstacle does.
    void useWhole(unsigned g) { setUp(g, rays.maxDist(g)); }

    /// The lanes of uMask, all of which have hit and are set up, whose hit the walk returns as well.
    uint64_t confirm(uint64_t uMask) {
        struct {
            const KDTreeNode* pNode;
            uint64_t uMask;
            uint64_t uForked;  // lanes that went to the high child, too: they go on with the saved ends
        } stack[STACK_SIZE];
        unsigned uSize = 0;
        const KDTreeNode* pNode = tree.pNodes;
        const uint64_t uAll = uMask;
        uOpen = 0;
        for (;;) {
            while (uMask && !pNode->isLeaf()) {
                const Sides sides = divide(*pNode, uMask, saved[uSize]);
                const uint64_t uLow = sides.uLow & ~uOpen, uHigh = sides.uHigh & ~uOpen;
                pNode = tree.pNodes + pNode->child();
                uMask = uLow;
                if (!uHigh) continue;
                if (uLow) stack[uSize++] = {pNode, uLow, uLow & uHigh};
                ++pNode;
                uMask = uHigh;
            }
            if (uMask) {
                const uint32_t uList = pNode->recordList();
                uOpen |= uList == NO_INDEX ? uMask : uMask & ~rays.listed(tree.pLists + uList, uMask);
            }
            if (!uSize) return uAll & ~uOpen;
            --uSize;
            pNode = stack[uSize].pNode;
            uMask = stack[uSize].uMask & ~uOpen;
            if (stack[uSize].uForked & uMask) restore(saved[uSize], stack[uSize].uForked);
        }
    }

 private:
    static constexpr float UNIT = 5.97e-8f;                            // a little more than one rounding error
    static constexpr unsigned STACK_SIZE = KDTreeNode::MAX_DEPTH + 1;  // one for each level

    struct Sides {
        uint64_t uLow = 0, uHigh = 0;
    };

    // A point of each lane.
    struct Points {
        alignas(64) float p[3][LANES];
    };

    // Sets up the hits with their margins, and the ends of the segments. docs/queries.md ("The sides") derives the
    // margin.
    void setUp(unsigned g, F exitT) {
        const F zero = F::set(0.0f), reach = F::set(tree.fReach), hitT = F::load(rays.hitT() + g * W);
        F slowness = zero;  // of the axes along which the rays travel downwards
        for (unsigned a = 0; a < 3; ++a) {
            const F inverse = F::abs(rays.reciprocal(a, g));
            slowness = F::select(rays.dir(a, g) < zero, slowness + inverse, slowness);
        }
        for (unsigned a = 0; a < 3; ++a) {
            const F o = rays.origin(a, g), d = rays.dir(a, g), hit = o + d * hitT;
            const F error = F::set(16.0f) * (F::abs(o) + reach) + F::set(1.25f) * reach * (F::abs(d) * slowness);
            const F margin = F::set(UNIT) * error;
            (hit - margin).store(hitLow.p[a] + g * W);
            (hit + margin).store(hitHigh.p[a] + g * W);
            (o + d * exitT).store(exit.p[a] + g * W);
            uUp[a] = (uUp[a] & ~Rays::lanesOf(static_cast<unsigned>(Rays::GROUP_MASK), g)) |
                     Rays::lanesOf(F::bits(d >= zero), g);
        }
    }

    // The lanes that go to either side of a node's plane, some to both. The segment of a lane that crosses the plane
    // behind its hit ends there from now on; for a lane that goes to both sides only on the near one, so *pSaved takes
    // the ends for the low child.
    Sides divide(const KDTreeNode& node, uint64_t uMask, Points& savedExit) {
        const unsigned a = node.axis();
        const F s = F::set(node.fSplit);
        Sides sides;
        for (unsigned g = 0; g < GROUPS; ++g) {
            const unsigned uActive = Rays::groupBits(uMask, g);
            if (!uActive) continue;
            const unsigned uLow = ~F::bits(F::load(hitLow.p[a] + g * W) > s) & uActive;
            const unsigned uHigh = ~F::bits(F::load(hitHigh.p[a] + g * W) < s) & uActive;
            const unsigned uUpwards = Rays::groupBits(uUp[a], g), uForked = uLow & uHigh;
            if (uForked) copy(exit, savedExit, g);
            const unsigned uNear = (uLow & uUpwards) | (uHigh & ~uUpwards);
            if (uNear) {
                const F x = F::load(exit.p[a] + g * W);
                const unsigned uCut = uNear & ~(uUpwards ^ F::bits(x > s));
                if (uCut) cut(g, a, s, uCut & ~(uForked & uUpwards), exit, uCut & uForked & uUpwards, savedExit);
                // The walk goes to the high child alone with a segment from below that ends exactly on the plane.
                const unsigned uEnding = uLow & ~uHigh & uUpwards;
                if (uEnding) uOpen |= Rays::lanesOf(F::bits(x == s) & uEnding, g);
            }
            sides.uLow |= Rays::lanesOf(uLow, g);
            sides.uHigh |= Rays::lanesOf(uHigh, g);
        }
        return sides;
    }

    // Computes where a group crosses a plane, by the walk's own operations, and puts the points of the given lanes in
    // each of two places.
    void cut(unsigned g, unsigned a, F s, unsigned uFirst, Points& first, unsigned uSecond, Points& second) const {
        const F t = (s - rays.origin(a, g)) / rays.dir(a, g);
        for (unsigned b = 0; b < 3; ++b) {
            const F p = b == a ? s : rays.origin(b, g) + rays.dir(b, g) * t;
            float *pFirst = first.p[b] + g * W, *pSecond = second.p[b] + g * W;
            F::select(F::mask(uFirst), p, F::load(pFirst)).store(pFirst);
            if (uSecond) F::select(F::mask(uSecond), p, F::load(pSecond)).store(pSecond);
        }
    }

    static void copy(const Points& from, Points& to, unsigned g) {
        for (unsigned a = 0; a < 3; ++a) F::load(from.p[a] + g * W).store(to.p[a] + g * W);
    }

    void restore(const Points& from, uint64_t uMask) {
        for (unsigned g = 0; g < GROUPS; ++g) {
            const unsigned uLanes = Rays::groupBits(uMask, g);
            if (!uLanes) continue;
            for (unsigned a = 0; a < 3; ++a) {
                float* p = exit.p[a] + g * W;
                F::select(F::mask(uLanes), F::load(from.p[a] + g * W), F::load(p)).store(p);
            }
        }
    }

    const Rays& rays;
    const TraversalData& tree;
    uint64_t uUp[3] = {};      // lanes that do not travel downwards
    uint64_t uOpen = 0;        // lanes whose hit is not confirmed
    Points hitLow, hitHigh;    // the hit, less and more its margin
    Points exit;               // where the walk's segment in the node ends
    Points saved[STACK_SIZE];  // ends for the nodes on the stack
};

}  // namespace
