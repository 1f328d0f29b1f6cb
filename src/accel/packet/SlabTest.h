#pragma once

// The slab test of a box by each lane of a packet: a ray intersects the box when its intervals in the three slabs
// overlap.

#include "accel/bvh/Bvh.h"
#include "accel/packet/RayPacket.h"

namespace rt {

namespace {

template <typename F>
class SlabTest {
 public:
    using Rays = RayPacket<F>;
    static constexpr unsigned W = F::WIDTH;
    static constexpr unsigned GROUPS = Rays::GROUPS;
    static constexpr unsigned LANES = Rays::LANES;

    /// Prepares the lanes of uMask, for which the boxes must be valid.
    void setUp(const Rays& rays, uint64_t uMask) {
        bCoherent = true;
        for (unsigned a = 0; a < 3; ++a) {
            uint64_t uDown = 0;
            for (unsigned g = 0; g < GROUPS; ++g) {
                const F d = rays.dir(a, g);
                const F r = select(abs(d) < MIN_COMPONENT, NOT_A_NUMBER, rays.reciprocal(a, g));
                r.store(reciprocal[a] + g * W);
                (-(rays.origin(a, g) * r)).store(offset[a] + g * W);
                uDown |= Rays::lanesOf(bits(d < 0.0f), g);
            }
            bDown[a] = (uDown & uMask) != 0;
            if (bDown[a] && (~uDown & uMask)) bCoherent = false;
        }
    }

    /// The lanes of uMask that hit a node's box between their origin and pBounds.
    uint64_t intersects(const BvhNode& node, unsigned uBox, uint64_t uMask, const float* pBounds) const {
        return bCoherent ? intersects<true>(node, uBox, uMask, pBounds) : intersects<false>(node, uBox, uMask, pBounds);
    }

 private:
    // With a smaller direction component, products with its reciprocal could overflow. NaN in place of the reciprocal
    // ignores the axis, so that more boxes pass.
    static constexpr float MIN_COMPONENT = 1e-18f;
    static constexpr float NOT_A_NUMBER = __builtin_nanf("");

    // Coherent lanes travel in the same direction on each axis, so that all enter a box through the same sides.
    template <bool COHERENT>
    uint64_t intersects(const BvhNode& node, unsigned uBox, uint64_t uMask, const float* pBounds) const {
        F first[3], second[3];
        for (unsigned a = 0; a < 3; ++a) {
            first[a] = (bDown[a] ? node.fMax : node.fMin)[a][uBox];
            second[a] = (bDown[a] ? node.fMin : node.fMax)[a][uBox];
        }
        uint64_t uMet = 0;
        Rays::forEachGroup(uMask, [&](unsigned g, unsigned) {
            F enter = 0.0f, leave = F::load(pBounds + g * W);
            for (unsigned a = 0; a < 3; ++a) {
                const F r = F::load(reciprocal[a] + g * W), o = F::load(offset[a] + g * W);
                const F t0 = looseMulAdd(first[a], r, o), t1 = looseMulAdd(second[a], r, o);
                enter = looseMax(COHERENT ? t0 : looseMin(t0, t1), enter);
                leave = looseMin(COHERENT ? t1 : looseMax(t0, t1), leave);
            }
            uMet |= Rays::lanesOf(bits(enter <= leave), g);
        });
        return uMet & uMask;
    }

    alignas(64) float reciprocal[3][LANES];
    float offset[3][LANES];  // what is added: the origin times the reciprocal, negated
    bool bDown[3];           // a lane travels downwards
    bool bCoherent;
};

}  // namespace

}  // namespace rt
