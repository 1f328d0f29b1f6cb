// Builds a hierarchy of boxes, eight to a node, with any number of threads.
#include "accel/watertight/WatertightBuilder.h"

#include <algorithm>
#include <system_error>
#include <thread>

#include "scene/OnThreads.h"

namespace rt {

namespace {

constexpr float EMPTY = 0x1p62f;  // corners of an empty place: times any reciprocal, this is finite

void fill(WatertightNode& node, unsigned uPlace, const BoxExtent& box, uint32_t uChild) {
    for (unsigned a = 0; a < 3; ++a) {
        node.fMin[a][uPlace] = box.low[a];
        node.fMax[a][uPlace] = box.high[a];
    }
    node.uChild[uPlace] = uChild;
}

}  // namespace

uint32_t WatertightBuilder::build(const BoxRange& range) {
    uint32_t uRoot = 0;
    vWaiting.push_back({range, &uRoot, 0});
    uBusy = 1;
    onThreads(range.count() > MIN_SHARED ? uThreads : 1, [this](unsigned) { work(); });
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

uint32_t WatertightBuilder::makeNode(const BoxRange& range, unsigned uDepth, Block& block) {
    if (isStopped(pStop)) return 0;
    BoxRange parts[WatertightNode::WIDTH];
    // Only the first node is made while other threads have nothing to do.
    const unsigned uParts = divide(range, uDepth, WatertightNode::WIDTH, uDepth ? 1 : uThreads, parts);
    const uint32_t uNode = takeNode(block);
    WatertightNode& node = bvh.vNodes[uNode];
    for (unsigned i = 0; i < WatertightNode::WIDTH; ++i) {
        if (i >= uParts) {
            BoxExtent inverted;
            inverted.low = BoxCorner{EMPTY, EMPTY, EMPTY, EMPTY};
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
unsigned WatertightBuilder::divide(const BoxRange& range, unsigned uDepth, unsigned uParts, unsigned uHands,
                                   BoxRange* pParts) {
    pParts[0] = range;
    if (uHands > 1 && uParts > 1 && range.count() > MIN_SHARED) {
        BoxRange left, right, others[WatertightNode::WIDTH / 2];
        splitBoxes(pItems, range, uDepth, left, right);
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
    const unsigned uCount = splitLargest(pItems, pParts, 1, uParts, WatertightBvh::MAX_LEAF, uDepth);
    return splitLargest(pItems, pParts, uCount, uParts, 1, uDepth);
}

}  // namespace rt
