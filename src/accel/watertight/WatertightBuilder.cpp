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

constexpr unsigned MAX_BINS = 16;     // nodes with no more items than this use half as many
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

// The items between two planes across an axis.
struct Bin {
    Extent box, centres;
    uint32_t uCount = 0;

    void add(const Bin& other) {
        box.add(other.box);
        uCount += other.uCount;
    }
    float cost(float fUnit) const { return box.halfArea(fUnit) * static_cast<float>(uCount); }
};

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
    if (uDepth >= WatertightBvh::MAX_SAH_DEPTH || splitByBins(range, left, right)) {
        halve(range, longestAxis(range.centres), left, right);
    }
}

// Divides along the axis on which the centres spread most. True when no cut divides the items.
bool WatertightBuilder::splitByBins(const Range& range, Range& left, Range& right) {
    const unsigned a = longestAxis(range.centres);
    const float fLow = range.centres.low[a], fSpread = range.centres.high[a] - fLow, fUnit = unitOf(range.box);
    if (!(fSpread > MIN_SPREAD)) return true;
    const unsigned uBins = range.count() > MAX_BINS ? MAX_BINS : MAX_BINS / 2;
    const float fScale = static_cast<float>(uBins) / fSpread, fLast = static_cast<float>(uBins - 1);
    const auto binOf = [=](const Item& item) {
        return static_cast<unsigned>(std::min(fLast, (item.fMin[a] + item.fMax[a] - fLow) * fScale));
    };
    Bin bins[MAX_BINS];
    for (uint32_t u = range.uBegin; u < range.uEnd; ++u) {
        Bin& bin = bins[binOf(pItems[u])];
        bin.box.add(pItems[u].box());
        bin.centres.add(pItems[u].centre());
        ++bin.uCount;
    }
    float fRight[MAX_BINS];  // the cost of this bin and all behind it
    Bin side;
    for (unsigned i = uBins; i-- > 1;) {
        side.add(bins[i]);
        fRight[i] = side.cost(fUnit);
    }
    unsigned uCut = 0;
    float fBest = INFINITY;
    side = {};
    for (unsigned i = 1; i < uBins; ++i) {
        side.add(bins[i - 1]);
        const float fCost = side.cost(fUnit) + fRight[i];  // NaN where a side is empty
        uCut = fCost < fBest ? i : uCut;
        fBest = fCost < fBest ? fCost : fBest;
    }
    if (!uCut) return true;
    // Partitions without branches, which would be mispredicted half of the time. Each item is swapped with the first
    // item of the right part; that part then shrinks if the item belongs to the left.
    uint32_t uMiddle = range.uBegin;
    for (uint32_t u = range.uBegin; u < range.uEnd; ++u) {
        const Item item = pItems[u];
        const bool bLeft = binOf(item) < uCut;
        pItems[u] = pItems[uMiddle];
        pItems[uMiddle] = item;
        uMiddle += bLeft;
    }
    left.uEnd = right.uBegin = uMiddle;
    for (unsigned i = 0; i < uBins; ++i) {
        Range& part = i < uCut ? left : right;
        part.box.add(bins[i].box);
        part.centres.add(bins[i].centres);
    }
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
