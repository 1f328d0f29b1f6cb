// The search of small nodes. Why it is exact: docs/building.md, "Bins".
#include "accel/build/SmallSplit.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <limits>

#include "accel/build/LaneMath.h"

void SmallSplit::addFace(const FaceValues<float>& values, uint32_t u) {
    const auto all = LaneMath<WIDTH>::all;
    // A face known to miss the high side counts as low, untested: from there on its low answer is not known.
    assert(uFaces < MAX_FACES);
    faces[uFaces++] = {all(std::min(values.pLowMaybe[u], values.pHighSure[u])), all(values.pLowSure[u]),
                       all(values.pHighSure[u]), all(values.pHighMaybe[u])};
}

bool SmallSplit::find(Split* pSplit) {
    for (uint32_t u = 0; u < WIDTH && uCandidates; ++u) fCandidates[uCandidates + u] = fCandidates[0];
    const Lanes infinite = LaneMath<WIDTH>::all(std::numeric_limits<float>::infinity());
    Lanes bestCost = infinite, bestPosition{};
    Counts bestOpen{};
    for (uint32_t u = 0; u < uCandidates; u += WIDTH) {
        Lanes p;
        memcpy(&p, fCandidates + u, sizeof(p));
        Counts left{}, leftMaybe{}, right{}, rightMaybe{};  // negative
        for (uint32_t i = 0; i < uFaces; ++i) {
            left += p >= faces[i].lowSure;
            leftMaybe += p >= faces[i].lowMaybe;
            right += p <= faces[i].highSure;
            rightMaybe += p <= faces[i].highMaybe;
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
