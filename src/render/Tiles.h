#pragma once

#include <cstdint>

namespace rt {

/// A rectangle of pixels.
struct Tile {
    uint32_t x;  // first column
    uint32_t y;  // first row
    uint32_t uColumns;
    uint32_t uRows;
};

/// The tiles of a picture: squares of uEdge pixels, numbered row by row. Tiles at the last column and the last row are
/// clipped, so that every pixel is in exactly one tile. All but tileAt() require an edge that is not 0.
struct TileGrid {
    uint32_t uWidth;  // of the picture, in pixels
    uint32_t uHeight;
    uint32_t uEdge;

    uint64_t across() const { return along(uWidth); }
    uint64_t count() const { return across() * along(uHeight); }

    /// Tile number uTile of count().
    Tile tile(uint64_t uTile) const;

    /// The tile whose first pixel is (x, y), empty when that is outside the picture.
    Tile tileAt(uint32_t x, uint32_t y) const;

 private:
    uint64_t along(uint32_t uPixels) const { return (uint64_t{uPixels} + uEdge - 1) / uEdge; }
};

}  // namespace rt
