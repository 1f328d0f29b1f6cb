#pragma once

// The overlap test of one face against the parts of its node at many candidates, and its proof for whole runs of
// candidates: docs/building.md, "Open ranges".

#include "accel/Rounding.h"
#include "accel/build/NodeFrame.h"

namespace rt {

namespace {

/// Tests one face against the parts on one side of sorted candidates. Each lane tests one candidate or one range of
/// them.
template <typename Lanes>
class PartSweep {
    static constexpr unsigned WIDTH = Lanes::WIDTH;
    using Mask = typename Lanes::Mask;

 public:
    PartSweep(const NodeFrame& node, const float* pCorners, bool bHighSide, const float* pPositions)
        : frame(node), bHigh(bHighSide), pCandidates(pPositions) {
        for (unsigned i = 0; i < 3; ++i) {
            s[i] = pCorners[3 * i + frame.uAxis];
            for (unsigned k = 0; k < 2; ++k) t[k][i] = pCorners[3 * i + frame.uOther[k]] - frame.fCentre[k];
        }
        for (unsigned i = 0; i < 3; ++i) {
            for (unsigned k = 0; k < 2; ++k) e[k][i] = t[k][(i + 1) % 3] - t[k][i];
        }
        nS = e[0][0] * e[1][1] - e[1][0] * e[0][1];
        bSeparated = false;
        for (unsigned k = 0; k < 2; ++k) bSeparated |= isApart(t[k][0], t[k][1], t[k][2], frame.fHalf[k]);
        for (unsigned i = 0; i < 3; ++i) {
            const unsigned a = PROJECTED[frame.uAxis][i][0], b = PROJECTED[frame.uAxis][i][1];
            const float pA = e[1][i] * t[0][a] - e[0][i] * t[1][a], pB = e[1][i] * t[0][b] - e[0][i] * t[1][b];
            const float fRadius = __builtin_fabsf(e[1][i]) * frame.fHalf[0] + __builtin_fabsf(e[0][i]) * frame.fHalf[1];
            bSeparated |= isApart(pA, pB, pB, fRadius);
        }
    }

    /// The first candidate from uBegin on whose part the face misses, uEnd when there is none.
    uint32_t firstMiss(uint32_t uBegin, uint32_t uEnd) const {
        return bSeparated ? uBegin : firstMiss(uBegin, uEnd, ALL_TESTS);
    }

    /// The first candidate from uBegin on whose part the face overlaps, uEnd when there is none.
    uint32_t firstOverlap(uint32_t uBegin, uint32_t uEnd) const {
        return bSeparated ? uEnd : firstOf(false, uBegin, uEnd, ALL_TESTS);
    }

 private:
    // Separating axes with a component on the split axis: the cross products of three edges with the two other axes,
    // the split axis itself, the plane.
    static constexpr unsigned SPAN = 6, PLANE = 7, ALL_TESTS = 255;
    static constexpr uint32_t FEW = 512;                       // so few candidates are tested one by one
    static constexpr float ROUND_UP = 1.001f * ROUNDING_UNIT;  // with room for the rounding of the slack itself

    // Interval arithmetic: the bounds of a value over the candidates of a range.
    struct Interval {
        Lanes low, high;

        friend Interval operator-(Interval a) { return {-a.high, -a.low}; }
        friend Interval operator-(Interval a, Interval b) { return {a.low - b.high, a.high - b.low}; }
        friend Interval operator-(Interval a, Lanes b) { return {a.low - b, a.high - b}; }
        friend Interval operator-(Lanes a, Interval b) { return {a - b.high, a - b.low}; }
        friend Interval operator+(Interval a, Interval b) { return {a.low + b.low, a.high + b.high}; }
        friend Interval operator+(Interval a, Lanes b) { return {a.low + b, a.high + b}; }
        friend Interval operator*(Lanes a, Interval b) {
            const Lanes x = a * b.low, y = a * b.high;
            return {min(y, x), max(y, x)};
        }
    };

    // The part's values on the split axis: lanes for single candidates, intervals for ranges.
    template <typename Value>
    struct Part {
        Value h, t[3], e[3];
    };

    static bool isApart(float a, float b, float c, float fRadius) {
        const float fMin = b < a ? b : a, fMax = a < b ? b : a;
        return (c < fMin ? c : fMin) > fRadius || (fMax < c ? c : fMax) < -fRadius;
    }

    // Operations of the test on single values and on intervals.
    static Lanes smaller(Lanes a, Lanes b) { return min(b, a); }  // like std::min() and std::max(), also for NaN
    static Lanes larger(Lanes a, Lanes b) { return max(b, a); }
    static Lanes magnitude(Lanes a) { return abs(a); }
    static Mask isAbove(Lanes a, Lanes b) { return a > b; }
    static Interval smaller(Interval a, Interval b) { return {smaller(a.low, b.low), smaller(a.high, b.high)}; }
    static Interval larger(Interval a, Interval b) { return {larger(a.low, b.low), larger(a.high, b.high)}; }
    // The low end is negative where a may be 0. That is still a valid bound.
    static Interval magnitude(Interval a) { return {larger(a.low, -a.high), larger(-a.low, a.high)}; }
    static Mask isAbove(Interval a, Interval b) { return ~(a.high <= b.low); }  // possibly

    Lanes centre(Lanes p) const { return 0.5f * ((bHigh ? frame.fHigh : frame.fLow) + p); }
    Lanes half(Lanes p) const { return (bHigh ? frame.fHigh - p : p - frame.fLow) * NodeFrame::BOX_HALF; }

    Part<Lanes> partAt(Lanes p) const {
        Part<Lanes> part;
        const Lanes c = centre(p);
        part.h = half(p);
        for (unsigned i = 0; i < 3; ++i) part.t[i] = s[i] - c;
        for (unsigned i = 0; i < 3; ++i) part.e[i] = part.t[(i + 1) % 3] - part.t[i];
        return part;
    }

    Part<Interval> partsBetween(Lanes first, Lanes last) const {
        Part<Interval> part;
        const Lanes cFirst = centre(first), cLast = centre(last), hFirst = half(first), hLast = half(last);
        part.h = {bHigh ? hLast : hFirst, bHigh ? hFirst : hLast};
        Lanes reach[3];
        for (unsigned i = 0; i < 3; ++i) {
            part.t[i] = {s[i] - cLast, s[i] - cFirst};
            reach[i] = larger(-part.t[i].low, part.t[i].high);
        }
        for (unsigned i = 0; i < 3; ++i) {
            const unsigned j = (i + 1) % 3;
            const float d = s[j] - s[i];
            Lanes slack = (reach[i] + reach[j] + __builtin_fabsf(d)) * ROUND_UP;
            if (d == 0.0f) slack = 0.0f;  // equal corners stay equal
            part.e[i] = {d - slack, d + slack};
        }
        return part;
    }

    template <typename Value>
    Mask separates(unsigned uTest, const Part<Value>& part) const {
        if (uTest == PLANE) return planeSeparates(part);
        if (uTest == SPAN) {
            return isAbove(smaller(smaller(part.t[0], part.t[1]), part.t[2]), part.h) |
                   isAbove(-larger(larger(part.t[0], part.t[1]), part.t[2]), part.h);
        }
        const unsigned k = uTest / 3, i = uTest % 3;
        const uint8_t* pProjected = PROJECTED[frame.uOther[1 - k]][i];
        const Lanes edge = e[k][i], otherHalf = frame.fHalf[k];
        const auto project = [&](unsigned v) { return edge * part.t[v] - Lanes(t[k][v]) * part.e[i]; };
        const Value a = project(pProjected[0]), b = project(pProjected[1]);
        const Value radius = magnitude(edge) * part.h + otherHalf * magnitude(part.e[i]);
        return isAbove(smaller(a, b), radius) | isAbove(-larger(a, b), radius);
    }

    // n * (-h - t) where n > 0, else n * (h - t): one axis's term in the distance of the part's nearest corner from the
    // plane.
    static Lanes nearest(Lanes n, Lanes h, Lanes t) { return n * (select(n > 0.0f, -h, h) - t); }
    static Lanes farthest(Lanes n, Lanes h, Lanes t) { return n * (select(n > 0.0f, h, -h) - t); }
    // Linear on either side of n = 0, so the extreme is at an end or at 0.
    static Lanes nearest(Interval n, Lanes h, Lanes t) {
        const Lanes ends = larger(nearest(n.low, h, t), nearest(n.high, h, t));
        return select((n.low < 0.0f) & (n.high > 0.0f), larger(ends, 0.0f), ends);
    }
    static Lanes farthest(Interval n, Lanes h, Lanes t) {
        const Lanes ends = smaller(farthest(n.low, h, t), farthest(n.high, h, t));
        return select((n.low < 0.0f) & (n.high > 0.0f), smaller(ends, 0.0f), ends);
    }
    // The worst part is the smallest one.
    static Lanes nearest(Lanes n, Interval h, Interval t) { return nearest(n, h.low, select(n > 0.0f, t.low, t.high)); }
    static Lanes farthest(Lanes n, Interval h, Interval t) {
        return farthest(n, h.low, select(n > 0.0f, t.high, t.low));
    }

    template <typename Value>
    Mask planeSeparates(const Part<Value>& part) const {
        const Value n1 = Lanes(e[1][0]) * part.e[1] - Lanes(e[1][1]) * part.e[0];
        const Value n2 = Lanes(e[0][1]) * part.e[0] - Lanes(e[0][0]) * part.e[1];
        const auto sum = [this](Lanes onAxis, Lanes x, Lanes y) {  // in the order of the axes
            return frame.uAxis == 0 ? onAxis + x + y : frame.uAxis == 1 ? onAxis + y + x : x + y + onAxis;
        };
        const Lanes h1 = frame.fHalf[0], t1 = t[0][0], normalS = nS;
        const Lanes h2 = frame.fHalf[1], t2 = t[1][0];
        const Lanes near = sum(nearest(normalS, part.h, part.t[0]), nearest(n1, h1, t1), nearest(n2, h2, t2));
        const Lanes far = sum(farthest(normalS, part.h, part.t[0]), farthest(n1, h1, t1), farthest(n2, h2, t2));
        return (near > 0.0f) | ~(far >= 0.0f);
    }

    // Loads the candidates of a range; surplus lanes repeat the last one.
    Lanes candidates(uint32_t uBegin, uint32_t uEnd) const {
        if (uEnd - uBegin >= WIDTH) return Lanes::loadUnaligned(pCandidates + uBegin);
        float f[WIDTH];
        for (uint32_t i = 0; i < WIDTH; ++i) f[i] = pCandidates[uBegin + i < uEnd ? uBegin + i : uEnd - 1];
        return Lanes::loadUnaligned(f);
    }

    // The first candidate on whose part the face misses, or else overlaps, by these tests.
    uint32_t firstOf(bool bMiss, uint32_t uBegin, uint32_t uEnd, unsigned uTests) const {
        const auto planeAlone = [&](const Part<Lanes>& part) { return planeSeparates(part); };
        const auto theseTests = [&](const Part<Lanes>& part) {
            Mask separated = Lanes::mask(0);
            for (unsigned u = uTests; u; u &= u - 1) {
                separated |= separates(static_cast<unsigned>(__builtin_ctz(u)), part);
            }
            return separated;
        };
        // Nearly always only the plane of a sliver is undecided.
        return uTests == 1u << PLANE ? firstOf(bMiss, uBegin, uEnd, planeAlone)
                                     : firstOf(bMiss, uBegin, uEnd, theseTests);
    }

    template <typename Separates>
    uint32_t firstOf(bool bMiss, uint32_t uBegin, uint32_t uEnd, const Separates& isSeparated) const {
        const unsigned uFlip = bMiss ? 0 : (1u << WIDTH) - 1;
        for (uint32_t u = uBegin; u < uEnd; u += WIDTH) {
            const unsigned uFound = bits(isSeparated(partAt(candidates(u, uEnd)))) ^ uFlip;
            if (uFound) return u + static_cast<uint32_t>(__builtin_ctz(uFound));
        }
        return uEnd;
    }

    // Like the public one, but makes only the tests in uTests; the others are known to pass.
    uint32_t firstMiss(uint32_t uBegin, uint32_t uEnd, unsigned uTests) const {
        if (!frame.bInRange || uEnd - uBegin <= FEW) return firstOf(true, uBegin, uEnd, uTests);
        const uint32_t uStep = (uEnd - uBegin + WIDTH - 1) / WIDTH;
        float fFirst[WIDTH], fLast[WIDTH];
        for (uint32_t i = 0, u = uBegin; i < WIDTH; ++i, u += uStep) {
            fFirst[i] = pCandidates[u < uEnd ? u : uEnd - 1];
            fLast[i] = pCandidates[u + uStep < uEnd ? u + uStep - 1 : uEnd - 1];
        }
        const Part<Interval> parts = partsBetween(Lanes::loadUnaligned(fFirst), Lanes::loadUnaligned(fLast));
        unsigned uOpen[WIDTH] = {};  // the tests that may fail in each range
        for (unsigned u = uTests; u; u &= u - 1) {
            const unsigned uTest = static_cast<unsigned>(__builtin_ctz(u));
            const unsigned uRanges = bits(separates(uTest, parts));
            for (unsigned i = 0; i < WIDTH; ++i) uOpen[i] |= (uRanges >> i & 1) << uTest;
        }
        for (uint32_t i = 0, u = uBegin; i < WIDTH && u < uEnd; ++i, u += uStep) {
            const uint32_t uStop = u + uStep < uEnd ? u + uStep : uEnd;
            if (!uOpen[i]) continue;
            const uint32_t uMiss = firstMiss(u, uStop, uOpen[i]);
            if (uMiss < uStop) return uMiss;
        }
        return uEnd;
    }

    const NodeFrame& frame;
    const bool bHigh;
    const float* const pCandidates;
    float s[3], t[2][3], e[2][3];  // corners on the split axis; corners (from the centre) and edges on the others
    float nS;                      // the normal on the split axis
    bool bSeparated;               // by an axis without a component on the split axis, for every candidate
};

}  // namespace

}  // namespace rt
