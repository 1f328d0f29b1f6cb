#pragma once

// The rays of a packet, as vectors of the type F, and the face test on them. Only the RayKernel*.cpp files include the
// templates of this folder, each compiled for one instruction set. They have internal linkage, so that the linker never
// uses code of one set for another; scripts/check-kernels checks it.

#include <cstring>

#include "accel/LaneGroups.h"
#include "accel/RayStream.h"
#include "accel/packet/RayKernel.h"
#include "scene/FaceData.h"

namespace rt {

namespace {

template <typename F>
class RayPacket : public LaneGroups<F> {
 public:
    using Groups = LaneGroups<F>;
    using Groups::W, Groups::LANES, Groups::GROUPS, Groups::groupBits, Groups::lanesOf, Groups::forEachGroup;

    /// What a search has found so far.
    struct Hits {
        uint64_t uLanes = 0;             // with a hit
        uint64_t uTied = 0;              // nearest hit only: two faces at the same t
        alignas(64) float bound[LANES];  // farthest t that each lane accepts; nearest hit: its t
    };

    /// Copies the rays. Tests write the hits to *pRecords.
    RayPacket(const TraversalData& sourceTree, const RayLanes& source, HitLanes* pRecords)
        : tree(sourceTree), pHits(pRecords) {
        for (unsigned g = 0; g < GROUPS; ++g) {
            for (unsigned a = 0; a < 3; ++a) {
                F::load(source.pOrigin[a] + g * W).store(ray.origin[a] + g * W);
                F::load(source.pDir[a] + g * W).store(ray.dir[a] + g * W);
                (1.0f / dir(a, g)).store(ray.reciprocal[a] + g * W);
            }
            F::load(source.pMaxDist + g * W).store(ray.maxDist + g * W);
        }
    }

    F origin(unsigned a, unsigned g) const { return F::load(ray.origin[a] + g * W); }
    F dir(unsigned a, unsigned g) const { return F::load(ray.dir[a] + g * W); }
    F reciprocal(unsigned a, unsigned g) const { return F::load(ray.reciprocal[a] + g * W); }
    F maxDist(unsigned g) const { return F::load(ray.maxDist + g * W); }
    F end(unsigned a, unsigned g) const { return origin(a, g) + dir(a, g) * maxDist(g); }
    float dirOf(unsigned a, unsigned uLane) const { return ray.dir[a][uLane]; }
    const float* hitT() const { return pHits->fT; }

    /// Tests the lanes of uMask against one record, by the same operations in the same order as Scene::testTriangle, up
    /// to each lane's bound. With NEAREST, the bound of a lane that hits becomes its t, so the later of equal hits
    /// stays.
    template <bool NEAREST>
    void test(uint32_t uRecord, uint64_t uMask, Hits& hits) {
        const FaceRecord& face = tree.pRecords[uRecord];
        const unsigned k = face.axis(), ku = g_modulo[k + 1], kv = g_modulo[k + 2];
        const F zero = 0.0f, nu = face.fNu, nv = face.fNv, nd = face.fNd;
        forEachGroup(uMask, [&](unsigned g, unsigned uActive) {
            const F ou = origin(ku, g), ov = origin(kv, g), du = dir(ku, g), dv = dir(kv, g);
            const F denominator = dir(k, g) + nu * du + nv * dv;
            const F t = (nd - origin(k, g) - nu * ou - nv * ov) / denominator;
            const F bound = F::load(hits.bound + g * W);
            const auto parallel = abs(denominator) < Velk::NM_EPSILON_F;
            const auto within = (t >= zero) & (t <= bound) & ~parallel;
            const F hu = ou + du * t - face.fCu, hv = ov + dv * t - face.fCv;
            const F lambda = face.fLambdaU * hu + face.fLambdaV * hv;
            const F mu = face.fMuU * hu + face.fMuV * hv;
            const auto hit = within & (lambda >= zero) & (mu >= zero) & (lambda + mu <= 1.0f);
            const unsigned uHit = bits(hit) & uActive;
            if (!uHit) return;
            const auto taken = F::mask(uHit);
            const auto put = [&](F value, float* p) { select(taken, value, F::load(p)).store(p); };
            if (NEAREST) {
                const uint64_t uTied = lanesOf(bits(t == bound) & uHit, g);
                hits.uTied = (hits.uTied & ~lanesOf(uHit, g)) | uTied;
                put(t, hits.bound + g * W);
                put(lambda, pHits->fU + g * W);
                put(mu, pHits->fV + g * W);
                // The normal's sign on axis k and the denominator's differ where the front is hit.
                put(select(denominator < zero, F::pattern(face.faceSide() ^ 1), F::pattern(face.faceSide())),
                    pHits->fFaceFront + g * W);
            }
            put(t, pHits->fT + g * W);
            put(F::pattern(uRecord), fRecord + g * W);
            hits.uLanes |= lanesOf(uHit, g);
        });
    }

    /// The lanes of uMask whose hit record is in a leaf's list. All of them must have a hit.
    uint64_t listed(const uint32_t* pList, uint64_t uMask) const {
        uint64_t uListed = 0;
        const uint32_t *pFirst = pList + 1, *pEnd = pFirst + *pList;
        while (uMask) {
            uint32_t uRecord;
            memcpy(&uRecord, &fRecord[__builtin_ctzll(uMask)], sizeof(uRecord));
            uint64_t uSame = 0;
            forEachGroup(uMask, [&](unsigned g, unsigned) {
                uSame |= lanesOf(bits(F::load(fRecord + g * W) == F::pattern(uRecord)), g);
            });
            uSame &= uMask;
            uMask &= ~uSame;
            for (const uint32_t* p = pFirst; p < pEnd; p += W) {
                unsigned uFound = bits(F::loadUnaligned(p) == F::pattern(uRecord));
                if (p + W > pEnd) uFound &= (1u << (pEnd - p)) - 1;  // the next list begins there
                if (uFound) {
                    uListed |= uSame;
                    break;
                }
            }
        }
        return uListed;
    }

 private:
    const TraversalData& tree;
    HitLanes* pHits;
    // A copy of the rays, in which one base address and the axis give any component.
    struct {
        alignas(64) float origin[3][LANES];
        float dir[3][LANES];
        float reciprocal[3][LANES];  // infinite for a component of zero
        float maxDist[LANES];
    } ray;
    // The index of the record that each lane has hit, as the bits of a float. Indices are too small to be NaN, so
    // comparing the floats compares the indices.
    alignas(64) float fRecord[LANES];
};

}  // namespace

}  // namespace rt
