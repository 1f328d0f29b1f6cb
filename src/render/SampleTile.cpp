// Supersampling: a tile of the picture, averaged from a larger tile.
#include "render/SampleTile.h"

#include <algorithm>

namespace rt {

namespace {

constexpr uint32_t BAND = 64;  // rows of pixels between two calls of pfnStop

}  // namespace

bool SampleTile::render(const Tile& tile, uint8_t* pFirst, size_t uStride, int (*pfnStop)()) {
    for (uint32_t y = 0; y < tile.uRows; y += std::min(BAND, tile.uRows - y)) {
        if (pfnStop()) return true;
        renderBand({tile.x, tile.y + y, tile.uColumns, std::min(BAND, tile.uRows - y)}, pFirst + y * uStride, uStride);
    }
    return false;
}

void SampleTile::renderBand(const Tile& band, uint8_t* pFirst, size_t uStride) {
    if (uSamples == 1) {
        paint(band, pFirst, uStride);
        return;
    }
    const Tile large{band.x * uSamples, band.y * uSamples, band.uColumns * uSamples, band.uRows * uSamples};
    const size_t uLargeStride = size_t{large.uColumns} * uChannels;
    vLarge.resize(uLargeStride * large.uRows);
    paint(large, vLarge.data(), uLargeStride);
    for (unsigned uRow = 0; uRow < band.uRows; ++uRow) {
        vSums.assign(size_t{band.uColumns} * uChannels, 0);
        for (unsigned uLine = 0; uLine < uSamples; ++uLine) {
            addLine(vLarge.data() + (size_t{uRow} * uSamples + uLine) * uLargeStride, large.uColumns);
        }
        finishRow(pFirst + uRow * uStride, band.uColumns);
    }
}

// Adds a row of the large frame to the sums of a row of pixels.
void SampleTile::addLine(const uint8_t* pLarge, uint32_t uLargeColumns) {
    for (uint32_t x = 0; x < uLargeColumns; ++x, pLarge += uChannels) {
        uint32_t* p = vSums.data() + size_t{x / uSamples} * uChannels;
        const uint32_t uWeight = uChannels == 4 ? pLarge[3] : 1;
        for (unsigned c = 0; c < 3; ++c) p[c] += pLarge[c] * uWeight;
        if (uChannels == 4) p[3] += uWeight;
    }
}

void SampleTile::finishRow(uint8_t* pRow, uint32_t uColumns) const {
    const uint32_t uCount = uSamples * uSamples;
    const uint32_t* p = vSums.data();
    for (uint32_t x = 0; x < uColumns; ++x, pRow += uChannels, p += uChannels) {
        const uint32_t uWeight = uChannels == 4 ? std::max(p[3], 1u) : uCount;
        for (unsigned c = 0; c < 3; ++c) pRow[c] = static_cast<uint8_t>((p[c] + uWeight / 2) / uWeight);
        if (uChannels == 4) pRow[3] = static_cast<uint8_t>((p[3] + uCount / 2) / uCount);
    }
}

}  // namespace rt
