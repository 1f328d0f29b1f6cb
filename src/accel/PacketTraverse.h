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
constexpr float PARALLEL = 5.96e-8f;

template <typename F>
class PacketTraversal {
 public:
    static constexpr unsigned W = F::WIDTH;
    static constexpr unsigned GROUPS = F::GROUPS;  // vectors of one packet
    // One cut makes at most two blocks for a group; the first two of each group are the ends of the rays.
    static constexpr unsigned BLOCKS = GROUPS * 2 * 24;
    static constexpr unsigned LANES = W * GROUPS;
    static constexpr uint64_t GROUP_MASK = (uint64_t{1} << W) - 1;

    PacketTraversal(const PacketTree& sourceTree, const PacketRays& source) : tree(sourceTree) {
        for (unsigned g = 0; g < GROUPS; ++g) {
            for (unsigned a = 0; a < 3; ++a) {
                F::load(source.pOrigin[a] + g * W).store(ray.origin[a] + g * W);
                F::load(source.pDir[a] + g * W).store(ray.dir[a] + g * W);
            }
            F::load(source.pMaxDist + g * W).store(ray.maxDist + g * W);
        }
    }

    uint64_t findNearest(uint64_t uMask, PacketHits& hits) {
        pHits = &hits;
        uint64_t uInside = 0;
        for (unsigned g = 0; g < GROUPS; ++g) {
            if (groupBits(uMask, g)) uInside |= uint64_t{clip(g)} << (g * W);
        }
        walk<true>(uMask & uInside);
        return uDone;
    }

    uint64_t findObstacles(uint64_t uMask) {
        for (unsigned g = 0; g < GROUPS; ++g) {
            if (!groupBits(uMask, g)) continue;
            const F maxDist = F::load(ray.maxDist + g * W);
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
    static F patternOf(uint32_t u) {
        float f;
        memcpy(&f, &u, sizeof(f));
        return F::set(f);
    }
    F origin(unsigned a, unsigned g) const { return F::load(ray.origin[a] + g * W); }
    F dir(unsigned a, unsigned g) const { return F::load(ray.dir[a] + g * W); }

    // Clips the rays of a group to the scene's box, as KDTree::clip does, and sets up both ends. Returns the lanes that
    // meet the box.
    unsigned clip(unsigned g) {
        const F zero = F::set(0.0f);
        F entryT = zero, exitT = F::load(ray.maxDist + g * W);
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
        uint64_t uBelow = 0, uExitBelow = 0, uExitAbove = 0;  // entry at or below the plane, exit below, exit above
        for (unsigned g = 0; g < GROUPS; ++g) {
            if (!groupBits(now.uMask, g)) continue;
            const F e = F::load(blocks[now.uEntry[g]].p[a]), x = F::load(blocks[now.uExit[g]].p[a]);
            uBelow |= uint64_t{F::bits(e <= s)} << (g * W);
            uExitBelow |= uint64_t{F::bits(x < s)} << (g * W);
            uExitAbove |= uint64_t{F::bits(x > s)} << (g * W);
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
        part(now, uStack, pLow, a, s, uLow, uHigh, uBelow);
    }

    // The lanes whose segment ends exactly on the plane. (Others that end neither below nor above it end on no number.)
    uint64_t endingOn(const Entry& now, unsigned a, F s) const {
        uint64_t uOn = 0;
        for (unsigned g = 0; g < GROUPS; ++g) {
            uOn |= uint64_t{F::bits(F::load(blocks[now.uExit[g]].p[a]) == s)} << (g * W);
        }
        return uOn & now.uMask;
    }

    // Sends the lanes to the sides of the plane that they belong to: on with the near child, the rest on the stack.
    void part(Entry& now, unsigned& uStack, const KDTreeNode* pLow, unsigned a, F s, uint64_t uLow, uint64_t uHigh,
              uint64_t uBelow) {
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
    // of their far ones. A group that is cut as a whole needs one block for both, others one with each side's points.
    void cut(Entry& near, Entry& far, uint64_t uBoth, unsigned a, F s) {
        const unsigned b = g_modulo[a + 1], c = g_modulo[a + 2];
        uint32_t uTop = near.uTop, uNearTop = near.uTop + GROUPS;
        for (unsigned g = 0; g < GROUPS; ++g) {
            const unsigned uBits = groupBits(uBoth, g);
            if (!uBits) continue;
            const F t = (s - origin(a, g)) / dir(a, g);
            const F pb = origin(b, g) + dir(b, g) * t, pc = origin(c, g) + dir(c, g) * t;
            Point& farEntry = blocks[uTop];
            const unsigned uOthers = groupBits(near.uMask | far.uMask, g) & ~uBits;
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
    }

    // The lanes at a leaf: which have hit, and for the nearest hit how far each looks and its hit's place in the list.
    struct Leaf {
        uint64_t uHits = 0;
        alignas(64) float bound[LANES];
        uint32_t uPlace[LANES];
    };

    template <bool NEAREST>
    const float* bound(const Leaf& leaf, unsigned g) const {
        return (NEAREST ? leaf.bound : ray.maxDist) + g * W;
    }

    template <bool NEAREST>
    void visit(const Entry& now, uint32_t uFirst) {
        Leaf leaf;
        if (NEAREST) {
            for (unsigned g = 0; g < GROUPS; ++g) F::load(blocks[now.uExit[g]].t).store(leaf.bound + g * W);
        }
        if (!(uFirst & KDTreeNode::HAS_BOXES)) {
            const LeafFace* pFirst = tree.pFaces + uFirst;
            testFaces<NEAREST, false>(leaf, now.uMask, pFirst, pFirst + pFirst->uPlace);
        } else {
            visitBoxes<NEAREST>(leaf, now.uMask, uFirst & ~KDTreeNode::HAS_BOXES);
        }
        uDone |= leaf.uHits;
    }

    // Tests faces against the lanes of uMask. Without ORDERED the faces come in list order, and of equal hits the later
    // one simply stays.
    template <bool NEAREST, bool ORDERED>
    void testFaces(Leaf& leaf, uint64_t uMask, const LeafFace* pFace, const LeafFace* pEnd) {
        for (; pFace != pEnd; ++pFace) {
            test<NEAREST, ORDERED>(*pFace, uMask, leaf);
            if (!NEAREST) {
                uMask &= ~leaf.uHits;
                if (!uMask) break;
            }
        }
    }

    // Walks the boxes of a large leaf, the nearer child first. Only lanes that meet a box, from their origin up to
    // their bound, go on below it; the boxes hold every accepted hit, so no answer changes.
    template <bool NEAREST>
    void visitBoxes(Leaf& leaf, uint64_t uAll, uint32_t uRoot) {
        if (!bReciprocals) prepareBoxes();
        uint32_t uNode[PACKET_STACK];
        uint64_t uMasks[PACKET_STACK];
        unsigned uSize = 1;
        uNode[0] = uRoot;
        uMasks[0] = uAll;
        while (uSize) {
            const LeafBox& box = tree.pBoxes[uNode[--uSize]];
            const uint64_t uLeft = NEAREST ? uMasks[uSize] : uMasks[uSize] & ~leaf.uHits;
            const uint64_t uMask = meets<NEAREST>(box, uLeft, leaf);
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
                fAhead += fBetween * ray.dir[a][uLane];
            }
            const unsigned uNearer = fAhead >= 0.0f ? 0 : 1;
            uNode[uSize] = box.uFirst + 1 - uNearer;
            uMasks[uSize++] = uMask;
            uNode[uSize] = box.uFirst + uNearer;
            uMasks[uSize++] = uMask;
        }
    }

    // The lanes of uMask that meet a box between their origin and their bound; all that the boxes do not hold for.
    template <bool NEAREST>
    uint64_t meets(const LeafBox& box, uint64_t uMask, const Leaf& leaf) const {
        uint64_t uMet = uMask & uUncontained;
        for (unsigned g = 0; g < GROUPS; ++g) {
            const unsigned uActive = groupBits(uMask, g);
            if (!uActive) continue;
            F enter = F::set(0.0f), leave = F::load(bound<NEAREST>(leaf, g));
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
                const F absOrigin = F::abs(o), absDir = F::abs(d);
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

    // Scene::testTriangle for one face and the lanes of uMask, after which the bound of a lane that hits becomes its t.
    // One test reads the face's 48 bytes once, and six ray components and the bound for each group.
    template <bool NEAREST, bool ORDERED>
    void test(const LeafFace& face, uint64_t uMask, Leaf& leaf) {
        const unsigned k = face.uAxis, ku = g_modulo[k + 1], kv = g_modulo[k + 2];
        const F zero = F::set(0.0f), nu = F::set(face.fNu), nv = F::set(face.fNv), nd = F::set(face.fNd);
        for (unsigned g = 0; g < GROUPS; ++g) {
            const unsigned uActive = groupBits(uMask, g);
            if (!uActive) continue;
            const F ou = origin(ku, g), ov = origin(kv, g), du = dir(ku, g), dv = dir(kv, g);
            const F denominator = dir(k, g) + nu * du + nv * dv;
            const F t = (nd - origin(k, g) - nu * ou - nv * ov) / denominator;
            const F limit = F::load(bound<NEAREST>(leaf, g));
            const typename F::Mask parallel = F::abs(denominator) < F::set(PARALLEL);
            const typename F::Mask within = F::andNot(parallel, (t >= zero) & (t <= limit));
            if (!(F::bits(within) & uActive)) continue;
            const F hu = ou + du * t - F::set(face.fCu), hv = ov + dv * t - F::set(face.fCv);
            const F lambda = F::set(face.fLambdaU) * hu + F::set(face.fLambdaV) * hv;
            const F mu = F::set(face.fMuU) * hu + F::set(face.fMuV) * hv;
            const typename F::Mask hit = within & (lambda >= zero) & (mu >= zero) & (lambda + mu <= F::set(1.0f));
            unsigned uHit = F::bits(hit) & uActive;
            if (!uHit) continue;
            if (NEAREST) uHit = keep<ORDERED>(face, g, uHit, t, lambda, mu, denominator, leaf);
            leaf.uHits |= uint64_t{uHit} << (g * W);
        }
    }

    // Notes the hits of a group. Out of list order, a hit as near as an earlier one replaces it only if its face stands
    // behind the other in the list. Returns the hits that are kept.
    template <bool ORDERED>
    unsigned keep(const LeafFace& face, unsigned g, unsigned uHit, F t, F lambda, F mu, F denominator, Leaf& leaf) {
        const F limit = F::load(leaf.bound + g * W);
        if (ORDERED) {
            const unsigned uBefore = groupBits(leaf.uHits, g);
            for (unsigned u = uHit & uBefore & F::bits(t == limit); u; u &= u - 1) {
                const unsigned uLane = static_cast<unsigned>(__builtin_ctz(u));
                if (face.uPlace < leaf.uPlace[g * W + uLane]) uHit &= ~(1u << uLane);
            }
            for (unsigned u = uHit; u; u &= u - 1) {
                leaf.uPlace[g * W + static_cast<unsigned>(__builtin_ctz(u))] = face.uPlace;
            }
        }
        const typename F::Mask hit = F::mask(uHit);
        const auto put = [&](F value, float* p) { F::select(hit, value, F::load(p)).store(p); };
        put(t, leaf.bound + g * W);
        put(t, pHits->fT + g * W);
        put(lambda, pHits->fU + g * W);
        put(mu, pHits->fV + g * W);
        // The normal's sign on axis k and the denominator's differ where the front is hit.
        const F faceFront =
            F::select(denominator < F::set(0.0f), patternOf(face.uFaceSide ^ 1), patternOf(face.uFaceSide));
        put(faceFront, pHits->fFaceFront + g * W);
        return uHit;
    }

    const PacketTree& tree;
    // The rays, copied so that one base and the axis give the address of any component.
    struct {
        alignas(64) float origin[3][LANES];
        float dir[3][LANES];
        float maxDist[LANES];
    } ray;
    PacketHits* pHits = nullptr;
    uint64_t uDone = 0;
    bool bReciprocals = false;  // the two below are filled
    uint64_t uUncontained = 0;  // lanes that the boxes do not hold for
    alignas(64) float fReciprocal[3][LANES];
    Entry stack[PACKET_STACK];
    Point blocks[BLOCKS];
};

template <typename F>
uint64_t nearestFaces(const PacketTree& tree, const PacketRays& rays, uint64_t uMask, PacketHits& hits) {
    return PacketTraversal<F>(tree, rays).findNearest(uMask, hits);
}

template <typename F>
uint64_t obstacles(const PacketTree& tree, const PacketRays& rays, uint64_t uMask) {
    return PacketTraversal<F>(tree, rays).findObstacles(uMask);
}

}  // namespace
