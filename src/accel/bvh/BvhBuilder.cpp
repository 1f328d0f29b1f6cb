// Builds the BVH from the top down with the binned surface-area heuristic.
#include "accel/bvh/BvhBuilder.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/simd/Float4.h"

namespace rt {

namespace {

constexpr unsigned MAX_BINS = 16;     // nodes with no more items than this use half as many
constexpr float MIN_SPREAD = 1e-20f;  // below, bins would have no width

// A growing box; the fourth lane is unused.
struct Extent {
    Float4 low = INFINITY, high = -INFINITY;

    void add(const Extent& other) {
        low = min(other.low, low);
        high = max(other.high, high);
    }
    float halfArea() const {
        const Float4 d = high - low;
        return d[0] * (d[1] + d[2]) + d[1] * d[2];
    }
    unsigned longestAxis() const {
        const Float4 d = high - low;
        const unsigned a = d[1] > d[0] ? 1 : 0;
        return d[2] > d[a] ? 2 : a;
    }
};

Extent boxOf(const BvhItem& item) {
    return {Float4::load(item.fMin), Float4::load(item.fMax)};
}

// Twice the centre of an item's box.
Float4 centreOf(const BvhItem& item) {
    return Float4::load(item.fMin) + Float4::load(item.fMax);
}

// A run of items, their bounding box and that of their centres.
struct Range {
    uint32_t uBegin, uEnd;
    Extent box, centres;

    uint32_t count() const { return uEnd - uBegin; }
    bool isLeaf() const { return count() <= Bvh::MAX_LEAF; }
};

class Builder {
 public:
    Builder(BvhNode* pNodes, BvhItem* pSource) : pTarget(pNodes), pItems(pSource) {}

    Range rangeOf(uint32_t uBegin, uint32_t uEnd) const {
        Range range{uBegin, uEnd, {}, {}};
        for (uint32_t u = uBegin; u < uEnd; ++u) {
            range.box.add(boxOf(pItems[u]));
            range.centres.add({centreOf(pItems[u]), centreOf(pItems[u])});
        }
        return range;
    }

    // Makes the node over one to four parts. First splits the part of the largest area until there are four.
    uint32_t makeNode(Range* pParts, unsigned uParts, unsigned uDepth) {
        while (uParts < 4) {
            Range* pLargest = nullptr;
            for (Range* p = pParts; p != pParts + uParts; ++p) {
                if (!p->isLeaf() && (!pLargest || p->box.halfArea() > pLargest->box.halfArea())) pLargest = p;
            }
            if (!pLargest) break;
            pParts[uParts++] = split(*pLargest, uDepth);
        }
        const uint32_t uNode = uNodes++;
        BvhNode& node = pTarget[uNode];
        node = {};
        for (unsigned i = 0; i < uParts; ++i) {
            const Range& part = pParts[i];
            for (unsigned a = 0; a < 3; ++a) {
                node.fMin[a][i] = part.box.low[a];
                node.fMax[a][i] = part.box.high[a];
            }
            node.uUsed = static_cast<uint8_t>(node.uUsed | 1u << i);
            if (part.isLeaf()) {
                node.uChild[i] = part.uBegin;
                node.uCount[i] = static_cast<uint8_t>(part.count());
            } else {
                Range parts[4] = {part, {}, {}, {}};
                node.uChild[i] = makeNode(parts, 1, uDepth + 1);
            }
        }
        return uNode;
    }

    uint32_t nodes() const { return uNodes; }

 private:
    // The items in one bin, or on one side of a split.
    struct Bin {
        Extent box, centres;
        uint32_t uCount = 0;

        void add(const Bin& other) {
            box.add(other.box);
            uCount += other.uCount;
        }
        float cost() const { return box.halfArea() * static_cast<float>(uCount); }
    };

    // Shortens the range to its left part and returns the right one.
    Range split(Range& range, unsigned uDepth) {
        const unsigned a = range.centres.longestAxis();
        const float fLow = range.centres.low[a], fSpread = range.centres.high[a] - fLow;
        // Limits the depth: faces that lie ever closer together would make the tree too deep.
        if (uDepth >= Bvh::MAX_SAH_DEPTH || !(fSpread > MIN_SPREAD)) return splitAtMedian(range, a);
        const unsigned uBins = range.count() > MAX_BINS ? MAX_BINS : MAX_BINS / 2;
        const float fScale = static_cast<float>(uBins) / fSpread, fLast = static_cast<float>(uBins - 1);
        const auto binOf = [=](const BvhItem& item) {  // the last bin for NaN
            return static_cast<unsigned>(std::min(fLast, (item.fMin[a] + item.fMax[a] - fLow) * fScale));
        };
        Bin bins[MAX_BINS];
        for (uint32_t u = range.uBegin; u < range.uEnd; ++u) {
            Bin& bin = bins[binOf(pItems[u])];
            bin.box.add(boxOf(pItems[u]));
            bin.centres.add({centreOf(pItems[u]), centreOf(pItems[u])});
            ++bin.uCount;
        }
        float fRight[MAX_BINS];  // the cost of this bin and all behind it
        Bin side;
        for (unsigned i = uBins; i-- > 1;) {
            side.add(bins[i]);
            fRight[i] = side.cost();
        }
        unsigned uCut = 0;
        float fBest = INFINITY;
        side = {};
        for (unsigned i = 1; i < uBins; ++i) {
            side.add(bins[i - 1]);
            const float fCost = side.cost() + fRight[i];  // NaN where a side is empty
            uCut = fCost < fBest ? i : uCut;
            fBest = fCost < fBest ? fCost : fBest;
        }
        if (!uCut) return splitAtMedian(range, a);  // areas are not finite
        // Partitions without branches, which would be mispredicted half of the time. Each item is swapped with the
        // first item of the right part; that part then shrinks if the item belongs to the left.
        uint32_t uMiddle = range.uBegin;
        for (uint32_t u = range.uBegin; u < range.uEnd; ++u) {
            const Extent item = boxOf(pItems[u]), first = boxOf(pItems[uMiddle]);
            const bool bLeft = binOf(pItems[u]) < uCut;
            first.low.store(pItems[u].fMin);
            first.high.store(pItems[u].fMax);
            item.low.store(pItems[uMiddle].fMin);
            item.high.store(pItems[uMiddle].fMax);
            uMiddle += bLeft;
        }
        Range right{uMiddle, range.uEnd, {}, {}};
        range = {range.uBegin, uMiddle, {}, {}};
        for (unsigned i = 0; i < uBins; ++i) {
            Range& part = i < uCut ? range : right;
            part.box.add(bins[i].box);
            part.centres.add(bins[i].centres);
        }
        return right;
    }

    Range splitAtMedian(Range& range, unsigned a) {
        const uint32_t uMiddle = range.uBegin + range.count() / 2, uEnd = range.uEnd;
        std::nth_element(
            pItems + range.uBegin, pItems + uMiddle, pItems + uEnd,
            [=](const BvhItem& l, const BvhItem& r) { return l.fMin[a] + l.fMax[a] < r.fMin[a] + r.fMax[a]; });
        range = rangeOf(range.uBegin, uMiddle);
        return rangeOf(uMiddle, uEnd);
    }

    BvhNode* pTarget;
    BvhItem* pItems;
    uint32_t uNodes = 0;
};

}  // namespace

uint32_t BvhItem::face() const {
    uint32_t u;
    memcpy(&u, &fMin[3], sizeof(u));
    return u;
}

uint32_t buildBvh(BvhNode* pNodes, BvhItem* pItems, uint32_t uOrdinary, uint32_t uTotal) {
    Builder builder(pNodes, pItems);
    Range parts[4] = {};
    unsigned uParts = 0;
    if (uOrdinary) parts[uParts++] = builder.rangeOf(0, uOrdinary);
    if (uOrdinary < uTotal) parts[uParts++] = builder.rangeOf(uOrdinary, uTotal);
    builder.makeNode(parts, uParts, 0);
    return builder.nodes();
}

}  // namespace rt
