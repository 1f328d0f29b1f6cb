#pragma once

#include <cstdint>

#include "accel/TriBoxIntersection.h"
#include "accel/build/NodeFrame.h"
#include "base/Vectors.h"

namespace rt {

/// A position on the split axis and what a split there costs.
struct Split {
    float fPos;
    float fCost;  // infinity when there is no position

    /// True when a node of so many faces is split there rather than left a leaf.
    bool isWorth(uint32_t uFaces) const { return fCost <= static_cast<float>(uFaces); }
};

/// A node's box and the axis along which it is split, cut in two at a position p: the low part ends at p, the high part
/// begins there.
struct SplitFrame {
    Velk::BoxAABB box;
    unsigned uAxis;     // longest axis of the box
    float fLow, fHigh;  // the box on that axis
    float fPerArea;     // cost of one face for each unit of area

    /// Cost of one interior node; that of a leaf is its number of faces.
    static constexpr float TRAVERSAL_COST = 0.3f;

    explicit SplitFrame(const Velk::BoxAABB& nodeBox) : box(nodeBox) {
        const Velk::NMVector3f d = box.v3Max - box.v3Min;
        uAxis = d.x >= d.y && d.x >= d.z ? 0 : d.y >= d.x && d.y >= d.z ? 1 : 2;
        fLow = box.v3Min[uAxis];
        fHigh = box.v3Max[uAxis];
        fPerArea = (0.5f / halfArea(box)) * 2.0f;
    }

    /// Cost of splitting at fPos with these numbers of faces in the two parts.
    float cost(float fPos, uint32_t uLowFaces, uint32_t uHighFaces) const {
        const float fAreaLow = halfArea(lowPart(fPos)), fAreaHigh = halfArea(highPart(fPos));
        return (fAreaLow * static_cast<float>(uLowFaces) + static_cast<float>(uHighFaces) * fAreaHigh) * fPerArea +
               TRAVERSAL_COST;
    }

    /// The node for the vectorised loops; bOverlapKnown and bInRange are left to the caller.
    NodeFrame forKernels() const;

    Velk::BoxAABB lowPart(float fPos) const {
        Velk::BoxAABB part = box;
        part.v3Max[uAxis] = fPos;
        return part;
    }

    Velk::BoxAABB highPart(float fPos) const {
        Velk::BoxAABB part = box;
        part.v3Min[uAxis] = fPos;
        return part;
    }

    static float halfArea(const Velk::BoxAABB& box) {
        const Velk::NMVector3f d = box.v3Max - box.v3Min;
        return d.x * (d.y + d.z) + d.y * d.z;
    }

    static Velk::NMVector3f centre(const Velk::BoxAABB& box) { return (box.v3Min + box.v3Max) / 2.0f; }
    static Velk::NMVector3f half(const Velk::BoxAABB& box) { return (box.v3Max - box.v3Min) * NodeFrame::BOX_HALF; }

    /// True when the triangle of the given three corners overlaps the enlarged box.
    static bool overlaps(const Velk::NMVector3f* pCorners, const Velk::BoxAABB& box) {
        return TriBoxIntersection(centre(box), half(box), pCorners[0], pCorners[1], pCorners[2]);
    }
};

}  // namespace rt
