// A kd-tree in the form of the cache file, as the benchmarks build, save and load it.
#pragma once

#include "accel/build/KDTreeBuilder.h"
#include "accel/kdtree/KDTree.h"
#include "base/NArrays.h"
#include "scene/Scene.h"

using namespace rt;

struct PlainTree {
    const Scene& scene;
    KDTree tree;
    Velk::NDataVector<KDTreeNode> nodes;

    explicit PlainTree(const Scene& s) : scene(s) { tree.pScene = &s; }
    PlainTree(const PlainTree&) = delete;
    PlainTree& operator=(const PlainTree&) = delete;

    /// True when out of memory.
    [[nodiscard]] bool build() { return KDTreeBuilder(scene, tree, nodes).build(); }
};
