// Builds the BVH from the top down.
#include "accel/bvh/BvhBuilder.h"

namespace rt {

namespace {

class Builder {
 public:
    Builder(BvhNode* pNodes, BoxItem* pSource, StopFlag pItsStop) : pTarget(pNodes), pItems(pSource), pStop(pItsStop) {}

    BoxRange rangeOf(uint32_t uBegin, uint32_t uEnd) const {
        BoxRange range{uBegin, uEnd, {}, {}};
        for (uint32_t u = uBegin; u < uEnd; ++u) range.add(pItems[u]);
        return range;
    }

    // Makes the node over one to four parts, which it first divides until there are four.
    uint32_t makeNode(BoxRange* pParts, unsigned uParts, unsigned uDepth) {
        if (isStopped(pStop)) return 0;
        uParts = splitLargest(pItems, pParts, uParts, 4, Bvh::MAX_LEAF, uDepth);
        const uint32_t uNode = uNodes++;
        BvhNode& node = pTarget[uNode];
        node = {};
        for (unsigned i = 0; i < uParts; ++i) {
            const BoxRange& part = pParts[i];
            for (unsigned a = 0; a < 3; ++a) {
                node.fMin[a][i] = part.box.low[a];
                node.fMax[a][i] = part.box.high[a];
            }
            node.uUsed = static_cast<uint8_t>(node.uUsed | 1u << i);
            if (part.count() <= Bvh::MAX_LEAF) {
                node.uChild[i] = part.uBegin;
                node.uCount[i] = static_cast<uint8_t>(part.count());
            } else {
                BoxRange parts[4] = {part, {}, {}, {}};
                node.uChild[i] = makeNode(parts, 1, uDepth + 1);
            }
        }
        return uNode;
    }

    uint32_t nodes() const { return uNodes; }

 private:
    BvhNode* pTarget;
    BoxItem* pItems;
    StopFlag pStop;
    uint32_t uNodes = 0;
};

}  // namespace

uint32_t buildBvh(BvhNode* pNodes, BoxItem* pItems, uint32_t uOrdinary, uint32_t uTotal, StopFlag pStop) {
    Builder builder(pNodes, pItems, pStop);
    BoxRange parts[4];
    unsigned uParts = 0;
    if (uOrdinary) parts[uParts++] = builder.rangeOf(0, uOrdinary);
    if (uOrdinary < uTotal) parts[uParts++] = builder.rangeOf(uOrdinary, uTotal);
    builder.makeNode(parts, uParts, 0);
    return builder.nodes();
}

}  // namespace rt
