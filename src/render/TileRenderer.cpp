// Turns pixels into rays and colours into bytes, block by block.
#include "render/TileRenderer.h"

#include <algorithm>
#include <cassert>

namespace rt {

using Velk::NMVector3f;

namespace {

// Clamps to 0 to 255 and truncates; NaN becomes 255.
unsigned char toByte(float c) {
    const float fLimited = c < 255.0f ? c : 255.0f;
    return static_cast<unsigned char>(fLimited > 0.0f ? fLimited : 0.0f);
}

constexpr unsigned BLOCK_EDGE = 32;
static_assert(BLOCK_EDGE * BLOCK_EDGE <= RayStream::CAPACITY, "a block is one stream");

// The pixels of a block in Z-order (Morton order). Each run of 2^n pixels covers one or two squares, so packets of
// every size are compact.
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

TileRenderer::TileRenderer(const PreparedScene& scene, const RaytracerParameters& settings)
    : shader({scene.scene, scene.attributes, scene.lights, scene.queries, settings}) {}

void TileRenderer::render(const Frame& frame, const Tile& tile, unsigned char* pFirst, size_t uStride) {
    assert(uint64_t{tile.x} + tile.uColumns <= frame.uWidth && uint64_t{tile.y} + tile.uRows <= frame.uHeight);
    const TileGrid blocks{tile.uColumns, tile.uRows, BLOCK_EDGE};
    for (uint64_t u = 0; u < blocks.count(); ++u) {
        Tile block = blocks.tile(u);
        unsigned char* pBlock = pFirst + block.y * uStride + size_t{block.x} * 3;
        block.x += tile.x;
        block.y += tile.y;
        renderBlock(frame, block, pBlock, uStride);
    }
}

// Renders a block of at most BLOCK_EDGE pixels each way, as one stream of rays.
void TileRenderer::renderBlock(const Frame& frame, const Tile& block, unsigned char* pFirst, size_t uStride) {
    const float fWidth = static_cast<float>(frame.uWidth), fHeight = static_cast<float>(frame.uHeight);
    NMVector3f v3Across[BLOCK_EDGE], v3Down[BLOCK_EDGE];
    for (unsigned u = 0; u < block.uColumns; ++u) {
        v3Across[u] = frame.v3ImageOrigin + frame.v3ImageSpanX * (static_cast<float>(block.x + u) / fWidth);
    }
    for (unsigned u = 0; u < block.uRows; ++u) {
        v3Down[u] = frame.v3ImageSpanY * (static_cast<float>(block.y + u) / fHeight);
    }

    RayStream& rays = shader.rays(0);
    rays.uCount = 0;
    forEachPixel(block.uColumns, block.uRows, [&](unsigned uColumn, unsigned uRow) {
        const Frame::Ray ray = frame.rayTo(v3Across[uColumn] + v3Down[uRow]);
        shader.setMedium(0, rays.uCount, 1.0f);
        rays.add(ray.v3From, ray.v3Dir, frame.fMaxDistance);
    });
    rays.normalizeDirs();
    const NMVector3f* pColour = shader.trace(0);
    forEachPixel(block.uColumns, block.uRows, [&](unsigned uColumn, unsigned uRow) {
        unsigned char* pPixel = pFirst + uRow * uStride + size_t{uColumn} * 3;
        pPixel[0] = toByte(pColour->z);
        pPixel[1] = toByte(pColour->y);
        pPixel[2] = toByte(pColour->x);
        ++pColour;
    });
}

NMVector3f TileRenderer::traceRay(const NMVector3f& v3Origin, const NMVector3f& v3Direction, float fMaxDistance,
                                  unsigned uDepth, float fRefractiveIndex) {
    uDepth = std::min(uDepth, StreamShader::MAX_RECURSION);  // rays of this depth spawn no others
    RayStream& rays = shader.rays(uDepth);
    rays.uCount = 0;
    rays.add(v3Origin, v3Direction, fMaxDistance);
    shader.setMedium(uDepth, 0, fRefractiveIndex);
    return *shader.trace(uDepth);
}

}  // namespace rt
