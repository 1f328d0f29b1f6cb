#include "accel/FewFacesSplit.h"

#include <algorithm>
#include <cstring>
#include <limits>

// A candidate's surely counted faces give a lower bound of its cost, exactly so in single precision, too: rounding
// keeps order, and the cost is made of sums and products of values that are not negative. The candidate with the lowest
// bound, the first of equal ones, is the choice if its own counts are sure, for then no other can be cheaper, or as
// cheap and before it.

namespace {

using Lanes = float __attribute__((vector_size(16)));
using Counts = int32_t __attribute__((vector_size(16)));
constexpr uint32_t WIDTH = 4;
constexpr uint32_t MAX_CANDIDATES = 3 * FewFacesSplit::MAX_FACES;

Lanes all(float f) {
    return f - Lanes{};
}

// A face's steps, one value in all lanes each.
struct Steps {
    Lanes lowMaybe, lowSure, highSure, highMaybe;
};

// The cost of frame.cost(), operation by operation.
struct Cost {
    explicit Cost(const SplitFrame& frame) : perArea(all(frame.fPerArea)), uAxis(frame.uAxis) {
        const Velk::NMVector3f d = frame.box.v3Max - frame.box.v3Min;
        for (unsigned q = 0; q < 3; ++q) extent[q] = all(d[q]);
        low = all(frame.fLow);
        high = all(frame.fHigh);
    }

    Lanes area(Lanes length) const {
        const Lanes x = uAxis == 0 ? length : extent[0], y = uAxis == 1 ? length : extent[1];
        const Lanes z = uAxis == 2 ? length : extent[2];
        return x * (y + z) + y * z;
    }

    Lanes of(Lanes position, Counts left, Counts right) const {
        return (area(position - low) * __builtin_convertvector(left, Lanes) +
                __builtin_convertvector(right, Lanes) * area(high - position)) *
                   perArea +
               SplitFrame::TRAVERSAL_COST;
    }

    Lanes extent[3], low, high, perArea;
    unsigned uAxis;
};

}  // namespace

bool FewFacesSplit::find(const SplitFrame& frame, const FaceValues<float>& values, uint32_t uCount, Split* pSplit) {
    Steps steps[MAX_FACES];
    alignas(sizeof(Lanes)) float fCandidates[MAX_CANDIDATES + WIDTH];
    for (uint32_t u = 0; u < uCount; ++u) {
        // A mark counts low, too; and it matters up to where the low answer is sure.
        steps[u].lowMaybe = all(std::min(values.pLowMaybe[u], values.pHighSure[u]));
        steps[u].lowSure = all(values.pLowSure[u]);
        steps[u].highSure = all(values.pHighSure[u]);
        steps[u].highMaybe = all(std::max(values.pHighMaybe[u], values.pLowSure[u]));
    }
    uint32_t uCandidates = 0;
    for (const float* pValues : {values.pMin, values.pMid, values.pMax}) {
        memcpy(fCandidates + uCandidates, pValues, uCount * sizeof(float));
        uCandidates += uCount;
    }
    for (uint32_t u = 0; u < WIDTH; ++u) fCandidates[uCandidates + u] = fCandidates[0];

    const Cost cost(frame);
    const Lanes infinite = all(std::numeric_limits<float>::infinity());
    Lanes bestCost = infinite, bestPosition{};
    Counts bestOpen{};
    for (uint32_t u = 0; u < uCandidates; u += WIDTH) {
        Lanes p;
        memcpy(&p, fCandidates + u, sizeof(p));
        Counts left{}, leftMaybe{}, right{}, rightMaybe{};  // negative
        for (uint32_t i = 0; i < uCount; ++i) {
            left += p >= steps[i].lowSure;
            leftMaybe += p >= steps[i].lowMaybe;
            right += p <= steps[i].highSure;
            rightMaybe += p <= steps[i].highMaybe;
        }
        const Counts valid = (p >= cost.low) & (p <= cost.high);
        const Lanes floor = valid ? cost.of(p, -left, -right) : infinite;
        const Counts better = (floor < bestCost) | ((floor == bestCost) & (p < bestPosition));
        bestOpen = better ? (left != leftMaybe) | (right != rightMaybe) : bestOpen;
        bestCost = better ? floor : bestCost;
        bestPosition = better ? p : bestPosition;
    }
    unsigned uBest = 0;
    for (unsigned u = 1; u < WIDTH; ++u) {
        const bool bSame = bestCost[u] == bestCost[uBest];
        if (bestCost[u] < bestCost[uBest] || (bSame && bestPosition[u] < bestPosition[uBest])) uBest = u;
    }
    if (bestOpen[uBest]) return false;
    *pSplit = {bestPosition[uBest], bestCost[uBest]};
    return true;
}
