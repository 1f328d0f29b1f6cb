#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "render/Tiles.h"

namespace rt {

/// One picture in memory, and which of its tiles are done. Claiming and finishing tiles is thread-safe; creating and
/// destroying the pool is not.
class TilePool {
 public:
    static constexpr uint32_t NONE = 0xFFFFFFFFu;  // no tile

    /// Makes a black picture of 3 or 4 bytes a pixel, cut into tiles of uEdge pixels. True when out of memory.
    [[nodiscard]] bool create(uint32_t uWidth, uint32_t uHeight, uint32_t uEdge, unsigned uBytesOfPixel = 3);

    /// Bytes that create() needs.
    static uint64_t bytesFor(const TileGrid& tiles, unsigned uBytesOfPixel = 3);

    uint32_t width() const { return grid.uWidth; }
    uint32_t height() const { return grid.uHeight; }
    uint32_t tileCount() const { return uTiles; }
    Tile tile(uint32_t uTile) const { return grid.tile(uTile); }

    /// 3 bytes a pixel: blue, green, red; or 4, with alpha.
    unsigned channels() const { return uChannels; }

    /// Rows of pixels without gaps, the top row first.
    uint8_t* pixels() { return pPixels.get(); }
    const uint8_t* pixels() const { return pPixels.get(); }
    uint8_t* pixelsOf(const Tile& tile) { return pixels() + offsetOf(tile); }
    const uint8_t* pixelsOf(const Tile& tile) const { return pixels() + offsetOf(tile); }
    size_t stride() const { return size_t{grid.uWidth} * uChannels; }

    /// The next tile that is not done, NONE when all have been given out. Each goes to one caller.
    uint32_t claim();

    /// Marks a tile as done; its pixels must be complete.
    void finish(uint32_t uTile);

    bool isDone(uint32_t uTile) const { return pDone[uTile].load(std::memory_order_acquire); }
    uint32_t countDone() const { return uDone.load(std::memory_order_acquire); }

 private:
    struct Free {
        void operator()(uint8_t* p) const { free(p); }
    };

    size_t offsetOf(const Tile& tile) const { return (size_t{tile.y} * grid.uWidth + tile.x) * uChannels; }

    TileGrid grid{0, 0, 1};
    unsigned uChannels = 3;
    uint32_t uTiles = 0;
    std::atomic<uint32_t> uNext{0};
    std::atomic<uint32_t> uDone{0};
    std::unique_ptr<std::atomic<bool>[]> pDone;
    std::unique_ptr<uint8_t, Free> pPixels;
};

}  // namespace rt
