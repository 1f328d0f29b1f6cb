#pragma once

#include <cstdint>

#include "accel/bvh/Bvh.h"

/// Divides faces into the nodes of a Bvh from the top down. Where to cut is decided by the surface-area heuristic along
/// the axis on which the boxes' centres spread most: between bins, or between any two of a few faces.
class BvhBuilder {
 public:
    using Float4 = float __attribute__((vector_size(16)));  // three axes and a spare

    /// A box that grows.
    struct Extent {
        Float4 low, high;

        Extent();
        void add(const Extent& other);
        float halfArea() const;
    };

    /// A face's box; the spare component of the lower corner holds the bits of the face's index.
    struct Item {
        float fMin[4];
        float fMax[4];

        uint32_t face() const;
        Extent box() const;
        Extent centre() const;
    };

    /// Neighbouring items, their common box and that of their centres, which few items do without. Centres are counted
    /// double.
    struct Range {
        uint32_t uBegin, uEnd;
        Extent box, centres;

        uint32_t count() const { return uEnd - uBegin; }
        void add(const Item& item);
    };

    BvhBuilder(Bvh& target, Item* pSource) : bvh(target), pItems(pSource) {}

    /// Puts the items in the order of the leaves and fills the target's nodes, which must have room for a third of the
    /// items and one more. The items of the second range stand apart from those of the first. Returns the number of
    /// nodes.
    uint32_t build(const Range& range, const Range& apart);

 private:
    uint32_t makeNode(Range* pParts, unsigned uParts, unsigned uDepth);
    void split(const Range& range, unsigned uDepth, Range& left, Range& right);
    bool splitFew(const Range& range, Range& left, Range& right);
    bool splitByBins(const Range& range, unsigned uAxis, Range& left, Range& right);
    void halve(const Range& range, unsigned uAxis, Range& left, Range& right);

    Bvh& bvh;
    Item* pItems;
    uint32_t uNodes = 0;
};
