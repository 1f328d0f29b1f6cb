// Builds the tree recursively: splits a node and distributes its faces to the children.
#include "accel/build/SubtreeBuilder.h"

namespace rt {

bool SubtreeBuilder::subdivide(uint32_t uNode, const Velk::BoxAABB& box, unsigned uDepth, uint32_t uFaceCount) {
    const SplitFrame frame(box);
    tree.nodes[uNode].setAxis(frame.uAxis);
    uint32_t* pFaces = search.faces();
    uint32_t uLast = NO_INDEX;
    for (uint32_t u = tree.nodes[uNode].index(); u != NO_INDEX; u = tree.lists.vFacesList[u].next) {
        *pFaces++ = tree.lists.vFacesList[u].uFace;
        uLast = u;
    }
    Split split;
    if (search.find(frame, uFaceCount, uDepth > 0, split)) return true;
    if (!split.isWorth(uFaceCount)) return false;

    GrowingTree::List children[2];
    const uint32_t uChild = tree.nodes.uSize;
    if (distribute(frame, split.fPos, uFaceCount, children)) return true;
    if (tree.split(uNode, uLast, frame.uAxis, split.fPos, children)) return true;
    if (uDepth >= KDTreeNode::MAX_DEPTH) return false;
    const Velk::BoxAABB parts[2] = {frame.lowPart(split.fPos), frame.highPart(split.fPos)};
    for (unsigned k = 0; k < 2; ++k) {
        if (children[k].uCount > GrowingTree::SMALL_LEAF &&
            subdivide(uChild + k, parts[k], uDepth + 1, children[k].uCount)) {
            return true;
        }
    }
    return false;
}

bool SubtreeBuilder::distribute(const SplitFrame& frame, float fPos, uint32_t uFaceCount,
                                GrowingTree::List (&children)[2]) {
    const uint32_t* pFaces = search.faces();
    for (uint32_t u = 0; u < uFaceCount; ++u) {
        if (search.isLow(frame, u, fPos) && tree.add(children[0], pFaces[u])) return true;
        if (search.isHigh(frame, u, fPos) && tree.add(children[1], pFaces[u])) return true;
    }
    return false;
}

}  // namespace rt
