#pragma once

#include <cstdint>

namespace rt {

/// A corner of a box: x, y, z and a spare.
using BoxCorner = float __attribute__((vector_size(16)));

/// A box that grows; empty at first.
struct BoxExtent {
    BoxCorner low, high;

    BoxExtent();
    void add(const BoxExtent& other);
    unsigned longestAxis() const;
    float halfArea(float fUnit) const;  // times fUnit
    float unit() const;                 // a factor with which areas stay in range
};

/// A face's box; the spare of the lower corner holds the bits of the face's index.
struct alignas(16) BoxItem {
    float fMin[4];
    float fMax[4];

    uint32_t face() const;
    void setFace(uint32_t uFace);
    BoxExtent box() const;
    BoxExtent centre() const;  // counted double
};

/// Neighbouring items, their common box and that of their centres.
struct BoxRange {
    uint32_t uBegin = 0, uEnd = 0;
    BoxExtent box, centres;

    uint32_t count() const { return uEnd - uBegin; }
    void add(const BoxItem& item);
    void add(const BoxRange& other);
};

/// Divides a range by the binned surface-area heuristic (Wald 2007), along the axis on which the boxes' centres spread
/// most, and sorts its items into the two parts. Divides it into halves from depth 24 on, since faces that lie ever
/// closer together would make a tree without end, and where no cut divides the items. The parts may replace the range.
void splitBoxes(BoxItem* pItems, const BoxRange& range, unsigned uDepth, BoxRange& left, BoxRange& right);

/// Splits the part of the largest area, of those with more than uMost items, until there are uWanted parts or none is
/// as large. Returns the number of parts.
unsigned splitLargest(BoxItem* pItems, BoxRange* pParts, unsigned uParts, unsigned uWanted, uint32_t uMost,
                      unsigned uDepth);

}  // namespace rt
