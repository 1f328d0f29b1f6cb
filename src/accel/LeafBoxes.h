#pragma once

#include <cstdint>
#include <vector>

#include "accel/LeafFace.h"

struct FaceData;
class Scene;

/// A node of the box hierarchy over the faces of one large leaf. Its box holds every point at which the face test can
/// accept a ray, rounding included, so it only ever skips faces that the test itself would reject.
struct LeafBox {
    float fMin[3];
    uint32_t uFirst;  // first record, or the first of two neighbouring children
    float fMax[3];
    uint32_t uCount;  // records; 0 for an interior node

    static constexpr uint32_t INTERIOR = 0;
};
static_assert(sizeof(LeafBox) == 32, "two nodes in a cache line");

/// Makes the hierarchies. Scratch memory is kept from leaf to leaf.
class LeafBoxes {
 public:
    /// Leaves with more faces than this get boxes; below, testing all faces is as fast.
    static constexpr uint32_t LARGE_LEAF = 12;

    explicit LeafBoxes(const Scene& source);

    /// Largest coordinate of a ray's origin, and range of its direction's largest component, for which the boxes hold.
    float originLimit() const { return fOriginLimit; }
    static constexpr float DIR_MIN = 1e-6f;
    static constexpr float DIR_MAX = 1e6f;

    /// Puts the records of one leaf, given in list order with their places, into the order of a new hierarchy, and
    /// appends its nodes to vBoxes. uFirstRecord is the index of the first record. Returns the root's index.
    uint32_t build(LeafFace* pRecords, uint32_t uCount, uint32_t uFirstRecord, std::vector<LeafBox>& vBoxes);

 private:
    struct Item {
        float fMin[3], fMax[3];
        LeafFace record;
    };

    Item makeItem(const LeafFace& record) const;
    void split(uint32_t uNode, uint32_t uBegin, uint32_t uEnd, std::vector<LeafBox>& vBoxes);
    uint32_t partition(uint32_t uBegin, uint32_t uEnd);

    const Scene& scene;
    float fOriginLimit;
    float fReach;  // largest coordinate of the scene's box
    uint32_t uRecordBase = 0;
    std::vector<Item> vItems;
};
