// How the builders of both hierarchies divide boxes.
#include "accel/BoxSplit.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace rt {

namespace {

constexpr unsigned MAX_BINS = 16;  // ranges of no more items than this use half as many
constexpr unsigned MAX_SAH_DEPTH = 24;
constexpr float MIN_SPREAD = 1e-37f;  // below, bins would have no width

BoxCorner load(const float* p) {
    BoxCorner v;
    memcpy(&v, p, sizeof(v));
    return v;
}

// The items between two planes across an axis, or on one side of a plane.
struct Bin {
    BoxExtent box, centres;
    uint32_t uCount = 0;

    void add(const Bin& other) {
        box.add(other.box);
        uCount += other.uCount;
    }
    float cost(float fUnit) const { return box.halfArea(fUnit) * static_cast<float>(uCount); }
};

// The first bin of the cheaper side of the best cut; 0 when no cut divides the items.
unsigned bestCut(const Bin* pBins, unsigned uBins, float fUnit) {
    float fRight[MAX_BINS];  // the cost of this bin and all behind it
    Bin side;
    for (unsigned i = uBins; i-- > 1;) {
        side.add(pBins[i]);
        fRight[i] = side.cost(fUnit);
    }
    unsigned uCut = 0;
    float fBest = INFINITY;
    side = {};
    for (unsigned i = 1; i < uBins; ++i) {
        side.add(pBins[i - 1]);
        const float fCost = side.cost(fUnit) + fRight[i];  // NaN where a side is empty
        uCut = fCost < fBest ? i : uCut;
        fBest = fCost < fBest ? fCost : fBest;
    }
    return uCut;
}

// Moves items for which isLeft() holds before the others, and returns the first of those. Has no branches, which would
// be mispredicted half of the time: each item is swapped with the first item of the right part, which then shrinks if
// the item belongs to the left.
template <typename IsLeft>
uint32_t partition(BoxItem* pItems, uint32_t uBegin, uint32_t uEnd, const IsLeft& isLeft) {
    uint32_t uMiddle = uBegin;
    for (uint32_t u = uBegin; u < uEnd; ++u) {
        const bool bLeft = isLeft(pItems[u]);
        const BoxItem item = pItems[u];
        pItems[u] = pItems[uMiddle];
        pItems[uMiddle] = item;
        uMiddle += bLeft;
    }
    return uMiddle;
}

// True when no cut divides the items.
bool splitByBins(BoxItem* pItems, const BoxRange& range, unsigned a, BoxRange& left, BoxRange& right) {
    const float fLow = range.centres.low[a], fSpread = range.centres.high[a] - fLow;
    if (!(fSpread > MIN_SPREAD)) return true;
    const unsigned uBins = range.count() > MAX_BINS ? MAX_BINS : MAX_BINS / 2;
    const float fScale = static_cast<float>(uBins) / fSpread, fLast = static_cast<float>(uBins - 1);
    const auto binOf = [=](const BoxItem& item) {  // the last bin for NaN
        return static_cast<unsigned>(std::min(fLast, (item.fMin[a] + item.fMax[a] - fLow) * fScale));
    };
    Bin bins[MAX_BINS];
    for (uint32_t u = range.uBegin; u < range.uEnd; ++u) {
        Bin& bin = bins[binOf(pItems[u])];
        bin.box.add(pItems[u].box());
        bin.centres.add(pItems[u].centre());
        ++bin.uCount;
    }
    const unsigned uCut = bestCut(bins, uBins, range.box.unit());
    if (!uCut) return true;
    left.uEnd = right.uBegin =
        partition(pItems, range.uBegin, range.uEnd, [&](const BoxItem& item) { return binOf(item) < uCut; });
    for (unsigned i = 0; i < uBins; ++i) {
        BoxRange& part = i < uCut ? left : right;
        part.box.add(bins[i].box);
        part.centres.add(bins[i].centres);
    }
    return false;
}

void halve(BoxItem* pItems, const BoxRange& range, unsigned a, BoxRange& left, BoxRange& right) {
    const uint32_t uMiddle = range.uBegin + range.count() / 2;
    std::nth_element(pItems + range.uBegin, pItems + uMiddle, pItems + range.uEnd,
                     [=](const BoxItem& l, const BoxItem& r) { return l.fMin[a] + l.fMax[a] < r.fMin[a] + r.fMax[a]; });
    left.uEnd = right.uBegin = uMiddle;
    for (uint32_t u = range.uBegin; u < range.uEnd; ++u) (u < uMiddle ? left : right).add(pItems[u]);
}

}  // namespace

BoxExtent::BoxExtent()
    : low{INFINITY, INFINITY, INFINITY, INFINITY}, high{-INFINITY, -INFINITY, -INFINITY, -INFINITY} {}

void BoxExtent::add(const BoxExtent& other) {
    low = other.low < low ? other.low : low;
    high = other.high > high ? other.high : high;
}

unsigned BoxExtent::longestAxis() const {
    const BoxCorner size = high - low;
    const unsigned a = size[1] > size[0] ? 1 : 0;
    return size[2] > size[a] ? 2 : a;
}

float BoxExtent::halfArea(float fUnit) const {
    // Not as vectors: the spare may be denormal, and multiplying that takes a hundred times as long.
    const BoxCorner d = high - low;
    return d[0] * fUnit * (d[1] + d[2]) + d[1] * fUnit * d[2];
}

float BoxExtent::unit() const {
    const float fLongest = (high - low)[longestAxis()];
    return fLongest > MIN_SPREAD ? 1.0f / fLongest : 1.0f;
}

uint32_t BoxItem::face() const {
    uint32_t u;
    memcpy(&u, &fMin[3], sizeof(u));
    return u;
}

void BoxItem::setFace(uint32_t uFace) {
    memcpy(&fMin[3], &uFace, sizeof(uFace));
}

BoxExtent BoxItem::box() const {
    BoxExtent box;
    box.low = load(fMin);
    box.high = load(fMax);
    return box;
}

BoxExtent BoxItem::centre() const {
    BoxExtent box;
    box.low = box.high = load(fMin) + load(fMax);
    return box;
}

void BoxRange::add(const BoxItem& item) {
    box.add(item.box());
    centres.add(item.centre());
}

void BoxRange::add(const BoxRange& other) {
    box.add(other.box);
    centres.add(other.centres);
}

void splitBoxes(BoxItem* pItems, const BoxRange& range, unsigned uDepth, BoxRange& left, BoxRange& right) {
    const BoxRange whole = range;
    const unsigned a = whole.centres.longestAxis();
    left = right = {};
    left.uBegin = left.uEnd = whole.uBegin;
    right.uBegin = right.uEnd = whole.uEnd;
    if (uDepth >= MAX_SAH_DEPTH || splitByBins(pItems, whole, a, left, right)) halve(pItems, whole, a, left, right);
}

unsigned splitLargest(BoxItem* pItems, BoxRange* pParts, unsigned uParts, unsigned uWanted, uint32_t uMost,
                      unsigned uDepth) {
    BoxExtent whole;
    for (unsigned i = 0; i < uParts; ++i) whole.add(pParts[i].box);
    const float fUnit = whole.unit();
    while (uParts < uWanted) {
        BoxRange* pLargest = nullptr;
        for (BoxRange* p = pParts; p != pParts + uParts; ++p) {
            if (p->count() > uMost && (!pLargest || p->box.halfArea(fUnit) > pLargest->box.halfArea(fUnit)))
                pLargest = p;
        }
        if (!pLargest) break;
        splitBoxes(pItems, *pLargest, uDepth, *pLargest, pParts[uParts++]);
    }
    return uParts;
}

}  // namespace rt
