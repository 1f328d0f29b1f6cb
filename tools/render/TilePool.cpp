// The picture and the states of its tiles in one block of shared memory.
#include "tools/render/TilePool.h"

#include <sys/mman.h>

#include <algorithm>

#include "base/LargeBlock.h"

namespace {

constexpr uint32_t FREE = 0;
constexpr uint32_t DONE = TilePool::NONE;

// Workers meet in these from several processes.
static_assert(std::atomic<uint32_t>::is_always_lock_free && sizeof(std::atomic<uint32_t>) == 4);

uint64_t tilesAlong(uint64_t uPixels, uint64_t uEdge) {
    return (uPixels + uEdge - 1) / uEdge;
}

}  // namespace

uint64_t TilePool::bytesFor(uint64_t uWidth, uint64_t uHeight, uint64_t uEdge) {
    return 4 * (1 + tilesAlong(uWidth, uEdge) * tilesAlong(uHeight, uEdge)) + 3 * uWidth * uHeight;
}

bool TilePool::create(uint32_t uNewWidth, uint32_t uNewHeight, uint32_t uNewEdge) {
    release();
    const uint64_t uNeeded = bytesFor(uNewWidth, uNewHeight, uNewEdge);
    const uint64_t uCount = tilesAlong(uNewWidth, uNewEdge) * tilesAlong(uNewHeight, uNewEdge);
    if (uNeeded > SIZE_MAX / 2 || uCount > INT32_MAX) return true;
    void* pBlock =
        mmap(nullptr, static_cast<size_t>(uNeeded), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (pBlock == MAP_FAILED) return true;
    uBytes = static_cast<size_t>(uNeeded);
    uWidth = uNewWidth;
    uHeight = uNewHeight;
    uEdge = uNewEdge;
    uAcross = static_cast<uint32_t>(tilesAlong(uWidth, uEdge));
    uTiles = static_cast<uint32_t>(uCount);
    pNext = static_cast<std::atomic<uint32_t>*>(pBlock);  // all zero: the first tile is next, and all are free
    pState = pNext + 1;
    pPixels = reinterpret_cast<uint8_t*>(pState + uTiles);
    Velk::preferLargePages(pBlock, uBytes);
    return false;
}

void TilePool::release() {
    if (pNext) munmap(pNext, uBytes);
    pNext = pState = nullptr;
    pPixels = nullptr;
    uWidth = uHeight = uEdge = uAcross = uTiles = 0;
}

Tile TilePool::tile(uint32_t uTile) const {
    const uint32_t x = uTile % uAcross * uEdge, y = uTile / uAcross * uEdge;
    return {x, y, std::min(uEdge, uWidth - x), std::min(uEdge, uHeight - y)};
}

uint32_t TilePool::claim(uint32_t uWorker) {
    for (uint32_t u; (u = pNext->fetch_add(1)) < uTiles;) {
        uint32_t uState = FREE;
        if (pState[u].compare_exchange_strong(uState, uWorker)) return u;
    }
    pNext->store(uTiles);  // or it would come around after four thousand million more attempts
    return NONE;
}

void TilePool::finish(uint32_t uTile) {
    pState[uTile].store(DONE, std::memory_order_release);
}

bool TilePool::isDone(uint32_t uTile) const {
    return pState[uTile].load(std::memory_order_acquire) == DONE;
}

uint32_t TilePool::countDone() const {
    uint32_t uDone = 0;
    for (uint32_t u = 0; u < uTiles; ++u) uDone += isDone(u);
    return uDone;
}

bool TilePool::releaseTileOf(uint32_t uWorker) {
    for (uint32_t u = 0; u < uTiles; ++u) {
        uint32_t uState = uWorker;
        if (pState[u].compare_exchange_strong(uState, FREE)) return true;
    }
    return false;
}

void TilePool::rewind() {
    pNext->store(0);
}
