// Builds a hierarchy of boxes, eight to a node, with any number of threads.
#include "accel/watertight/WatertightBuilder.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <system_error>
#include <thread>

namespace rt {

namespace {

using Float4 = WatertightBuilder::Float4;
using Extent = WatertightBuilder::Extent;
using Item = WatertightBuilder::Item;

constexpr unsigned BINS = 16;
constexpr uint32_t FEW = 8;           // so many items, and fewer, are sorted
constexpr float MIN_SPREAD = 1e-37f;  // below, bins would have no width
constexpr float EMPTY = 0x1p62f;      // corners of an empty place: times any reciprocal, this is finite

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

// A factor that makes the longest edge of a box about 1.
float unitOf(const Extent& box) {
    const float fLongest = (box.high - box.low)[longestAxis(box)];
    return fLongest > MIN_SPREAD ? 1.0f / fLongest : 1.0f;
}

// A place to cut: behind some bin or item of an axis, and the areas times items on both sides.
struct Cut {
    float fCost = INFINITY;
    unsigned uAxis = 0, uLast = 0;
};

// Looks for a better cut in a row of boxes along an axis. One of no items divides nothing.
void findCut(const Extent* pBoxes, const uint32_t* pCounts, unsigned uBoxes, unsigned uAxis, float fUnit, Cut& best) {
    float fRight[BINS];
    Extent box;
    uint32_t uCount = 0;
    for (unsigned i = uBoxes - 1; i > 0; --i) {
        box.add(pBoxes[i]);
        uCount += pCounts[i];
        fRight[i - 1] = uCount ? box.halfArea(fUnit) * static_cast<float>(uCount) : INFINITY;
    }
    box = {};
    uCount = 0;
    for (unsigned i = 0; i + 1 < uBoxes; ++i) {
        box.add(pBoxes[i]);
        uCount += pCounts[i];
        const float fCost = uCount ? box.halfArea(fUnit) * static_cast<float>(uCount) + fRight[i] : INFINITY;
        if (fCost < best.fCost) best = {fCost, uAxis, i};
    }
}

void fill(WatertightNode& node, unsigned uPlace, const Extent& box, uint32_t uChild) {
    for (unsigned a = 0; a < 3; ++a) {
        node.fMin[a][uPlace] = box.low[a];
        node.fMax[a][uPlace] = box.high[a];
    }
    node.uChild[uPlace] = uChild;
}

}  // namespace

WatertightBuilder::Extent::Extent()
    : low{INFINITY, INFINITY, INFINITY, INFINITY}, high{-INFINITY, -INFINITY, -INFINITY, -INFINITY} {}

void WatertightBuilder::Extent::add(const Extent& other) {
    low = other.low < low ? other.low : low;
    high = other.high > high ? other.high : high;
}

float WatertightBuilder::Extent::halfArea(float fUnit) const {
    const Float4 d = (high - low) * fUnit;
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

void WatertightBuilder::Range::add(const Item& item) {
    box.add(item.box());
    centres.add(item.centre());
}

void WatertightBuilder::Range::add(const Range& other) {
    box.add(other.box);
    centres.add(other.centres);
}

uint32_t WatertightBuilder::build(const Range& range) {
    uint32_t uRoot = 0;
    vWaiting.push_back({range, &uRoot, 0});
    uBusy = 1;
    std::vector<std::thread> vHelpers;
    try {
        for (unsigned u = 1; u < uThreads && range.count() > MIN_SHARED; ++u) vHelpers.emplace_back([this] { work(); });
    } catch (const std::system_error&) {  // fewer threads give the same answers
    }
    work();
    for (std::thread& helper : vHelpers) helper.join();
    return std::min(uNodes.load(), bvh.vNodes.uCount);
}

// Makes the nodes of waiting branches until none is left and none can come.
void WatertightBuilder::work() {
    Block block;
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return !vWaiting.empty() || !uBusy; });
        if (vWaiting.empty()) return;
        const Branch branch = vWaiting.back();
        vWaiting.pop_back();
        lock.unlock();
        *branch.pChild = makeNode(branch.range, branch.uDepth, block);
        lock.lock();
        if (--uBusy == 0) changed.notify_all();
    }
}

void WatertightBuilder::handOver(const Branch& branch) {
    const std::lock_guard<std::mutex> lock(mutex);
    vWaiting.push_back(branch);
    ++uBusy;
    changed.notify_one();
}

uint32_t WatertightBuilder::takeNode(Block& block) {
    if (block.uNext == block.uEnd) {
        block.uNext = uNodes.fetch_add(BLOCK);
        block.uEnd = block.uNext + BLOCK;
    }
    return block.uNext++;
}

uint32_t WatertightBuilder::makeNode(const Range& range, unsigned uDepth, Block& block) {
    Range parts[WatertightNode::WIDTH];
    // Only the first node is made while other threads have nothing to do.
    const unsigned uParts = divide(range, uDepth, WatertightNode::WIDTH, uDepth ? 1 : uThreads, parts);
    const uint32_t uNode = takeNode(block);
    WatertightNode& node = bvh.vNodes[uNode];
    for (unsigned i = 0; i < WatertightNode::WIDTH; ++i) {
        if (i >= uParts) {
            Extent inverted;
            inverted.low = Float4{EMPTY, EMPTY, EMPTY, EMPTY};
            inverted.high = -inverted.low;
            fill(node, i, inverted, WatertightNode::LEAF);
            continue;
        }
        const uint32_t uCount = parts[i].count();
        fill(node, i, parts[i].box, WatertightNode::LEAF | uCount << WatertightNode::COUNT_SHIFT | parts[i].uBegin);
        if (uCount <= WatertightBvh::MAX_LEAF) continue;
        if (uThreads > 1 && uCount >= MIN_SHARED) {
            handOver({parts[i], &node.uChild[i], uDepth + 1});
        } else {
            node.uChild[i] = makeNode(parts[i], uDepth + 1, block);
        }
    }
    return uNode;
}

// Divides a range into uParts parts or as many as it has items, first what is too large for a leaf, then the leaves.
// Returns their number.
unsigned WatertightBuilder::divide(const Range& range, unsigned uDepth, unsigned uParts, unsigned uHands,
                                   Range* pParts) {
    pParts[0] = range;
    if (uHands > 1 && uParts > 1 && range.count() > MIN_SHARED) {
        Range left, right, others[WatertightNode::WIDTH / 2];
        split(range, uDepth, left, right);
        unsigned uOthers = 0;
        const auto divideRight = [&] { uOthers = divide(right, uDepth, uParts / 2, uHands / 2, others); };
        std::thread helper;
        try {
            helper = std::thread(divideRight);
        } catch (const std::system_error&) {
            divideRight();
        }
        const unsigned uOwn = divide(left, uDepth, uParts / 2, uHands / 2, pParts);
        if (helper.joinable()) helper.join();
        std::copy_n(others, uOthers, pParts + uOwn);
        return uOwn + uOthers;
    }
    unsigned uCount = 1;
    const float fUnit = unitOf(range.box);
    for (uint32_t uMost = WatertightBvh::MAX_LEAF; uCount < uParts;) {
        Range* pLargest = nullptr;
        for (Range* p = pParts; p != pParts + uCount; ++p) {
            if (p->count() > uMost && (!pLargest || p->box.halfArea(fUnit) > pLargest->box.halfArea(fUnit)))
                pLargest = p;
        }
        if (!pLargest) {
            if (uMost == 1) break;
            uMost = 1;
            continue;
        }
        const Range whole = *pLargest;
        split(whole, uDepth, *pLargest, pParts[uCount++]);
    }
    return uCount;
}

void WatertightBuilder::split(const Range& range, unsigned uDepth, Range& left, Range& right) {
    left = {range.uBegin, range.uBegin, {}, {}};
    right = {range.uEnd, range.uEnd, {}, {}};
    // Faces that lie ever closer together would make a tree without end.
    const bool bHalve = uDepth >= WatertightBvh::MAX_SAH_DEPTH ||
                        (range.count() <= FEW ? splitFew(range, left, right) : splitByBins(range, left, right));
    if (bHalve) halve(range, longestAxis(range.centres), left, right);
}

// Sorts the items by their centres and tries every cut. True when areas are not numbers.
bool WatertightBuilder::splitFew(const Range& range, Range& left, Range& right) {
    static constexpr uint32_t ONE_EACH[FEW] = {1, 1, 1, 1, 1, 1, 1, 1};
    const uint32_t uCount = range.count();
    const float fUnit = unitOf(range.box);
    Item* const p = pItems + range.uBegin;
    Item sorted[3][FEW];
    Cut best;
    for (unsigned a = 0; a < 3; ++a) {
        Extent boxes[FEW];
        for (uint32_t u = 0; u < uCount; ++u) {
            const float f = p[u].fMin[a] + p[u].fMax[a];
            uint32_t v = u;
            for (; v && sorted[a][v - 1].fMin[a] + sorted[a][v - 1].fMax[a] > f; --v) sorted[a][v] = sorted[a][v - 1];
            sorted[a][v] = p[u];
        }
        for (uint32_t u = 0; u < uCount; ++u) boxes[u] = sorted[a][u].box();
        findCut(boxes, ONE_EACH, uCount, a, fUnit, best);
    }
    if (best.fCost == INFINITY) return true;
    std::copy_n(sorted[best.uAxis], uCount, p);
    left.uEnd = right.uBegin = range.uBegin + best.uLast + 1;
    for (uint32_t u = range.uBegin; u < range.uEnd; ++u) (u < left.uEnd ? left : right).add(pItems[u]);
    return false;
}

// True when no cut divides the items.
bool WatertightBuilder::splitByBins(const Range& range, Range& left, Range& right) {
    const Float4 low = range.centres.low, spread = range.centres.high - low;
    Float4 scale{};
    for (unsigned a = 0; a < 3; ++a) {
        if (spread[a] > MIN_SPREAD) scale[a] = static_cast<float>(BINS) / spread[a];
    }
    using Int4 = int32_t __attribute__((vector_size(16)));
    const auto binsOf = [=](const Item& item) {
        const Int4 bin = __builtin_convertvector((item.centre().low - low) * scale, Int4);
        constexpr int32_t LAST = BINS - 1;
        return bin > LAST ? Int4{LAST, LAST, LAST, LAST} : bin;
    };
    Extent boxes[3][BINS];
    uint32_t uCounts[3][BINS] = {};
    Item *const pBegin = pItems + range.uBegin, *const pEnd = pItems + range.uEnd;
    for (const Item* p = pBegin; p != pEnd; ++p) {
        const Int4 bins = binsOf(*p);
        const Extent box = p->box();
        for (unsigned a = 0; a < 3; ++a) {
            boxes[a][bins[a]].add(box);
            ++uCounts[a][bins[a]];
        }
    }
    Cut best;
    const float fUnit = unitOf(range.box);
    for (unsigned a = 0; a < 3; ++a) {
        if (scale[a] > 0.0f) findCut(boxes[a], uCounts[a], BINS, a, fUnit, best);
    }
    if (best.fCost == INFINITY) return true;
    Item *pLeft = pBegin, *pRight = pEnd;
    while (pLeft != pRight) {
        const Item item = *pLeft;
        if (binsOf(item)[best.uAxis] <= static_cast<int32_t>(best.uLast)) {
            left.add(item);
            ++pLeft;
        } else {
            right.add(item);
            *pLeft = *--pRight;
            *pRight = item;
        }
    }
    left.uEnd = right.uBegin = static_cast<uint32_t>(pLeft - pItems);
    return false;
}

void WatertightBuilder::halve(const Range& range, unsigned uAxis, Range& left, Range& right) {
    const uint32_t uMiddle = range.uBegin + range.count() / 2;
    std::nth_element(pItems + range.uBegin, pItems + uMiddle, pItems + range.uEnd, [=](const Item& l, const Item& r) {
        return l.fMin[uAxis] + l.fMax[uAxis] < r.fMin[uAxis] + r.fMax[uAxis];
    });
    left.uEnd = right.uBegin = uMiddle;
    for (uint32_t u = range.uBegin; u < range.uEnd; ++u) (u < uMiddle ? left : right).add(pItems[u]);
}

}  // namespace rt
