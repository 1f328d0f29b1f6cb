// The image: from pixels to rays and from colours to bytes, tile by tile.
#include <algorithm>
#include <cassert>
#include <cstdio>

#include "base/NLogger.h"
#include "render/RayTracer.h"
#include "render/StreamShader.h"

using Velk::NMVector3f;

namespace {

// 0 to 255, truncated; NaN becomes 255.
unsigned char toByte(float c) {
    const float fLimited = c < 255.0f ? c : 255.0f;
    return static_cast<unsigned char>(fLimited > 0.0f ? fLimited : 0.0f);
}

constexpr unsigned BLOCK_EDGE = 32;
static_assert(BLOCK_EDGE * BLOCK_EDGE <= RayStream::CAPACITY, "a block is one stream");

// The pixels of a block along the Z-order curve. Any power of two of neighbours on it covers one square or two, so
// packets of every size are compact.
struct ZOrder {
    static constexpr unsigned PIXELS = BLOCK_EDGE * BLOCK_EDGE;
    uint8_t uColumn[PIXELS] = {};
    uint8_t uRow[PIXELS] = {};

    constexpr ZOrder() {
        for (unsigned u = 0; u < PIXELS; ++u) {
            for (unsigned i = 0; u >> (2 * i); ++i) {
                uColumn[u] = static_cast<uint8_t>(uColumn[u] | (u >> (2 * i) & 1) << i);
                uRow[u] = static_cast<uint8_t>(uRow[u] | (u >> (2 * i + 1) & 1) << i);
            }
        }
    }
};
constexpr ZOrder g_zOrder;

// Visits the pixels of a block of any size in this order.
template <typename Visit>
void forEachPixel(unsigned uColumns, unsigned uRows, const Visit& visit) {
    unsigned uEdge = 1;
    while (uEdge < std::max(uColumns, uRows)) uEdge *= 2;
    for (unsigned u = 0; u < uEdge * uEdge; ++u) {
        const unsigned uColumn = g_zOrder.uColumn[u], uRow = g_zOrder.uRow[u];
        if (uColumn < uColumns && uRow < uRows) visit(uColumn, uRow);
    }
}

}  // namespace

bool RayTracer::run() {
    if (!parameters.uPackSize) {
        ReportError("Invalid pack size: 0");
        return true;
    }
    printf("width: %u, height: %u\n", parameters.uWidth, parameters.uHeight);
    image.release();
    if (image.create(parameters.uWidth, parameters.uHeight)) {
        ReportErrorFormat("Image too large: %u x %u pixels\n", parameters.uWidth, parameters.uHeight);
        return true;
    }
    // 64 bits: the step past the last band may not fit 32.
    const uint64_t uPack = parameters.uPackSize, uWidth = parameters.uWidth, uHeight = parameters.uHeight;
    const size_t uStride = size_t{parameters.uWidth} * 3;
    for (uint64_t yBand = 0; yBand < uHeight; yBand += uPack) {
        printf("%d\n", static_cast<int>(yBand));
        for (uint64_t xBand = 0; xBand < uWidth; xBand += uPack) {
            renderTile(static_cast<unsigned>(xBand), static_cast<unsigned>(yBand),
                       static_cast<unsigned>(std::min(uPack, uWidth - xBand)),
                       static_cast<unsigned>(std::min(uPack, uHeight - yBand)),
                       image.pData + yBand * uStride + xBand * 3, uStride);
        }
    }
    static_cast<void>(image.saveToFile(parameters.szOutFile));  // reports its own failures
    return false;
}

void RayTracer::calculatePack(unsigned x, unsigned y, unsigned char* pBuffer) const {
    if (x >= parameters.uWidth || y >= parameters.uHeight) return;
    const unsigned uColumns = std::min(parameters.uPackSize, parameters.uWidth - x);
    const unsigned uRows = std::min(parameters.uPackSize, parameters.uHeight - y);
    renderTile(x, y, uColumns, uRows, pBuffer, size_t{uColumns} * 3);
}

void RayTracer::renderTile(unsigned x, unsigned y, unsigned uColumns, unsigned uRows, unsigned char* pFirst,
                           size_t uStride) const {
    assert(uint64_t{x} + uColumns <= parameters.uWidth && uint64_t{y} + uRows <= parameters.uHeight);
    for (unsigned uRow = 0; uRow < uRows; uRow += std::min(BLOCK_EDGE, uRows - uRow)) {
        for (unsigned uColumn = 0; uColumn < uColumns; uColumn += std::min(BLOCK_EDGE, uColumns - uColumn)) {
            renderBlock(x + uColumn, y + uRow, std::min(BLOCK_EDGE, uColumns - uColumn),
                        std::min(BLOCK_EDGE, uRows - uRow), pFirst + uRow * uStride + size_t{uColumn} * 3, uStride);
        }
    }
}

// Renders a block of at most BLOCK_EDGE pixels each way, as one stream of rays.
void RayTracer::renderBlock(unsigned x, unsigned y, unsigned uColumns, unsigned uRows, unsigned char* pFirst,
                            size_t uStride) const {
    const float fWidth = static_cast<float>(parameters.uWidth), fHeight = static_cast<float>(parameters.uHeight);
    NMVector3f v3Across[BLOCK_EDGE], v3Down[BLOCK_EDGE];
    for (unsigned u = 0; u < uColumns; ++u) {
        v3Across[u] = v3ImageOrigin + v3ImageSpanX * (static_cast<float>(x + u) / fWidth);
    }
    for (unsigned u = 0; u < uRows; ++u) v3Down[u] = v3ImageSpanY * (static_cast<float>(y + u) / fHeight);

    RayStream& rays = pShader->rays(0);
    rays.uCount = 0;
    forEachPixel(uColumns, uRows, [&](unsigned uColumn, unsigned uRow) {
        const NMVector3f v3Target = v3Across[uColumn] + v3Down[uRow];
        pShader->setMedium(0, rays.uCount, 1.0f);
        rays.add(v3Eye, v3Target - v3Eye, fMaxDistance);
    });
    rays.normalizeDirs();
    const NMVector3f* pColour = pShader->trace(0);
    forEachPixel(uColumns, uRows, [&](unsigned uColumn, unsigned uRow) {
        unsigned char* pPixel = pFirst + uRow * uStride + size_t{uColumn} * 3;
        pPixel[0] = toByte(pColour->z);
        pPixel[1] = toByte(pColour->y);
        pPixel[2] = toByte(pColour->x);
        ++pColour;
    });
}
