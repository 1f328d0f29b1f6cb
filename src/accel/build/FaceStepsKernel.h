#pragma once

#include <cstdint>

#include "accel/build/LaneMath.h"
#include "accel/build/StepsFrame.h"

// How the steps are found, and why they can be trusted.
//
// Let s be the split axis, x = p - lo the extent of the low part, eps = BOX_HALF - 1/2. The enlarged low part spans
// [lo - eps x, lo + (1 + eps) x] on s; on the two other axes it is the enlarged box of the node, whatever p. In exact
// arithmetic each separating axis n with a component on s gives an interval [G, F] (relative to lo) of the line along
// s: the axis lets the triangle and the part overlap if and only if G <= (1 + eps) x and F >= -eps x. The triangle
// passes when the largest G and the smallest F do; the high part is the mirror image with W - F for G and W - G for F,
// W being the node's extent. So a face needs eight axes, once, and no search:
//   - three edges times the two other coordinate axes: with e the edge, b the other axis on which the cross product
//     has a component, t relative to the centre, h the half-extent: q = |e_b| (v_s - lo) - sign(e_b) e_s t_b for the
//     two vertices which the test projects, [G, F] = [min q - |e_s| h_b, max q + |e_s| h_b] / |e_b|;
//   - s itself: the vertex range;
//   - the plane: q = n . t0 with n_s made positive, [G, F] = [q - R, q + R] / n_s, R = |n_1| h_1 + |n_2| h_2.
// The other five axes have no component on s. The test computes them from the same numbers for every p, and for the
// node's own box, which the face overlaps or it would not be in the list: they pass. So does an edge axis with e_b = 0:
// the two projected vertices then show the whole range on b, and the projections are the two products with e_s on
// either side of the comparison of the box's face b.
//
// The test works in single precision. Let u = 2^-24, C = max(|lo|, |hi|), T_q bound coordinates and half-extents on q
// relative to every centre that a candidate gives. On the other axes t, e, h and n_s are the very floats of the test,
// so only s brings in errors: |dt_s| <= u (C + T_s), and |de_s| <= u (2 T_s + |e_s|) because the centre cancels, 0 when
// both ends are equal. Adding up every rounding of the test on both sides of its comparison:
//   - edge axes: u [|e_b| (C + 6 T_s) + 7 |e_s| T_b + 4 T_s T_b (e_s != 0)];
//   - s: u (C + 3 T_s);
//   - plane: u [|n_s| (C + 8 T_s) + 14 (T_1 M_1 + T_2 M_2) + 4.2 T_s (T_1 B_2 + T_2 B_1)], with M_q the sum of the two
//     products in n_q, B_q = |e0_q| + |e1_q|, and without the last part when the face has no extent on s; two equal
//     corners make n exactly 0 and every plane test pass.
// The computation here, divisions included, adds errors to all but the last parts; the factors below cover both. TINY
// covers underflow for coordinates up to LARGEST. G and F plus and minus their bounds give the "sure" and "maybe" ends;
// since the exact conditions are monotone in p, an end settles all candidates beyond it.
//
// Independent of that: when all corners are within the part in single precision, no axis separates, since rounding
// keeps order: |t_q| <= h_q for all q makes every projection at most its radius. On s a corner in [lo, p] stays within
// the enlarged part as soon as eps x exceeds the rounding of the centre, 2^-16 C amply.

namespace {

/// FaceSteps' computation for WIDTH faces at a time.
template <unsigned WIDTH>
struct StepsKernel : LaneMath<WIDTH> {
    using Math = LaneMath<WIDTH>;
    using Lanes = typename Math::Lanes;
    using Mask = typename Math::Mask;
    using Math::absolute, Math::all, Math::allBits, Math::larger, Math::only, Math::smaller, Math::store,
        Math::withSignOf;
    static_assert(StepsFrame::UNIT % WIDTH == 0, "whole lanes");

    static constexpr float ROUND = 0x1p-24f;
    static constexpr float NEVER = 1e37f;                                // above every g and f
    static constexpr float TINY = 1e-28f;                                // above every error by underflow
    static constexpr float SMALL = 1e-25f;                               // divisors below it are not used
    static constexpr float SHRINK = 0.99009806f, SHRINK_SURE = 0.9901f;  // below, above 1 / (1/2 + BOX_HALF)
    static constexpr float STRETCH = 100.0f, STRETCH_SURE = 100.001f;    // below, above 1 / (BOX_HALF - 1/2)

    // The range [G, F] of a triangle, each end between two bounds.
    struct Range {
        Lanes gMaybe, gSure;  // below, above G
        Lanes fSure, fMaybe;  // below, above F

        // Narrows the range by [g, f] / d with an error of at most e on g and f; lanes in bFree, which have d = 0, are
        // left as they are.
        void narrow(Lanes d, Lanes g, Lanes f, Lanes e, Mask bFree) {
            const Lanes inverse = 1.0f / larger(d, all(SMALL));
            const Lanes eMaybe = larger(e, only(d < SMALL, all(NEVER)));
            const Lanes eSure = withSignOf(only(bFree, all(-1.0f)), eMaybe);
            gMaybe = larger(gMaybe, (g - eMaybe) * inverse);
            gSure = larger(gSure, (g + eSure) * inverse);
            fSure = smaller(fSure, (f - eSure) * inverse);
            fMaybe = smaller(fMaybe, (f + eMaybe) * inverse);
        }
    };

    // A unit of faces, relative to the node.
    struct Unit {
        Lanes s[3], x[3];      // corners on the split axis
        Lanes t[2][3];         // on the other axes, from the centre
        Lanes eS[3], e[2][3];  // edges
        Lanes fMin, fMid, fMax;
        Lanes fSpan, fOther[2];  // T on the three axes
        Mask bInside;            // within the enlarged box on the other axes

        Unit(const StepsFrame& frame, const float* const* pFaces) {
            for (unsigned i = 0; i < 3; ++i) {
                s[i] = gather(pFaces, 3 * i + frame.uAxis);
                x[i] = s[i] - frame.fLow;
                for (unsigned k = 0; k < 2; ++k) t[k][i] = gather(pFaces, 3 * i + frame.uOther[k]) - frame.fCentre[k];
            }
            for (unsigned i = 0; i < 3; ++i) {
                const unsigned j = (i + 1) % 3;
                eS[i] = s[j] - s[i];
                for (unsigned k = 0; k < 2; ++k) e[k][i] = t[k][j] - t[k][i];
            }
            const Lanes low = smaller(s[0], s[1]), high = larger(s[0], s[1]);
            fMin = smaller(low, s[2]);
            fMax = larger(high, s[2]);
            fMid = larger(low, smaller(high, s[2]));
            const Lanes firstCentre = 0.5f * (frame.fLow + larger(fMin, all(frame.fLow)));
            const Lanes lastCentre = 0.5f * (frame.fHigh + smaller(fMax, all(frame.fHigh)));
            fSpan = larger(all(0.52f * frame.fExtent), larger(fMax - firstCentre, lastCentre - fMin));
            bInside = allBits(-1);
            for (unsigned k = 0; k < 2; ++k) {
                const Lanes h = all(frame.fHalf[k]);
                const Lanes reach = larger(absolute(t[k][0]), larger(absolute(t[k][1]), absolute(t[k][2])));
                bInside &= reach <= h;
                fOther[k] = larger(reach, h);
            }
        }

        static Lanes gather(const float* const* p, unsigned u) {
            float f[WIDTH];
            for (unsigned i = 0; i < WIDTH; ++i) f[i] = p[i][u];
            return Math::load(f);
        }
    };

    static void narrowByEdges(const StepsFrame& frame, const Unit& unit, Range& range) {
        const Lanes errorOfLength = ROUND * (frame.fReach + 24.0f * unit.fSpan);
#pragma GCC unroll 2
        for (unsigned k = 0; k < 2; ++k) {
            const uint8_t(*pProjected)[2] = PROJECTED[frame.uOther[1 - k]];
            const Lanes errorOfEnds = 5.0f * ROUND * unit.fSpan * unit.fOther[k];
            const Lanes errorOfEdge = 24.0f * ROUND * unit.fOther[k];
#pragma GCC unroll 3
            for (unsigned i = 0; i < 3; ++i) {
                const Lanes d = absolute(unit.e[k][i]);
                const Lanes slope = withSignOf(unit.e[k][i], unit.eS[i]);
                const unsigned a = pProjected[i][0], b = pProjected[i][1];
                const Lanes qA = d * unit.x[a] - slope * unit.t[k][a];
                const Lanes qB = d * unit.x[b] - slope * unit.t[k][b];
                const Lanes length = absolute(slope), radius = length * frame.fHalf[k];
                const Lanes error = d * errorOfLength + length * errorOfEdge + only(slope != 0.0f, errorOfEnds) + TINY;
                range.narrow(d, smaller(qA, qB) - radius, larger(qA, qB) + radius, error, d == 0.0f);
            }
        }
    }

    static void narrowByPlane(const StepsFrame& frame, const Unit& unit, Range& range) {
        const Lanes *e1 = unit.e[0], *e2 = unit.e[1], *eS = unit.eS;
        const Lanes nS = e1[0] * e2[1] - e2[0] * e1[1];
        const Lanes n1 = e2[0] * eS[1] - eS[0] * e2[1];
        const Lanes n2 = eS[0] * e1[1] - e1[0] * eS[1];
        const Lanes d = absolute(nS);
        const Lanes across = n1 * unit.t[0][0] + n2 * unit.t[1][0];
        const Lanes q = d * unit.x[0] + withSignOf(nS, across);
        const Lanes radius = absolute(n1) * frame.fHalf[0] + absolute(n2) * frame.fHalf[1];
        const Lanes m1 = absolute(e2[0] * eS[1]) + absolute(eS[0] * e2[1]);
        const Lanes m2 = absolute(eS[0] * e1[1]) + absolute(e1[0] * eS[1]);
        const Lanes errorOfEnds = 5.0f * unit.fSpan *
                                  (unit.fOther[0] * (absolute(e2[0]) + absolute(e2[1])) +
                                   unit.fOther[1] * (absolute(e1[0]) + absolute(e1[1])));
        const Lanes error =
            ROUND * (d * (frame.fReach + 24.0f * unit.fSpan) + 40.0f * (unit.fOther[0] * m1 + unit.fOther[1] * m2) +
                     only(unit.fMin < unit.fMax, errorOfEnds)) +
            TINY;
        Mask bFree = (d == 0.0f) & (q - radius + error <= 0.0f) & (q + radius - error >= 0.0f);
        for (unsigned i = 0; i < 3; ++i) bFree |= (eS[i] == 0.0f) & (e1[i] == 0.0f) & (e2[i] == 0.0f);
        range.narrow(d, q - radius, q + radius, error, bFree);
    }

    // One turning point of the low part: the extents from which on the answer may be, is surely, yes.
    struct Turn {
        Lanes maybe, sure;
    };

    static Turn turnOf(Lanes gMaybe, Lanes gSure, Lanes fSure, Lanes fMaybe) {
        return {larger(all(0.0f), larger(gMaybe * SHRINK, -fMaybe * STRETCH)),
                larger(all(0.0f), larger(gSure * SHRINK_SURE, -fSure * STRETCH_SURE))};
    }

    // From extents to positions on the low side; the high side is the mirror image (fSign -1).
    static void place(const StepsFrame& frame, const Unit& unit, const Turn& turn, float fSign, Lanes& maybe,
                      Lanes& sure) {
        const Lanes nearEnd = fSign > 0.0f ? unit.fMin : -unit.fMax;  // the face's range, mirrored
        const Lanes farEnd = fSign > 0.0f ? unit.fMax : -unit.fMin;
        const float fStart = fSign > 0.0f ? frame.fLow : -frame.fHigh;
        const float fSlack = 4.0f * ROUND * frame.fReach;
        const Lanes extent = larger(nearEnd - fStart, all(0.0f));
        maybe = larger(nearEnd, fStart + (turn.maybe * (1.0f - 16.0f * ROUND) - fSlack));
        const Lanes later = larger(nearEnd, fStart + (turn.sure * (1.0f + 16.0f * ROUND) + fSlack));
        sure = turn.sure <= extent * (1.0f - 4.0f * ROUND) ? nearEnd : later;
        const Lanes whole = larger(farEnd, all(fStart + 256.0f * ROUND * frame.fReach));
        sure = (unit.bInside & (nearEnd >= fStart)) ? smaller(sure, whole) : sure;
    }

    static void measure(const StepsFrame& frame, const float* const* pFaces, const FaceValues<float>& to, uint32_t u) {
        const Unit unit(frame, pFaces);
        const Lanes error = ROUND * (frame.fReach + 12.0f * unit.fSpan) + TINY;
        const Lanes first = unit.fMin - frame.fLow, last = unit.fMax - frame.fLow;
        Range range{first - error, first + error, last - error, last + error};
        narrowByEdges(frame, unit, range);
        narrowByPlane(frame, unit, range);

        Lanes lowMaybe, lowSure, highMaybe, highSure;
        const Turn low = turnOf(range.gMaybe, range.gSure, range.fSure, range.fMaybe);
        const Turn high = turnOf(frame.fExtent - range.fMaybe, frame.fExtent - range.fSure, frame.fExtent - range.gSure,
                                 frame.fExtent - range.gMaybe);
        place(frame, unit, low, 1.0f, lowMaybe, lowSure);
        place(frame, unit, high, -1.0f, highMaybe, highSure);
        const Lanes infinite = all(__builtin_inff());
        const Mask bUnknown = frame.bTame ? (frame.bTested ? allBits(0) : ~unit.bInside) : allBits(-1);
        const Mask bOff = (unit.fMax < frame.fLow) | (unit.fMin > frame.fHigh);
        store(to.pMin + u, unit.fMin);
        store(to.pMid + u, unit.fMid);
        store(to.pMax + u, unit.fMax);
        store(to.pLowMaybe + u, bOff ? infinite : bUnknown ? unit.fMin : lowMaybe);
        store(to.pLowSure + u, (bOff | bUnknown) ? infinite : lowSure);
        store(to.pHighMaybe + u, bOff ? -infinite : bUnknown ? unit.fMax : -highMaybe);
        store(to.pHighSure + u, (bOff | bUnknown) ? -infinite : -highSure);
    }

    static void measureAll(const StepsFrame& frame, const float* pCorners, const uint32_t* pNumbers, uint32_t uCount,
                           const FaceValues<float>& to) {
        for (uint32_t u = 0; u < uCount; u += WIDTH) {
            const float* pFaces[WIDTH];
            for (unsigned i = 0; i < WIDTH; ++i) {
                const uint32_t uFace = pNumbers[u + i < uCount ? u + i : uCount - 1];
                pFaces[i] = pCorners + size_t{uFace} * 9;
            }
            measure(frame, pFaces, to, u);
        }
    }
};

}  // namespace
