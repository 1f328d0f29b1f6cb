// Cuts pictures into tiles; nothing else does.
#include "render/Tiles.h"

#include <algorithm>
#include <cassert>

namespace rt {

Tile TileGrid::tile(uint64_t uTile) const {
    assert(uTile < count());
    return tileAt(static_cast<uint32_t>(uTile % across() * uEdge), static_cast<uint32_t>(uTile / across() * uEdge));
}

Tile TileGrid::tileAt(uint32_t x, uint32_t y) const {
    if (x >= uWidth || y >= uHeight) return {x, y, 0, 0};
    return {x, y, std::min(uEdge, uWidth - x), std::min(uEdge, uHeight - y)};
}

}  // namespace rt
