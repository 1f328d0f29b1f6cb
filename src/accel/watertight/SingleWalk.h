#pragma once

// The search of the hierarchy for one ray, eight boxes at a time. B is a vector of boxes, Q one of four floats: three
// axes or three corners, and a spare. Has internal linkage, like everything that is compiled for several instruction
// sets.

#include "accel/watertight/Margin.h"
#include "base/simd/Floats.h"

namespace rt {

namespace {

enum class Wanted { NEAREST, ANY, ALL };

// Rays as the walk needs them, prepared side by side, a vector at a time.
template <typename B>
class RayBatch {
 public:
    static constexpr unsigned SIZE = B::WIDTH;

    /// Prepares up to SIZE rays as ShearedRay::prepare() does. A ray that meets nothing gets a range without length.
    [[gnu::always_inline]] void prepare(const WatertightData& data, const WatertightRay* pRays, size_t uRays) {
        for (unsigned i = 0; i < SIZE; ++i) {
            const WatertightRay& from = pRays[i < uRays ? i : uRays - 1];
            for (unsigned a = 0; a < 3; ++a) {
                fOrigin[a][i] = from.fOrigin[a];
                fDir[a][i] = from.fDir[a];
            }
            fNear[i] = from.fNear;
            fFar[i] = from.fFar;
            dScale[i] = 1.0;
        }
        auto usual = B::load(fNear) <= B::load(fFar);
        B largest = 0.0f;
        for (unsigned a = 0; a < 3; ++a) {
            const B size = abs(B::load(fDir[a]));
            usual &= (abs(B::load(fOrigin[a])) <= ShearedRay::FARTHEST_ORIGIN) & (size <= ShearedRay::LONGEST);
            largest = max(size, largest);
        }
        usual &= largest >= ShearedRay::SHORTEST;
        for (unsigned u = bits(~usual) & ((1u << SIZE) - 1); u; u &= u - 1) {
            const unsigned i = static_cast<unsigned>(__builtin_ctz(u));
            prepareAlone(pRays[i < uRays ? i : uRays - 1], i);
        }
        const B x = abs(B::load(fDir[0])), y = abs(B::load(fDir[1])), z = abs(B::load(fDir[2]));
        const auto alongX = (x >= y) & (x >= z), alongY = (y > x) & (y >= z);
        uAlong[0] = bits(alongX);
        uAlong[1] = bits(alongY);
        const auto third = [&](const B& ofX, const B& ofY, const B& ofZ) {
            return select(alongX, ofX, select(alongY, ofY, ofZ));
        };
        const B dirK = third(B::load(fDir[0]), B::load(fDir[1]), B::load(fDir[2]));
        const B along = abs(third(B::load(fOrigin[0]), B::load(fOrigin[1]), B::load(fOrigin[2]))) +
                        third(data.fReach[0], data.fReach[1], data.fReach[2]);
        dirK.store(fDirK);
        for (unsigned a = 0; a < 3; ++a) {
            const B o = B::load(fOrigin[a]), d = B::load(fDir[a]), shear = d / dirK;
            const B margin = marginOf(abs(o), B(data.fReach[a]), abs(shear), along);
            const B r = 1.0f / flipSign(max(abs(d), B(SLOWEST)), d);
            const auto down = r < 0.0f;
            shear.store(fShear[a]);
            r.store(fReciprocal[a]);
            (select(down, o - margin, o + margin) * -r).store(fOffset[0][a]);
            (select(down, o + margin, o - margin) * -r).store(fOffset[1][a]);
            for (unsigned i = 0; i < SIZE; ++i) {
                uRow[a][i] = WatertightNode::WIDTH * (__builtin_signbit(fReciprocal[a][i]) ? a + 3 : a);
            }
        }
    }

    /// What the face test needs of ray i.
    [[gnu::always_inline]] void get(unsigned i, ShearedRay& ray) const {
        ray.turn(uAlong[0] >> i & 1 ? 0 : 2 - (uAlong[1] >> i & 1));
        for (unsigned a = 0; a < 3; ++a) {
            ray.fOrigin[a] = fOrigin[a][i];
            ray.fShear[a] = fShear[a][i];
        }
        ray.fDir[ray.uAxis[2]] = fDirK[i];
        ray.fNear = fNear[i];
        ray.fFar = fFar[i];
        ray.dScale = dScale[i];
    }

    alignas(64) float fReciprocal[3][SIZE];  // of the direction
    float fOffset[2][3][SIZE];  // of the side of a box met first, and of the other: origin, margin times it, negated
    uint32_t uRow[3][SIZE];     // of the side that is met first, in a node

 private:
    [[gnu::noinline]] void prepareAlone(const WatertightRay& source, unsigned i) {
        ShearedRay ray;
        if (ray.prepare(source)) {
            for (unsigned a = 0; a < 3; ++a) {
                fOrigin[a][i] = 0.0f;
                fDir[a][i] = 1.0f;
            }
            fNear[i] = __builtin_huge_valf();
            fFar[i] = -__builtin_huge_valf();
            return;
        }
        for (unsigned a = 0; a < 3; ++a) fDir[a][i] = ray.fDir[a];
        fNear[i] = ray.fNear;
        fFar[i] = ray.fFar;
        dScale[i] = ray.dScale;
    }

    alignas(64) float fOrigin[3][SIZE];
    float fDir[3][SIZE];
    float fShear[3][SIZE];
    float fDirK[SIZE];
    float fNear[SIZE];
    float fFar[SIZE];
    double dScale[SIZE];
    unsigned uAlong[2];  // rays whose direction is largest on the first axis, on the second
};

template <typename B, typename Q, Wanted WANTED>
class SingleWalk {
 public:
    explicit SingleWalk(const WatertightData& sourceData) : data(sourceData) {}

    /// Searches for what ray i of a batch meets, and hands all of it to take() where that is wanted.
    template <typename Take>
    [[gnu::always_inline]] void search(const RayBatch<B>& batch, unsigned i, const Take& take) {
        hit = {0, 0, 0, WatertightHit::NO_FACE, 0};
        batch.get(i, ray);
        fBound = ray.fFar;
        const Slabs slabs(batch, i, ray.fNear);
        Waiting stack[WatertightBvh::STACK_SIZE];
        Waiting* pTop = stack;
        uint32_t uChild = 0;
        for (;;) {
            while (!(uChild & WatertightNode::LEAF)) {
                const WatertightNode& node = data.pNodes[uChild];
                alignas(64) float fDepth[WatertightNode::WIDTH];
                unsigned uMet = slabs.meets(node, fBound, fDepth);
                if (!uMet) break;
                uChild = node.uChild[__builtin_ctz(uMet)];
                if (!(uMet & (uMet - 1))) continue;
                uChild = choose(node, uMet, fDepth, pTop);
            }
            if (uChild & WatertightNode::LEAF) {
                testFaces(uChild, take);
                if (WANTED == Wanted::ANY && hit.uFace != WatertightHit::NO_FACE) return;
            }
            do {
                if (pTop == stack) return;
                --pTop;
            } while (pTop->fDepth > fBound);
            uChild = pTop->uChild;
        }
    }

    /// The nearest hit, or any, with t as the ray that came counts it.
    WatertightHit result() const {
        WatertightHit scaled = hit;
        scaled.fT = static_cast<float>(hit.fT * ray.dScale);
        return scaled;
    }

 private:
    struct Waiting {
        float fDepth;
        uint32_t uChild;
    };

    // The test of the boxes of a node: the ray meets one where the parts of it that lie between the two sides on each
    // axis overlap.
    struct Slabs {
        B reciprocal[3], firstOffset[3], secondOffset[3];
        B nearest;
        unsigned uRow[3];  // of the side that is met first

        [[gnu::always_inline]] Slabs(const RayBatch<B>& batch, unsigned i, float fNear) : nearest(fNear) {
            for (unsigned a = 0; a < 3; ++a) {
                reciprocal[a] = batch.fReciprocal[a][i];
                firstOffset[a] = batch.fOffset[0][a][i];
                secondOffset[a] = batch.fOffset[1][a][i];
                uRow[a] = batch.uRow[a][i];
            }
        }

        // The boxes that the ray meets, bit i for box i, and where it enters each.
        [[gnu::always_inline]] unsigned meets(const WatertightNode& node, float fLimit, float* pDepth) const {
            const float* pRows = node.fMin[0];
            unsigned uMet = 0;
            for (unsigned i = 0; i < WatertightNode::WIDTH; i += B::WIDTH) {
                B first[3], second[3];
                for (unsigned a = 0; a < 3; ++a) {
                    const float* pSecond = pRows + WatertightNode::WIDTH * (3 + 2 * a) - uRow[a];
                    first[a] = looseMulAdd(B::load(pRows + uRow[a] + i), reciprocal[a], firstOffset[a]);
                    second[a] = looseMulAdd(B::load(pSecond + i), reciprocal[a], secondOffset[a]);
                }
                const B from = looseMax(looseMax(first[0], first[1]), looseMax(first[2], nearest));
                const B to = looseMin(looseMin(second[0], second[1]), looseMin(second[2], B(fLimit)));
                from.store(pDepth + i);
                uMet |= bits(from <= to) << i;
            }
            return uMet;
        }
    };

    // Of two boxes or more returns the nearest; the others wait, the nearer ones on top.
    [[gnu::always_inline]] uint32_t choose(const WatertightNode& node, unsigned uMet, const float* pDepth,
                                           Waiting*& pTop) const {
        const auto lowest = [&] {
            const unsigned i = static_cast<unsigned>(__builtin_ctz(uMet));
            return Waiting{pDepth[i], node.uChild[i]};
        };
        const Waiting a = lowest();
        uMet &= uMet - 1;
        const Waiting b = lowest();
        prefetch(a.uChild);
        prefetch(b.uChild);
        const bool bSwap = b.fDepth < a.fDepth;
        Waiting* const pBase = pTop;
        pTop[0] = bSwap ? a : b;
        pTop[1] = bSwap ? b : a;
        pTop += 2;
        for (uMet &= uMet - 1; uMet; uMet &= uMet - 1) {
            const Waiting c = lowest();
            prefetch(c.uChild);
            Waiting* p = pTop++;
            for (; p != pBase && p[-1].fDepth < c.fDepth; --p) *p = p[-1];
            *p = c;
        }
        return (--pTop)->uChild;
    }

    // Begins to fetch what a box holds.
    [[gnu::always_inline]] void prefetch(uint32_t uChild) const {
        const bool bLeaf = uChild & WatertightNode::LEAF;
        const char* p = bLeaf ? reinterpret_cast<const char*>(data.pFaces + (uChild & WatertightNode::FIRST_MASK))
                              : reinterpret_cast<const char*>(data.pNodes + uChild);
        __builtin_prefetch(p);
        __builtin_prefetch(p + 64);
        __builtin_prefetch(p + 128);
        if (!bLeaf) __builtin_prefetch(p + 192);
    }

    // The face test with a lane for each corner. Equal products are rare, and left to the definition.
    template <typename Take>
    [[gnu::always_inline]] void testFaces(uint32_t uLeaf, const Take& take) {
        const WatertightFace* p = data.pFaces + (uLeaf & WatertightNode::FIRST_MASK);
        const unsigned i = ray.uAxis[0], j = ray.uAxis[1], k = ray.uAxis[2];
        for (unsigned u = uLeaf >> WatertightNode::COUNT_SHIFT & 7; u; --u, ++p) {
            // Reads one word behind each row.
            const Q z = Q::loadUnaligned(p->fAt[k]) - ray.fOrigin[k];
            const Q x = (Q::loadUnaligned(p->fAt[i]) - ray.fOrigin[i]) - z * ray.fShear[i];
            const Q y = (Q::loadUnaligned(p->fAt[j]) - ray.fOrigin[j]) - z * ray.fShear[j];
            const Q plus = x * next(y), minus = y * next(x);
            const unsigned uPlus = bits(plus >= minus) & 7, uMinus = bits(plus <= minus) & 7;
            if (uPlus != 7 && uMinus != 7) continue;
            WatertightHit met;
            if (uPlus & uMinus) {
                if (!meetsFace(ray, *p, met)) continue;
            } else {
                alignas(16) float fX[4], fY[4], fZ[4];
                x.store(fX);
                y.store(fY);
                z.store(fZ);
                if (!meetsWithin(ray, fX, fY, fZ, uPlus == 7, met)) continue;
            }
            met.uFace = p->uFace;
            if (WANTED == Wanted::ALL) {
                take(met);
            } else if (isNearer(met.fT, met.uFace, fBound, hit.uFace)) {
                hit = met;
                fBound = met.fT;
                if (WANTED == Wanted::ANY) return;
            }
        }
    }

    // Lane i becomes lane i + 1, in a circle of three.
    static Q next(Q q) { return Q(__builtin_shufflevector(q.v, q.v, 1, 2, 0, 0)); }

    const WatertightData& data;
    ShearedRay ray;
    WatertightHit hit;
    float fBound;  // how far the ray still looks
};

template <typename B, typename Q>
struct SingleQueries {
    static void nearest(const WatertightData& data, const WatertightRay* pRays, size_t uRays, WatertightHit* pHits) {
        forEach<Wanted::NEAREST>(
            data, pRays, uRays, [](const WatertightHit&) {},
            [&](size_t u, const auto& walk) { pHits[u] = walk.result(); });
    }

    static void any(const WatertightData& data, const WatertightRay* pRays, size_t uRays, bool* pMeets) {
        forEach<Wanted::ANY>(
            data, pRays, uRays, [](const WatertightHit&) {},
            [&](size_t u, const auto& walk) { pMeets[u] = walk.result().uFace != WatertightHit::NO_FACE; });
    }

    static void all(const WatertightData& data, const WatertightRay& ray, const WatertightTaker& taker) {
        forEach<Wanted::ALL>(
            data, &ray, 1, [&](const WatertightHit& hit) { taker.pfnTake(taker.pOwner, hit); },
            [](size_t, const auto&) {});
    }

    static constexpr WatertightSingles make() { return {nearest, any, all}; }

 private:
    template <Wanted WANTED, typename Take, typename Finish>
    static void forEach(const WatertightData& data, const WatertightRay* pRays, size_t uRays, const Take& take,
                        const Finish& finish) {
        RayBatch<B> batch;
        SingleWalk<B, Q, WANTED> walk(data);
        for (size_t u = 0; u < uRays; u += RayBatch<B>::SIZE) {
            const size_t uRest = uRays - u;
            batch.prepare(data, pRays + u, uRest);
            for (unsigned i = 0; i < RayBatch<B>::SIZE && i < uRest; ++i) {
                walk.search(batch, i, take);
                finish(u + i, walk);
            }
        }
    }
};

}  // namespace

}  // namespace rt
