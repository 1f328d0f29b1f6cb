// The split search for small nodes, candidate by candidate.
#include "accel/build/SmallSplit.h"

#include <algorithm>
#include <cstring>
#include <limits>

// A candidate's surely counted faces give a lower bound of its cost, exactly so in single precision, too: rounding
// keeps order, and the cost is made of sums and products of values that are not negative. The candidate with the lowest
// bound, the first of equal ones, is the choice if its own counts are sure, for then no other can be cheaper, or as
// cheap and before it.

void SmallSplit::addFace(const FaceValues<float>& values, uint32_t u) {
    const auto all = [](float f) { return f - Lanes{}; };
    // A mark counts low, too; and it matters up to where the low answer is sure.
    steps[uFaces++] = {all(std::min(values.pLowMaybe[u], values.pHighSure[u])), all(values.pLowSure[u]),
                       all(values.pHighSure[u]), all(std::max(values.pHighMaybe[u], values.pLowSure[u]))};
}

bool SmallSplit::find(Split* pSplit) {
    for (uint32_t u = 0; u < WIDTH && uCandidates; ++u) fCandidates[uCandidates + u] = fCandidates[0];
    const Lanes infinite = std::numeric_limits<float>::infinity() - Lanes{};
    Lanes bestCost = infinite, bestPosition{};
    Counts bestOpen{};
    for (uint32_t u = 0; u < uCandidates; u += WIDTH) {
        Lanes p;
        memcpy(&p, fCandidates + u, sizeof(p));
        Counts left{}, leftMaybe{}, right{}, rightMaybe{};  // negative
        for (uint32_t i = 0; i < uFaces; ++i) {
            left += p >= steps[i].lowSure;
            leftMaybe += p >= steps[i].lowMaybe;
            right += p <= steps[i].highSure;
            rightMaybe += p <= steps[i].highMaybe;
        }
        const Lanes floor = cost(p, iLeft - left, iRight - right);
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

// SplitFrame::halfArea() of the box with this length on the split axis, operation by operation.
SmallSplit::Lanes SmallSplit::area(Lanes length) const {
    const Velk::NMVector3f d = frame.box.v3Max - frame.box.v3Min;
    if (frame.uAxis == 0) return length * (d.y + d.z) + d.y * d.z;
    if (frame.uAxis == 1) return d.x * (length + d.z) + length * d.z;
    return d.x * (d.y + length) + d.y * length;
}

// SplitFrame::cost().
SmallSplit::Lanes SmallSplit::cost(Lanes position, Counts left, Counts right) const {
    const Lanes low = area(position - frame.fLow) * __builtin_convertvector(left, Lanes);
    const Lanes high = __builtin_convertvector(right, Lanes) * area(frame.fHigh - position);
    return (low + high) * frame.fPerArea + SplitFrame::TRAVERSAL_COST;
}
