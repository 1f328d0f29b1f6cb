// Makes the branches of a tree on several threads, and puts them together in the order of one.
#include "accel/build/ParallelBuilder.h"

#include <algorithm>
#include <cassert>
#include <new>

#include "accel/build/SubtreeBuilder.h"
#include "scene/OnThreads.h"

namespace rt {

namespace {

constexpr uint32_t SHARES = 8;  // branches for each thread, so that all end at about the same time

}  // namespace

// A node that is made apart from its neighbours, and all below it.
struct ParallelBuilder::Branch {
    Velk::BoxAABB box;
    unsigned uDepth;
    uint64_t uPath;  // the way from the root, one bit a step, the first on top
    uint32_t uCount;
    Velk::NDataVector<uint32_t> vFaces;  // in the order of the node's list
    Branch* pNext = nullptr;             // the next that waits
    bool bDone = false;

    // What becomes of a large one: its split, if any, and the faces of its children in the order in which they took
    // entries of the lists, as twice the face plus 1 for the high child. The children are made apart in turn.
    bool bSplit = false;
    unsigned uAxis = 0;
    float fPos = 0.0f;
    Velk::NDataVector<uint32_t> vTaken;
    std::unique_ptr<Branch> children[2];  // null for one that stays a leaf

    // What becomes of any other: its own tree. The entries with which it begins come first, then those that it would
    // have taken, from the free ones or new, in this order.
    FaceLists lists;
    Velk::NDataVector<KDTreeNode> nodes;

    Branch(const Velk::BoxAABB& itsBox, unsigned uItsDepth, uint64_t uItsPath, uint32_t uFaces)
        : box(itsBox), uDepth(uItsDepth), uPath(uItsPath), uCount(uFaces) {}

    // A branch is cut in two before others are made, the largest first. The others are made in the order in which they
    // are needed.
    bool isBefore(const Branch& other, uint32_t uTooLarge) const {
        return std::max(uCount, other.uCount) > uTooLarge ? uCount > other.uCount : uPath < other.uPath;
    }
};

ParallelBuilder::ParallelBuilder(KDTreeSplitSearch& itsSearch, const GrowingTree& itsTree, unsigned uItsThreads)
    : search(itsSearch),
      tree(itsTree),
      uThreads(uItsThreads),
      uLargest(std::max(MIN_FACES, itsTree.lists.vFacesList.uSize / SHARES / uItsThreads)) {}

ParallelBuilder::~ParallelBuilder() = default;

bool ParallelBuilder::build(const Velk::BoxAABB& box) {
    const uint32_t uFaces = tree.lists.vFacesList.uSize;
    Branch root(box, 0, 0, uFaces);
    if (root.vFaces.create(uFaces, 0)) return true;
    std::copy_n(search.faces(), uFaces, root.vFaces.pData);
    hand(root);
    bool bLost = false;
    onThreads(uThreads, [&](unsigned uThread) {
        if (uThread) {
            const std::unique_ptr<KDTreeSplitSearch> pOwn(new (std::nothrow) KDTreeSplitSearch);
            if (!pOwn) return;
            pOwn->share(search);
            work(*pOwn, nullptr);
            return;
        }
        bLost = assemble(root, 0, uFaces - 1);
        const std::lock_guard<std::mutex> lock(mutex);
        bFailed |= bLost;  // sends the others home
        changed.notify_all();
    });
    return bLost;
}

// Makes branches until this one is done; or, without one, until none waits and none can come.
void ParallelBuilder::work(KDTreeSplitSearch& own, const Branch* pUntil) {
    std::unique_lock<std::mutex> lock(mutex);
    while (!bFailed && (pUntil ? !pUntil->bDone : uOpen > 0)) {
        Branch* const pBranch = takeBranch();
        if (!pBranch) {
            changed.wait(lock);
            continue;
        }
        lock.unlock();
        const bool bLost = make(*pBranch, own);
        lock.lock();
        bFailed |= bLost;
        pBranch->bDone = true;
        for (const std::unique_ptr<Branch>& pChild : pBranch->children) {
            if (pChild) hand(*pChild);
        }
        --uOpen;
        changed.notify_all();
    }
}

// Requires the lock. Null when no branch waits.
ParallelBuilder::Branch* ParallelBuilder::takeBranch() {
    Branch** ppFirst = &pWaiting;
    for (Branch** pp = &pWaiting; *pp; pp = &(*pp)->pNext) {
        if ((*pp)->isBefore(**ppFirst, uLargest)) ppFirst = pp;
    }
    Branch* const pBranch = *ppFirst;
    if (pBranch) *ppFirst = pBranch->pNext;
    return pBranch;
}

// Requires the lock, or that no helper is there yet.
void ParallelBuilder::hand(Branch& branch) {
    branch.pNext = pWaiting;
    pWaiting = &branch;
    ++uOpen;
}

bool ParallelBuilder::make(Branch& branch, KDTreeSplitSearch& own) const {
    if (own.reserve(branch.uCount)) return true;
    if (branch.uCount > uLargest) return divide(branch, own);
    GrowingTree part{branch.lists, branch.nodes};
    return part.create(branch.vFaces.pData, branch.uCount) ||
           SubtreeBuilder(own, part).subdivide(0, branch.box, branch.uDepth, branch.uCount);
}

// Splits a large node, and lists what its children hold.
bool ParallelBuilder::divide(Branch& branch, KDTreeSplitSearch& own) const {
    const SplitFrame frame(branch.box);
    branch.uAxis = frame.uAxis;
    std::copy_n(branch.vFaces.pData, branch.uCount, own.faces());
    branch.vFaces.Release();
    Split split;
    if (own.find(frame, branch.uCount, branch.uDepth > 0, split)) return true;
    if (!split.isWorth(branch.uCount)) return false;
    branch.bSplit = true;
    branch.fPos = split.fPos;
    Velk::NDataVector<uint32_t>& vTaken = branch.vTaken;
    if (vTaken.create(2 * branch.uCount, 0)) return true;
    uint32_t uCounts[2] = {};
    for (uint32_t u = 0; u < branch.uCount; ++u) {
        const bool bSides[2] = {own.isLow(frame, u, split.fPos), own.isHigh(frame, u, split.fPos)};
        for (const unsigned k : {0u, 1u}) {
            vTaken.pData[vTaken.uSize] = own.faces()[u] * 2 + k;
            vTaken.uSize += bSides[k];
            uCounts[k] += bSides[k];
        }
    }
    if (branch.uDepth >= KDTreeNode::MAX_DEPTH) return false;
    const Velk::BoxAABB parts[2] = {frame.lowPart(split.fPos), frame.highPart(split.fPos)};
    for (const unsigned k : {0u, 1u}) {
        if (uCounts[k] <= GrowingTree::SMALL_LEAF) continue;
        const uint64_t uPath = branch.uPath | uint64_t{k} << (63 - branch.uDepth);
        branch.children[k].reset(new (std::nothrow) Branch(parts[k], branch.uDepth + 1, uPath, uCounts[k]));
        if (!branch.children[k] || branch.children[k]->vFaces.create(uCounts[k], 0)) return true;
    }
    // Faces are added at the front of a list, so the last comes first.
    uint32_t* pNext[2] = {};
    for (const unsigned k : {0u, 1u}) {
        if (branch.children[k]) pNext[k] = branch.children[k]->vFaces.pData;
    }
    for (uint32_t u = vTaken.uSize; u-- > 0;) {
        uint32_t*& p = pNext[vTaken.pData[u] % 2];
        if (p) *p++ = vTaken.pData[u] / 2;
    }
    return false;
}

// Does to the tree what one thread would have done when it came to this leaf, whose list ends at entry uLast.
bool ParallelBuilder::assemble(Branch& branch, uint32_t uNode, uint32_t uLast) {
    work(search, &branch);
    if (!branch.bDone) return true;
    return branch.uCount > uLargest ? repeat(branch, uNode, uLast) : moveIn(branch, uNode);
}

bool ParallelBuilder::repeat(Branch& branch, uint32_t uNode, uint32_t uLast) {
    tree.nodes[uNode].setAxis(branch.uAxis);
    if (!branch.bSplit) return false;
    GrowingTree::List lists[2];
    uint32_t uLasts[2] = {NO_INDEX, NO_INDEX};
    for (uint32_t u = 0; u < branch.vTaken.uSize; ++u) {
        const unsigned k = branch.vTaken[u] % 2;
        if (tree.add(lists[k], branch.vTaken[u] / 2)) return true;
        if (lists[k].uCount == 1) uLasts[k] = lists[k].uHead;
    }
    branch.vTaken.Release();
    const uint32_t uChild = tree.nodes.uSize;
    if (tree.split(uNode, uLast, branch.uAxis, branch.fPos, lists)) return true;
    for (const unsigned k : {0u, 1u}) {
        if (branch.children[k] && assemble(*branch.children[k], uChild + k, uLasts[k])) return true;
        branch.children[k].reset();
    }
    return false;
}

// Moves a branch's own tree to where it belongs: its root to uNode, all other nodes behind the tree's, its entries to
// those of uNode's list and to those that are taken for it.
bool ParallelBuilder::moveIn(const Branch& branch, uint32_t uNode) {
    const auto& vOwn = branch.lists.vFacesList;
    Velk::NDataVector<uint32_t> vPlaces;  // where each entry goes
    if (vPlaces.create(vOwn.uSize, 0)) return true;
    for (uint32_t u = tree.nodes[uNode].index(); u != NO_INDEX; u = tree.lists.vFacesList[u].next) {
        vPlaces.pData[vPlaces.uSize++] = u;
    }
    assert(vPlaces.uSize == branch.uCount);
    while (vPlaces.uSize < vOwn.uSize) {
        const uint32_t uEntry = tree.takeEntry();
        if (uEntry == NO_INDEX) return true;
        vPlaces.pData[vPlaces.uSize++] = uEntry;
    }
    for (uint32_t u = 0; u < vOwn.uSize; ++u) {
        const uint32_t uNext = vOwn[u].next;
        tree.lists.vFacesList[vPlaces[u]] = {vOwn[u].uFace, uNext == NO_INDEX ? NO_INDEX : vPlaces[uNext]};
    }
    if (branch.lists.uFreeListHead != NO_INDEX) {  // what it left free comes before what it did not take
        uint32_t uLast = branch.lists.uFreeListHead;
        while (vOwn[uLast].next != NO_INDEX) uLast = vOwn[uLast].next;
        tree.lists.vFacesList[vPlaces[uLast]].next = tree.lists.uFreeListHead;
        tree.lists.uFreeListHead = vPlaces[branch.lists.uFreeListHead];
    }
    const uint32_t uBefore = tree.nodes.uSize - 1;
    for (uint32_t u = 0; u < branch.nodes.uSize; ++u) {
        KDTreeNode node = branch.nodes[u];
        if (!node.isLeaf()) {
            node.makeInterior(uBefore + node.index(), node.axis());
        } else if (node.hasReference()) {
            node.setList(vPlaces[node.index()]);
        }
        if (u == 0) tree.nodes[uNode] = node;
        if (u > 0 && tree.append(node)) return true;
    }
    return false;
}

}  // namespace rt
