#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "render/TilePool.h"

namespace rt {

/// A small PNG of the tiles that are done so far; the rest is transparent. However often it is asked for, it is made
/// anew once in two seconds at most. Any thread may ask.
class Preview {
 public:
    static constexpr uint32_t LARGEST_SIDE = 640;  // pixels

    /// The pool must outlive this object, and is locked by nobody: pixels of a tile that is done do not change.
    explicit Preview(const TilePool& tilePool);

    /// The file's bytes, empty when there was no memory. uTiles: how many tiles are in it.
    std::string png(uint32_t& uTiles);

 private:
    void addTile(const Tile& tile);

    const TilePool& pool;
    const uint32_t uStep;  // every how many pixels one is shown
    const uint32_t uWidth, uHeight;
    std::mutex mutex;  // guards what follows
    std::vector<bool> vShown;
    uint32_t uShown = 0;
    std::vector<uint8_t> vPixels;  // blue, green, red, alpha
    std::string sPng;
    std::chrono::steady_clock::time_point tMade{};
};

}  // namespace rt
