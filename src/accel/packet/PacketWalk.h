#pragma once

// The kd-tree's walk for a packet. It makes the answer: the box search only tells it what to look for.
//
// Idea: the rays of a packet walk the tree together. Each lane keeps the entry and exit points of its own segment and
// makes its own comparisons, so it visits the very leaves that KDTree::findNearestFace visits, in the same order:
//  - a lane whose segment lies on one side of a plane goes to that side only, by the same comparisons;
//  - a lane whose segment is cut goes to both, near side first, and the cut point is computed by the same operations
//    in the same order (the point's coordinate on the plane's axis is the plane itself);
//  - when the lanes that are cut disagree about which side is near, the packet goes on in two parts;
//  - a face is tested by the operations of Scene::testTriangle in the same order, with the same bound: the exit of the
//    lane's segment, then the nearest hit in this leaf, so that of equal hits the last in the list stays;
//  - a lane is done after the first leaf in which it hit.
// Every comparison is written so that a value that is not a number takes the way it takes there.
//
// What is known of the hits saves work and changes nothing:
//  - No hit is nearer than a lane's least hit. Leaves whose segment ends before it have none, and neither has the near
//    side of a plane when the cut point is so far before it that all further ones are (PacketLocate).
//  - When the leaf that the least hit lies in lists its face, and no other face is hit at the same t, that is the
//    answer, tests or no tests. A ray is blocked by any face hit that is listed in a leaf it visits.
//  - Whether a ray is blocked does not depend on the order of its leaves, so the side of its hit comes first.

#include "accel/packet/RayPacket.h"

namespace {

template <typename F>
class PacketWalk {
 public:
    using Rays = RayPacket<F>;
    using Hits = typename Rays::Hits;
    using Known = typename Rays::Known;
    static constexpr unsigned W = F::WIDTH;
    static constexpr unsigned GROUPS = F::GROUPS;
    static constexpr unsigned LANES = W * GROUPS;

    PacketWalk(Rays& source, const PacketTree& sourceTree) : rays(source), tree(sourceTree) {}

    /// Sets up the segments of a group between origin and maximal distance, for the search of obstacles.
    void useWhole(unsigned g) {
        Point &entry = blocks[2 * g], &exit = blocks[2 * g + 1];
        F::set(0.0f).store(entry.t);
        rays.maxDist(g).store(exit.t);
        for (unsigned a = 0; a < 3; ++a) {
            rays.origin(a, g).store(entry.p[a]);
            rays.end(a, g).store(exit.p[a]);
        }
    }

    /// Sets up the segments of a group for the nearest hit: clipped to the scene's box, as KDTree::clip does. Returns
    /// the lanes that meet the box.
    unsigned clip(unsigned g) {
        const F zero = F::set(0.0f);
        F entryT = zero, exitT = rays.maxDist(g);
        typename F::Mask missed = zero < zero;
        for (unsigned a = 0; a < 3; ++a) {
            const F o = rays.origin(a, g), d = rays.dir(a, g);
            const typename F::Mask negative = d < zero;
            const F low = F::set(tree.fBoxMin[a]), high = F::set(tree.fBoxMax[a]);
            missed = missed | F::select(negative, o<low, o> high);
        }
        for (unsigned a = 0; a < 3; ++a) {
            const F o = rays.origin(a, g), d = rays.dir(a, g);
            const typename F::Mask negative = d < zero;
            const F low = F::set(tree.fBoxMin[a]), high = F::set(tree.fBoxMax[a]);
            const F nearPlane = F::select(negative, high, low), farPlane = F::select(negative, low, high);
            const F end = o + d * exitT;
            const typename F::Mask beyond = F::select(negative, end<farPlane, end> farPlane);
            exitT = F::select(beyond, exitT * ((farPlane - o) / (end - o)), exitT);
            const F t = (nearPlane - o) / d;
            const typename F::Mask outside = F::select(negative, o > nearPlane, o < nearPlane);
            entryT = F::select(outside & (t > entryT), t, entryT);
            missed = missed | (entryT > exitT);
        }
        Point &entry = blocks[2 * g], &exit = blocks[2 * g + 1];
        entryT.store(entry.t);
        exitT.store(exit.t);
        for (unsigned a = 0; a < 3; ++a) {
            const F o = rays.origin(a, g), d = rays.dir(a, g);
            F::select(entryT > zero, o + d * entryT, o).store(entry.p[a]);
            (o + d * exitT).store(exit.p[a]);
        }
        return ~F::bits(missed) & static_cast<unsigned>(Rays::GROUP_MASK);
    }

    F entryT(unsigned g) const { return F::load(blocks[2 * g].t); }
    F exitT(unsigned g) const { return F::load(blocks[2 * g + 1].t); }

    /// Walks the tree with the lanes of uMask, whose groups must be set up. Returns the lanes that hit; their records
    /// are the answer.
    template <bool NEAREST>
    uint64_t walk(uint64_t uMask, const Known& known) {
        Entry now{tree.pNodes, uMask, {}, {}, 2 * GROUPS};
        for (unsigned g = 0; g < GROUPS; ++g) {
            now.uEntry[g] = static_cast<uint16_t>(2 * g);
            now.uExit[g] = static_cast<uint16_t>(2 * g + 1);
        }
        unsigned uStack = 0;
        uDone = 0;
        for (;;) {
            if (now.uMask) {
                while (!now.pNode->isLeaf()) step<NEAREST>(now, uStack, known);
                const uint32_t uFirst = now.pNode->packetList();
                if (uFirst != NO_INDEX) visit<NEAREST>(now, tree.pLists + uFirst, known);
            }
            do {
                if (!uStack) return uDone;
                now = stack[--uStack];
                now.uMask &= ~uDone;
            } while (!now.uMask);
        }
    }

 private:
    // Tree levels with a split are at most 21; each puts at most three entries on the stack.
    static constexpr unsigned STACK_SIZE = 3 * 21 + 1;
    // One cut makes at most two blocks for a group; the first two of each group are the ends of the rays.
    static constexpr unsigned BLOCKS = GROUPS * 2 * 24;

    // A point of each ray of one group: its parameter and coordinates.
    struct Point {
        alignas(64) float t[W];
        float p[3][W];
    };

    // A subtree still to be visited, and for each group the blocks of its segments' ends.
    struct Entry {
        const KDTreeNode* pNode;
        uint64_t uMask;
        uint16_t uEntry[GROUPS];
        uint16_t uExit[GROUPS];
        uint32_t uTop;  // blocks in use
    };

    // Goes one node down with the lanes that visit the near child, and puts what is left for later on the stack.
    template <bool NEAREST>
    void step(Entry& now, unsigned& uStack, const Known& known) {
        const unsigned a = now.pNode->axis();
        const KDTreeNode* pLow = tree.pNodes + now.pNode->child();
        const F s = F::set(now.pNode->fSplit);
        uint64_t uBelow = 0, uExitBelow = 0, uExitAbove = 0;  // entry at or below the plane, exit below, exit above
        for (unsigned g = 0; g < GROUPS; ++g) {
            if (!Rays::groupBits(now.uMask, g)) continue;
            const F e = F::load(blocks[now.uEntry[g]].p[a]), x = F::load(blocks[now.uExit[g]].p[a]);
            uBelow |= Rays::lanesOf(F::bits(e <= s), g);
            uExitBelow |= Rays::lanesOf(F::bits(x < s), g);
            uExitAbove |= Rays::lanesOf(F::bits(x > s), g);
        }
        const uint64_t uLow = uBelow & uExitBelow & now.uMask;  // lanes that visit the low child only
        if (uLow == now.uMask) {
            now.pNode = pLow;
            return;
        }
        uint64_t uHigh = ~uBelow & uExitAbove & now.uMask;  // lanes that visit the high child only
        if (uBelow & ~(uExitBelow | uExitAbove) & now.uMask) uHigh |= endingOn(now, a, s) & uBelow;
        if (uHigh == now.uMask) {
            now.pNode = pLow + 1;
            return;
        }
        part<NEAREST>(now, uStack, pLow, a, s, uLow, uHigh, uBelow, known);
    }

    // The lanes whose segment ends exactly on the plane. (Others that end neither below nor above it end on no number.)
    uint64_t endingOn(const Entry& now, unsigned a, F s) const {
        uint64_t uOn = 0;
        for (unsigned g = 0; g < GROUPS; ++g) {
            uOn |= Rays::lanesOf(F::bits(F::load(blocks[now.uExit[g]].p[a]) == s), g);
        }
        return uOn & now.uMask;
    }

    // Sends the lanes to the sides of the plane that they belong to: on with the near child, the rest on the stack.
    template <bool NEAREST>
    void part(Entry& now, unsigned& uStack, const KDTreeNode* pLow, unsigned a, F s, uint64_t uLow, uint64_t uHigh,
              uint64_t uBelow, const Known& known) {
        uint64_t uBoth = now.uMask & ~(uLow | uHigh);
        if ((uBoth & uBelow) && (uBoth & ~uBelow)) {
            stack[uStack] = now;
            stack[uStack++].uMask = uBoth & ~uBelow;
            uBoth &= uBelow;
        }
        const bool bLowFirst = !uBoth || (uBoth & uBelow);
        Entry later = now;
        later.pNode = bLowFirst ? pLow + 1 : pLow;
        later.uMask = uBoth | (bLowFirst ? uHigh : uLow);
        now.pNode = bLowFirst ? pLow : pLow + 1;
        now.uMask = uBoth | (bLowFirst ? uLow : uHigh);
        const uint64_t uBeyond = uBoth ? cut<NEAREST>(now, later, uBoth, a, s, known) : 0;
        if (!NEAREST && uBeyond) {  // the near side comes last, so its blocks must stay
            later.uTop = now.uTop;
            stack[uStack] = now;
            stack[uStack++].uMask = uBeyond;
        }
        now.uMask &= ~uBeyond;
        if (now.uMask) {
            stack[uStack++] = later;
        } else {
            now = later;
        }
    }

    // Computes the points where the lanes of uBoth cross the plane: the ends of their near segments and the beginnings
    // of their far ones. A group that is cut as a whole needs one block for both, others one with each side's points.
    // Returns the lanes that have nothing to find on the near side, or not there first.
    template <bool NEAREST>
    uint64_t cut(Entry& near, Entry& far, uint64_t uBoth, unsigned a, F s, const Known& known) {
        const unsigned b = g_modulo[a + 1], c = g_modulo[a + 2];
        uint32_t uTop = near.uTop, uNearTop = near.uTop + GROUPS;
        uint64_t uBeyond = 0;
        for (unsigned g = 0; g < GROUPS; ++g) {
            const unsigned uBits = Rays::groupBits(uBoth, g);
            if (!uBits) continue;
            const F t = (s - rays.origin(a, g)) / rays.dir(a, g);
            const F pb = rays.origin(b, g) + rays.dir(b, g) * t, pc = rays.origin(c, g) + rays.dir(c, g) * t;
            const F lower = F::load(known.t + g * W);
            if (NEAREST) {
                const F limit = F::max(t, F::load(blocks[near.uEntry[g]].t)) + F::load(known.slack + g * W);
                uBeyond |= Rays::lanesOf(F::bits(lower > limit) & uBits, g);
            } else {
                uBeyond |= Rays::lanesOf(F::bits(lower > t) & uBits, g) & known.uLanes;
            }
            Point& farEntry = blocks[uTop];
            const unsigned uOthers = Rays::groupBits(near.uMask | far.uMask, g) & ~uBits;
            if (!uOthers) {
                t.store(farEntry.t);
                s.store(farEntry.p[a]);
                pb.store(farEntry.p[b]);
                pc.store(farEntry.p[c]);
                near.uExit[g] = static_cast<uint16_t>(uTop);
            } else {
                const Point &entry = blocks[near.uEntry[g]], &exit = blocks[near.uExit[g]];
                Point& nearExit = blocks[uNearTop];
                const typename F::Mask both = F::mask(uBits);
                const auto put = [&](F value, const float* pEntry, const float* pExit, float* pFar, float* pNear) {
                    F::select(both, value, F::load(pEntry)).store(pFar);
                    F::select(both, value, F::load(pExit)).store(pNear);
                };
                put(t, entry.t, exit.t, farEntry.t, nearExit.t);
                put(s, entry.p[a], exit.p[a], farEntry.p[a], nearExit.p[a]);
                put(pb, entry.p[b], exit.p[b], farEntry.p[b], nearExit.p[b]);
                put(pc, entry.p[c], exit.p[c], farEntry.p[c], nearExit.p[c]);
                near.uExit[g] = static_cast<uint16_t>(uNearTop++);
            }
            far.uEntry[g] = static_cast<uint16_t>(uTop++);
        }
        far.uTop = uTop;
        near.uTop = uNearTop;
        return uBeyond;
    }

    template <bool NEAREST>
    void visit(const Entry& now, const uint32_t* pList, const Known& known) {
        Hits hits;
        uint64_t uReached = NEAREST ? 0 : now.uMask;  // lanes whose segment gets as far as a hit may be
        for (unsigned g = 0; g < GROUPS; ++g) {
            const F bound = NEAREST ? F::load(blocks[now.uExit[g]].t) : rays.maxDist(g);
            bound.store(hits.bound + g * W);
            if (NEAREST) uReached |= Rays::lanesOf(F::bits(F::load(known.t + g * W) <= bound), g);
        }
        uint64_t uMask = now.uMask & uReached;
        uDone |= rays.listed(pList, uMask & known.uLanes);
        uMask &= ~uDone;
        for (const uint32_t *p = pList + 1, *pEnd = p + *pList; p != pEnd && uMask; ++p) {
            rays.template test<NEAREST>(*p, uMask, hits);
            if (!NEAREST) uMask &= ~hits.uLanes;
        }
        uDone |= hits.uLanes;
    }

    Rays& rays;
    const PacketTree& tree;
    uint64_t uDone = 0;
    Entry stack[STACK_SIZE];
    Point blocks[BLOCKS];
};

}  // namespace
