#pragma once

// The packet queries as a template over the vector type F of the rays and a vector of four B for boxes. A query goes
// three steps, and each leaves less to the next:
//  1. PacketSearch finds the hits in a hierarchy of boxes, in which each face stands once.
//  2. PacketLocate recognises the hits that the kd-tree's walk would find.
//  3. PacketWalk, which is the definition of the answer, does the rest.

#include "accel/packet/PacketLocate.h"
#include "accel/packet/PacketSearch.h"
#include "accel/packet/PacketWalk.h"
#include "accel/packet/RayPacket.h"

namespace {

template <typename F, typename B>
class PacketQuery {
 public:
    using Rays = RayPacket<F>;
    static constexpr unsigned W = F::WIDTH;
    static constexpr unsigned GROUPS = F::GROUPS;

    PacketQuery(const PacketTree& tree, const PacketRays& source, PacketHits& hits)
        : rays(tree, source, &hits), search(rays, tree), locate(rays, tree), walk(rays, tree) {}

    uint64_t findNearest(uint64_t uMask) {
        typename Rays::Hits hits;
        // The walk may look a little further than a lane's maximal distance.
        for (unsigned g = 0; g < GROUPS; ++g) F::set(INFINITE).store(hits.bound + g * W);
        const uint64_t uContained = search.contained(uMask, false);
        if (uContained) search.template search<true>(uContained, hits);
        uint64_t uLeft = hits.uLanes | (uMask & ~uContained), uBetween = 0;
        if (!uLeft) return 0;
        for (unsigned g = 0; g < GROUPS; ++g) {
            if (!Rays::groupBits(uLeft, g)) continue;
            const unsigned uInside = walk.clip(g);
            uLeft &= ~Rays::lanesOf(~uInside & static_cast<unsigned>(Rays::GROUP_MASK), g);
            const F t = F::load(hits.bound + g * W);
            const F nothing = F::set(-1.0f);
            F::select(F::mask(Rays::groupBits(uContained, g)), t, nothing).store(known.t + g * W);
            uBetween |= Rays::lanesOf(F::bits((t >= walk.entryT(g)) & (t <= walk.exitT(g))), g);
            locate.prepare(g, walk.exitT(g), known);
        }
        known.uLanes = hits.uLanes & ~hits.uTied;
        const uint64_t uLocated = locate.template locate<true>(known.uLanes & uLeft & uBetween, known);
        uLeft &= ~uLocated;
        return uLeft ? uLocated | walk.template walk<true>(uLeft, known) : uLocated;
    }

    uint64_t findObstacles(uint64_t uMask) {
        typename Rays::Hits hits;
        for (unsigned g = 0; g < GROUPS; ++g) rays.maxDist(g).store(hits.bound + g * W);
        const uint64_t uContained = search.contained(uMask, true);
        if (uContained) search.template search<false>(uContained, hits);
        uint64_t uLeft = hits.uLanes | (uMask & ~uContained);
        if (!uLeft) return 0;
        for (unsigned g = 0; g < GROUPS; ++g) {
            if (!Rays::groupBits(uLeft, g)) continue;
            F::load(rays.hitT() + g * W).store(known.t + g * W);
            locate.prepare(g, rays.maxDist(g), known);
        }
        known.uLanes = hits.uLanes;
        const uint64_t uLocated = locate.template locate<false>(known.uLanes, known);
        uLeft &= ~uLocated;
        if (!uLeft) return uLocated;
        for (unsigned g = 0; g < GROUPS; ++g) {
            if (Rays::groupBits(uLeft, g)) walk.useWhole(g);
        }
        return uLocated | walk.template walk<false>(uLeft, known);
    }

 private:
    Rays rays;
    PacketSearch<F, B> search;
    PacketLocate<F> locate;
    PacketWalk<F> walk;
    typename Rays::Known known;
};

template <typename F, typename B>
uint64_t nearestFaces(const PacketTree& tree, const PacketRays& rays, uint64_t uMask, PacketHits& hits) {
    return PacketQuery<F, B>(tree, rays, hits).findNearest(uMask);
}

template <typename F, typename B>
uint64_t obstacles(const PacketTree& tree, const PacketRays& rays, uint64_t uMask) {
    PacketHits hits;
    return PacketQuery<F, B>(tree, rays, hits).findObstacles(uMask);
}

}  // namespace
