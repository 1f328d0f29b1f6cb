#pragma once

// The BVH traversal of a packet. A box is tested against the packet's frustum first, which is cheap, and then against
// each lane, so that a face is tested only by lanes that hit all boxes above it. The boxes hold every hit that the face
// test accepts (FaceBounds), so a search finds the same hits as testing all faces.

#include "accel/bvh/FaceBounds.h"
#include "accel/packet/PacketFrustum.h"
#include "accel/packet/RayPacket.h"
#include "accel/packet/SlabTest.h"

namespace rt {

namespace {

template <typename F, typename B>
class BvhTraversal {
 public:
    using Rays = RayPacket<F>;
    using Hits = typename Rays::Hits;
    static constexpr unsigned W = F::WIDTH;
    static constexpr unsigned GROUPS = Rays::GROUPS;

    BvhTraversal(Rays& source, const TraversalData& sourceTree) : rays(source), tree(sourceTree) {}

    /// The lanes of uMask for which the boxes and the frustum are valid. bEnds: the rays may end anywhere, so their
    /// ends are checked, too. Otherwise they are clipped to the scene.
    uint64_t validLanes(uint64_t uMask, bool bEnds) const {
        uint64_t uValid = 0;
        const float fEndLimit = tree.bNeedles ? tree.fOriginLimit : FARTHEST_END;
        for (unsigned g = 0; g < GROUPS; ++g) {
            F largestDir = 0.0f;
            typename F::Mask holds = largestDir <= largestDir;
            for (unsigned a = 0; a < 3; ++a) {
                // Written so that NaN fails every comparison.
                const F size = abs(rays.dir(a, g));
                holds &= (abs(rays.origin(a, g)) <= tree.fOriginLimit) & (size <= FaceBounds::DIR_MAX);
                if (bEnds) holds &= abs(rays.end(a, g)) <= fEndLimit;
                largestDir = max(largestDir, size);
            }
            holds &= largestDir >= FaceBounds::DIR_MIN;
            if (tree.bNeedles && !bEnds) holds &= ~mayHitBeyondScene(g, largestDir);
            uValid |= Rays::lanesOf(bits(holds), g);
        }
        return uValid & uMask;
    }

    /// Finds the nearest hit, or any hit, of each lane of uMask, no farther than hits.bound. Requires validLanes().
    template <bool NEAREST>
    void search(uint64_t uMask, Hits& hits) {
        slabs.setUp(rays, uMask);
        bFrustum = frustum.bound(rays, uMask, !NEAREST);
        if (bFrustum && !NEAREST) frustum.limitDepth(rays, uMask, hits.bound);
        const uint64_t uAll = uMask;
        StackEntry stack[Bvh::STACK_SIZE];
        unsigned uSize = 0;
        uint32_t uNode = 0;
        for (;;) {
            push(uNode, uMask, stack, uSize);
            for (;;) {
                if (!uSize) return;
                const StackEntry& next = stack[--uSize];
                if (NEAREST && bFrustum && next.fDepth > frustum.maxDepth()) continue;
                const BvhNode& node = tree.pBvh[next.uNode];
                uMask = next.uMask;
                if (!NEAREST) uMask &= ~hits.uLanes;
                uMask = slabs.intersects(node, next.uBox, uMask, hits.bound);
                if (!uMask) continue;
                uNode = node.uChild[next.uBox];
                const uint32_t uCount = node.uCount[next.uBox];
                if (!uCount) break;
                testLeaf<NEAREST>(uNode, uCount, uMask, hits);
                if (NEAREST && bFrustum && (uMask & hits.uLanes)) frustum.limitDepth(rays, uAll, hits.bound);
            }
        }
    }

 private:
    static constexpr float FARTHEST_END = 1e30f;  // the frustum's arithmetic stays finite
    static constexpr float SLOWEST = 2.5e-5f;     // downward component, relative to the direction's largest one

    // A box that is still to be visited, on the traversal stack.
    struct StackEntry {
        uint32_t uNode;
        uint32_t uBox;
        float fDepth;
        uint64_t uMask;
    };

    // The lanes of a group that may hit a face beyond the scene and the limit. When a ray's component on an axis is
    // tiny, rounding at a split plane lets a leaf of the kd-tree accept faces far behind the segment's end.
    typename F::Mask mayHitBeyondScene(unsigned g, F largestDir) const {
        const F zero = 0.0f, slowest = -SLOWEST * largestDir;
        typename F::Mask any = zero < zero;
        for (unsigned a = 0; a < 3; ++a) any |= (rays.dir(a, g) < zero) & (rays.dir(a, g) > slowest);
        return any;
    }

    // Pushes the boxes of a node that the lanes may hit, the nearest on top.
    void push(uint32_t uNode, uint64_t uMask, StackEntry* pStack, unsigned& uSize) const {
        const BvhNode& node = tree.pBvh[uNode];
        alignas(16) float fDepth[4];
        unsigned uMet = bFrustum ? frustum.intersects(node, fDepth) & node.uUsed : orderByCentre(node, uMask, fDepth);
        const unsigned uBase = uSize;
        for (; uMet; uMet &= uMet - 1) {
            const unsigned i = static_cast<unsigned>(__builtin_ctz(uMet));
            unsigned u = uSize++;
            for (; u > uBase && pStack[u - 1].fDepth < fDepth[i]; --u) pStack[u] = pStack[u - 1];
            pStack[u] = {uNode, i, fDepth[i], uMask};
            prefetch(node, i);
        }
    }

    // Prefetches what a box holds: a node or up to four records.
    void prefetch(const BvhNode& node, unsigned uBox) const {
        const uint32_t u = node.uChild[uBox];
        const void* pFirst = node.uCount[uBox] ? static_cast<const void*>(tree.pRecords + u) : tree.pBvh + u;
        for (unsigned uLine = 0; uLine < 3; ++uLine) __builtin_prefetch(static_cast<const char*>(pFirst) + 64 * uLine);
    }

    // For packets without a frustum: returns all boxes, with the depths of their centres along the first ray.
    unsigned orderByCentre(const BvhNode& node, uint64_t uMask, float* pDepth) const {
        const unsigned uFirst = static_cast<unsigned>(__builtin_ctzll(uMask));
        for (unsigned i = 0; i < 4; ++i) {
            pDepth[i] = 0.0f;
            for (unsigned a = 0; a < 3; ++a) pDepth[i] += (node.fMin[a][i] + node.fMax[a][i]) * rays.dirOf(a, uFirst);
        }
        return node.uUsed;
    }

    template <bool NEAREST>
    void testLeaf(uint32_t uFirst, uint32_t uCount, uint64_t uMask, Hits& hits) {
        for (uint32_t u = 0; u < uCount && uMask; ++u) {
            rays.template test<NEAREST>(uFirst + u, uMask, hits);
            if (!NEAREST) uMask &= ~hits.uLanes;
        }
    }

    Rays& rays;
    const TraversalData& tree;
    SlabTest<F> slabs;
    PacketFrustum<F, B> frustum;
    bool bFrustum = false;  // the packet has one
};

}  // namespace

}  // namespace rt
