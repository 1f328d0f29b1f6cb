#pragma once

// Finds out which hits of a box search are beyond doubt those of the kd-tree's walk.
//
// The walk (PacketWalk) defines the answer. It is a matter of its own segments: each node's is cut at the node's plane,
// and rounding of the cut points decides which leaves are visited. Where a hit lies well clear of all planes, though,
// the walk's way to its leaf is known without them. Write t* for a ray's hit, t for where the ray crosses a plane, and
// let w bound the error of both t here and the walk's cut point, as a distance along the ray.
//  - t > t* + w: the hit lies on the near side, where the walk comes first. Its segment begins before the hit, on that
//    side, and the walk goes there in every case but one: a segment that ends exactly on the plane goes to the high
//    side only. The segment ends where the ray first crosses a plane of the way so far, or where it itself ends; so
//    that is ruled out when this crossing is further than w from all of those that could be the first.
//  - t < t* - w: the hit lies on the far side, where the walk comes too.
// So the walk visits the leaf that is found. If the hit's face stands in its list, the ray is blocked. For the nearest
// hit it is also the answer: t* is the least of all hits, so a leaf that the walk visits earlier, whose segment ends
// before t*, has none. All those leaves lie on the near side of a plane that is crossed before the hit. Their segments'
// ends are cut points, each of which is beyond one that was there before by at most one error; there are at most 20
// one below the other, so t < t* - 20 errors puts all of them before the hit.
//
// One error: a point's coordinate O + t D is wrong by u (3 |O| + 2 R), with u the rounding of one operation and R the
// largest coordinate of the scene, and t = (s - O) / D by 2 u (|O| + R) / |D|; together less than 5 u (|O| + R) / |D|.
// With the crossings here, computed by a reciprocal, w = 8 u (|O| + R) / |D|. For the 20 errors the slowest axis
// counts; one along which a ray does not travel at all is never cut.
//
// Rays in doubt are left to the walk: some in a hundred.

#include "accel/packet/RayPacket.h"

namespace {

template <typename F>
class PacketLocate {
 public:
    using Rays = RayPacket<F>;
    using Known = typename Rays::Known;
    static constexpr unsigned W = F::WIDTH;
    static constexpr unsigned GROUPS = F::GROUPS;
    static constexpr unsigned LANES = W * GROUPS;

    PacketLocate(const Rays& source, const PacketTree& sourceTree) : rays(source), tree(sourceTree) {}

    /// Computes the error bounds of a group, whose segments end at exit, and notes its slack.
    void prepare(unsigned g, F exit, Known& known) {
        F slowest = F::set(0.0f), largest = F::set(0.0f);
        for (unsigned a = 0; a < 3; ++a) {
            const F r = F::abs(rays.reciprocal(a, g));
            slowest = F::select(rays.dir(a, g) == F::set(0.0f), slowest, F::max(slowest, r));
            largest = F::max(F::abs(rays.origin(a, g)), largest);
        }
        const F unit = F::set(UNIT) * (largest + F::set(tree.fReach));
        for (unsigned a = 0; a < 3; ++a) {
            (F::set(8.0f) * unit * F::abs(rays.reciprocal(a, g))).store(fMargin[a] + g * W);
        }
        (F::set(20.0f * 5.0f) * unit * slowest).store(known.slack + g * W);
        exit.store(fExitLow + g * W);
        exit.store(fExitHigh + g * W);
    }

    /// The lanes of uMask, of which a hit is known, whose hit is the walk's. For the nearest hit it must be the least
    /// and between the ends of the lane's segment.
    template <bool NEAREST>
    uint64_t locate(uint64_t uMask, const Known& known) {
        struct {
            const KDTreeNode* pNode;
            uint64_t uMask;
        } stack[STACK];
        unsigned uSize = 0;
        const KDTreeNode* pNode = tree.pNodes;
        uint64_t uLocated = 0;
        for (;;) {
            while (uMask && !pNode->isLeaf()) {
                const Sides sides = part<NEAREST>(*pNode, uMask, known);
                pNode = tree.pNodes + pNode->child();
                uMask = sides.uLow;
                if (!sides.uHigh) continue;
                if (uMask) stack[uSize++] = {pNode, uMask};
                ++pNode;
                uMask = sides.uHigh;
            }
            if (uMask && pNode->packetList() != NO_INDEX)
                uLocated |= rays.listed(tree.pLists + pNode->packetList(), uMask);
            if (!uSize) return uLocated;
            --uSize;
            pNode = stack[uSize].pNode;
            uMask = stack[uSize].uMask;
        }
    }

 private:
    static constexpr float UNIT = 5.97e-8f;  // a little more than the rounding of one operation
    static constexpr unsigned STACK = 24;    // one for each level

    struct Sides {
        uint64_t uLow = 0, uHigh = 0;
    };

    // The lanes whose hit lies on either side of a node's plane; lanes in doubt are on neither.
    template <bool NEAREST>
    Sides part(const KDTreeNode& node, uint64_t uMask, const Known& known) {
        const unsigned a = node.axis();
        const F s = F::set(node.fSplit);
        Sides sides;
        for (unsigned g = 0; g < GROUPS; ++g) {
            const unsigned uActive = Rays::groupBits(uMask, g);
            if (!uActive) continue;
            const F r = rays.reciprocal(a, g), margin = F::load(fMargin[a] + g * W);
            const F hit = F::load(known.t + g * W), t = (s - rays.origin(a, g)) * r;
            const F from = t - margin, to = t + margin;
            const unsigned uFar = F::bits((NEAREST ? to + F::load(known.slack + g * W) : to) < hit) & uActive;
            unsigned uNear = F::bits(from > hit) & uActive;
            if (uNear) {
                const F exitLow = F::load(fExitLow + g * W), exitHigh = F::load(fExitHigh + g * W);
                const typename F::Mask first = to < exitLow;
                const unsigned uFirst = F::bits(first) & uNear;
                uNear &= uFirst | F::bits(from > exitHigh);
                if (uFirst) {
                    const typename F::Mask lanes = F::mask(uFirst);
                    F::select(lanes, from, exitLow).store(fExitLow + g * W);
                    F::select(lanes, to, exitHigh).store(fExitHigh + g * W);
                }
            }
            const unsigned uDown = F::bits(r < F::set(0.0f));
            sides.uLow |= Rays::lanesOf((uNear & ~uDown) | (uFar & uDown), g);
            sides.uHigh |= Rays::lanesOf((uNear & uDown) | (uFar & ~uDown), g);
        }
        return sides;
    }

    const Rays& rays;
    const PacketTree& tree;
    alignas(64) float fMargin[3][LANES];
    // Where the ray first crosses a plane of the way to its hit, beyond the hit.
    float fExitLow[LANES];
    float fExitHigh[LANES];
};

}  // namespace
