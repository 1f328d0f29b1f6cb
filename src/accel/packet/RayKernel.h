#pragma once

#include <cstdint>

#include "accel/KDTreeNode.h"
#include "accel/bvh/Bvh.h"
#include "accel/bvh/FaceRecord.h"

namespace rt {

/// What a kernel reads of the kd-tree, the BVH and the records: plain pointers, owned by RayQueries.
struct TraversalData {
    const KDTreeNode* pNodes;    // linked form; a leaf's second word leads to its list
    const uint32_t* pLists;      // for each leaf the number of its records, then their indices; 16 more are readable
    const BvhNode* pBvh;         // the root first
    const FaceRecord* pRecords;  // in the order of the leaves
    float fOriginLimit;          // the BVH is valid for rays whose origins have no larger coordinate
    bool bNeedles;               // it is valid only for rays that also end within that limit
    float fReach;                // largest coordinate of the scene's box
    float fBoxMin[3];            // the scene's box
    float fBoxMax[3];
};

/// Pointers to the components of a packet's rays, each with the kernel's number of lanes readable.
struct RayLanes {
    const float* pOrigin[3];
    const float* pDir[3];
    const float* pMaxDist;
};

/// What the rays of a packet hit, for the lanes that a query reports; other lanes are undefined.
struct HitLanes {
    alignas(64) float fT[64];
    float fU[64];
    float fV[64];
    float fFaceFront[64];  // the bits of a number: twice the face's index, plus 1 when its front was hit
};

/// Lane masks: uHit, the lanes whose hit is KDTree's answer, and uOpen, those that KDTree must answer. Others miss.
struct KernelAnswer {
    uint64_t uHit;
    uint64_t uOpen;
};

/// The packet queries for one instruction set. They answer for the rays of uMask, bit i for lane i.
struct RayKernel {
    const char* szName;

    /// The nearest hit of each ray, in hits.
    KernelAnswer (*pfnNearest)(const TraversalData& data, const RayLanes& rays, uint64_t uMask, HitLanes& hits);

    /// Whether any face blocks each ray within its maximal distance.
    KernelAnswer (*pfnObstacles)(const TraversalData& data, const RayLanes& rays, uint64_t uMask);
};

/// The kernel for this machine's best instruction set.
const RayKernel& bestKernel();

/// The kernel of the given name ("generic", "sse2", "avx2", "avx512", "neon"), null when this machine or build has
/// none.
const RayKernel* findKernel(const char* szName);

}  // namespace rt
