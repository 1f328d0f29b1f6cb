#pragma once

// The queries of a packet: the BVH finds hits, and those that the kd-tree's walk returns, too, are confirmed. F is the
// vector type for rays, B a vector of four for boxes.

#include "accel/packet/BvhTraversal.h"
#include "accel/packet/HitConfirmation.h"
#include "accel/packet/RayPacket.h"

namespace rt {

namespace {

template <typename F, typename B>
KernelAnswer nearestFaces(const TraversalData& tree, const RayLanes& source, uint64_t uMask, HitLanes& hitLanes) {
    using Rays = RayPacket<F>;
    Rays rays(tree, source, &hitLanes);
    BvhTraversal<F, B> traversal(rays, tree);
    typename Rays::Hits hits;
    // The kd-tree's walk may accept hits slightly beyond a lane's maximum distance.
    for (unsigned g = 0; g < Rays::GROUPS; ++g) F(Rays::INFINITE).store(hits.bound + g * Rays::W);
    const uint64_t uValid = traversal.validLanes(uMask, false);
    if (uValid) traversal.template search<true>(uValid, hits);
    const uint64_t uSingle = hits.uLanes & ~hits.uTied;
    uint64_t uConfirmed = 0;
    if (uSingle) {
        HitConfirmation<F> confirmation(rays, tree);
        Rays::forEachGroup(uSingle,
                           [&](unsigned g, unsigned) { uConfirmed |= Rays::lanesOf(confirmation.clipToScene(g), g); });
        uConfirmed = confirmation.confirm(uConfirmed & uSingle);
    }
    return {uConfirmed, (hits.uLanes | (uMask & ~uValid)) & ~uConfirmed};
}

template <typename F, typename B>
KernelAnswer obstacles(const TraversalData& tree, const RayLanes& source, uint64_t uMask) {
    using Rays = RayPacket<F>;
    HitLanes hitLanes;
    Rays rays(tree, source, &hitLanes);
    BvhTraversal<F, B> traversal(rays, tree);
    typename Rays::Hits hits;
    for (unsigned g = 0; g < Rays::GROUPS; ++g) rays.maxDist(g).store(hits.bound + g * Rays::W);
    const uint64_t uValid = traversal.validLanes(uMask, true);
    if (uValid) traversal.template search<false>(uValid, hits);
    uint64_t uConfirmed = 0;
    if (hits.uLanes) {
        HitConfirmation<F> confirmation(rays, tree);
        Rays::forEachGroup(hits.uLanes, [&](unsigned g, unsigned) { confirmation.useWhole(g); });
        uConfirmed = confirmation.confirm(hits.uLanes);
    }
    return {uConfirmed, (hits.uLanes | (uMask & ~uValid)) & ~uConfirmed};
}

}  // namespace

}  // namespace rt
