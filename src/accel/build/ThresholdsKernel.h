#pragma once

#include <cstdint>

#include "accel/build/LaneMath.h"
#include "accel/build/NodeFrame.h"

// The thresholds of many faces at a time. Letters, formulas and error terms are those of docs/building.md,
// "Thresholds".

namespace {

/// OverlapThresholds' computation for WIDTH faces at a time.
template <unsigned WIDTH>
struct ThresholdsKernel : LaneMath<WIDTH> {
    using Math = LaneMath<WIDTH>;
    using Lanes = typename Math::Lanes;
    using Mask = typename Math::Mask;
    using Math::absolute, Math::all, Math::allBits, Math::larger, Math::only, Math::smaller, Math::store,
        Math::withSignOf;
    static_assert(NodeFrame::UNIT % WIDTH == 0, "whole lanes");

    static constexpr float ROUND = 0x1p-24f;
    static constexpr float NEVER = 1e37f;                                // above every g and f
    static constexpr float TINY = 1e-28f;                                // above every error by underflow
    static constexpr float SMALL = 1e-25f;                               // divisors below it are not used
    static constexpr float SHRINK = 0.99009806f, SHRINK_SURE = 0.9901f;  // below, above 1 / (1/2 + BOX_HALF)
    static constexpr float STRETCH = 100.0f, STRETCH_SURE = 100.001f;    // below, above 1 / (BOX_HALF - 1/2)

    // The range [G, F] in which no axis separates, each end between two bounds.
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

        Unit(const NodeFrame& frame, const float* const* pFaces) {
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

    static void narrowByEdges(const NodeFrame& frame, const Unit& unit, Range& range) {
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

    static void narrowByPlane(const NodeFrame& frame, const Unit& unit, Range& range) {
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

    // The extents of the low part from which on the answer may be, is surely, yes.
    struct Turn {
        Lanes maybe, sure;
    };

    static Turn turnOf(Lanes gMaybe, Lanes gSure, Lanes fSure, Lanes fMaybe) {
        return {larger(all(0.0f), larger(gMaybe * SHRINK, -fMaybe * STRETCH)),
                larger(all(0.0f), larger(gSure * SHRINK_SURE, -fSure * STRETCH_SURE))};
    }

    // From extents to positions on the low side; the high side is the mirror image (fSign -1).
    static void place(const NodeFrame& frame, const Unit& unit, const Turn& turn, float fSign, Lanes& maybe,
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

    static void measure(const NodeFrame& frame, const float* const* pFaces, const FaceValues<float>& to, uint32_t u) {
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
        const Mask bUnknown = frame.bInRange ? (frame.bOverlapKnown ? allBits(0) : ~unit.bInside) : allBits(-1);
        const Mask bOff = (unit.fMax < frame.fLow) | (unit.fMin > frame.fHigh);
        store(to.pMin + u, unit.fMin);
        store(to.pMid + u, unit.fMid);
        store(to.pMax + u, unit.fMax);
        store(to.pLowMaybe + u, bOff ? infinite : bUnknown ? unit.fMin : lowMaybe);
        store(to.pLowSure + u, (bOff | bUnknown) ? infinite : lowSure);
        store(to.pHighMaybe + u, bOff ? -infinite : bUnknown ? unit.fMax : -highMaybe);
        store(to.pHighSure + u, (bOff | bUnknown) ? -infinite : -highSure);
    }

    static void measureAll(const NodeFrame& frame, const float* pCorners, const uint32_t* pNumbers, uint32_t uCount,
                           const FaceValues<float>& to) {
        for (uint32_t u = 0; u < uCount; u += WIDTH) {
            const float* pFaces[WIDTH];
            for (unsigned i = 0; i < WIDTH; ++i) {
                const uint32_t uAhead = u + i + 3 * WIDTH;  // faces of a large node are far apart
                if (uAhead < uCount) __builtin_prefetch(pCorners + size_t{pNumbers[uAhead]} * 9);
                const uint32_t uFace = pNumbers[u + i < uCount ? u + i : uCount - 1];
                pFaces[i] = pCorners + size_t{uFace} * 9;
            }
            measure(frame, pFaces, to, u);
        }
    }
};

}  // namespace
