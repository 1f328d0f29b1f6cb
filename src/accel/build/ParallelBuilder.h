#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

#include "accel/build/GrowingTree.h"
#include "accel/build/KDTreeSplitSearch.h"
#include "base/NArrays.h"
#include "base/Vectors.h"

namespace rt {

/// Builds a kd-tree with several threads, byte for byte the tree of one thread (docs/building.md, "Threads").
class ParallelBuilder {
 public:
    static constexpr uint32_t MIN_FACES = 4096;  // of a branch that is worth cutting in two

    /// The tree is a single leaf that holds all faces, for which the search has room.
    ParallelBuilder(KDTreeSplitSearch& itsSearch, const GrowingTree& itsTree, unsigned uItsThreads);
    ~ParallelBuilder();

    /// Builds the tree in this box. True when there is not enough memory.
    [[nodiscard]] bool build(const Velk::BoxAABB& box);

 private:
    struct Branch;

    void work(KDTreeSplitSearch& own, const Branch* pUntil);
    Branch* takeBranch();
    void hand(Branch& branch);
    bool make(Branch& branch, KDTreeSplitSearch& own) const;
    bool divide(Branch& branch, KDTreeSplitSearch& own) const;
    bool assemble(Branch& branch, uint32_t uNode, uint32_t uLast);
    bool repeat(Branch& branch, uint32_t uNode, uint32_t uLast);
    bool moveIn(const Branch& branch, uint32_t uNode);

    KDTreeSplitSearch& search;
    GrowingTree tree;
    const unsigned uThreads;
    const uint32_t uLargest;  // faces of a branch that one thread makes as a whole

    std::mutex mutex;
    std::condition_variable changed;
    Branch* pWaiting = nullptr;
    unsigned uOpen = 0;  // branches that wait or are being made
    bool bFailed = false;
};

}  // namespace rt
