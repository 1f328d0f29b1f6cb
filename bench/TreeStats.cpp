// Counts what a kd-tree is made of.
#include "TreeStats.h"

#include <algorithm>
#include <vector>

using namespace rt;

using Velk::BoxAABB;
using Velk::NMVector3f;

namespace {

constexpr double TRAVERSAL_COST = 0.3;  // of an interior node, as in the builder; a face test costs 1

double area(const BoxAABB& box) {
    const NMVector3f d = box.v3Max - box.v3Min;
    return static_cast<double>(d.x) * d.y + static_cast<double>(d.y) * d.z + static_cast<double>(d.z) * d.x;
}

struct Open {
    uint32_t uNode, uDepth;
    BoxAABB box;
};

uint32_t countList(const Velk::NAlignedDataVector<FacesListNode>& vList, const KDTreeNode& leaf) {
    uint32_t uCount = 0;
    if (!leaf.hasReference()) return 0;
    for (uint32_t u = leaf.index(); u != NO_INDEX; u = vList[u].next) ++uCount;
    return uCount;
}

}  // namespace

TreeStats::TreeStats(const Velk::NDataVector<KDTreeNode>& nodes, const Velk::NAlignedDataVector<FacesListNode>& vList,
                     const BoxAABB& box) {
    uNodes = nodes.uSize;
    uBytes = uint64_t{nodes.uSize} * sizeof(KDTreeNode) + uint64_t{vList.uSize} * sizeof(FacesListNode);
    std::vector<uint32_t> vSizes;
    std::vector<Open> vOpen{{0, 0, box}};
    while (!vOpen.empty()) {
        const Open open = vOpen.back();
        vOpen.pop_back();
        uDepth = std::max(uDepth, open.uDepth);
        const KDTreeNode& node = nodes[open.uNode];
        if (node.isLeaf()) {
            const uint32_t uFaces = countList(vList, node);
            dCost += area(open.box) * uFaces;
            uReferences += uFaces;
            if (uFaces) {
                vSizes.push_back(uFaces);
            } else {
                ++uEmptyLeaves;
            }
            continue;
        }
        dCost += area(open.box) * TRAVERSAL_COST;
        Open low{node.index(), open.uDepth + 1, open.box}, high{node.index() + 1, open.uDepth + 1, open.box};
        low.box.v3Max[node.axis()] = high.box.v3Min[node.axis()] = node.fSplit;
        vOpen.push_back(low);
        vOpen.push_back(high);
    }
    dCost /= area(box);
    uLeaves = static_cast<uint32_t>(vSizes.size());
    if (vSizes.empty()) return;
    std::sort(vSizes.begin(), vSizes.end());
    uMedian = vSizes[vSizes.size() / 2];
    uNinetieth = vSizes[vSizes.size() * 9 / 10];
    uLargest = vSizes.back();
}
