// The pool of list entries while the tree is built.
#include "accel/FaceLists.h"

#include <cassert>

namespace rt {

uint32_t FaceLists::getNewObjectListNode() {
    if (uFreeListHead == NO_INDEX) {
        if (vFacesList.PushBack({0, NO_INDEX})) return NO_INDEX;
        return vFacesList.uSize - 1;
    }
    const uint32_t uEntry = uFreeListHead;
    uFreeListHead = vFacesList[uEntry].next;
    vFacesList[uEntry].next = NO_INDEX;
    return uEntry;
}

uint32_t FaceLists::freeObjectListNodes(uint32_t uFirst) {
    assert(uFirst < vFacesList.uSize);
    uint32_t uLast = uFirst;
    while (vFacesList[uLast].next != NO_INDEX) uLast = vFacesList[uLast].next;
    vFacesList[uLast].next = uFreeListHead;
    uFreeListHead = uFirst;
    return uLast;
}

}  // namespace rt
