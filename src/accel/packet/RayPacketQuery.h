#pragma once

// The queries of a packet, as templates over the vector type F of the rays and a vector of four B for boxes: the box
// hierarchy finds hits, and those are confirmed that the kd-tree's walk returns, too.

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
    // The walk may look a little further than a lane's maximal distance.
    for (unsigned g = 0; g < Rays::GROUPS; ++g) F(INFINITE).store(hits.bound + g * Rays::W);
    const uint64_t uContained = traversal.contained(uMask, false);
    if (uContained) traversal.template search<true>(uContained, hits);
    const uint64_t uSingle = hits.uLanes & ~hits.uTied;
    uint64_t uConfirmed = 0;
    if (uSingle) {
        HitConfirmation<F> confirmation(rays, tree);
        Rays::forEachGroup(uSingle,
                           [&](unsigned g, unsigned) { uConfirmed |= Rays::lanesOf(confirmation.clipToScene(g), g); });
        uConfirmed = confirmation.confirm(uConfirmed & uSingle);
    }
    return {uConfirmed, (hits.uLanes | (uMask & ~uContained)) & ~uConfirmed};
}

template <typename F, typename B>
KernelAnswer obstacles(const TraversalData& tree, const RayLanes& source, uint64_t uMask) {
    using Rays = RayPacket<F>;
    HitLanes hitLanes;
    Rays rays(tree, source, &hitLanes);
    BvhTraversal<F, B> traversal(rays, tree);
    typename Rays::Hits hits;
    for (unsigned g = 0; g < Rays::GROUPS; ++g) rays.maxDist(g).store(hits.bound + g * Rays::W);
    const uint64_t uContained = traversal.contained(uMask, true);
    if (uContained) traversal.template search<false>(uContained, hits);
    uint64_t uConfirmed = 0;
    if (hits.uLanes) {
        HitConfirmation<F> confirmation(rays, tree);
        Rays::forEachGroup(hits.uLanes, [&](unsigned g, unsigned) { confirmation.useWhole(g); });
        uConfirmed = confirmation.confirm(hits.uLanes);
    }
    return {uConfirmed, (hits.uLanes | (uMask & ~uContained)) & ~uConfirmed};
}

}  // namespace

}  // namespace rt
