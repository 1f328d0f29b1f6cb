// Builds the box hierarchy by the surface area of its boxes.
#include "accel/bvh/BvhBuilder.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

constexpr unsigned BINS = 16;
constexpr uint32_t FEW = 16;          // for so many items half the bins do
constexpr uint32_t MANY = 64;         // for so many items a second set of bins pays
constexpr float MIN_SPREAD = 1e-20f;  // below, bins would have no width
constexpr float INF = std::numeric_limits<float>::infinity();

BvhBuilder::Float4 load(const float* p) {
    BvhBuilder::Float4 v;
    memcpy(&v, p, sizeof(v));
    return v;
}

struct Bin {
    BvhBuilder::Extent box, centres;
    uint32_t uCount = 0;

    void add(const Bin& other) {
        box.add(other.box);
        centres.add(other.centres);
        uCount += other.uCount;
    }
};

// The bin after which to cut for the least area times faces on both sides, uBins when all items lie in one bin.
unsigned cheapestCut(const Bin* pBins, unsigned uBins, uint32_t uTotal) {
    float fRight[BINS];
    BvhBuilder::Extent box;
    uint32_t uCount = 0;
    for (unsigned i = uBins; i-- > 1;) {
        box.add(pBins[i].box);
        uCount += pBins[i].uCount;
        fRight[i] = box.halfArea() * static_cast<float>(uCount);
    }
    box = {};
    uCount = 0;
    float fBest = INF;
    unsigned uBest = uBins;
    for (unsigned i = 0; i + 1 < uBins; ++i) {
        box.add(pBins[i].box);
        uCount += pBins[i].uCount;
        if (!uCount || uCount == uTotal) continue;
        const float fCost = box.halfArea() * static_cast<float>(uCount) + fRight[i + 1];
        if (fCost < fBest) {
            fBest = fCost;
            uBest = i;
        }
    }
    return uBest;
}

}  // namespace

BvhBuilder::Extent::Extent() : low{INF, INF, INF, INF}, high{-INF, -INF, -INF, -INF} {}

void BvhBuilder::Extent::add(const Extent& other) {
    low = other.low < low ? other.low : low;
    high = other.high > high ? other.high : high;
}

float BvhBuilder::Extent::halfArea() const {
    const Float4 d = high - low;
    return d[0] * (d[1] + d[2]) + d[1] * d[2];
}

uint32_t BvhBuilder::Item::face() const {
    uint32_t u;
    memcpy(&u, &fMin[3], sizeof(u));
    return u;
}

BvhBuilder::Extent BvhBuilder::Item::box() const {
    Extent box;
    box.low = load(fMin);
    box.high = load(fMax);
    return box;
}

BvhBuilder::Extent BvhBuilder::Item::centre() const {
    Extent box;
    box.low = box.high = load(fMin) + load(fMax);
    return box;
}

void BvhBuilder::Range::add(const Item& item) {
    box.add(item.box());
    centres.add(item.centre());
}

uint32_t BvhBuilder::build(const Range& range, const Range& apart) {
    Range parts[4] = {range, apart, {}, {}};
    if (!range.count()) std::swap(parts[0], parts[1]);
    makeNode(parts, (range.count() ? 1 : 0) + (apart.count() ? 1 : 0), 0);
    return uNodes;
}

// Makes the node over the given parts, at most four, after dividing the largest until there are four.
uint32_t BvhBuilder::makeNode(Range* pParts, unsigned uParts, unsigned uDepth) {
    while (uParts && uParts < 4) {
        Range* pLargest = nullptr;
        for (Range* p = pParts; p != pParts + uParts; ++p) {
            if (p->count() <= Bvh::MAX_LEAF) continue;
            if (!pLargest || p->box.halfArea() > pLargest->box.halfArea()) pLargest = p;
        }
        if (!pLargest) break;
        const Range whole = *pLargest;
        split(whole, uDepth, *pLargest, pParts[uParts++]);
    }
    const uint32_t uNode = uNodes++;
    BvhNode& node = bvh.vNodes[uNode];
    node = {};
    for (unsigned i = 0; i < uParts; ++i) {
        for (unsigned a = 0; a < 3; ++a) {
            node.fMin[a][i] = pParts[i].box.low[a];
            node.fMax[a][i] = pParts[i].box.high[a];
        }
        const bool bLeaf = pParts[i].count() <= Bvh::MAX_LEAF;
        node.uChild[i] = bLeaf ? pParts[i].uBegin : 0;
        node.uCount[i] = static_cast<uint8_t>(bLeaf ? pParts[i].count() : 0);
        node.uUsed = static_cast<uint8_t>(node.uUsed | 1u << i);
    }
    for (unsigned i = 0; i < uParts; ++i) {
        if (pParts[i].count() <= Bvh::MAX_LEAF) continue;
        Range parts[4] = {pParts[i], {}, {}, {}};
        node.uChild[i] = makeNode(parts, 1, uDepth + 1);
    }
    return uNode;
}

void BvhBuilder::split(const Range& range, unsigned uDepth, Range& left, Range& right) {
    const Float4 spread = range.centres.high - range.centres.low;
    unsigned a = 0;
    for (unsigned b = 1; b < 3; ++b) {
        if (spread[b] > spread[a]) a = b;
    }
    left = {range.uBegin, range.uBegin, {}, {}};
    right = {range.uEnd, range.uEnd, {}, {}};
    // Faces that lie ever closer together would make a tree without end.
    if (uDepth >= Bvh::MAX_SAH_DEPTH || !(spread[a] > MIN_SPREAD) || splitByArea(range, a, left, right)) {
        halve(range, a, left, right);
    }
}

// True when no cut divides the items.
bool BvhBuilder::splitByArea(const Range& range, unsigned uAxis, Range& left, Range& right) {
    const unsigned uBins = range.count() <= FEW ? BINS / 2 : BINS;
    const float fLow = range.centres.low[uAxis];
    const float fScale = static_cast<float>(uBins) / (range.centres.high[uAxis] - fLow);
    const auto binOf = [=](const Item& item) {
        const float f = (item.fMin[uAxis] + item.fMax[uAxis] - fLow) * fScale;
        return std::min(uBins - 1, static_cast<unsigned>(f));
    };
    Bin bins[BINS];
    const auto put = [&](Bin* pBins, const Item& item) { pBins[binOf(item)].add({item.box(), item.centre(), 1}); };
    const Item *p = pItems + range.uBegin, *const pEnd = pItems + range.uEnd;
    if (range.count() >= MANY) {
        // Neighbours often share a bin. With two sets of bins one item need not wait for the one before it.
        Bin others[BINS];
        for (; pEnd - p > 1; p += 2) {
            put(bins, p[0]);
            put(others, p[1]);
        }
        for (unsigned i = 0; i < uBins; ++i) bins[i].add(others[i]);
    }
    for (; p != pEnd; ++p) put(bins, *p);
    const unsigned uCut = cheapestCut(bins, uBins, range.count());
    if (uCut == uBins) return true;
    for (unsigned i = 0; i < uBins; ++i) {
        Range& side = i <= uCut ? left : right;
        side.box.add(bins[i].box);
        side.centres.add(bins[i].centres);
    }
    const Item* pMiddle = std::partition(pItems + range.uBegin, pItems + range.uEnd,
                                         [&](const Item& item) { return binOf(item) <= uCut; });
    left.uEnd = right.uBegin = static_cast<uint32_t>(pMiddle - pItems);
    return false;
}

void BvhBuilder::halve(const Range& range, unsigned uAxis, Range& left, Range& right) {
    const uint32_t uMiddle = range.uBegin + range.count() / 2;
    std::nth_element(pItems + range.uBegin, pItems + uMiddle, pItems + range.uEnd, [=](const Item& l, const Item& r) {
        return l.fMin[uAxis] + l.fMax[uAxis] < r.fMin[uAxis] + r.fMax[uAxis];
    });
    left.uEnd = right.uBegin = uMiddle;
    for (uint32_t u = range.uBegin; u < range.uEnd; ++u) (u < uMiddle ? left : right).add(pItems[u]);
}
