#pragma once

#include <cstdint>

#include "accel/Rounding.h"
#include "accel/build/NodeFrame.h"

namespace rt {

// Computes the thresholds of many faces at a time. Letters, formulas and error terms are those of docs/building.md,
// "Thresholds".

namespace {

/// Computes OverlapThresholds, one face in each lane.
template <typename Lanes>
struct ThresholdsKernel {
    static constexpr unsigned WIDTH = Lanes::WIDTH;
    using Mask = typename Lanes::Mask;
    static_assert(NodeFrame::UNIT % WIDTH == 0, "whole lanes");

    static constexpr float NEVER = 1e37f;                                // above every g and f
    static constexpr float TINY = 1e-28f;                                // above every error by underflow
    static constexpr float SMALL = 1e-25f;                               // divisors below it are not used
    static constexpr float SHRINK = 0.99009806f, SHRINK_SURE = 0.9901f;  // just below and above 1 / (1/2 + BOX_HALF)
    static constexpr float STRETCH = 100.0f, STRETCH_SURE = 100.001f;    // just below and above 1 / (BOX_HALF - 1/2)

    // The range [G, F] in which no axis separates, each end between two bounds.
    struct Range {
        Lanes gMaybe, gSure;  // below, above G
        Lanes fSure, fMaybe;  // below, above F

        // Narrows the range by [g, f] / d with an error of at most e on g and f; lanes in bFree, which have d = 0, are
        // unchanged.
        void narrow(Lanes d, Lanes g, Lanes f, Lanes e, Mask bFree) {
            const Lanes inverse = 1.0f / max(d, SMALL);
            const Lanes eMaybe = max(e, select(d < SMALL, NEVER, 0.0f));
            const Lanes eSure = flipSign(eMaybe, select(bFree, -1.0f, 0.0f));
            gMaybe = max(gMaybe, (g - eMaybe) * inverse);
            gSure = max(gSure, (g + eSure) * inverse);
            fSure = min(fSure, (f - eSure) * inverse);
            fMaybe = min(fMaybe, (f + eMaybe) * inverse);
        }
    };

    // One face in each lane, relative to the node.
    struct Unit {
        Lanes s[3], x[3];      // corners on the split axis
        Lanes t[2][3];         // on the other axes, from the centre
        Lanes eS[3], e[2][3];  // edges
        Lanes fMin, fMid, fMax;
        Lanes fSpan, fOther[2];  // T on the three axes
        Mask bInside;            // within the enlarged box on the other axes

        Unit(const NodeFrame& frame, const float* const* pFaces) {
            for (unsigned i = 0; i < 3; ++i) {
                s[i] = Lanes::gather(pFaces, 3 * i + frame.uAxis);
                x[i] = s[i] - frame.fLow;
                for (unsigned k = 0; k < 2; ++k)
                    t[k][i] = Lanes::gather(pFaces, 3 * i + frame.uOther[k]) - frame.fCentre[k];
            }
            for (unsigned i = 0; i < 3; ++i) {
                const unsigned j = (i + 1) % 3;
                eS[i] = s[j] - s[i];
                for (unsigned k = 0; k < 2; ++k) e[k][i] = t[k][j] - t[k][i];
            }
            const Lanes low = min(s[0], s[1]), high = max(s[0], s[1]);
            fMin = min(low, s[2]);
            fMax = max(high, s[2]);
            fMid = max(low, min(high, s[2]));
            const Lanes firstCentre = 0.5f * (frame.fLow + max(fMin, frame.fLow));
            const Lanes lastCentre = 0.5f * (frame.fHigh + min(fMax, frame.fHigh));
            fSpan = max(0.52f * frame.fExtent, max(fMax - firstCentre, lastCentre - fMin));
            bInside = Lanes::mask(~0u);
            for (unsigned k = 0; k < 2; ++k) {
                const Lanes h = frame.fHalf[k];
                const Lanes reach = max(abs(t[k][0]), max(abs(t[k][1]), abs(t[k][2])));
                bInside &= reach <= h;
                fOther[k] = max(reach, h);
            }
        }
    };

    static void narrowByEdges(const NodeFrame& frame, const Unit& unit, Range& range) {
        const Lanes errorOfLength = ROUNDING_UNIT * (frame.fReach + 24.0f * unit.fSpan);
#pragma GCC unroll 2
        for (unsigned k = 0; k < 2; ++k) {
            const uint8_t(*pProjected)[2] = PROJECTED[frame.uOther[1 - k]];
            const Lanes errorOfEnds = 5.0f * ROUNDING_UNIT * unit.fSpan * unit.fOther[k];
            const Lanes errorOfEdge = 24.0f * ROUNDING_UNIT * unit.fOther[k];
#pragma GCC unroll 3
            for (unsigned i = 0; i < 3; ++i) {
                const Lanes d = abs(unit.e[k][i]);
                const Lanes slope = flipSign(unit.eS[i], unit.e[k][i]);
                const unsigned a = pProjected[i][0], b = pProjected[i][1];
                const Lanes qA = d * unit.x[a] - slope * unit.t[k][a];
                const Lanes qB = d * unit.x[b] - slope * unit.t[k][b];
                const Lanes length = abs(slope), radius = length * frame.fHalf[k];
                const Lanes error =
                    d * errorOfLength + length * errorOfEdge + select(slope != 0.0f, errorOfEnds, 0.0f) + TINY;
                range.narrow(d, min(qA, qB) - radius, max(qA, qB) + radius, error, d == 0.0f);
            }
        }
    }

    static void narrowByPlane(const NodeFrame& frame, const Unit& unit, Range& range) {
        const Lanes *e1 = unit.e[0], *e2 = unit.e[1], *eS = unit.eS;
        const Lanes nS = e1[0] * e2[1] - e2[0] * e1[1];
        const Lanes n1 = e2[0] * eS[1] - eS[0] * e2[1];
        const Lanes n2 = eS[0] * e1[1] - e1[0] * eS[1];
        const Lanes d = abs(nS);
        const Lanes across = n1 * unit.t[0][0] + n2 * unit.t[1][0];
        const Lanes q = d * unit.x[0] + flipSign(across, nS);
        const Lanes radius = abs(n1) * frame.fHalf[0] + abs(n2) * frame.fHalf[1];
        const Lanes m1 = abs(e2[0] * eS[1]) + abs(eS[0] * e2[1]);
        const Lanes m2 = abs(eS[0] * e1[1]) + abs(e1[0] * eS[1]);
        const Lanes errorOfEnds =
            5.0f * unit.fSpan *
            (unit.fOther[0] * (abs(e2[0]) + abs(e2[1])) + unit.fOther[1] * (abs(e1[0]) + abs(e1[1])));
        const Lanes error = ROUNDING_UNIT * (d * (frame.fReach + 24.0f * unit.fSpan) +
                                             40.0f * (unit.fOther[0] * m1 + unit.fOther[1] * m2) +
                                             select(unit.fMin < unit.fMax, errorOfEnds, 0.0f)) +
                            TINY;
        Mask bFree = (d == 0.0f) & (q - radius + error <= 0.0f) & (q + radius - error >= 0.0f);
        for (unsigned i = 0; i < 3; ++i) bFree |= (eS[i] == 0.0f) & (e1[i] == 0.0f) & (e2[i] == 0.0f);
        range.narrow(d, q - radius, q + radius, error, bFree);
    }

    // The extents of the low part from which on the answer is possibly yes, and surely yes.
    struct Turn {
        Lanes maybe, sure;
    };

    static Turn turnOf(Lanes gMaybe, Lanes gSure, Lanes fSure, Lanes fMaybe) {
        return {max(0.0f, max(gMaybe * SHRINK, -fMaybe * STRETCH)),
                max(0.0f, max(gSure * SHRINK_SURE, -fSure * STRETCH_SURE))};
    }

    // Converts extents to positions on the low side; fSign -1 mirrors this for the high side.
    static void place(const NodeFrame& frame, const Unit& unit, const Turn& turn, float fSign, Lanes& maybe,
                      Lanes& sure) {
        const Lanes nearEnd = fSign > 0.0f ? unit.fMin : -unit.fMax;  // the face's range, mirrored
        const Lanes farEnd = fSign > 0.0f ? unit.fMax : -unit.fMin;
        const float fStart = fSign > 0.0f ? frame.fLow : -frame.fHigh;
        const float fSlack = 4.0f * ROUNDING_UNIT * frame.fReach;
        const Lanes extent = max(nearEnd - fStart, 0.0f);
        maybe = max(nearEnd, fStart + (turn.maybe * (1.0f - 16.0f * ROUNDING_UNIT) - fSlack));
        const Lanes later = max(nearEnd, fStart + (turn.sure * (1.0f + 16.0f * ROUNDING_UNIT) + fSlack));
        sure = select(turn.sure <= extent * (1.0f - 4.0f * ROUNDING_UNIT), nearEnd, later);
        const Lanes whole = max(farEnd, fStart + 256.0f * ROUNDING_UNIT * frame.fReach);
        sure = select(unit.bInside & (nearEnd >= fStart), min(sure, whole), sure);
    }

    static void measure(const NodeFrame& frame, const float* const* pFaces, const FaceValues<float>& to, uint32_t u) {
        const Unit unit(frame, pFaces);
        const Lanes error = ROUNDING_UNIT * (frame.fReach + 12.0f * unit.fSpan) + TINY;
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
        const Lanes infinite = __builtin_inff();
        const Mask bUnknown =
            frame.bInRange ? (frame.bOverlapKnown ? Lanes::mask(0) : ~unit.bInside) : Lanes::mask(~0u);
        const Mask bOff = (unit.fMax < frame.fLow) | (unit.fMin > frame.fHigh);
        unit.fMin.storeUnaligned(to.pMin + u);
        unit.fMid.storeUnaligned(to.pMid + u);
        unit.fMax.storeUnaligned(to.pMax + u);
        select(bOff, infinite, select(bUnknown, unit.fMin, lowMaybe)).storeUnaligned(to.pLowMaybe + u);
        select(bOff | bUnknown, infinite, lowSure).storeUnaligned(to.pLowSure + u);
        select(bOff, -infinite, select(bUnknown, unit.fMax, -highMaybe)).storeUnaligned(to.pHighMaybe + u);
        select(bOff | bUnknown, -infinite, -highSure).storeUnaligned(to.pHighSure + u);
    }

    static void measureAll(const NodeFrame& frame, const float* pCorners, const uint32_t* pNumbers, uint32_t uCount,
                           const FaceValues<float>& to) {
        for (uint32_t u = 0; u < uCount; u += WIDTH) {
            const float* pFaces[WIDTH];
            for (unsigned i = 0; i < WIDTH; ++i) {
                const uint32_t uAhead = u + i + 3 * WIDTH;  // faces of a large node are far apart in memory
                if (uAhead < uCount) __builtin_prefetch(pCorners + size_t{pNumbers[uAhead]} * 9);
                const uint32_t uFace = pNumbers[u + i < uCount ? u + i : uCount - 1];
                pFaces[i] = pCorners + size_t{uFace} * 9;
            }
            measure(frame, pFaces, to, u);
        }
    }
};

}  // namespace

}  // namespace rt
