#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "accel/BoxSplit.h"
#include "accel/watertight/WatertightBvh.h"

namespace rt {

/// Divides faces into the nodes of a hierarchy from the top down. Threads take over whole branches; which one makes a
/// node decides where it lies, but no answer depends on that.
class WatertightBuilder {
 public:
    /// The target's nodes need room for nodesFor() of the items.
    WatertightBuilder(WatertightBvh& target, BoxItem* pSource, unsigned uItsThreads, StopFlag pItsStop)
        : bvh(target), pItems(pSource), uThreads(uItsThreads), pStop(pItsStop) {}

    /// The most nodes that items may need: each node holds five items or more.
    static uint32_t nodesFor(uint32_t uItems, unsigned uThreads) { return uItems / 4 + 1 + uThreads * BLOCK; }

    /// Puts the items in the order of the leaves and fills the target's nodes. Returns the number of nodes, which
    /// are of no use when it was stopped.
    uint32_t build(const BoxRange& range);

 private:
    static constexpr uint32_t BLOCK = 64;         // nodes that a thread takes at a time
    static constexpr uint32_t MIN_SHARED = 4096;  // items of a branch that is worth handing over

    // A branch that waits for a thread.
    struct Branch {
        BoxRange range;
        uint32_t* pChild;  // where its node's index goes
        unsigned uDepth;
    };

    // The nodes that a thread may fill.
    struct Block {
        uint32_t uNext = 0, uEnd = 0;
    };

    void work();
    uint32_t makeNode(const BoxRange& range, unsigned uDepth, Block& block);
    unsigned divide(const BoxRange& range, unsigned uDepth, unsigned uParts, unsigned uHands, BoxRange* pParts);
    uint32_t takeNode(Block& block);
    void handOver(const Branch& branch);

    WatertightBvh& bvh;
    BoxItem* pItems;
    unsigned uThreads;
    StopFlag pStop;
    std::atomic<uint32_t> uNodes{0};

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Branch> vWaiting;
    unsigned uBusy = 0;  // branches that wait or are worked on
};

}  // namespace rt
