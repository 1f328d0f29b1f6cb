#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

/// A rectangle of the picture.
struct Tile {
    uint32_t x, y, uColumns, uRows;
};

/// One picture in memory that processes share, and who renders which of its tiles. Made before the workers are forked;
/// all of it is theirs too. A tile is free, held by a worker, or done; only a tile that is done has its pixels.
class TilePool {
 public:
    static constexpr uint32_t NONE = 0xFFFFFFFFu;  // no tile

    TilePool() = default;
    ~TilePool() { release(); }
    TilePool(const TilePool&) = delete;
    TilePool& operator=(const TilePool&) = delete;

    /// Makes a black picture, cut into tiles of uEdge pixels. True when out of memory.
    [[nodiscard]] bool create(uint32_t uNewWidth, uint32_t uNewHeight, uint32_t uEdge);
    void release();

    /// Bytes that create() needs.
    static uint64_t bytesFor(uint64_t uWidth, uint64_t uHeight, uint64_t uEdge);

    uint32_t width() const { return uWidth; }
    uint32_t height() const { return uHeight; }
    uint32_t tileCount() const { return uTiles; }
    Tile tile(uint32_t uTile) const;

    /// Rows of 3 bytes a pixel (blue, green, red) without gaps, the top row first.
    uint8_t* pixels() const { return pPixels; }
    uint8_t* pixelsOf(const Tile& tile) const { return pPixels + (size_t{tile.y} * uWidth + tile.x) * 3; }
    size_t stride() const { return size_t{uWidth} * 3; }

    /// The next tile for this worker, whose number is neither 0 nor NONE; NONE when all have been given out once.
    uint32_t claim(uint32_t uWorker);

    /// Its pixels are complete. By the worker that holds it, or before there are workers.
    void finish(uint32_t uTile);

    bool isDone(uint32_t uTile) const;
    uint32_t countDone() const;

    /// Frees the tile that a dead worker held, for rewind() to give out again. True when there was one.
    bool releaseTileOf(uint32_t uWorker);

    /// Starts giving out from the first tile again. Only while there is no worker.
    void rewind();

 private:
    uint32_t uWidth = 0, uHeight = 0, uEdge = 0, uAcross = 0, uTiles = 0;
    size_t uBytes = 0;
    std::atomic<uint32_t>* pNext = nullptr;   // the shared block begins with it
    std::atomic<uint32_t>* pState = nullptr;  // of each tile: FREE, DONE or its worker
    uint8_t* pPixels = nullptr;
};
