// The picture so far, for the page.
#include "shared/page/Preview.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "picture/PictureFile.h"

namespace rt {

namespace {

constexpr std::chrono::seconds SHORTEST_INTERVAL{2};

uint32_t dividedUp(uint32_t u, uint32_t uBy) {
    return u / uBy + (u % uBy != 0);
}

// The bytes of a PNG file, empty on failure.
std::string encode(const PixelView& view) {
    char* pBytes = nullptr;
    size_t uBytes = 0;
    FILE* pFile = open_memstream(&pBytes, &uBytes);
    if (!pFile) return "";
    const bool bFailed = writePng(pFile, view);
    const bool bLost = fclose(pFile) != 0;
    std::string sPng(bFailed || bLost ? "" : pBytes, bFailed || bLost ? 0 : uBytes);
    free(pBytes);
    return sPng;
}

}  // namespace

void Preview::watch(const TilePool* pTilePool) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (pPool) update();
    pPool = pTilePool;
    if (!pPool) return;
    uStep = std::max(1u, dividedUp(std::max(pPool->width(), pPool->height()), LARGEST_SIDE));
    uWidth = dividedUp(pPool->width(), uStep);
    uHeight = dividedUp(pPool->height(), uStep);
    vShown.assign(pPool->tileCount(), false);
    vPixels.assign(size_t{uWidth} * uHeight * 4, 0);
    uShown = 0;
    bStale = true;
}

std::string Preview::png(uint32_t& uTiles) {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto tNow = std::chrono::steady_clock::now();
    if (sPng.empty() || tNow - tMade >= SHORTEST_INTERVAL) {
        if (pPool && uShown != pPool->countDone()) update();
        if (bStale) sPng = encode({vPixels.data(), uWidth, uHeight, 4});
        bStale = false;
        tMade = std::chrono::steady_clock::now();
    }
    uTiles = uShown;
    return sPng;
}

// Takes over the tiles that got done.
void Preview::update() {
    for (uint32_t u = 0; u < pPool->tileCount(); ++u) {
        if (vShown[u] || !pPool->isDone(u)) continue;
        vShown[u] = bStale = true;
        ++uShown;
        addTile(pPool->tile(u));
    }
}

// Small tiles of a large picture may have none of the pixels that are shown.
void Preview::addTile(const Tile& tile) {
    const unsigned uChannels = pPool->channels();
    for (uint32_t y = dividedUp(tile.y, uStep); y * uStep < tile.y + tile.uRows; ++y) {
        for (uint32_t x = dividedUp(tile.x, uStep); x * uStep < tile.x + tile.uColumns; ++x) {
            const uint8_t* pFrom =
                pPool->pixels() + size_t{y} * uStep * pPool->stride() + size_t{x} * uStep * uChannels;
            uint8_t* pTo = vPixels.data() + (size_t{y} * uWidth + x) * 4;
            pTo[3] = 255;
            std::copy(pFrom, pFrom + uChannels, pTo);
        }
    }
}

}  // namespace rt
