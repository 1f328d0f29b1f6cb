#pragma once

// The search for the split of a node with few faces: every candidate against every face, four candidates at a time,
// unsorted and without branches. Why it is exact: docs/building.md, "Bins".

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <limits>

#include "accel/build/NodeFrame.h"
#include "accel/build/SplitFrame.h"
#include "base/simd/Float4.h"

namespace rt {

namespace {

class SmallSplit {
 public:
    /// True when this search can handle a node of so many faces, and is the faster one.
    static bool isSmall(uint32_t uFaces) { return uFaces <= MAX_FACES; }

    /// Requires a box whose area is finite and not zero.
    explicit SmallSplit(const SplitFrame& nodeFrame) : frame(nodeFrame) {}

    /// Requires that isSmall() is true of the final number.
    void addFace(const FaceValues<float>& values, uint32_t u) {
        // Above pHighSure the face may be marked, and then counts as low. So its low answer is open from there on.
        assert(uFaces < MAX_FACES);
        faces[uFaces++] = {std::min(values.pLowMaybe[u], values.pHighSure[u]), values.pLowSure[u], values.pHighSure[u],
                           values.pHighMaybe[u]};
    }

    /// Adds a position if bValid; duplicates do no harm.
    void addCandidate(float f, bool bValid) {
        fCandidates[uCandidates] = f;
        uCandidates += bValid;
    }

    /// Finds the split from the faces' thresholds. False when that needs the overlap tests: then *pSplit is not
    /// touched.
    bool find(Split* pSplit) {
        for (uint32_t u = 0; u < WIDTH && uCandidates; ++u) fCandidates[uCandidates + u] = fCandidates[0];
        Float4 bestCost = std::numeric_limits<float>::infinity(), bestPosition = 0.0f;
        Float4::Mask bestOpen = Float4::mask(0);
        for (uint32_t u = 0; u < uCandidates; u += WIDTH) {
            const Float4 p = Float4::loadUnaligned(fCandidates + u);
            Int4 left{}, leftMaybe{}, right{}, rightMaybe{};  // negative: a set lane of a mask is -1
            for (uint32_t i = 0; i < uFaces; ++i) {
                left += (p >= faces[i].lowSure).m;
                leftMaybe += (p >= faces[i].lowMaybe).m;
                right += (p <= faces[i].highSure).m;
                rightMaybe += (p <= faces[i].highMaybe).m;
            }
            const Float4 floor = cost(p, -left, -right);
            const Float4::Mask better = (floor < bestCost) | ((floor == bestCost) & (p < bestPosition));
            bestOpen = select(better, {(left != leftMaybe) | (right != rightMaybe)}, bestOpen);
            bestCost = select(better, floor, bestCost);
            bestPosition = select(better, p, bestPosition);
        }
        unsigned uBest = 0;
        for (unsigned u = 1; u < WIDTH; ++u) {
            const bool bSame = bestCost[u] == bestCost[uBest];
            if (bestCost[u] < bestCost[uBest] || (bSame && bestPosition[u] < bestPosition[uBest])) uBest = u;
        }
        if (bits(bestOpen) >> uBest & 1) return false;
        *pSplit = {bestPosition[uBest], bestCost[uBest]};
        return true;
    }

 private:
    static constexpr uint32_t MAX_FACES = 26;
    static constexpr uint32_t WIDTH = Float4::WIDTH;

    // A face's thresholds, each broadcast to all lanes.
    struct Thresholds {
        Float4 lowMaybe, lowSure, highSure, highMaybe;
    };

    // SplitFrame::halfArea() of the box with this length on the split axis, by the same operations.
    Float4 area(Float4 length) const {
        const Velk::NMVector3f d = frame.box.v3Max - frame.box.v3Min;
        if (frame.uAxis == 0) return length * (d.y + d.z) + d.y * d.z;
        if (frame.uAxis == 1) return d.x * (length + d.z) + length * d.z;
        return d.x * (d.y + length) + d.y * length;
    }

    // SplitFrame::cost().
    Float4 cost(Float4 position, Int4 left, Int4 right) const {
        const Float4 low = area(position - frame.fLow) * Float4::from(left);
        const Float4 high = Float4::from(right) * area(frame.fHigh - position);
        return (low + high) * frame.fPerArea + SplitFrame::TRAVERSAL_COST;
    }

    const SplitFrame& frame;
    uint32_t uFaces = 0, uCandidates = 0;
    Thresholds faces[MAX_FACES];
    float fCandidates[3 * MAX_FACES + WIDTH];
};

}  // namespace

}  // namespace rt
