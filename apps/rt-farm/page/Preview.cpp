// The picture so far, for the page.
#include "rt-farm/page/Preview.h"

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

Preview::Preview(const TilePool& tilePool)
    : pool(tilePool),
      uStep(std::max(1u, dividedUp(std::max(pool.width(), pool.height()), LARGEST_SIDE))),
      uWidth(dividedUp(pool.width(), uStep)),
      uHeight(dividedUp(pool.height(), uStep)),
      vShown(pool.tileCount()),
      vPixels(size_t{uWidth} * uHeight * 4) {}

std::string Preview::png(uint32_t& uTiles) {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto tNow = std::chrono::steady_clock::now();
    if (sPng.empty() || (tNow - tMade >= SHORTEST_INTERVAL && uShown != pool.countDone())) {
        for (uint32_t u = 0; u < pool.tileCount(); ++u) {
            if (vShown[u] || !pool.isDone(u)) continue;
            vShown[u] = true;
            ++uShown;
            addTile(pool.tile(u));
        }
        sPng = encode({vPixels.data(), uWidth, uHeight, 4});
        tMade = std::chrono::steady_clock::now();
    }
    uTiles = uShown;
    return sPng;
}

// Small tiles of a large picture may have none of the pixels that are shown.
void Preview::addTile(const Tile& tile) {
    for (uint32_t y = dividedUp(tile.y, uStep); y * uStep < tile.y + tile.uRows; ++y) {
        for (uint32_t x = dividedUp(tile.x, uStep); x * uStep < tile.x + tile.uColumns; ++x) {
            const uint8_t* pFrom = pool.pixels() + size_t{y} * uStep * pool.stride() + size_t{x} * uStep * 3;
            uint8_t* pTo = vPixels.data() + (size_t{y} * uWidth + x) * 4;
            std::copy(pFrom, pFrom + 3, pTo);
            pTo[3] = 255;
        }
    }
}

}  // namespace rt
