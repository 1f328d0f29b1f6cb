#pragma once

#include <cstdint>
#include <cstring>

#include "scene/FaceData.h"

namespace rt {

/// One node in eight bytes. Bits 0-1 of uData hold the split axis, bit 2 the leaf flag, bits 3-31 a reference. The
/// children of an interior node are neighbours, so one reference finds both; a leaf's leads to its face list, and is
/// zero when it has none. While the tree is built, and in the cache file, the reference is the complement of an index
/// (the index form). Afterwards it is an offset in units of eight bytes, of the first child in the node array or of the
/// first entry in the face lists, counted from one so that zero still means none (the linked form).
struct KDTreeNode {
    uint32_t uData = EMPTY_LEAF;
    float fSplit = 0.0f;  // position of the split plane; a leaf holds recordList() here

    static constexpr unsigned MAX_DEPTH = 20;  // a node at this depth is the last that may be split
    static constexpr uint32_t EMPTY_LEAF = 6;  // a leaf without a list, axis bits 2
    static constexpr uint32_t LEAF_FLAG = 4;
    static constexpr uint32_t MAX_INDEX = 0x1FFFFFFEu;  // the largest index whose complement is not zero

    // Must inline: an out-of-line copy from an AVX file could be linked into code for older processors.
    [[gnu::always_inline]] unsigned axis() const { return uData & 3; }
    [[gnu::always_inline]] bool isLeaf() const { return (uData & LEAF_FLAG) != 0; }
    bool hasReference() const { return uData >> 3 != 0; }

    /// Index form. Requires hasReference() for a leaf.
    uint32_t index() const { return 0x1FFFFFFFu - (uData >> 3); }
    void setAxis(unsigned uAxis) { uData = (uData & ~3u) | uAxis; }
    void makeInterior(uint32_t uFirstChild, unsigned uAxis) { uData = (~uFirstChild << 3) | uAxis; }
    void setList(uint32_t uFirstEntry) { uData = (~uFirstEntry << 3) | (uData & 7); }

    /// Linked form. An interior node's first child, a leaf's first list entry; the latter requires hasReference().
    [[gnu::always_inline]] uint32_t child() const { return uData >> 3; }
    uint32_t list() const { return (uData >> 3) - 1; }

    /// Linked form of a leaf: the index of the list that the ray kernels read, NO_INDEX when nothing there can be
    /// hit. It lies where an interior node has its plane.
    [[gnu::always_inline]] uint32_t recordList() const {
        uint32_t uFirst;
        memcpy(&uFirst, &fSplit, sizeof(uFirst));
        return uFirst;
    }
    void setRecordList(uint32_t uFirst) { memcpy(&fSplit, &uFirst, sizeof(uFirst)); }

    /// Turns the index form into the linked form.
    void link() {
        if (!isLeaf()) {
            uData = (index() << 3) | (uData & 7);
        } else if (hasReference()) {
            uData = ((index() + 1) << 3) | (uData & 7);
        }
    }
};
static_assert(sizeof(KDTreeNode) == 8, "cache file and traversal count on two words");

/// One entry of a leaf's face list.
struct FacesListNode {
    uint32_t uFace;  // index in the scene's faces
    uint32_t next;   // index of the next entry, NO_INDEX at the end
};
static_assert(sizeof(FacesListNode) == 8, "two words");

}  // namespace rt
