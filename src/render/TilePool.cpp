// The picture that threads render together, and the states of its tiles.
#include "render/TilePool.h"

#include <new>

#include "base/LargeBlock.h"

namespace rt {

uint64_t TilePool::bytesFor(const TileGrid& tiles, unsigned uBytesOfPixel) {
    return tiles.count() + uint64_t{uBytesOfPixel} * tiles.uWidth * tiles.uHeight;
}

bool TilePool::create(uint32_t uWidth, uint32_t uHeight, uint32_t uEdge, unsigned uBytesOfPixel) {
    const TileGrid wanted{uWidth, uHeight, uEdge};
    pPixels.reset();
    pDone.reset();
    uTiles = uNext = uDone = 0;
    if (wanted.count() > INT32_MAX || bytesFor(wanted, uBytesOfPixel) > SIZE_MAX / 2) return true;
    const size_t uBytes = size_t{uBytesOfPixel} * uWidth * uHeight;
    pPixels.reset(static_cast<uint8_t*>(calloc(uBytes, 1)));
    pDone.reset(new (std::nothrow) std::atomic<bool>[static_cast<size_t>(wanted.count())]());
    if (!pPixels || !pDone) return true;
    Velk::preferLargePages(pPixels.get(), uBytes);
    grid = wanted;
    uChannels = uBytesOfPixel;
    uTiles = static_cast<uint32_t>(wanted.count());
    return false;
}

uint32_t TilePool::claim() {
    for (uint32_t u = uNext.load(); u < uTiles; u = uNext.load()) {
        if (uNext.compare_exchange_weak(u, u + 1) && !isDone(u)) return u;
    }
    return NONE;
}

void TilePool::finish(uint32_t uTile) {
    if (!pDone[uTile].exchange(true, std::memory_order_acq_rel)) ++uDone;
}

}  // namespace rt
