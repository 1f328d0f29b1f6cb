#pragma once

#include <cstdint>

#include "accel/Bvh.h"
#include "accel/KDTreeNode.h"
#include "accel/PacketKernel.h"
#include "accel/RayStream.h"
#include "base/NAlignedArray.h"
#include "base/NAlignedDataVector.h"
#include "base/NDataVector.h"
#include "base/Vectors.h"

class Scene;

/// The kd-tree over a scene's faces that answers every ray query: built with a surface-area heuristic or reloaded from
/// its cache file kdtree.tmp in the working directory. Serves one query at a time.
class KDTree {
 public:
    static constexpr unsigned MAX_DEPTH = 20;   // a node at this depth is the last that may be split
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
    Velk::NAlignedArray<StackEntry> vStack;
    Velk::NAlignedDataVector<FacesListNode> vFacesList;
    uint32_t uFreeListHead = NO_INDEX;
    float fFarthestOrigin = 0.0f;  // set before building: the largest coordinate of most rays' origins, 0 when unknown
    Bvh bvh;                       // the faces once more, in boxes that are quick to search
    Velk::NAlignedArray<uint32_t> vLists;         // the leaves' lists as the packet kernels read them
    const PacketKernel* pKernel = &bestKernel();  // answers the stream queries

    KDTree() = default;
    ~KDTree() { release(); }
    KDTree(const KDTree&) = delete;
    KDTree& operator=(const KDTree&) = delete;

    /// Loads or builds the tree of a preprocessed scene, which must outlive it. Without memory it stays empty, which is
    /// logged, and true is returned.
    [[nodiscard]] bool buildTree(const Scene* pNewScene, bool bResetCache);

    /// Frees everything; every query misses then.
    void release();

    /// The nearest face at 0 <= t <= fMaxDist with its hit record in *pOut, or null with *pOut untouched. Of faces at
    /// the same t in one leaf the later in its list is taken. t is in multiples of v3Dir's length.
    const FaceData* findNearestFace(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, float fMaxDist,
                                    RayTestOutput* pOut);

    /// True when any face is hit at 0 <= t <= fMaxDist.
    bool findObstacle(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, float fMaxDist);

    /// findNearestFace for every ray of a stream: the hit face's index or NO_INDEX in pFaces[ray], and the hit record
    /// of a ray that hit in pHits[ray]. Faster than one by one, with the same answers to the last bit.
    void findNearestFaces(const RayStream& stream, uint32_t* pFaces, RayTestOutput* pHits) const;

    /// findObstacle for every ray of a stream, in pBlocked[ray].
    void findObstacles(const RayStream& stream, bool* pBlocked) const;

    /// Reads the cache file into nodes (index form) and vFacesList. TRUE on success. A file that is for another scene
    /// or breaks any rule of a tree is not taken.
    bool loadTree(const char* szPath, Velk::NDataVector<KDTreeNode>* pNodes);

    /// Writes the cache file from nodes (index form) and vFacesList, whole or not at all. 0 on success; a failure is
    /// logged.
    int saveTree(const char* szPath, const Velk::NDataVector<KDTreeNode>& nodes) const;

    /// Prints the way from a face up to the root of the linked tree. True when the face is below the node.
    bool walkthroughNodes(unsigned uFace, const KDTreeNode* pNode) const;
    bool walkthroughFacesList(unsigned uFace, const FacesListNode* pEntry) const;

    /// Index of a free entry of vFacesList whose next is NO_INDEX, NO_INDEX without memory.
    uint32_t getNewObjectListNode();

    /// Puts the list that starts at entry uFirst in front of the free entries. Returns the index of its last entry.
    uint32_t freeObjectListNodes(uint32_t uFirst);

 private:
    bool makeNodes(bool bResetCache, Velk::NDataVector<KDTreeNode>& nodes);
    bool link(const Velk::NDataVector<KDTreeNode>& nodes);
    bool prepareQueries();
    PacketTree packetTree() const;
    bool clip(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, float fMaxDist);

    template <typename VisitLeaf>
    bool traverse(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, const VisitLeaf& visitLeaf);
};
