#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "accel/watertight/WatertightBvh.h"

namespace rt {

/// Divides faces into the nodes of a hierarchy from the top down, by the binned surface-area heuristic, along
/// the axis on which the boxes' centres spread most. Threads take over whole branches; which one makes a node decides
/// where it lies, but no answer depends on that.
class WatertightBuilder {
 public:
    using Float4 = float __attribute__((vector_size(16)));  // three axes and a spare

    /// A box that grows.
    struct Extent {
        Float4 low, high;

        Extent();
        void add(const Extent& other);
        float halfArea(float fUnit) const;  // with lengths times fUnit, so that squares stay in range
    };

    /// A face's box; the spare component of the lower corner holds the bits of the face's index.
    struct Item {
        float fMin[4];
        float fMax[4];

        uint32_t face() const;
        Extent box() const;
        Extent centre() const;  // counted double
    };

    /// Neighbouring items, their common box and that of their centres.
    struct Range {
        uint32_t uBegin, uEnd;
        Extent box, centres;

        uint32_t count() const { return uEnd - uBegin; }
        void add(const Item& item);
        void add(const Range& other);
    };

    /// The target's nodes need room for nodesFor() of the items.
    WatertightBuilder(WatertightBvh& target, Item* pSource, unsigned uItsThreads)
        : bvh(target), pItems(pSource), uThreads(uItsThreads) {}

    /// The most nodes that items may need: each node holds five items or more.
    static uint32_t nodesFor(uint32_t uItems, unsigned uThreads) { return uItems / 4 + 1 + uThreads * BLOCK; }

    /// Puts the items in the order of the leaves and fills the target's nodes. Returns the number of nodes.
    uint32_t build(const Range& range);

 private:
    static constexpr uint32_t BLOCK = 64;         // nodes that a thread takes at a time
    static constexpr uint32_t MIN_SHARED = 4096;  // items of a branch that is worth handing over

    // A branch that waits for a thread.
    struct Branch {
        Range range;
        uint32_t* pChild;  // where its node's index goes
        unsigned uDepth;
    };

    // The nodes that a thread may fill.
    struct Block {
        uint32_t uNext = 0, uEnd = 0;
    };

    void work();
    uint32_t makeNode(const Range& range, unsigned uDepth, Block& block);
    unsigned divide(const Range& range, unsigned uDepth, unsigned uParts, unsigned uHands, Range* pParts);
    void split(const Range& range, unsigned uDepth, Range& left, Range& right);
    bool splitByBins(const Range& range, Range& left, Range& right);
    void halve(const Range& range, unsigned uAxis, Range& left, Range& right);
    uint32_t takeNode(Block& block);
    void handOver(const Branch& branch);

    WatertightBvh& bvh;
    Item* pItems;
    unsigned uThreads;
    std::atomic<uint32_t> uNodes{0};

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Branch> vWaiting;
    unsigned uBusy = 0;  // branches that wait or are worked on
};

}  // namespace rt
