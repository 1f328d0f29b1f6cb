#pragma once

// The packet queries as a template over a vector type, compiled once for each instruction set by the PacketKernel*.cpp
// files and included nowhere else. All of it has internal linkage: code made for one instruction set must not be picked
// by the linker for another.
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

#include <cstring>

#include "accel/PacketKernel.h"

namespace {

// Tree levels with a split are at most 21; each puts at most two entries on the stack.
constexpr unsigned PACKET_STACK = 64;
constexpr unsigned GROUPS = 4;  // vectors of one packet: enough to share the walk's cost, few enough for the cache
// One cut makes two blocks for a group; the first two of each group are the ends of the rays.
constexpr unsigned BLOCKS = GROUPS * 2 * 24;

constexpr float PARALLEL = 5.96e-8f;

template <typename F>
class PacketTraversal {
 public:
    static constexpr unsigned W = F::WIDTH;
    static constexpr unsigned LANES = W * GROUPS;
    static constexpr uint64_t GROUP_MASK = (uint64_t{1} << W) - 1;

    PacketTraversal(const PacketTree& sourceTree, const PacketRays& sourceRays) : tree(sourceTree), rays(sourceRays) {}

    void findNearest(uint64_t uMask, uint32_t* pHitFaces) {
        pFaces = pHitFaces;
        uint64_t uInside = 0;
        for (unsigned g = 0; g < GROUPS; ++g) {
            if (groupBits(uMask, g)) uInside |= uint64_t{clip(g)} << (g * W);
        }
        walk<true>(uMask & uInside);
    }

    uint64_t findObstacles(uint64_t uMask) {
        for (unsigned g = 0; g < GROUPS; ++g) {
            if (!groupBits(uMask, g)) continue;
            const F maxDist = F::load(rays.pMaxDist + g * W);
            Point &entry = blocks[2 * g], &exit = blocks[2 * g + 1];
            maxDist.store(exit.t);
            for (unsigned a = 0; a < 3; ++a) {
                origin(a, g).store(entry.p[a]);
                (origin(a, g) + dir(a, g) * maxDist).store(exit.p[a]);
            }
        }
        walk<false>(uMask);
        return uDone;
    }

 private:
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

    static unsigned groupBits(uint64_t uMask, unsigned g) {
        return static_cast<unsigned>((uMask >> (g * W)) & GROUP_MASK);
    }
    F origin(unsigned a, unsigned g) const { return F::load(rays.pOrigin[a] + g * W); }
    F dir(unsigned a, unsigned g) const { return F::load(rays.pDir[a] + g * W); }

    // Clips the rays of a group to the scene's box, as KDTree::clip does, and sets up both ends. Returns the lanes that
    // meet the box.
    unsigned clip(unsigned g) {
        const F zero = F::set(0.0f);
        F entryT = zero, exitT = F::load(rays.pMaxDist + g * W);
        typename F::Mask missed = zero < zero;
        for (unsigned a = 0; a < 3; ++a) {
            const F o = origin(a, g), d = dir(a, g);
            const typename F::Mask negative = d < zero;
            const F low = F::set(tree.fBoxMin[a]), high = F::set(tree.fBoxMax[a]);
            missed = missed | F::select(negative, o<low, o> high);
        }
        for (unsigned a = 0; a < 3; ++a) {
            const F o = origin(a, g), d = dir(a, g);
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
            const F o = origin(a, g), d = dir(a, g);
            F::select(entryT > zero, o + d * entryT, o).store(entry.p[a]);
            (o + d * exitT).store(exit.p[a]);
        }
        return ~F::bits(missed) & static_cast<unsigned>(GROUP_MASK);
    }

    template <bool NEAREST>
    void walk(uint64_t uMask) {
        Entry now{tree.pNodes, uMask, {}, {}, 2 * GROUPS};
        for (unsigned g = 0; g < GROUPS; ++g) {
            now.uEntry[g] = static_cast<uint16_t>(2 * g);
            now.uExit[g] = static_cast<uint16_t>(2 * g + 1);
        }
        unsigned uStack = 0;
        for (;;) {
            if (now.uMask) {
                while (!now.pNode->isLeaf()) step(now, uStack);
                const uint32_t uFirst = now.pNode->records();
                if (uFirst != NO_INDEX) visit<NEAREST>(now, uFirst);
            }
            do {
                if (!uStack) return;
                now = stack[--uStack];
                now.uMask &= ~uDone;
            } while (!now.uMask);
        }
    }

    // Goes one node down with the lanes that visit the near child, and puts what is left for later on the stack.
    void step(Entry& now, unsigned& uStack) {
        const unsigned a = now.pNode->axis();
        const KDTreeNode* pLow = tree.pNodes + now.pNode->child();
        const F s = F::set(now.pNode->fSplit);
        uint64_t uLow = 0, uHigh = 0, uBelow = 0;  // low child only, high child only, entry at or below the plane
        for (unsigned g = 0; g < GROUPS; ++g) {
            if (!groupBits(now.uMask, g)) continue;
            const F e = F::load(blocks[now.uEntry[g]].p[a]), x = F::load(blocks[now.uExit[g]].p[a]);
            const typename F::Mask below = e <= s;
            uLow |= uint64_t{F::bits(below & (x < s))} << (g * W);
            uHigh |= uint64_t{F::bits(F::select(below, x == s, x > s))} << (g * W);
            uBelow |= uint64_t{F::bits(below)} << (g * W);
        }
        uLow &= now.uMask;
        uHigh &= now.uMask;
        if (uLow == now.uMask) {
            now.pNode = pLow;
            return;
        }
        if (uHigh == now.uMask) {
            now.pNode = pLow + 1;
            return;
        }
        uint64_t uBoth = now.uMask & ~(uLow | uHigh);
        if ((uBoth & uBelow) && (uBoth & ~uBelow)) {
            stack[uStack] = now;
            stack[uStack++].uMask = uBoth & ~uBelow;
            uBoth &= uBelow;
        }
        const bool bLowFirst = !uBoth || (uBoth & uBelow);
        Entry& later = stack[uStack++];
        later = now;
        later.pNode = bLowFirst ? pLow + 1 : pLow;
        later.uMask = uBoth | (bLowFirst ? uHigh : uLow);
        now.pNode = bLowFirst ? pLow : pLow + 1;
        now.uMask = uBoth | (bLowFirst ? uLow : uHigh);
        if (uBoth) cut(now, later, uBoth, a, s);
    }

    // Computes the points where the lanes of uBoth cross the plane: the ends of their near segments and the beginnings
    // of their far ones.
    void cut(Entry& near, Entry& far, uint64_t uBoth, unsigned a, F s) {
        const unsigned b = g_modulo[a + 1], c = g_modulo[a + 2];
        uint32_t uTop = near.uTop;
        const uint32_t uFirst = uTop;
        unsigned uGroups = 0;
        for (unsigned g = 0; g < GROUPS; ++g) uGroups += groupBits(uBoth, g) != 0;
        for (unsigned g = 0; g < GROUPS; ++g) {
            const unsigned uBits = groupBits(uBoth, g);
            if (!uBits) continue;
            const Point &entry = blocks[near.uEntry[g]], &exit = blocks[near.uExit[g]];
            Point &farEntry = blocks[uTop], &nearExit = blocks[uTop + uGroups];
            const typename F::Mask both = F::mask(uBits);
            const F t = (s - origin(a, g)) / dir(a, g);
            const F pb = origin(b, g) + dir(b, g) * t, pc = origin(c, g) + dir(c, g) * t;
            const auto put = [&](const F& cutValue, const float* pEntry, const float* pExit, float* pFar,
                                 float* pNear) {
                F::select(both, cutValue, F::load(pEntry)).store(pFar);
                F::select(both, cutValue, F::load(pExit)).store(pNear);
            };
            put(t, entry.t, exit.t, farEntry.t, nearExit.t);
            put(s, entry.p[a], exit.p[a], farEntry.p[a], nearExit.p[a]);
            put(pb, entry.p[b], exit.p[b], farEntry.p[b], nearExit.p[b]);
            put(pc, entry.p[c], exit.p[c], farEntry.p[c], nearExit.p[c]);
            far.uEntry[g] = static_cast<uint16_t>(uTop);
            near.uExit[g] = static_cast<uint16_t>(uTop + uGroups);
            ++uTop;
        }
        far.uTop = uFirst + uGroups;
        near.uTop = uFirst + 2 * uGroups;
    }

    // The lanes at a leaf: which are left, which have hit, how far each looks, and the place of its hit in the list.
    struct Leaf {
        uint64_t uMask;
        uint64_t uHits = 0;
        alignas(64) float bound[LANES];
        uint32_t uPlace[LANES];
    };

    template <bool NEAREST>
    void visit(const Entry& now, uint32_t uFirst) {
        Leaf leaf;
        leaf.uMask = now.uMask;
        for (unsigned g = 0; g < GROUPS; ++g) {
            F::load(NEAREST ? blocks[now.uExit[g]].t : rays.pMaxDist + g * W).store(leaf.bound + g * W);
        }
        if (!(uFirst & KDTreeNode::HAS_BOXES)) {
            const LeafFace* pFirst = tree.pFaces + uFirst;
            testFaces<NEAREST, false>(leaf, leaf.uMask, pFirst, pFirst + pFirst->uPlace);
        } else {
            visitBoxes<NEAREST>(leaf, uFirst & ~KDTreeNode::HAS_BOXES);
        }
        uDone |= leaf.uHits;
    }

    // Tests faces against the lanes of uMask. One test reads the face's 48 bytes once and six ray components for each
    // group. Without ORDERED the faces come in list order, and of equal hits the later one simply stays.
    template <bool NEAREST, bool ORDERED>
    void testFaces(Leaf& leaf, uint64_t uMask, const LeafFace* pFace, const LeafFace* pEnd) {
        for (; pFace != pEnd; ++pFace) {
            const unsigned k = pFace->uAxis, ku = g_modulo[k + 1], kv = g_modulo[k + 2];
            for (unsigned g = 0; g < GROUPS; ++g) {
                const unsigned uActive = groupBits(uMask, g);
                if (!uActive) continue;
                const unsigned uHit = test<NEAREST, ORDERED>(*pFace, k, ku, kv, g, uActive, leaf);
                if (!uHit) continue;
                leaf.uHits |= uint64_t{uHit} << (g * W);
                if (!NEAREST) continue;
                for (unsigned u = uHit; u; u &= u - 1) {
                    const unsigned uLane = g * W + static_cast<unsigned>(__builtin_ctz(u));
                    pFaces[uLane] = pFace->uFace;
                    if (ORDERED) leaf.uPlace[uLane] = pFace->uPlace;
                }
            }
            if (!NEAREST) {
                uMask &= ~leaf.uHits;
                if (!uMask) break;
            }
        }
    }

    // Walks the boxes of a large leaf, the nearer child first. Only lanes that meet a box, from their origin up to
    // their bound, go on below it; the boxes hold every accepted hit, so no answer changes.
    template <bool NEAREST>
    void visitBoxes(Leaf& leaf, uint32_t uRoot) {
        if (!bReciprocals) prepareBoxes();
        uint32_t uNode[PACKET_STACK];
        uint64_t uMasks[PACKET_STACK];
        unsigned uSize = 1;
        uNode[0] = uRoot;
        uMasks[0] = leaf.uMask;
        while (uSize) {
            const LeafBox& box = tree.pBoxes[uNode[--uSize]];
            const uint64_t uLeft = NEAREST ? uMasks[uSize] : uMasks[uSize] & ~leaf.uHits;
            const uint64_t uMask = meets(box, uLeft, leaf);
            if (!uMask) continue;
            if (box.uCount) {
                const LeafFace* pFace = tree.pFaces + box.uFirst;
                testFaces<NEAREST, true>(leaf, uMask, pFace, pFace + box.uCount);
                continue;
            }
            // Which child is nearer: seen along the first lane, by the distance between their centres.
            const LeafBox &first = tree.pBoxes[box.uFirst], &second = tree.pBoxes[box.uFirst + 1];
            const unsigned uLane = static_cast<unsigned>(__builtin_ctzll(uMask));
            float fAhead = 0.0f;
            for (unsigned a = 0; a < 3; ++a) {
                const float fBetween = (second.fMin[a] - first.fMin[a]) + (second.fMax[a] - first.fMax[a]);
                fAhead += fBetween * rays.pDir[a][uLane];
            }
            const unsigned uNearer = fAhead >= 0.0f ? 0 : 1;
            uNode[uSize] = box.uFirst + 1 - uNearer;
            uMasks[uSize++] = uMask;
            uNode[uSize] = box.uFirst + uNearer;
            uMasks[uSize++] = uMask;
        }
    }

    // The lanes of uMask that meet a box between their origin and their bound; all that the boxes do not hold for.
    uint64_t meets(const LeafBox& box, uint64_t uMask, const Leaf& leaf) const {
        uint64_t uMet = uMask & uUncontained;
        for (unsigned g = 0; g < GROUPS; ++g) {
            const unsigned uActive = groupBits(uMask, g);
            if (!uActive) continue;
            F enter = F::set(0.0f), leave = F::load(leaf.bound + g * W);
            for (unsigned a = 0; a < 3; ++a) {
                const F o = origin(a, g), reciprocal = F::load(fReciprocal[a] + g * W);
                const F t0 = (F::set(box.fMin[a]) - o) * reciprocal, t1 = (F::set(box.fMax[a]) - o) * reciprocal;
                enter = F::max(enter, F::min(t0, t1));
                leave = F::min(leave, F::max(t0, t1));
            }
            uMet |= uint64_t{F::bits(enter <= leave) & uActive} << (g * W);
        }
        return uMet;
    }

    // Finds the lanes that the boxes do not hold for, and the reciprocals of the directions. A direction of almost zero
    // is made a little larger: the boxes' margin is wide enough for that, and no product becomes zero times infinity.
    void prepareBoxes() {
        constexpr float SMALLEST = 1e-20f;
        bReciprocals = true;
        for (unsigned g = 0; g < GROUPS; ++g) {
            F largestOrigin = F::set(0.0f), largestDir = F::set(0.0f);
            const F zero = F::set(0.0f), small = F::set(SMALLEST);
            typename F::Mask number = zero <= zero;
            for (unsigned a = 0; a < 3; ++a) {
                const F o = origin(a, g), d = dir(a, g);
                const F absOrigin = F::max(o, zero - o), absDir = F::max(d, zero - d);
                number = number & (o == o) & (d == d);
                largestOrigin = F::max(largestOrigin, absOrigin);
                largestDir = F::max(largestDir, absDir);
                const F away = F::select(d < zero, zero - small, small);
                (F::set(1.0f) / F::select(absDir < small, away, d)).store(fReciprocal[a] + g * W);
            }
            const typename F::Mask holds = number & (largestOrigin <= F::set(tree.fOriginLimit)) &
                                           (largestDir <= F::set(LeafBoxes::DIR_MAX)) &
                                           (largestDir >= F::set(LeafBoxes::DIR_MIN));
            uUncontained |= uint64_t{~F::bits(holds) & static_cast<unsigned>(GROUP_MASK)} << (g * W);
        }
    }

    // Scene::testTriangle for the lanes of a group. Returns those that hit; with NEAREST the bound becomes their t.
    template <bool NEAREST, bool ORDERED>
    unsigned test(const LeafFace& face, unsigned k, unsigned ku, unsigned kv, unsigned g, unsigned uActive,
                  Leaf& leaf) {
        const F zero = F::set(0.0f), nu = F::set(face.fNu), nv = F::set(face.fNv);
        const F ok = origin(k, g), ou = origin(ku, g), ov = origin(kv, g);
        const F dk = dir(k, g), du = dir(ku, g), dv = dir(kv, g);
        const F denominator = dk + nu * du + nv * dv;
        const F t = (F::set(face.fNd) - ok - nu * ou - nv * ov) / denominator;
        float* pBound = leaf.bound + g * W;
        const F bound = F::load(pBound);
        const typename F::Mask parallel = (F::set(-PARALLEL) < denominator) & (denominator < F::set(PARALLEL));
        const typename F::Mask within = F::andNot(parallel, (t >= zero) & (t <= bound));
        if (!(F::bits(within) & uActive)) return 0;
        const F hu = ou + du * t - F::set(face.fCu), hv = ov + dv * t - F::set(face.fCv);
        const F lambda = F::set(face.fLambdaU) * hu + F::set(face.fLambdaV) * hv;
        const F mu = F::set(face.fMuU) * hu + F::set(face.fMuV) * hv;
        const typename F::Mask hit = within & (lambda >= zero) & (mu >= zero) & (lambda + mu <= F::set(1.0f));
        unsigned uHit = F::bits(hit) & uActive;
        if (!NEAREST || !uHit) return uHit;
        if (ORDERED) {
            // Out of list order, an equal hit replaces an earlier one only if it stands behind it in the list.
            const unsigned uBefore = groupBits(leaf.uHits, g);
            for (unsigned u = uHit & uBefore & F::bits(t == bound); u; u &= u - 1) {
                const unsigned uLane = static_cast<unsigned>(__builtin_ctz(u));
                if (face.uPlace < leaf.uPlace[g * W + uLane]) uHit &= ~(1u << uLane);
            }
        }
        F::select(F::mask(uHit), t, bound).store(pBound);
        return uHit;
    }

    const PacketTree& tree;
    const PacketRays& rays;
    uint32_t* pFaces = nullptr;
    uint64_t uDone = 0;
    bool bReciprocals = false;  // the two below are filled
    uint64_t uUncontained = 0;  // lanes that the boxes do not hold for
    alignas(64) float fReciprocal[3][LANES];
    Entry stack[PACKET_STACK];
    Point blocks[BLOCKS];
};

template <typename F>
void nearestFaces(const PacketTree& tree, const PacketRays& rays, uint64_t uMask, uint32_t* pFaces) {
    PacketTraversal<F>(tree, rays).findNearest(uMask, pFaces);
}

template <typename F>
uint64_t obstacles(const PacketTree& tree, const PacketRays& rays, uint64_t uMask) {
    return PacketTraversal<F>(tree, rays).findObstacles(uMask);
}

}  // namespace
