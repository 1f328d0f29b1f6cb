#pragma once

#include <cstdint>
#include <string>

#include "accel/FaceLists.h"
#include "base/NArrays.h"
#include "base/Vectors.h"
#include "scene/FaceData.h"
#include "scene/StopFlag.h"

namespace rt {

class Scene;

/// The kd-tree over a scene's faces that defines the answer of every ray query: built with a surface-area heuristic or
/// reloaded from its cache file. Queries may run in any number of threads at once, each with a stack of its own.
class KDTree : public FaceLists {
 public:
    static constexpr uint32_t TREE_ALIGNMENT = 32;
    static constexpr unsigned STACK_SIZE = 64;  // 21 far children, one skipped entry for each, and the two ends

    /// A point of the ray on the traversal stack, and the subtree whose segment starts there.
    struct StackEntry {
        const KDTreeNode* pNode;  // null for the final exit
        float fT;
        Velk::NMVector3f v3Point;
        uint32_t uPrev;  // stack index of the exit point before this one
    };

    const Scene* pScene = nullptr;
    const KDTreeNode* pRoot = nullptr;  // null while there is no tree
    Velk::NAlignedArray<KDTreeNode> vNodes;
    std::string sCacheFile = "kdtree.tmp";  // buildTree reads and writes it; empty: no cache
    StopFlag pStop = nullptr;               // ends buildTree
    bool bSaveLater = false;                // buildTree leaves the writing to saveCache()
    std::string sCacheName;    // what the cache file says it belongs to; empty: the path of the scene's file
    bool bExactCache = false;  // writes planes that read back to the bit, where the file's format is the owner's

    KDTree() = default;
    KDTree(const KDTree&) = delete;
    KDTree& operator=(const KDTree&) = delete;

    /// Loads or builds the tree of a preprocessed scene, which must outlive it, and reports progress. True when out of
    /// memory, which is logged; the tree is empty then. With an empty sCacheFile it touches no file and reports
    /// nothing. uThreads build it; their number changes no byte.
    [[nodiscard]] bool buildTree(const Scene* pNewScene, bool bResetCache, unsigned uThreads = 1);

    /// Writes the cache file of a tree that was built with bSaveLater, once. Queries may run at the same time. 0 on
    /// success, which is also when there is nothing to write; a failure is logged.
    int saveCache();

    /// Frees everything; every query misses then.
    void release();

    /// The nearest face at 0 <= t <= fMaxDist with its hit record in *pOut, or null with *pOut untouched. Of faces at
    /// the same t in one leaf the later in its list is taken. t is in multiples of v3Dir's length.
    const FaceData* findNearestFace(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, float fMaxDist,
                                    RayTestOutput* pOut) const;

    /// True when any face is hit at 0 <= t <= fMaxDist.
    bool findObstacle(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, float fMaxDist) const;

    /// Reads the cache file into nodes (index form) and vFacesList. TRUE on success. A file of another scene, or one
    /// that breaks any rule of a tree, is rejected.
    bool loadTree(const char* szPath, Velk::NDataVector<KDTreeNode>* pNodes);

    /// Writes the cache file from nodes (index form) and vFacesList, whole or not at all. 0 on success; a failure is
    /// logged.
    int saveTree(const char* szPath, const Velk::NDataVector<KDTreeNode>& nodes) const;

    /// Prints the path from a face up to the root of the linked tree. True when the face is below the node.
    bool walkthroughNodes(unsigned uFace, const KDTreeNode* pNode) const;
    bool walkthroughFacesList(unsigned uFace, const FacesListNode* pEntry) const;

 private:
    std::string cacheName() const;
    bool makeNodes(bool bResetCache, unsigned uThreads, Velk::NDataVector<KDTreeNode>& nodes);
    bool link(const Velk::NDataVector<KDTreeNode>& nodes);
    bool clip(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, float fMaxDist,
              StackEntry* vStack) const;

    bool bUnsaved = false;
    Velk::NDataVector<KDTreeNode> vUnsaved;  // what saveCache() writes, in index form

    template <typename VisitLeaf>
    bool traverse(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, StackEntry* vStack,
                  const VisitLeaf& visitLeaf) const;
};

}  // namespace rt
