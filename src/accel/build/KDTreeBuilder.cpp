// Builds the tree on one thread or on several.
#include "accel/build/KDTreeBuilder.h"

#include <numeric>

#include "accel/build/ParallelBuilder.h"
#include "accel/build/SubtreeBuilder.h"
#include "scene/Scene.h"

namespace rt {

uint64_t KDTreeBuilder::bytesToBegin(uint32_t uFaces) {
    return KDTreeSplitSearch::bytesFor(uFaces) + GrowingTree::bytesFor(uFaces);
}

bool KDTreeBuilder::build(unsigned uThreads, StopFlag pStop) {
    search.pStop = pStop;
    const uint32_t uFaces = scene.vFaces.uCount;
    if (!uFaces) return tree.create(nullptr, 0);
    if (search.create(scene)) return true;
    std::iota(search.faces(), search.faces() + uFaces, 0u);
    if (tree.create(search.faces(), uFaces)) return true;
    if (uThreads > 1 && uFaces >= ParallelBuilder::MIN_FACES) {
        return ParallelBuilder(search, tree, uThreads).build(scene.boxScene);
    }
    return SubtreeBuilder(search, tree).subdivide(0, scene.boxScene, 0, uFaces);
}

}  // namespace rt
