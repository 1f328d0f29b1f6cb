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

    /// From now on shows this picture, or goes on showing the last one for null, which lets go of its pool. A pool must
    /// stay as it is until then but for tiles that get done, whose pixels do not change.
    void watch(const TilePool* pTilePool);

    /// The file's bytes, empty before there is a picture and when there was no memory. uTiles: how many tiles are in
    /// it.
    std::string png(uint32_t& uTiles);

 private:
    void update();
    void addTile(const Tile& tile);

    std::mutex mutex;  // guards what follows
    const TilePool* pPool = nullptr;
    uint32_t uStep = 1;  // every how many pixels one is shown
    uint32_t uWidth = 0, uHeight = 0;
    std::vector<bool> vShown;
    uint32_t uShown = 0;
    std::vector<uint8_t> vPixels;  // blue, green, red, alpha
    bool bStale = false;           // the file below is not of these pixels
    std::string sPng;
    std::chrono::steady_clock::time_point tMade{};
};

}  // namespace rt
