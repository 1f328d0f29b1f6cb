#pragma once

// The rays of a packet that travel mostly along the same axis in the same direction, as vectors of the type F, and the
// face test on them: FaceTest.h, operation by operation. A set of lanes is a mask of 64 bits, bit i for ray i; a group
// is the rays of one vector. Has internal linkage, like everything that is compiled for several instruction sets.

#include <cstring>

#include "accel/LaneGroups.h"
#include "accel/watertight/Margin.h"

namespace rt {

namespace {

// N doubles, made of half a vector of floats, so that the processor has a vector for them, too.
template <unsigned N>
struct HalfTypes {
    typedef float Half __attribute__((vector_size(4 * N)));
    typedef double Doubles __attribute__((vector_size(8 * N)));
};

template <unsigned N>
struct HalfDoubles {
    static constexpr unsigned WIDTH = N;
    using Half = typename HalfTypes<N>::Half;
    using Doubles = typename HalfTypes<N>::Doubles;

    [[gnu::always_inline]] static Doubles widen(const float* p) {
        Half half;
        memcpy(&half, p, sizeof(half));
        return __builtin_convertvector(half, Doubles);
    }
    [[gnu::always_inline]] static void narrow(const Doubles& d, float* p) {
        const Half half = __builtin_convertvector(d, Half);
        memcpy(p, &half, sizeof(half));
    }
};

template <typename F>
class PacketLanes : public LaneGroups<F> {
 public:
    using Groups = LaneGroups<F>;
    using Groups::W, Groups::LANES, Groups::GROUPS, Groups::groupBits, Groups::lanesOf, Groups::forEachGroup;
    using Mask = typename F::Mask;

    explicit PacketLanes(const WatertightLanes& source) : rays(source) {
        for (unsigned g = 0; g < GROUPS; ++g) far(g).store(bound + g * W);
    }

    /// The lanes that may travel in this packet: which the definition does not give another scale and which may meet
    /// anything. pClasses[i] becomes those along axis i / 2, upwards for an even i.
    uint64_t sort(uint64_t uMask, uint64_t* pClasses) const {
        uint64_t uFit = 0, uAlong[2] = {}, uDown[3] = {};
        for (unsigned g = 0; g < GROUPS; ++g) {
            const F size[3] = {abs(dir(0, g)), abs(dir(1, g)), abs(dir(2, g))};
            Mask fit = far(g) >= 0.0f;
            for (unsigned a = 0; a < 3; ++a) {
                fit &= (abs(origin(a, g)) <= ShearedRay::FARTHEST_ORIGIN) & (size[a] <= ShearedRay::LONGEST);
                uDown[a] |= lanesOf(bits(dir(a, g) < 0.0f), g);
            }
            fit &= max(max(size[0], size[1]), size[2]) >= ShearedRay::SHORTEST;
            const Mask x = (size[0] >= size[1]) & (size[0] >= size[2]);
            const Mask y = (size[1] > size[0]) & (size[1] >= size[2]);
            uFit |= lanesOf(bits(fit), g);
            uAlong[0] |= lanesOf(bits(x), g);
            uAlong[1] |= lanesOf(bits(y), g);
        }
        uFit &= uMask;
        const uint64_t uAxes[3] = {uAlong[0], uAlong[1], ~(uAlong[0] | uAlong[1])};
        for (unsigned i = 0; i < 6; ++i) pClasses[i] = uFit & uAxes[i / 2] & (i % 2 ? uDown[i / 2] : ~uDown[i / 2]);
        return uFit;
    }

    /// Turns the lanes towards axis uAxis.
    void turn(unsigned uAxis, bool bDownwards) {
        k[2] = uAxis;
        k[0] = uAxis == 2 ? 0 : uAxis + 1;
        k[1] = k[0] == 2 ? 0 : k[0] + 1;
        bDown = bDownwards;
        for (unsigned g = 0; g < GROUPS; ++g) {
            for (unsigned i = 0; i < 2; ++i) (dir(k[i], g) / dir(uAxis, g)).store(shears[i] + g * W);
        }
    }

    unsigned axis(unsigned uPlace) const { return k[uPlace]; }
    bool travelsDown() const { return bDown; }
    F origin(unsigned a, unsigned g) const { return F::loadUnaligned(rays.pOrigin[a] + g * W); }
    F dir(unsigned a, unsigned g) const { return F::loadUnaligned(rays.pDir[a] + g * W); }
    F far(unsigned g) const { return F::loadUnaligned(rays.pFar + g * W); }
    F end(unsigned a, unsigned g) const { return origin(a, g) + dir(a, g) * far(g); }
    F shear(unsigned i, unsigned g) const { return F::load(shears[i] + g * W); }
    F bounds(unsigned g) const { return F::load(bound + g * W); }
    float dirOf(unsigned a, unsigned uLane) const { return rays.pDir[a][uLane]; }
    WatertightRay ray(unsigned u) const {
        return {{rays.pOrigin[0][u], rays.pOrigin[1][u], rays.pOrigin[2][u]},
                {rays.pDir[0][u], rays.pDir[1][u], rays.pDir[2][u]},
                0.0f,
                rays.pFar[u]};
    }
    uint64_t lanesWithHit() const { return uHits; }
    WatertightHit hit(unsigned u) const {
        uint32_t uFaceFront;
        memcpy(&uFaceFront, &hitFace[u], sizeof(uFaceFront));
        return {bound[u], hitU[u], hitV[u], uFaceFront >> 1, uFaceFront & 1};
    }

    /// The face test for the lanes of uMask, within the bound of each lane. For the nearest hit the bound of a lane
    /// that hits becomes its t.
    template <bool NEAREST>
    void test(const WatertightFace& face, uint64_t uMask) {
        const float *pX = face.fAt[k[0]], *pY = face.fAt[k[1]], *pZ = face.fAt[k[2]];
        forEachGroup(uMask, [&](unsigned g, unsigned uActive) {
            const F ox = origin(k[0], g), oy = origin(k[1], g), oz = origin(k[2], g);
            const F sx = shear(0, g), sy = shear(1, g);
            F x[3], y[3], z[3];
            for (unsigned c = 0; c < 3; ++c) {
                z[c] = F(pZ[c]) - oz;
                x[c] = (F(pX[c]) - ox) - sx * z[c];
                y[c] = (F(pY[c]) - oy) - sy * z[c];
            }
            const F p0 = x[0] * y[1], q0 = y[0] * x[1], p1 = x[1] * y[2], q1 = y[1] * x[2], p2 = x[2] * y[0],
                    q2 = y[2] * x[0];
            const Mask plus = (p0 >= q0) & (p1 >= q1) & (p2 >= q2), minus = (p0 <= q0) & (p1 <= q1) & (p2 <= q2);
            const unsigned uMet = bits(plus | minus) & uActive;
            if (!uMet) return;
            // Equal products are rare, and left to the definition.
            const unsigned uDoubtful = bits((p0 == q0) | (p1 == q1) | (p2 == q2)) & uMet;
            unsigned uSure = uMet & ~uDoubtful;
            if (!NEAREST && uSure) {
                // t lies between those of the corners: where they are well within the ends it need not be known.
                const F along = abs(dir(k[2], g)), limit = bounds(g) * along * WELL_WITHIN;
                const F high = max(max(z[0], z[1]), z[2]), low = min(min(z[0], z[1]), z[2]);
                const Mask within = bDown ? (high <= 0.0f) & (-low <= limit) : (low >= 0.0f) & (high <= limit);
                const unsigned uWithin = bits(within) & uSure;
                uHits |= lanesOf(uWithin, g);
                uSure &= ~uWithin;
            }
            if (uSure) {
                Met met;
                for (unsigned c = 0; c < 3; ++c) {
                    x[c].store(met.x[c]);
                    y[c].store(met.y[c]);
                    z[c].store(met.z[c]);
                }
                take<NEAREST>(face, met, bits(plus), uSure, g);
            }
            for (unsigned uRest = uDoubtful; uRest; uRest &= uRest - 1) {
                takeDoubtful<NEAREST>(face, g * W + static_cast<unsigned>(__builtin_ctz(uRest)));
            }
        });
    }

 private:
    static constexpr float WELL_WITHIN = 1.0f - 0x1p-20f;

    // A face's corners as the lanes of a group see them.
    struct Met {
        alignas(64) float x[3][W];
        float y[3][W], z[3][W];
    };

    // Takes the hits of lanes that pass all edges on the same side.
    template <bool NEAREST>
    [[gnu::always_inline]] void take(const WatertightFace& face, const Met& met, unsigned uPlus, unsigned uMet,
                                     unsigned g) {
        using Half = HalfDoubles<W / 2>;
        using Doubles = typename Half::Doubles;
        alignas(64) float t[W], u[W], v[W];
        constexpr unsigned HALF_MASK = (1u << Half::WIDTH) - 1;
        for (unsigned h = 0; h < W; h += Half::WIDTH) {
            if (!(uMet >> h & HALF_MASK)) continue;
            Doubles x[3], y[3], z[3];
            for (unsigned c = 0; c < 3; ++c) {
                x[c] = Half::widen(met.x[c] + h);
                y[c] = Half::widen(met.y[c] + h);
                z[c] = Half::widen(met.z[c] + h);
            }
            const Doubles a = x[1] * y[2] - y[1] * x[2], b = x[2] * y[0] - y[2] * x[0], c = x[0] * y[1] - y[0] * x[1];
            const Doubles along = Half::widen(rays.pDir[k[2]] + g * W + h);
            const Doubles factor = 1.0 / ((a + b + c) * along);
            Half::narrow((a * z[0] + b * z[1] + c * z[2]) * factor, t + h);
            if (!NEAREST) continue;
            Half::narrow(a * factor * along, u + h);
            Half::narrow(b * factor * along, v + h);
        }
        const F hitT = F::load(t), limit = bounds(g);
        const Mask behind = hitT >= 0.0f;
        if (!NEAREST) {
            uHits |= lanesOf(bits(behind & (hitT <= limit)) & uMet, g);
            return;
        }
        unsigned uTaken = bits(behind & (hitT < limit)) & uMet;
        for (unsigned uTied = bits(behind & (hitT == limit)) & uMet; uTied; uTied &= uTied - 1) {
            const unsigned i = static_cast<unsigned>(__builtin_ctz(uTied));
            if (face.uFace < faceOf(g * W + i)) uTaken |= 1u << i;
        }
        if (!uTaken) return;
        const Mask taken = F::mask(uTaken);
        const auto put = [&](F value, float* p) { select(taken, value, F::load(p + g * W)).store(p + g * W); };
        put(hitT, bound);
        put(F::load(u), hitU);
        put(F::load(v), hitV);
        const Mask front = F::mask(bDown ? uPlus : ~uPlus);
        put(select(front, F::pattern(face.uFace << 1 | 1), F::pattern(face.uFace << 1)), hitFace);
        uHits |= lanesOf(uTaken, g);
    }

    template <bool NEAREST>
    [[gnu::noinline]] void takeDoubtful(const WatertightFace& face, unsigned uLane) {
        ShearedRay sheared;
        WatertightHit met;
        if (sheared.prepare(ray(uLane)) || !meetsFace(sheared, face, met)) return;
        if (NEAREST) {
            if (!isNearer(met.fT, face.uFace, bound[uLane], faceOf(uLane))) return;
            const uint32_t uFaceFront = face.uFace << 1 | met.bFront;
            bound[uLane] = met.fT;
            hitU[uLane] = met.fU;
            hitV[uLane] = met.fV;
            memcpy(&hitFace[uLane], &uFaceFront, sizeof(uFaceFront));
        }
        uHits |= uint64_t{1} << uLane;
    }

    uint32_t faceOf(unsigned uLane) const { return uHits >> uLane & 1 ? hit(uLane).uFace : WatertightHit::NO_FACE; }

    const WatertightLanes rays;
    unsigned k[3] = {};
    bool bDown = false;
    uint64_t uHits = 0;
    alignas(64) float shears[2][LANES];
    float bound[LANES];  // how far each lane looks; of the nearest hit its t
    float hitU[LANES];
    float hitV[LANES];
    float hitFace[LANES];  // the bits of twice the face's index, plus 1 when its front was hit
};

}  // namespace

}  // namespace rt
