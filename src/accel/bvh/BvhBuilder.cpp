// Builds the box hierarchy by the surface area of its boxes.
#include "accel/bvh/BvhBuilder.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

using Float4 = BvhBuilder::Float4;
using Int4 = int32_t __attribute__((vector_size(16)));
using Extent = BvhBuilder::Extent;
using Item = BvhBuilder::Item;

constexpr unsigned BINS = 16;         // so many items, and fewer, are sorted instead
constexpr uint32_t MANY = 256;        // from so many items on, four sets of bins pay, and dividing in place
constexpr float MIN_SPREAD = 1e-20f;  // below, bins would have no width
constexpr float INF = std::numeric_limits<float>::infinity();

Float4 load(const float* p) {
    Float4 v;
    memcpy(&v, p, sizeof(v));
    return v;
}

unsigned longestAxis(const Extent& box) {
    const Float4 size = box.high - box.low;
    unsigned a = 0;
    for (unsigned b = 1; b < 3; ++b) {
        if (size[b] > size[a]) a = b;
    }
    return a;
}

// Half the areas of four boxes of these sizes.
Float4 halfAreas(const Float4* d) {
    const Float4 xy01 = __builtin_shufflevector(d[0], d[1], 0, 4, 1, 5),
                 z01 = __builtin_shufflevector(d[0], d[1], 2, 6, 2, 6);
    const Float4 xy23 = __builtin_shufflevector(d[2], d[3], 0, 4, 1, 5),
                 z23 = __builtin_shufflevector(d[2], d[3], 2, 6, 2, 6);
    const Float4 x = __builtin_shufflevector(xy01, xy23, 0, 1, 4, 5),
                 y = __builtin_shufflevector(xy01, xy23, 2, 3, 6, 7);
    const Float4 z = __builtin_shufflevector(z01, z23, 0, 1, 4, 5);
    return x * (y + z) + y * z;
}

// The cuts of a row of boxes.
struct Cuts {
    struct Corners {  // an Extent that need not be filled first
        Float4 low, high;

        Extent box() const {
            Extent result;
            result.low = low;
            result.high = high;
            return result;
        }
    };
    Corners left[BINS], right[BINS];  // what lies on the two sides of a cut behind box i

    explicit Cuts(const Extent* pBoxes) {
        Extent box;
        for (unsigned i = BINS; i-- > 0;) {
            right[i] = {box.low, box.high};
            box.add(pBoxes[i]);
        }
        box = {};
        for (unsigned i = 0; i < BINS; ++i) {
            box.add(pBoxes[i]);
            left[i] = {box.low, box.high};
        }
    }

    // The box behind which to cut for the least area times items on both sides, BINS when no cut divides the items.
    // pUpTo holds the number of items in each box and those before it.
    unsigned cheapest(const Int4* pUpTo, uint32_t uTotal) const {
        float fCosts[BINS];
        for (unsigned i = 0; i < BINS; i += 4) {
            Float4 leftSize[4], rightSize[4];
            for (unsigned k = 0; k < 4; ++k) {
                leftSize[k] = left[i + k].high - left[i + k].low;
                rightSize[k] = right[i + k].high - right[i + k].low;
            }
            const Int4 before = pUpTo[i / 4], after = static_cast<int32_t>(uTotal) - before;
            const Float4 cost = halfAreas(leftSize) * __builtin_convertvector(before, Float4) +
                                halfAreas(rightSize) * __builtin_convertvector(after, Float4);
            const Float4 valid = ((before > 0) & (after > 0)) ? cost : Float4{INF, INF, INF, INF};
            memcpy(fCosts + i, &valid, sizeof(valid));
        }
        float fBest = INF;
        unsigned uBest = BINS;
        for (unsigned i = 0; i < BINS; ++i) {
            uBest = fCosts[i] < fBest ? i : uBest;
            fBest = fCosts[i] < fBest ? fCosts[i] : fBest;
        }
        return uBest;
    }
};

// What lies in each interval of the axis.
struct Bins {
    Extent boxes[BINS], centres[BINS];
    int32_t iCounts[BINS] = {};

    void add(unsigned uBin, const Item& item) {
        boxes[uBin].add(item.box());
        centres[uBin].add(item.centre());
        ++iCounts[uBin];
    }

    void add(const Bins& other) {
        for (unsigned i = 0; i < BINS; ++i) {
            boxes[i].add(other.boxes[i]);
            centres[i].add(other.centres[i]);
            iCounts[i] += other.iCounts[i];
        }
    }
};

// std::partition without branches, which would be mispredicted half of the time. Requires fewer than MANY items.
template <typename IsLeft>
Item* partitionFew(Item* pBegin, Item* pEnd, const IsLeft& isLeft) {
    Item rest[MANY];
    uint32_t uRest = 0;
    Item* pLeft = pBegin;
    for (const Item* p = pBegin; p != pEnd; ++p) {
        const Item item = *p;
        const bool bLeft = isLeft(item);
        *pLeft = item;
        rest[uRest] = item;
        pLeft += bLeft;
        uRest += !bLeft;
    }
    memcpy(pLeft, rest, uRest * sizeof(Item));
    return pLeft;
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

uint32_t Item::face() const {
    uint32_t u;
    memcpy(&u, &fMin[3], sizeof(u));
    return u;
}

Extent Item::box() const {
    Extent box;
    box.low = load(fMin);
    box.high = load(fMax);
    return box;
}

Extent Item::centre() const {
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
    const unsigned a = longestAxis(range.centres);
    left = {range.uBegin, range.uBegin, {}, {}};
    right = {range.uEnd, range.uEnd, {}, {}};
    // Faces that lie ever closer together would make a tree without end. Sixteen end after four levels, as with halves:
    // a node leaves at most 13 of them to one child.
    const bool bFew = range.count() <= BINS;
    const bool bBins = uDepth < Bvh::MAX_SAH_DEPTH && range.centres.high[a] - range.centres.low[a] > MIN_SPREAD;
    if (bFew ? splitFew(range, left, right) : !bBins || splitByBins(range, a, left, right))
        halve(range, a, left, right);
}

// Sorts the items by their centres and tries every cut. Loops have a fixed length, because the end of one of five to
// sixteen rounds is mispredicted most of the time. True when areas are not finite.
bool BvhBuilder::splitFew(const Range& range, Range& left, Range& right) {
    constexpr int32_t LAST = INT32_MAX - int32_t{BINS};
    const uint32_t uCount = range.count();
    Item* const p = pItems + range.uBegin;
    Item items[BINS];
    Float4 centres[BINS];
    Extent extent;
    for (uint32_t u = 0; u < BINS; ++u) {
        items[u] = p[std::min(u, uCount - 1)];
        extent.add(items[u].centre());
        centres[u] = items[u].centre().low;
    }
    const unsigned a = longestAxis(extent);
    Int4 keys[BINS / 4], ranks[BINS / 4] = {}, upTo[BINS / 4];
    for (unsigned i = 0; i < BINS / 4; ++i) {
        const Float4* c = centres + size_t{4} * i;
        const Int4 number = static_cast<int32_t>(4 * i) + Int4{0, 1, 2, 3};
        Int4 key = reinterpret_cast<Int4>(Float4{c[0][a], c[1][a], c[2][a], c[3][a]});
        key ^= (key >> 31) & INT32_MAX;  // integers in the order of the floats, and all different
        key = (key & -int32_t{BINS}) | number;
        keys[i] = number < static_cast<int32_t>(uCount) ? key : LAST + number;
        upTo[i] = number + 1;
    }
    for (unsigned v = 0; v < BINS; ++v) {
        const Int4 key = keys[v / 4][v % 4] + Int4{};
        for (unsigned i = 0; i < BINS / 4; ++i) ranks[i] -= key < keys[i];
    }
    Extent boxes[BINS + 1];
    Item spare;
    for (uint32_t u = 0; u < BINS; ++u) {
        const uint32_t uRank = static_cast<uint32_t>(ranks[u / 4][u % 4]);
        boxes[u < uCount ? uRank : BINS] = items[u].box();
        *(u < uCount ? p + uRank : &spare) = items[u];
    }
    const Cuts cuts(boxes);
    const unsigned uCut = cuts.cheapest(upTo, uCount);
    if (uCut == BINS) return true;
    left.box = cuts.left[uCut].box();
    right.box = cuts.right[uCut].box();
    left.uEnd = right.uBegin = range.uBegin + uCut + 1;
    return false;
}

// True when no cut divides the items.
bool BvhBuilder::splitByBins(const Range& range, unsigned uAxis, Range& left, Range& right) {
    const float fLow = range.centres.low[uAxis];
    const float fScale = static_cast<float>(BINS) / (range.centres.high[uAxis] - fLow);
    const auto placeOf = [=](const Item& item) { return (item.fMin[uAxis] + item.fMax[uAxis] - fLow) * fScale; };
    const auto binOf = [=](const Item& item) { return std::min(BINS - 1, static_cast<unsigned>(placeOf(item))); };
    Item *const pBegin = pItems + range.uBegin, *const pEnd = pItems + range.uEnd;
    const Item* p = pBegin;
    Bins bins;
    if (range.count() >= MANY) {
        // Neighbours often share a bin. With several sets of bins one item need not wait for the one before it.
        Bins others[3];
        for (; pEnd - p >= 4; p += 4) {
            bins.add(binOf(p[0]), p[0]);
            for (unsigned i = 0; i < 3; ++i) others[i].add(binOf(p[i + 1]), p[i + 1]);
        }
        for (const Bins& other : others) bins.add(other);
    }
    for (; p != pEnd; ++p) bins.add(binOf(*p), *p);
    Int4 upTo[BINS / 4];
    for (unsigned i = 1; i < BINS; ++i) bins.iCounts[i] += bins.iCounts[i - 1];
    memcpy(upTo, bins.iCounts, sizeof(upTo));
    const Cuts cuts(bins.boxes);
    const unsigned uCut = cuts.cheapest(upTo, range.count());
    if (uCut == BINS) return true;
    left.box = cuts.left[uCut].box();
    right.box = cuts.right[uCut].box();
    for (unsigned i = 0; i < BINS; ++i) (i <= uCut ? left : right).centres.add(bins.centres[i]);
    const auto isLeft = [=](const Item& item) { return placeOf(item) < static_cast<float>(uCut + 1); };
    const Item* pMiddle =
        range.count() < MANY ? partitionFew(pBegin, pEnd, isLeft) : std::partition(pBegin, pEnd, isLeft);
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
