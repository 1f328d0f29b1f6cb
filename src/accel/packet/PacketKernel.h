#pragma once

#include <cstdint>

#include "accel/KDTreeNode.h"
#include "accel/bvh/Bvh.h"
#include "accel/bvh/FaceRecord.h"

/// What a kernel needs to know of a tree: plain pointers, owned by the tree.
struct PacketTree {
    const KDTreeNode* pNodes;    // linked form; a leaf's second word leads to its list
    const uint32_t* pLists;      // for each leaf the number of its records, then their indices in list order
    const BvhNode* pBvh;         // the root first
    const FaceRecord* pRecords;  // in the order of the hierarchy
    float fOriginLimit;          // the hierarchy's boxes hold for rays whose origins are no further away
    float fReach;                // largest coordinate of the scene's box
    bool bNeedles;               // and for those whose ends are not either
    float fBoxMin[3];            // the scene's box
    float fBoxMax[3];
};

/// Pointers to the components of a packet's rays, each with the kernel's number of lanes readable.
struct PacketRays {
    const float* pOrigin[3];
    const float* pDir[3];
    const float* pMaxDist;
};

/// What the rays of a packet hit. Only the lanes that a query names count; what stands in others is of no meaning.
struct PacketHits {
    alignas(64) float fT[64];
    float fU[64];
    float fV[64];
    float fFaceFront[64];  // the bits of a number: twice the face's index, plus 1 when its front was hit
};

/// The packet queries for one instruction set. They answer for the rays of uMask, bit i for lane i.
struct PacketKernel {
    const char* szName;
    unsigned uLanes;  // rays of one packet, at most 64

    /// The nearest hit of each ray, in hits. Returns the lanes that hit.
    uint64_t (*pfnNearest)(const PacketTree& tree, const PacketRays& rays, uint64_t uMask, PacketHits& hits);

    /// The rays that any face blocks within their maximal distance.
    uint64_t (*pfnObstacles)(const PacketTree& tree, const PacketRays& rays, uint64_t uMask);
};

/// The kernel for this machine's best instruction set.
const PacketKernel& bestKernel();

/// The kernel of the given name ("generic", "sse2", "avx2", "avx512"), null when this machine or build has none.
const PacketKernel* findKernel(const char* szName);
