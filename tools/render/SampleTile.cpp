// A tile of the picture, averaged from a larger tile.
#include "tools/render/SampleTile.h"

#include <algorithm>

void SampleTile::render(const Tile& tile, uint8_t* pFirst, size_t uStride) {
    if (uSamples == 1) {
        rayTracer.renderTile(tile.x, tile.y, tile.uColumns, tile.uRows, pFirst, uStride);
        return;
    }
    const unsigned uColumns = tile.uColumns * uSamples;
    const size_t uLargeStride = size_t{uColumns} * 3, uBytes = size_t{tile.uColumns} * 3;
    vLarge.resize(uLargeStride * tile.uRows * uSamples);
    rayTracer.renderTile(tile.x * uSamples, tile.y * uSamples, uColumns, tile.uRows * uSamples, vLarge.data(),
                         uLargeStride);
    const uint32_t uCount = uSamples * uSamples;
    const uint8_t* pLarge = vLarge.data();
    for (unsigned uRow = 0; uRow < tile.uRows; ++uRow) {
        vSums.assign(uBytes, uCount / 2);
        for (unsigned uLine = 0; uLine < uSamples; ++uLine) {
            for (size_t u = 0; u < uLargeStride; ++u) vSums[u / 3 / uSamples * 3 + u % 3] += *pLarge++;
        }
        uint8_t* pRow = pFirst + uRow * uStride;
        for (size_t u = 0; u < uBytes; ++u) pRow[u] = static_cast<uint8_t>(vSums[u] / uCount);
    }
}
