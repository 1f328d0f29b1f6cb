#pragma once

// Tells which hits of the BVH are those that the kd-tree's walk returns, without walking.
//
// The first leaf of the walk whose segment ends at or behind the nearest hit decides the answer. A lane goes down to
// every leaf that may be this one, by the side of each plane on which its hit lies, give or take rounding, and its hit
// is confirmed when the face stands in all of their lists. docs/queries.md ("Confirming") proves it.

#include "accel/Rounding.h"
#include "accel/packet/RayPacket.h"

namespace rt {

namespace {

template <typename F>
class HitConfirmation {
 public:
    using Rays = RayPacket<F>;
    static constexpr unsigned W = F::WIDTH;
    static constexpr unsigned LANES = Rays::LANES;

    HitConfirmation(const Rays& source, const TraversalData& sourceTree) : rays(source), tree(sourceTree) {}

    /// Sets up a group whose walk begins as KDTree::findNearestFace does. Returns the lanes whose hit lies on the
    /// segment that is walked.
    unsigned clipToScene(unsigned g) {
        const F zero = 0.0f;
        F entryT = zero, exitT = rays.maxDist(g);
        typename F::Mask missed = zero < zero;
        for (unsigned a = 0; a < 3; ++a) {
            const F o = rays.origin(a, g), d = rays.dir(a, g);
            const typename F::Mask negative = d < zero;
            const F low = tree.fBoxMin[a], high = tree.fBoxMax[a];
            const F nearPlane = select(negative, high, low), farPlane = select(negative, low, high);
            missed |= select(negative, o<low, o> high);
            const F end = o + d * exitT;
            const typename F::Mask beyond = select(negative, end<farPlane, end> farPlane);
            exitT = select(beyond, exitT * ((farPlane - o) / (end - o)), exitT);
            const typename F::Mask outside = select(negative, o > nearPlane, o < nearPlane);
            if (bits(outside)) {
                const F t = (nearPlane - o) / d;
                entryT = select(outside & (t > entryT), t, entryT);
            }
        }
        setUp(g, exitT);
        const F t = F::load(rays.hitT() + g * W);
        return bits((t >= entryT) & (t <= exitT) & ~missed);
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
        for (unsigned a = 0; a < 3; ++a) {
            lowest[a] = Rays::interval(uMask, [&](unsigned g) { return F::load(hitLow[a].f + g * W); }).fLow;
            highest[a] = Rays::interval(uMask, [&](unsigned g) { return F::load(hitHigh[a].f + g * W); }).fHigh;
        }
        for (;;) {
            while (uMask && !pNode->isLeaf()) {
                const bool bLow = pNode->fSplit > highest[pNode->axis()];
                if (bLow || pNode->fSplit < lowest[pNode->axis()]) {
                    pass(*pNode, uMask, bLow);
                    pNode = tree.pNodes + pNode->child() + !bLow;
                    uMask &= ~uOpen;
                    continue;
                }
                uint64_t uLow = 0, uHigh = 0;
                divide(*pNode, uMask, uLow, uHigh, saved[uSize]);
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
    static constexpr float UNIT = 1.002f * ROUNDING_UNIT;  // with room for the rounding of the margin itself
    static constexpr unsigned STACK_SIZE = KDTreeNode::MAX_DEPTH + 1;  // one for each level

    // One number for each lane.
    struct Values {
        alignas(64) float f[LANES];
    };

    // Sets up the hits with their margins, and the ends of the segments. docs/queries.md ("The sides") derives the
    // margin.
    void setUp(unsigned g, F exitT) {
        const F zero = 0.0f, reach = tree.fReach, hitT = F::load(rays.hitT() + g * W);
        F slowness = zero;  // of the axes along which the rays travel downwards
        for (unsigned a = 0; a < 3; ++a) {
            const F inverse = abs(rays.reciprocal(a, g));
            slowness = select(rays.dir(a, g) < zero, slowness + inverse, slowness);
        }
        for (unsigned a = 0; a < 3; ++a) {
            const F o = rays.origin(a, g), d = rays.dir(a, g), hit = o + d * hitT;
            const F error = 16.0f * (abs(o) + reach) + 1.25f * reach * (abs(d) * slowness);
            // NaN, where d is 0 beside a component with an infinite reciprocal, becomes endless.
            const F margin = min(UNIT * error, Rays::INFINITE), inverse = abs(rays.reciprocal(a, g));
            (hit - margin).store(hitLow[a].f + g * W);
            (hit + margin).store(hitHigh[a].f + g * W);
            (margin * inverse).store(slack[a].f + g * W);
            uUp[a] |= Rays::lanesOf(bits(d > zero), g);
            uDown[a] |= Rays::lanesOf(bits(d < zero), g);
        }
        exitT.store(exit.f + g * W);
    }

    // Cuts the segments of a group's lanes of uNear, which cross a plane behind their hit, at that plane. A lane of
    // uEnding is left open when its segment may have ended there already: a segment from below that ends exactly on the
    // plane goes to the high child alone.
    void cut(unsigned g, unsigned a, F s, unsigned uNear, unsigned uEnding) {
        float* pExit = exit.f + g * W;
        const F old = F::load(pExit), t = (s - rays.origin(a, g)) / rays.dir(a, g);
        select(F::mask(uNear), min(t, old), old).store(pExit);
        const unsigned uApart = bits(abs(t - old) > F::load(slack[a].f + g * W));
        uOpen |= Rays::lanesOf(uEnding & ~uApart, g);
    }

    // Takes lanes past a node's plane, all to the same child.
    void pass(const KDTreeNode& node, uint64_t uMask, bool bLow) {
        const unsigned a = node.axis();
        const uint64_t uNear = uMask & (bLow ? uUp : uDown)[a];
        Rays::forEachGroup(uNear, [&](unsigned g, unsigned uBits) { cut(g, a, node.fSplit, uBits, bLow ? uBits : 0); });
    }

    // Adds the lanes that go to the low and to the high side of a node's plane; some go to both. A lane that crosses
    // the plane behind its hit has its segment cut there. A lane that goes to both sides keeps the old end on the far
    // side. Therefore savedExit receives the ends for the low child.
    void divide(const KDTreeNode& node, uint64_t uMask, uint64_t& uLows, uint64_t& uHighs, Values& savedExit) {
        const unsigned a = node.axis();
        const F s = node.fSplit;
        Rays::forEachGroup(uMask, [&](unsigned g, unsigned uActive) {
            const unsigned uLow = ~bits(F::load(hitLow[a].f + g * W) > s) & uActive;
            const unsigned uHigh = ~bits(F::load(hitHigh[a].f + g * W) < s) & uActive;
            const unsigned uUpwards = Rays::groupBits(uUp[a], g), uDownwards = Rays::groupBits(uDown[a], g);
            const unsigned uForked = uLow & uHigh;
            float* pExit = exit.f + g * W;
            const F old = F::load(pExit);
            cut(g, a, s, (uLow & uUpwards) | (uHigh & uDownwards), uLow & ~uHigh & uUpwards);
            if (uForked) {
                const F now = F::load(pExit);
                select(F::mask(uUpwards), now, old).store(savedExit.f + g * W);
                select(F::mask(uForked & uUpwards), old, now).store(pExit);
            }
            uLows |= Rays::lanesOf(uLow, g);
            uHighs |= Rays::lanesOf(uHigh, g);
        });
        uLows &= ~uOpen;
        uHighs &= ~uOpen;
    }

    void restore(const Values& savedExit, uint64_t uMask) {
        Rays::forEachGroup(uMask, [&](unsigned g, unsigned uLanes) {
            float* p = exit.f + g * W;
            select(F::mask(uLanes), F::load(savedExit.f + g * W), F::load(p)).store(p);
        });
    }

    const Rays& rays;
    const TraversalData& tree;
    uint64_t uUp[3] = {}, uDown[3] = {};  // lanes that travel upwards, and downwards
    uint64_t uOpen = 0;                   // lanes whose hit is not confirmed
    Values hitLow[3], hitHigh[3];         // the hit, less and more its margin
    float lowest[3], highest[3];          // of all hits
    Values slack[3];                      // the margin as a difference of t
    Values exit;                          // t of where the walk's segment in the node ends
    Values saved[STACK_SIZE];             // ends for the nodes on the stack
};

}  // namespace

}  // namespace rt
